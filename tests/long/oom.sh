#!/usr/bin/env bash
# oom.sh BUILD [rounds [seed]]: all programs that fail allocations and system calls, so many times
# over, their tests in an order that the seed decides. Each round injects the same faults; what
# differs is what ran before. By default 15 rounds, for more than 200,000 faults of memory.
set -euo pipefail
# shellcheck source=tests/long/verdict.sh
source "$(dirname "${BASH_SOURCE[0]}")/verdict.sh"
build=$1 rounds=${2:-15} seed=${3:-$(any_seed)}

tally=$(mktemp)
trap 'rm -f "$tally"' EXIT
programs=$(ctest --test-dir "$build" -L '^faults$' -N | sed -n 's/^Total Tests: //p')
status=0
for ((round = 0; round < rounds; ++round)); do
  printf 'round %d of %d, seed %d\n' $((round + 1)) "$rounds" $((seed + round))
  CU_FAULTS_FILE=$tally CU_TEST_FULL=1 GTEST_SHUFFLE=1 GTEST_RANDOM_SEED=$((seed + round)) \
    ctest --test-dir "$build" -L '^faults$' --output-on-failure --progress || status=$?
done
# A program that broke off has left no line.
(($(wc -l <"$tally") == programs * rounds && programs > 0)) || status=1
read -r memory other calls memory_scenarios other_scenarios < <(awk -v rounds="$rounds" '
  { m += $3; o += $6; c += $4 + $7; ms += $9; os += $10 }
  END { print m + 0, o + 0, c + 0, ms / rounds, os / rounds }' "$tally")
verdict oom "$seed" "$status" rounds "$rounds" programs "$programs" memory_scenarios "$memory_scenarios" \
  memory_faults "$memory" other_scenarios "$other_scenarios" other_faults "$other" failed_calls "$calls"
