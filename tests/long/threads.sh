#!/usr/bin/env bash
# threads.sh BUILD [seconds [seed [case...]]]: every case with threads or processes that work side by
# side, or the named ones, at its full size, over and over for so many seconds each, in an order that
# the seed decides. A release runs 1800 seconds. What the scheduler does is different each time; a
# round that takes a quarter of an hour has stalled, and one in which five seconds pass without a step
# fails where the tests can tell. A name that is no case gets the list of them.
set -euo pipefail
# shellcheck source=tests/long/verdict.sh
source "$(dirname "${BASH_SOURCE[0]}")/verdict.sh"
build=$1 seconds=${2:-1800} seed=${3:-$(any_seed)}

# By name, a program and its tests.
readonly -A CASES=(
  [log]='logging/test_log_threads *'
  [ring]='containers/test_notify_queue_threads *'
  [flex]='messaging/test_flex_queue_stress *'
  [flex-msg]='messaging/test_flex_msg_queue_stress *'
  [messages]='messaging/test_message_queue *MessageQueueThreads*'
  [store]='storage/test_store_threads *ThreadsCreateSaveAndFind*:*RunsBeside*'
  [ping-pong]='threads/test_ping_pong *'
  [segment]='shm/test_shared_memory BetweenProcesses.*')
chosen=("${@:4}")
((${#chosen[@]})) || mapfile -t chosen < <(printf '%s\n' "${!CASES[@]}" | sort)
for name in "${chosen[@]}"; do
  [[ -n ${CASES[$name]-} ]] || {
    printf 'no case "%s"; there are: %s\n' "$name" "$(printf '%s\n' "${!CASES[@]}" | sort | xargs)" >&2
    exit 2
  }
done

out=$(mktemp) properties=$(mktemp)
trap 'rm -f "$out" "$properties"' EXIT
# round PROGRAM TESTS SEED: one time through. To run none of the tests is a failure as well.
round() {
  CU_TEST_FULL=1 timeout 900 "$build/tests/$1" --gtest_filter="$2" --gtest_brief=1 \
    --gtest_shuffle --gtest_random_seed=$(($3 % 99999 + 1)) --gtest_output=json:"$properties" \
    >"$out" 2>&1 &&
    grep -q 'PASSED.* [1-9]' "$out"
}
# The longest time without a step that the last round's tests have seen, in milliseconds.
standstill() {
  sed -nE 's/.*"longest_standstill_ms": "?([0-9]+).*/\1/p' "$properties" | sort -n | tail -n 1
}

status=0 rounds_of_all=0 longest=0 stillest_of_all=0
for name in "${chosen[@]}"; do
  read -r program tests <<<"${CASES[$name]}"
  end=$((SECONDS + seconds)) rounds=0 stillest=
  while ((rounds == 0 || SECONDS < end)); do
    begin=$SECONDS
    : >"$properties"
    if ! round "$program" "$tests" $((seed + rounds)); then
      status=1
      printf '%s failed in round %d\n' "$program" "$rounds"
      tail -n 40 "$out"
    fi
    rounds=$((rounds + 1))
    ((SECONDS - begin <= longest)) || longest=$((SECONDS - begin))
    stood=$(standstill)
    ((${stood:-0} <= ${stillest:--1})) || stillest=$stood
  done
  printf '%s: %d rounds%s\n' "$name" "$rounds" "${stillest:+, at most $stillest ms without a step}"
  rounds_of_all=$((rounds_of_all + rounds))
  ((${stillest:-0} <= stillest_of_all)) || stillest_of_all=$stillest
done
verdict threads "$seed" "$status" cases "${#chosen[@]}" seconds_each "$seconds" \
  rounds "$rounds_of_all" longest_round_seconds "$longest" longest_standstill_ms "$stillest_of_all"
