#!/usr/bin/env bash
# test-boardd.sh DOCUMENTS COMMAND...: the demo daemon runs end to end, twice in the same folder, and
# its summary shows what a reader is promised.
set -euo pipefail
documents=$1
shift

dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
cp "$documents"/* "$dir"
mkdir "$dir/plugins"
cp "$BOARDD_PLUGIN" "$dir/plugins/"

expect() { # TEXT in the summary
  grep -qF -- "$1" "$dir/summary" || {
    printf 'the summary lacks: %s\n' "$1"
    cat "$dir/summary"
    exit 1
  }
}

for run in first second; do
  "$@" --dir "$dir" --seconds 2 >"$dir/summary" 2>"$dir/errors" || {
    printf '%s run: exit status %s\n' "$run" $?
    cat "$dir/summary" "$dir/errors"
    exit 1
  }
  expect "board        carrier-7, serial 1F00AA21C0DE, revision 0x2C"
  expect "warns at 81.0 C, critical at 95.0 C, offset -3, fans on"
  expect "MTU 1500, VLAN 42, lease 86400 s"
  expect "every 100 ms"
  expect "carrier-7 at 78.5 C, MTU 0x5DC, VLAN 42"
  expect "topology     carrier-7: 4 buses"
  expect "every message is accounted for"
  expect "read update"
  expect "all rails within limits"
  expect "thermal/warn             81.0"
  expect "the daemon stopped"
  expect "stopping"
  [[ $(od -An -tu4 -N4 "$dir/boardd.log") -eq $(stat -c %s "$dir/boardd.log") ]] ||
    { printf '%s run: the log header is not the position\n' "$run"; exit 1; }
done
expect "earlier runs left 3 events"
expect "the last run left 1 messages"

# A damaged store starts empty and says so.
printf 'X' | dd of="$dir/store/events.db" bs=1 seek=20 conv=notrunc 2>/dev/null
"$@" --dir "$dir" --seconds 1 >"$dir/summary" 2>"$dir/errors"
expect "earlier runs left 0 events"
grep -qa 'the event store starts empty' "$dir/boardd.log"
grep -qa 'Recover msgdb file from backup' "$dir/boardd.log"

# A crash leaves the crashing function in the log. A sanitizer would catch it first.
[[ -z ${BOARDD_SANITIZED-} ]] || exit 0
status=0
"$@" --dir "$dir" --crash >/dev/null 2>&1 || status=$?
((status == 3)) || { printf 'the crash ended with %s\n' "$status"; exit 1; }
grep -qa 'bt:.*boardd_crashes_here' "$dir/boardd.log" ||
  { grep -a bt: "$dir/boardd.log"; printf 'the crash is not in the log\n'; exit 1; }
