#!/usr/bin/env bash
# run-demo.sh BUILD: runs boardd in a scratch folder on the example documents and leaves the folder
# for a look.
set -euo pipefail
build=$1
documents=$(dirname "${BASH_SOURCE[0]}")/../documents

dir=$(mktemp -d /tmp/boardd-demo-XXXXXX)
cp "$documents"/* "$dir"
printf '\n  Running boardd on the documents of examples/documents, in %s\n\n' "$dir"
"$build/examples/boardd/boardd" --dir "$dir"
cat <<EOM

  Try next
    less $dir/boardd.json
    xxd $dir/boardd.log | head
    less examples/boardd/boardd.c
    ./dev test
EOM
