#!/usr/bin/env bash
# threads.sh BUILD [seconds [seed]]: every case with threads or processes that work side by side, at
# its full size, over and over for so many seconds each, in an order that the seed decides. What the
# scheduler does is different each time; a round that takes a quarter of an hour has stalled.
set -euo pipefail
# shellcheck source=tests/long/verdict.sh
source "$(dirname "${BASH_SOURCE[0]}")/verdict.sh"
build=$1 seconds=${2:-1800} seed=${3:-$(any_seed)}

# A program, and its tests.
readonly CASES=(
  'logging/test_log_threads *'
  'containers/test_notify_queue_threads *'
  'messaging/test_flex_queue_stress *'
  'messaging/test_flex_msg_queue_stress *'
  'messaging/test_message_queue *MessageQueueThreads*'
  'storage/test_store_threads *ThreadsCreateSaveAndFind*:*RunsBeside*'
  'threads/test_ping_pong *'
  'shm/test_shared_memory BetweenProcesses.*')

out=$(mktemp)
trap 'rm -f "$out"' EXIT
# round PROGRAM TESTS SEED: one time through. To run none of the tests is a failure as well.
round() {
  CU_TEST_FULL=1 timeout 900 "$build/tests/$1" --gtest_filter="$2" --gtest_brief=1 \
    --gtest_shuffle --gtest_random_seed=$(($3 % 99999 + 1)) >"$out" 2>&1 &&
    grep -q 'PASSED.* [1-9]' "$out"
}

status=0 rounds_of_all=0 longest=0
for case in "${CASES[@]}"; do
  read -r program tests <<<"$case"
  end=$((SECONDS + seconds)) rounds=0
  while ((rounds == 0 || SECONDS < end)); do
    begin=$SECONDS
    if ! round "$program" "$tests" $((seed + rounds)); then
      status=1
      printf '%s failed in round %d\n' "$program" "$rounds"
      tail -n 40 "$out"
    fi
    rounds=$((rounds + 1))
    ((SECONDS - begin <= longest)) || longest=$((SECONDS - begin))
  done
  printf '%s: %d rounds\n' "$program" "$rounds"
  rounds_of_all=$((rounds_of_all + rounds))
done
verdict threads "$seed" "$status" cases "${#CASES[@]}" seconds_each "$seconds" \
  rounds "$rounds_of_all" longest_round_seconds "$longest"
