#!/usr/bin/env bash
# run.sh FOLDER [--rounds N] [--json FILE] [--report] [family...]: runs the benchmark programs of a
# build, all or the named families; the files that they write live in memory (/dev/shm). --report
# runs all of them and writes docs/performance.md and docs/performance.svg.
set -euo pipefail
folder=$1
shift
export TMPDIR=/dev/shm

rounds=15 json='' report=''
families=()
while (($#)); do
  case $1 in
    --rounds)
      [[ ${2-} =~ ^[1-9][0-9]*$ ]] || { printf 'bench: --rounds needs a number\n' >&2 && exit 2; }
      rounds=$2 && shift 2
      ;;
    --json) json=$2 && shift 2 ;;
    --report) report=yes && shift ;;
    -*) printf 'bench: no option "%s"\n' "$1" >&2 && exit 2 ;;
    *) families+=("$1") && shift ;;
  esac
done
mapfile -t all < <(
  find "$folder" -maxdepth 1 -name 'bench_*' -type f -executable -printf '%f\n' | sed 's/^bench_//' | sort)
((${#families[@]})) || families=("${all[@]}")
if [[ -n $report ]]; then
  families=("${all[@]}")
  json=$(mktemp)
  trap 'rm -f "$json"' EXIT
fi

status=0
for family in "${families[@]}"; do
  if [[ ! -x $folder/bench_$family ]]; then
    printf 'bench: no family "%s"; there are: %s\n' "$family" "${all[*]}" >&2
    exit 2
  fi
  "$folder/bench_$family" --rounds "$rounds" ${json:+--json "$json"} || status=1
done
if [[ -n $report ]]; then
  here=$(dirname "${BASH_SOURCE[0]}")
  "$here/report.py" "$json" --rounds "$rounds" --library "$folder/../libcommonutilities.so" \
    --size "$folder/../size.txt" --docs "$here/../docs"
fi
exit "$status"
