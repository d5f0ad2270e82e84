#!/usr/bin/env bash
# cppcheck.sh: cppcheck on the library's sources; any report that is not suppressed is a failure.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
cd "$here/../.."

copy=$(mktemp -d)
trap 'rm -rf "$copy"' EXIT
folders=(logging text json containers expr config threads messaging storage process shm platform)
cp -r "${folders[@]}" internal include "$copy"
cd "$copy"
# Debian 12's cppcheck does not know this spelling of an optional comma.
sed -i 's/__VA_OPT__(, ) __VA_ARGS__/, ##__VA_ARGS__/' internal/log_pair.hpp
cppcheck --quiet --std=c++20 --language=c++ --enable=warning,performance,portability \
  --suppressions-list="$here/cppcheck-suppressions.txt" --error-exitcode=1 -D_GNU_SOURCE -I. -Iinclude \
  --template='{file}:{line}: {severity}: {message} [{id}]' "${folders[@]}"
printf 'cppcheck: nothing to report\n'
