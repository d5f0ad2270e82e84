#!/usr/bin/env bash
# run-demo.sh BUILD: runs boardd in a scratch folder on the example documents and leaves the folder
# for a look.
set -euo pipefail
build=$1
documents=$(dirname "${BASH_SOURCE[0]}")/../documents

dir=$(mktemp -d /tmp/boardd-demo-XXXXXX)
cp "$documents"/* "$dir"
mkdir "$dir/plugins"
cp "$build/examples/boardd/libboardaction.so" "$dir/plugins/"
boardd=$build/examples/boardd/boardd

printf '\n  boardd runs for a moment on the documents of examples/documents, in %s\n' "$dir"
"$boardd" --dir "$dir" --seconds 1 >/dev/null 2>&1
printf '  ... and a second time, to find what the first run left; then it shows\n'
"$boardd" --dir "$dir" --seconds 3 2>/dev/null
printf '\n  It crashes on purpose, and the log keeps where\n'
"$boardd" --dir "$dir" --crash >/dev/null 2>&1 || true
grep -a 'bt:' "$dir/boardd.log" | sed -E 's/^.*\]bt:[0-9]+: /    /' | head -4
cat <<EOM

  Try next
    ./dev cuctl log cat -p ERROR $dir/boardd.log
    ./dev cuctl store list $dir/store/events.db
    ./dev cuctl conf list $dir/boardd.json
    less examples/boardd/boardd.c
EOM
