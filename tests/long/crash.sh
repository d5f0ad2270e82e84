#!/usr/bin/env bash
# crash.sh BUILD [kills [seed]]: a process killed at each of its file calls, and then so many times
# at a random moment, while it saves a store and while it writes a log; after each kill the files
# are checked and a new process starts on them. Then the store and the logger are started on twice as
# many states each that a power cut can leave of their files.
set -euo pipefail
# shellcheck source=tests/long/verdict.sh
source "$(dirname "${BASH_SOURCE[0]}")/verdict.sh"
build=$1 kills=${2:-10000} seed=${3:-$(any_seed)}

out=$(mktemp)
trap 'rm -f "$out"' EXIT
status=0
printf 'seed %d\n' "$seed"
for program in storage/test_store_kill logging/test_log_kill storage/test_store_power_cut \
  logging/test_log_power_cut; do
  CU_TEST_FULL=1 CU_SEED=$seed CU_KILLS=$kills CU_STATES=$((2 * kills)) "$build/tests/$program" --gtest_brief=1 |
    tee -a "$out" || status=1
done
done_kills=$(sed -nE 's/^\[  note    \] seed [0-9]+: ([0-9]+) kills.*/\1/p' "$out" | awk '{ n += $1 } END { print n + 0 }')
((done_kills == 2 * kills)) || status=1
states=$(sed -nE 's/^\[  note    \] seed [0-9]+: ([0-9]+) states.*/\1/p' "$out" | awk '{ n += $1 } END { print n + 0 }')
((states == 4 * kills)) || status=1
refused=$(sed -nE 's/.* ([0-9]+) refused files$/\1/p' "$out")
verdict crash "$seed" "$status" random_kills "${done_kills:-0}" refused_stores "${refused:-0}" \
  power_cuts "${states:-0}"
