#!/usr/bin/env bash
# declared-names.sh INCLUDE: the names that the public headers declare with CU_API, sorted.
set -euo pipefail
cat "$1"/*.h | sed -e '/^ *#/d; s|/\*.*\*/||' | tr '\n' ' ' | grep -oE 'CU_API[^;{]*;' |
  sed -E 's/\(\*[^)]*\)\([^)]*\)//g; s/CU_[A-Z]+\([^)]*\)//g; s/\(.*//; s/\[.*//; s/;.*//' |
  grep -oE '[A-Za-z_][A-Za-z0-9_]*[[:space:]]*$' | tr -d ' ' | sort
