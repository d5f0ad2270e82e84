#!/usr/bin/env bash
# check-shared-object.sh LIBRARY READELF VERSION [hardened]: soname, needed libraries, no static
# constructors, no executable stack, no text relocations; and what a hardened build adds to these.
set -euo pipefail
library=$1 readelf=$2 version=$3 kind=${4-}
status=0
fail() {
  printf '%s\n' "$*"
  status=1
}

dynamic=$("$readelf" -dW "$library")
grep -qF "soname: [libcommonutilities.so.$version]" <<<"$dynamic" || fail "wrong soname"

while read -r needed; do
  case $needed in
    libc.so.6 | libm.so.6 | ld-linux*.so.*) ;;
    *) fail "needs $needed" ;;
  esac
done < <(sed -nE 's/.*\(NEEDED\).*\[(.*)\]/\1/p' <<<"$dynamic")

! grep -q TEXTREL <<<"$dynamic" || fail "has text relocations"
! "$readelf" -lW "$library" | grep -E 'GNU_STACK.*RWE' || fail "has an executable stack"

# crtbegin's frame_dummy is the one entry of an empty .init_array.
pointer=$("$readelf" -hW "$library" | grep -q ELF32 && echo 4 || echo 8)
size=$(sed -nE 's/.*\(INIT_ARRAYSZ\) +([0-9]+).*/\1/p' <<<"$dynamic")
((${size:-0} <= pointer)) || fail "has static constructors (.init_array of $size bytes)"

if [[ $kind == hardened ]]; then
  "$readelf" -lW "$library" | grep -q GNU_RELRO || fail "has no RELRO segment"
  grep -qE 'BIND_NOW|FLAGS.*NOW' <<<"$dynamic" || fail "binds its functions lazily"
  imported=$("$readelf" --dyn-syms -W "$library" | awk '$7 == "UND" { print $8 }')
  grep -q '^__stack_chk_fail@' <<<"$imported" || fail "has no stack protector"
  grep -qE '^__[a-z]+_chk@' <<<"$imported" || fail "has no checked libc call"
fi

((status)) || printf 'soname, needed libraries, constructors, stack and relocations are right\n'
exit "$status"
