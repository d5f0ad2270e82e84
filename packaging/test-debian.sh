#!/usr/bin/env bash
# test-debian.sh [OUTPUT]: builds the Debian packages from a clean export of HEAD, looks at them with
# lintian, installs them into a minimal Debian root where nothing else of this project is, and works
# there as an outsider does: a C project through pkg-config, a C++ one through CMake, the packaged
# example daemon, and cuctl on what that leaves. The packages stay in OUTPUT (build/packages).
# Needs root, for the chroot. The root is bootstrapped once and kept as OUTPUT/root.tar.
# shellcheck disable=SC2016 # what stands in single quotes expands inside the root
set -euo pipefail
source=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
mkdir -p "${1:-$source/build/packages}"
output=$(cd "${1:-$source/build/packages}" && pwd)
readonly release=bookworm

say() { printf '\n--- %s\n' "$*"; }
((EUID == 0)) || { echo "test-debian.sh: needs root for the chroot" >&2; exit 1; }

scratch=$(mktemp -d)
cleanup() {
  rm -rf --one-file-system "$scratch"
}
trap cleanup EXIT

say "export of $(git -C "$source" log -1 --format='%h %s' | cut -c1-70)"
version=$(sed -nE '1s/.*\(([0-9.]+)-.*/\1/p' "$source/packaging/debian/changelog")
tree=$scratch/commonutilities-$version
git -C "$source" archive --prefix="commonutilities-$version/" HEAD | tar -x -C "$scratch"
tar -C "$scratch" -cJf "$scratch/commonutilities_$version.orig.tar.xz" "commonutilities-$version"
cp -r "$tree/packaging/debian" "$tree/debian"

say "dpkg-buildpackage"
# The tests have their own verb; the build path is random, so ccache looks at paths from the tree on.
if [[ -d /usr/lib/ccache ]]; then
  export PATH=/usr/lib/ccache:$PATH CCACHE_BASEDIR=$tree CCACHE_NOHASHDIR=1
  export CCACHE_DIR=${CCACHE_DIR:-$HOME/.cache/ccache}
fi
(cd "$tree" &&
  DEB_BUILD_OPTIONS="nocheck parallel=$(nproc)" dpkg-buildpackage --no-sign) >"$output/build.log" 2>&1 ||
  { tail -n 40 "$output/build.log"; exit 1; }
rm -f "$output"/*.deb "$output"/*.dsc "$output"/*.changes "$output"/*.buildinfo "$output"/*.tar.xz
(cd "$scratch" && mv -- *.deb *.dsc *.changes *.buildinfo *.tar.xz "$output")
(cd "$output" && stat -c '%9s  %n' -- *.deb)

say "lintian"
# It prints warnings too; the errors are what fails. Never uploaded, so no bug number closes.
lintian --allow-root --fail-on error --suppress-tags initial-upload-closes-no-bugs "$output"/*.changes

say "a minimal $release"
if [[ ! -s $output/root.tar ]]; then
  debootstrap --variant=minbase --include=gcc,g++,libc6-dev,make,cmake,pkg-config "$release" \
    "$scratch/bootstrap" >"$output/debootstrap.log" 2>&1 ||
    { tail -n 20 "$output/debootstrap.log"; exit 1; }
  tar -C "$scratch/bootstrap" --exclude=./var/cache/apt/archives/*.deb -cf "$output/root.tar.new" .
  mv "$output/root.tar.new" "$output/root.tar"
fi
root=$scratch/root
mkdir "$root"
tar -C "$root" -xf "$output/root.tar"
inside() { chroot "$root" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LC_ALL=C.UTF-8 "$@"; }
inside dpkg-query -W | wc -l | sed 's/$/ packages, none of ours/'
if inside dpkg-query -W 'libcommonutilities*' 2>/dev/null; then exit 1; fi

say "installation"
mkdir "$root/packages"
cp "$output"/*.deb "$root/packages"
rm -f "$root"/packages/*-dbgsym_*
# dpkg fetches nothing: what the packages need is in a minimal root already, or this fails.
inside sh -c 'dpkg --install /packages/*.deb' \
  >"$output/install.log" 2>&1 || { tail -n 20 "$output/install.log"; exit 1; }
inside dpkg-query -W 'libcommonutilities*'
inside sh -c 'dpkg --verify libcommonutilities13 libcommonutilities-dev libcommonutilities-tools libcommonutilities-doc'

say "an outside C project, through pkg-config"
cp -r "$tree/tests/product/consumer-pkgconfig" "$tree/tests/product/consumer-cmake" "$root/root/"
inside sh -ec 'cd /root/consumer-pkgconfig
  cc -std=c99 -pedantic -Wall -Wextra -Werror consumer.c -o consumer $(pkg-config --cflags --libs commonutilities)
  ./consumer'

say "an outside C++ project, through CMake"
inside sh -ec 'cd /root/consumer-cmake
  cmake -S . -B build -DCMAKE_BUILD_TYPE=Release >/dev/null && cmake --build build >/dev/null
  build/consumer'

say "the packaged example daemon"
inside sh -ec 'cp -r /usr/share/doc/libcommonutilities-doc/examples /root/ && cd /root/examples
  cc -std=gnu99 -Wall -Wextra -funwind-tables -rdynamic -D_GNU_SOURCE \
    $(ls boardd/*.c | grep -v plugin_) -o documents/demo $(pkg-config --cflags --libs commonutilities) -lm
  mkdir documents/plugins
  cc -shared -fPIC boardd/plugin_*.c -o documents/plugins/libboardaction.so \
    $(pkg-config --cflags --libs commonutilities)
  cd documents && ./demo --seconds 2 >/root/summary 2>/root/errors || { cat /root/summary /root/errors; exit 1; }
  grep -F "every message is accounted for" /root/summary'

say "cuctl"
inside cuctl --version
inside sh -ec 'cd /root/examples/documents
  cuctl store verify store/events.db
  cuctl log info boardd.log
  cuctl conf get boardd.json network mtu'

say "removal"
inside dpkg --purge libcommonutilities-dev libcommonutilities-tools libcommonutilities-doc \
  libcommonutilities13 >/dev/null
left=$(inside find /usr /etc /var -iname '*commonutilities*' -not -path '/var/log/*')
[[ -z $left ]] || { printf 'left behind:\n%s\n' "$left"; exit 1; }
printf '\nthe packages are in %s\n' "$output"
