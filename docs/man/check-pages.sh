#!/usr/bin/env bash
# check-pages.sh PAGE...: man shows each page without a warning and apropos finds it by its name line.
set -euo pipefail
status=0
fail() {
  printf '%s\n' "$*"
  status=1
}
for page in "$@"; do
  name=$(basename "$page")
  warnings=$(MANWIDTH=80 MANROFFSEQ=t LC_ALL=C.UTF-8 man --warnings -E UTF-8 -l -Tutf8 -Z "$page" 2>&1 >/dev/null) || true
  [[ -z $warnings ]] || fail "$name: $warnings"
  lexgrog "$page" | grep -qF "\"${name%.*} - " || fail "$name: no name line"
  # A page that lost its text in the conversion would still be one.
  (($(MANWIDTH=80 LC_ALL=C.UTF-8 man -l "$page" 2>/dev/null | wc -l) > 12)) || fail "$name: hardly a page"
  while read -r other; do
    [[ " $* " == *"/$other "* ]] || fail "$name: mentions $other, which is not among the pages"
  done < <(MANWIDTH=200 LC_ALL=C.UTF-8 man -l "$page" 2>/dev/null |
    sed -nE '2,$s/.*(commonutilities-[a-z-]+)\(([57])\).*/\1.\2/p' | sed '$d' | sort -u)
done
((status)) || printf '%d pages, each as man and apropos want it\n' "$#"
exit "$status"
