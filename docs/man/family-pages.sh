#!/usr/bin/env bash
# family-pages.sh SOURCE NAMES OUTPUT: a page in section 3 for each public header, from its comments,
# and a link to it for each exported name. NAMES is the list of exports; OUTPUT is made anew.
set -euo pipefail
source=$(cd "$1" && pwd) names=$2 output=$3

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
(cd "$source" && {
  sed '/^USE_MDFILE/d' docs/Doxyfile
  printf '%s\n' 'INPUT = include' "OUTPUT_DIRECTORY = $scratch" 'GENERATE_HTML = NO' \
    'GENERATE_XML = NO' 'GENERATE_MAN = YES'
  # It looks for descriptions of arguments where it makes HTML alone.
  printf '%s\n' 'WARN_NO_PARAMDOC = NO' 'WARN_IF_INCOMPLETE_DOC = NO'
} | doxygen -)

rm -rf "$output"
mkdir -p "$output"
for page in "$scratch"/man/man3/*.h.3; do
  header=$(basename "$page" .3)
  date=$(date -u -d "@${SOURCE_DATE_EPOCH:-$(stat -c %Y "$source/include/$header")}" +%F)
  # What a program includes, instead of what the header itself does.
  awk -v header="$header" -v date="$date" '
    NR == 1 { sub(/ 3 "[^"]*"/, " 3 \"" date "\"") }
    /^\\fC#include / { skip = 1; next }
    skip && /^\.br$/ { skip = 0; next }
    # A text that begins with a quote is no request.
    /^\047/ { $0 = "\\&" $0 }
    { print }
    /^\.SH SYNOPSIS/ { print ".PP\n\\fC#include <commonutilities/" header ">\\fP" }' \
    "$page" >"$output/$header.3"
done

cd "$output"
while read -r name; do
  page=$(grep -lE "^\.RI .*\\\\fB$name\\\\fP" -- *.h.3 | head -n 1) ||
    { echo "no page describes $name" >&2; exit 1; }
  printf '.so man3/%s\n' "$page" >"$name.3"
done < <(tr ';' '\n' <"$names" | grep -E '^[A-Za-z_]')
