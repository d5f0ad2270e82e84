#!/usr/bin/env bash
# check-hazards.sh DOCUMENT TABLE TESTS CASES [OTHER...]: every numbered entry of DOCUMENT says the
# safe way, is found by a symptom, and has a test in TABLE, which names no other number; the last column of every row of the document CASES names
# tests; and every test that TABLE, CASES or another document names is in a source below the folder
# TESTS.
set -euo pipefail
export LC_ALL=C
document=$1 table=$2 tests=$3 cases=$4
shift 3

entries=$(grep -oE '^\| R[0-9]+ \|' "$document" | tr -d '| ' | sort -V)
rows=$(grep -vE '^(#|[[:space:]]*$)' "$table")
existing=$(find "$tests" -name '*.cc' -exec cat {} + | tr '\n' ' ' |
  grep -oE '\bTEST(_F|_P)?\( *[A-Za-z0-9_]+, *[A-Za-z0-9_]+\)' |
  sed -E 's/^[A-Z_]+\( *([A-Za-z0-9_]+), *([A-Za-z0-9_]+)\)/\1.\2/' | sort -u)

status=0
complain() { # TEXT LINES
  [[ -z $2 ]] || {
    printf '%s:\n%s\n' "$1" "$2"
    status=1
  }
}
complain "no number and test in the row" "$(grep -vE '^R[0-9]+ [A-Za-z0-9_]+\.[A-Za-z0-9_]+$' <<<"$rows")"
complain "number twice in the document" "$(uniq -d <<<"$entries")"
complain "row twice" "$(sort <<<"$rows" | uniq -d)"
complain "no safe way in the row" "$(grep -E '^\| R[0-9]+ \|' "$document" | grep -vE '^\| R[0-9]+ (\| [^|]+[^| ] ){2}\|$' || true)"
listed=$(sed -nE 's/^\| [^|]+ \| (R[0-9]+(, R[0-9]+)*) \|$/\1/p' "$document" | tr -d ' ' | tr ',' '\n' | sort -u)
complain "found by no symptom" "$(comm -23 <(sort <<<"$entries") <(printf '%s\n' "$listed"))"
complain "a symptom of no entry" "$(comm -13 <(sort <<<"$entries") <(printf '%s\n' "$listed"))"
numbers=$(cut -d' ' -f1 <<<"$rows" | sort -u)
complain "without a test" "$(comm -23 <(sort <<<"$entries") <(printf '%s\n' "$numbers"))"
complain "not in the document" "$(comm -13 <(sort <<<"$entries") <(printf '%s\n' "$numbers"))"
# shellcheck disable=SC2016
name='`[A-Z][A-Za-z0-9]+\.[A-Z][A-Za-z0-9]+`'
cases=$(grep '^|' "$cases" | grep -vE '^\|(-| what is done )')
complain "no test in the last column" "$(grep -vE "\\| $name(, $name)* \\|\$" <<<"$cases")"
pinning=$(cut -d' ' -f2 <<<"$rows" | sort -u)
named=$(cat "$@" | grep -oE "$name" | tr -d '`' | sort -u || true)
complain "no such test" "$(comm -23 <(printf '%s\n%s\n' "$pinning" "$named" | sed '/^$/d' | sort -u) \
  <(printf '%s\n' "$existing"))"
((status)) || printf '%d hazards, pinned by %d tests; %d edge cases; %d tests named in documents\n' \
  "$(wc -l <<<"$entries")" "$(wc -l <<<"$pinning")" "$(wc -l <<<"$cases")" "$(wc -l <<<"$named")"
exit "$status"
