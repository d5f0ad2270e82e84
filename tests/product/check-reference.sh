#!/usr/bin/env bash
# check-reference.sh LIST SOURCE SCRATCH: builds the reference without a warning into SCRATCH and
# compares it with the list of exported names and with the headers: each name of one is in the
# others, and the reference says something about it.
set -euo pipefail
list=$1 source=$2 scratch=$3
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)

mkdir -p "$scratch"
scratch=$(cd "$scratch" && pwd)
(cd "$source" && { cat docs/Doxyfile; echo "OUTPUT_DIRECTORY = $scratch"; } | doxygen -)

listed=$(tr ';' '\n' <"$list" | sed '/^$/d' | sort)
declared=$("$here/declared-names.sh" "$source/include")
members=$(for file in "$scratch"/xml/*_8h.xml; do xsltproc "$here/reference-names.xsl" "$file"; done)
referenced=$(awk '{ print $1 }' <<<"$members" | sort)
empty=$(awk '$2 < 3 { print $1 }' <<<"$members")

status=0
compare() { # TEXT EXPECTED ACTUAL
  local difference
  difference=$(diff <(printf '%s\n' "$2") <(printf '%s\n' "$3")) || {
    printf '%s (< missing, > unexpected):\n%s\n' "$1" "$(grep '^[<>]' <<<"$difference")"
    status=1
  }
}
compare "names in the reference, against the list of exports" "$listed" "$referenced"
compare "names in the headers, against the list of exports" "$listed" "$declared"
compare "names in the reference, against the headers" "$declared" "$referenced"
[[ -z $empty ]] || { printf 'without a description:\n%s\n' "$empty"; status=1; }
((status)) || printf '%s exported names, all declared and described\n' "$(wc -l <<<"$listed")"
exit "$status"
