#!/usr/bin/env bash
# fuzz.sh BUILD [seconds [seed]]: every fuzz target of a build of the "fuzz" or the "fuzz-i386" preset,
# for so many seconds each, from the kept corpus on. By default for what a release takes: 24 hours of
# processor time in all, 5,083 s for each of 17 targets.
set -euo pipefail
# shellcheck source=tests/long/verdict.sh
source "$(dirname "${BASH_SOURCE[0]}")/verdict.sh"
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
build=$1
count=$(find "$build/fuzz" -maxdepth 1 -name 'fuzz_*' -type f -executable | wc -l)
((count > 0)) || {
  printf 'no fuzz target in %s\n' "$build/fuzz" >&2
  exit 2
}
seconds=${2:-$(((24 * 3600 + count - 1) / count))} seed=${3:-$(any_seed)}

status=0
printf 'seed %d\n' "$seed"
rm -f "$build"/fuzz/found/*.log
CU_SEED=$seed "$here/../../fuzz/run.sh" "$build/fuzz" "$seconds" || status=1
targets=$(find "$build/fuzz/found" -maxdepth 1 -name '*.log' | wc -l)
runs=$(sed -nE 's/^stat::number_of_executed_units: +//p' "$build"/fuzz/found/*.log | awk '{ n += $1 } END { print n + 0 }')
verdict fuzz "$seed" "$status" targets "$targets" seconds_each "$seconds" runs "${runs:-0}"
