#!/usr/bin/env bash
# check-reference.sh LIST SOURCE SCRATCH: builds the reference without a warning into SCRATCH, which
# names functions with an argument or a result that is not described, and compares it with the list of
# exported names and with the headers: each name of one is in the others, and the reference says
# something about it. Each header that exports a name tells what threads may do.
set -euo pipefail
list=$1 source=$2 scratch=$3
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
# shellcheck source=tests/product/names.sh
source "$here/names.sh"

mkdir -p "$scratch"
scratch=$(cd "$scratch" && pwd)
(cd "$source" && { cat docs/Doxyfile; echo "OUTPUT_DIRECTORY = $scratch"; } | doxygen -)

listed=$(listed_names "$list")
declared=$(declared_names "$source/include")
members=$(for file in "$scratch"/xml/*_8h.xml; do xsltproc "$here/reference-names.xsl" "$file"; done)
referenced=$(awk '{ print $1 }' <<<"$members" | sort)
empty=$(awk '$2 < 3 { print $1 }' <<<"$members")

compare "names in the reference, against the list of exports" "$listed" "$referenced"
compare "names in the headers, against the list of exports" "$listed" "$declared"
compare "names in the reference, against the headers" "$declared" "$referenced"
[[ -z $empty ]] || { printf 'without a description:\n%s\n' "$empty"; status=1; }
silent=$(grep -l '^CU_API' "$source"/include/*.h | xargs grep -L '\*\*Thread safety\.\*\*' || true)
[[ -z $silent ]] || { printf 'without a word on threads:\n%s\n' "$silent"; status=1; }
((status)) || printf '%s exported names, all declared and described\n' "$(wc -l <<<"$listed")"
exit "$status"
