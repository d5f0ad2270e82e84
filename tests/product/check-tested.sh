#!/usr/bin/env bash
# check-tested.sh LIST TESTS: every exported name is used, outside of comments and texts, in a source
# below the folder TESTS.
set -euo pipefail
export LC_ALL=C
list=$1 tests=$2
# shellcheck source=tests/product/names.sh
source "$(dirname "${BASH_SOURCE[0]}")/names.sh"

listed=$(listed_names "$list")
used=$(find "$tests" \( -name '*.[ch]' -o -name '*.cc' -o -name '*.hpp' \) -exec cat {} + |
  sed -E 's/"([^"\\]|\\.)*"//g; s|//.*||; s|/\*.*\*/||g' | grep -oE '[A-Za-z_][A-Za-z0-9_]*' | sort -u)
untested=$(comm -23 <(printf '%s\n' "$listed") <(printf '%s\n' "$used"))
[[ -z $untested ]] || {
  printf 'in no test:\n%s\n' "$untested"
  exit 1
}
printf '%s exported names, all used in tests\n' "$(wc -l <<<"$listed")"
