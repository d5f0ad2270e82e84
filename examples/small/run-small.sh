#!/usr/bin/env bash
# run-small.sh NAME FOLDER SCRATCH COMMAND...: runs an example in an empty SCRATCH with the documents
# of FOLDER, and compares what it prints, and the latest line of its log, with NAME.expected.
set -euo pipefail
name=$1 folder=$2 scratch=$3
shift 3

rm -rf "$scratch"
mkdir -p "$scratch"
cp "$folder"/*.json "$folder"/*.logenable "$scratch"
cd "$scratch"
status=0
"$@" >output 2>errors || status=$?
# A log that has started over is not in the order of time: its lines tell their time themselves.
for log in *.log; do
  [[ ! -e $log ]] || grep -aoE ' INFO \([0-9]+\)\].*' "$log" | sort | tail -n 1 | sed 's/^[^]]*]/log: /'
done >>output
if ((status)) || ! diff "$folder/$name.expected" output; then
  cat errors
  echo "$name ended with $status; < expected, > printed"
  exit 1
fi
