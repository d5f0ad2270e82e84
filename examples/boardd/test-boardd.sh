#!/usr/bin/env bash
# test-boardd.sh DOCUMENTS COMMAND...: the demo daemon runs end to end, twice in the same folder, and
# its summary shows what a reader is promised.
set -euo pipefail
documents=$1
shift

dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
cp "$documents"/* "$dir"

expect() { # TEXT in the summary
  grep -qF -- "$1" "$dir/summary" || {
    printf 'the summary lacks: %s\n' "$1"
    cat "$dir/summary"
    exit 1
  }
}

for run in first second; do
  "$@" --dir "$dir" --seconds 1 >"$dir/summary" 2>"$dir/errors"
  expect "board        carrier-7, serial 1F00AA21C0DE, revision 0x2C"
  expect "warns at 81.0 C, critical at 95.0 C, offset -3, fans on"
  expect "MTU 1500, VLAN 42, lease 86400 s"
  expect "every 100 ms"
  expect "carrier-7 at 78.5 C, MTU 0x5DC, VLAN 42"
  expect "TRACEDEBUG"
  expect "stopping"
  [[ $(od -An -tu4 -N4 "$dir/boardd.log") -eq $(stat -c %s "$dir/boardd.log") ]] ||
    { printf '%s run: the log header is not the position\n' "$run"; exit 1; }
done
