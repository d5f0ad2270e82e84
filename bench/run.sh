#!/usr/bin/env bash
# run.sh FOLDER [family...]: runs the benchmark programs of a build, all or the named families. The
# files that they write live in memory (/dev/shm).
set -euo pipefail
folder=$1
shift
export TMPDIR=/dev/shm
status=0
families=("$@")
((${#families[@]})) || mapfile -t families < <(
  find "$folder" -maxdepth 1 -name "bench_*" -type f -executable -printf "%f\n" | sed "s/^bench_//" | sort)
for family in "${families[@]}"; do
  "$folder/bench_$family" ${BENCH_JSON:+--json "$BENCH_JSON"} || status=1
done
exit "$status"
