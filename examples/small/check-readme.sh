#!/usr/bin/env bash
# check-readme.sh README EXAMPLE: the first C block of README is the file EXAMPLE.
set -euo pipefail
diff <(awk '/^```c$/ { inside = 1; next } /^```$/ && inside { exit } inside' "$1") "$2" ||
  { echo "the first example of $1 (<) is not $2 (>)"; exit 1; }
