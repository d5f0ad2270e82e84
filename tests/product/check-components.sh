#!/usr/bin/env bash
# check-components.sh BUILD SOURCE: every component installs what its name promises, under whatever
# prefix it is given, no file comes twice, and together they are the whole installation.
set -euo pipefail
build=$1 source=$2

dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
install_into() { DESTDIR=$dir/$1 cmake --install "$build" --prefix /opt/cu "${@:2}" >/dev/null; }
files() { (cd "$dir/$1" 2>/dev/null && find . ! -type d -printf '%P\n' | LC_ALL=C sort); }

failures=0
fail() {
  printf '%s\n' "$*"
  ((++failures))
}

components=(runtime dev tools doc examples gdb)
for component in "${components[@]}"; do
  install_into "$component" --component "$component"
  files "$component" >"$dir/$component.list" || true
done
install_into whole
files whole >"$dir/whole.list"
lists=("${components[@]/%/.list}")
(cd "$dir" && cat "${lists[@]}" | LC_ALL=C sort) >"$dir/together.list"
diff "$dir/together.list" "$dir/whole.list" ||
  fail "the components (<) are not the whole installation (>)"

has() { # COMPONENT PATTERN: a file of the component matches
  grep -qE "^opt/cu/$2\$" "$dir/$1.list" || fail "the component $1 has no $2"
}
only() { # COMPONENT PATTERN: and no file does not
  local other
  other=$(grep -vE "^opt/cu/($2)\$" "$dir/$1.list") || return 0
  fail "the component $1 has, too: $other"
}

lib='lib(/[^/]*-linux-[^/]*)?'
has runtime "$lib/libcommonutilities\.so\.13"
only runtime "$lib/libcommonutilities\.so\.13(\.[0-9.]+)?"

for header in "$source"/include/*.h "$source"/include/*.hpp; do
  has dev "include/commonutilities/${header##*/}"
done
has dev "$lib/libcommonutilities\.so"
has dev "$lib/pkgconfig/commonutilities\.pc"
has dev "$lib/cmake/commonutilities/commonutilities-config\.cmake"
only dev "include/commonutilities/.*|$lib/(libcommonutilities\.so|pkgconfig/.*|cmake/commonutilities/.*)"
grep -qx 'prefix=/opt/cu' "$(find "$dir/dev" -name commonutilities.pc)" ||
  fail "the pkg-config file does not name the prefix"

for guide in "$source"/docs/*.md; do has doc "share/doc/commonutilities/${guide##*/}"; done
only doc 'share/(doc/commonutilities/[^/]*\.md|man/man[357]/.*)'

for example in boardd/boardd.c documents/board.json small/logging.c fleet/rsyslog-board.conf; do
  has examples "share/doc/commonutilities/examples/$example"
done
only examples 'share/doc/commonutilities/examples/.*'

# Where gdb looks for what belongs to the library of the component runtime.
library=$(grep -E '\.so\.13\.[0-9.]+$' "$dir/runtime.list")
has gdb "share/gdb/auto-load/$library-gdb\.py"
only gdb 'share/gdb/auto-load/.*'

if grep -q '^COMMONUTILITIES_BUILD_TOOLS:BOOL=ON' "$build/CMakeCache.txt"; then
  has tools bin/cuctl
  has tools share/bash-completion/completions/cuctl
  has tools 'lib/systemd/system/cuctl-mqtt@\.service'
fi
only tools 'bin/cuctl|share/(bash-completion/.*|man/man1/cuctl\.1)|lib/systemd/system/.*\.service'

((failures == 0)) || exit 1
printf '%s files in %s components\n' "$(wc -l <"$dir/whole.list")" "${#components[@]}"
