#!/usr/bin/env bash
# check-exports.sh LIBRARY LIST INCLUDE NM: the library exports exactly the listed names, and every
# listed name is declared in a public header with CU_API.
set -euo pipefail
library=$1 list=$2 include=$3 nm=$4

# shellcheck source=tests/product/names.sh
source "$(dirname "${BASH_SOURCE[0]}")/names.sh"

listed=$(listed_names "$list")
exported=$("$nm" -D --defined-only "$library" | awk '$2 != "A" { sub(/@.*/, "", $3); print $3 }' | sort)
declared=$(declared_names "$include")

compare "names exported by the library, against the list" "$listed" "$exported"
compare "names declared in the headers, against the list" "$listed" "$declared"
((status)) || printf '%s exported names, all listed and declared\n' "$(wc -l <<<"$listed")"
exit "$status"
