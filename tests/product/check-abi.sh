#!/usr/bin/env bash
# check-abi.sh [--update] LIBRARY INCLUDE BASELINE: compares the library's binary interface (exported
# names, their types, the layout of every record they reach) with the baseline, and fails on anything
# but an addition. --update makes the library the baseline. The library needs debug information.
set -euo pipefail
update=
if [[ $1 == --update ]]; then
  update=yes
  shift
fi
library=$1 include=$2 baseline=$3
root=$(cd "$include/.." && pwd -P)

# Without a corpus path and source locations the file is the same wherever it was built.
describe() {
  abidw --headers-dir "$include" --exported-interfaces-only --no-show-locs --no-corpus-path \
    --no-comp-dir-path --out-file "$1" "$library"
  sed -i "s|path='$root/|path='|" "$1"
}

if [[ -n $update ]]; then
  describe "$baseline"
  printf '%s: %d names\n' "$baseline" "$(grep -c '<elf-symbol ' "$baseline")"
  exit
fi

current=$(mktemp)
trap 'rm -f "$current"*' EXIT
describe "$current"
# A library without debug information has no types, and nothing to compare them with.
grep -q '<class-decl ' "$current" || { echo "$library has no debug information"; exit 1; }
# A baseline that abidiff cannot read is no change to it: it only complains.
status=0
abidiff --no-added-syms "$baseline" "$current" >"$current.diff" 2>"$current.errors" || status=$?
if ((status)) || [[ -s $current.errors ]]; then
  cat "$current.diff" "$current.errors"
  echo "the binary interface is not that of $baseline (abidiff ended with $status)"
  exit 1
fi
printf '%d names, all as in the baseline\n' "$(grep -c '<elf-symbol ' "$baseline")"
