#!/usr/bin/env bash
# fuzz.sh BUILD [seconds [seed]]: every fuzz target of a build of the "fuzz" preset, for so many
# seconds each, from the kept corpus on.
set -euo pipefail
# shellcheck source=tests/long/verdict.sh
source "$(dirname "${BASH_SOURCE[0]}")/verdict.sh"
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
build=$1 seconds=${2:-600} seed=${3:-$(any_seed)}

status=0
printf 'seed %d\n' "$seed"
rm -f "$build"/fuzz/found/*.log
CU_SEED=$seed "$here/../../fuzz/run.sh" "$build/fuzz" "$seconds" || status=1
targets=$(find "$build/fuzz/found" -maxdepth 1 -name '*.log' | wc -l)
runs=$(sed -nE 's/^stat::number_of_executed_units: +//p' "$build"/fuzz/found/*.log | awk '{ n += $1 } END { print n + 0 }')
verdict fuzz "$seed" "$status" targets "$targets" seconds_each "$seconds" runs "${runs:-0}"
