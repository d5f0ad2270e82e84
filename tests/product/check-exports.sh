#!/usr/bin/env bash
# check-exports.sh LIBRARY LIST INCLUDE NM: the library exports exactly the listed names, and every
# listed name is declared in a public header with CU_API.
set -euo pipefail
library=$1 list=$2 include=$3 nm=$4

listed=$(tr ';' '\n' <"$list" | sed '/^$/d' | sort)
exported=$("$nm" -D --defined-only "$library" | awk '$2 != "A" { sub(/@.*/, "", $3); print $3 }' | sort)
declared=$("$(dirname "${BASH_SOURCE[0]}")/declared-names.sh" "$include")

status=0
compare() { # TEXT EXPECTED ACTUAL
  local difference
  difference=$(diff <(printf '%s\n' "$2") <(printf '%s\n' "$3")) || {
    printf '%s (< missing, > unexpected):\n%s\n' "$1" "$(grep '^[<>]' <<<"$difference")"
    status=1
  }
}
compare "names exported by the library, against the list" "$listed" "$exported"
compare "names declared in the headers, against the list" "$listed" "$declared"
((status)) || printf '%s exported names, all listed and declared\n' "$(wc -l <<<"$listed")"
exit "$status"
