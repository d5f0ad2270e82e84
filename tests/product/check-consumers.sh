#!/usr/bin/env bash
# check-consumers.sh BUILD SOURCE TOOLCHAIN CC CXX [EMULATOR...]: installs the build into a scratch
# tree and builds and runs two outside projects against it: a C++ one through CMake, a C one through
# pkg-config, linked with LDFLAGS.
set -euo pipefail
build=$1 source=$2 toolchain=$3 cc=$4 cxx=$5
shift 5
emulator=("$@")

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
prefix=$scratch/root
cmake --install "$build" --prefix "$prefix" >/dev/null
library_dir=$(dirname "$(find "$prefix" -name libcommonutilities.so)")

options=()
[[ -z $toolchain ]] || options=(-DCMAKE_TOOLCHAIN_FILE="$toolchain")
cmake -S "$source/consumer-cmake" -B "$scratch/cmake" -DCMAKE_BUILD_TYPE=Release \
  -DCMAKE_C_COMPILER="$cc" -DCMAKE_CXX_COMPILER="$cxx" \
  -Dcommonutilities_DIR="$library_dir/cmake/commonutilities" "${options[@]}" >/dev/null
cmake --build "$scratch/cmake" >/dev/null
"${emulator[@]}" "$scratch/cmake/consumer"

export PKG_CONFIG_LIBDIR=$library_dir/pkgconfig
read -ra flags <<<"$(pkg-config --cflags --libs commonutilities) ${LDFLAGS-}"
"$cc" -std=c99 -pedantic -Wall -Wextra -Werror "$source/consumer-pkgconfig/consumer.c" \
  -o "$scratch/consumer" "${flags[@]}" -Wl,-rpath,"$library_dir"
"${emulator[@]}" "$scratch/consumer"
