#!/usr/bin/env bash
# size.sh LIBRARY TOOL-PREFIX CUCTL: the stripped size of the library, its parts, that of cuctl, and the
# budget of each. Fails when one is over its budget (see docs/performance.md).
set -euo pipefail
library=$1 prefix=$2 tool=$3
stripped=$(mktemp)
trap 'rm -f "$stripped"' EXIT
"${prefix}strip" --strip-unneeded -o "$stripped" "$library"

text=$("${prefix}size" "$stripped" | awk 'NR == 2 { print $1 }')
file=$(stat -c %s "$stripped")
relocations() { "${prefix}readelf" -rW "$stripped" | awk -v name="$1" '
  /^Relocation section/ { here = index($0, "'\''" name "'\''") } here && /^[0-9a-f]+ /{ ++n } END { print n + 0 }'; }
writable=$(($("${prefix}readelf" -lW "$stripped" | awk '$1 == "LOAD" && /RW/ { print $6 }')))

status=0
row() { # NAME VALUE BUDGET
  local verdict=ok
  (($2 <= $3)) || { verdict=OVER status=1; }
  printf '  %-28s %8d of %8d  %s\n' "$1" "$2" "$3" "$verdict"
}
row 'stripped file, bytes' "$file" $((128 * 1024))
row 'text, bytes' "$text" $((110 * 1024))
row '.rel.dyn entries' "$(relocations .rel.dyn)" 200
row '.rel.plt entries' "$(relocations .rel.plt)" 170
row 'writable segment, bytes' "$writable" $((12 * 1024))
"${prefix}strip" -o "$stripped" "$tool"
row 'cuctl, stripped, bytes' "$(stat -c %s "$stripped")" $((1024 * 1024))
exit "$status"
