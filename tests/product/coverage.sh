#!/usr/bin/env bash
# coverage.sh BUILD [corpus]: what the tests that ran in a build of the "coverage" preset have reached
# of the library, a line for each subsystem; or what the kept inputs of the fuzz targets, replayed in
# one of "coverage-corpus", have reached of the code that reads, a line for each file. Fails where
# less is reached than is kept up: 98 % of the lines and 95 % of the branches by tests, 90 % of the
# lines by the inputs; and where a branch for want of memory was not taken by any test.
# BUILD/coverage.txt lists the lines that nothing reached.
set -euo pipefail
build=$(cd "$1" && pwd) by=${2:-tests}
cd "$(dirname "${BASH_SOURCE[0]}")/../.."

# What documents, texts and files that come from outside go through.
readonly READERS='expr/.*|json/.*|text/(bytes|digits|number_base|token|uuid|string|substitute|search).*|config/(common_config|data_types|param_(getters|lookup|substitution))\.cc|logging/settings_file\.cc|messaging/message_queue_stream\..*|platform/(board_topology|file_dictionary|sensor_monitor)\.cc|process/custom_action\.cc|storage/store_(block|checksum|crc|load|scan).*'
if [[ $by == corpus ]]; then
  least_lines=90 least_branches=0 each_by=file gcov=(--gcov-executable 'llvm-cov gcov') filter="($READERS)\$"
else
  least_lines=98 least_branches=95 each_by=folder gcov=()
  filter='(logging|text|json|containers|expr|config|threads|messaging|storage|process|shm|platform|internal)/'
fi

gcovr "${gcov[@]}" --root . --object-directory "$build" --exclude-unreachable-branches --exclude-throw-branches \
  --filter "$filter" --csv "$build/coverage.csv" --txt "$build/coverage.txt" --json "$build/coverage.json" \
  "$build/CMakeFiles/commonutilities_objects.dir"
awk -F, -v each_by="$each_by" 'NR > 1 { name = $1
    if (each_by == "folder") sub("/.*", "", name)
    lines[name] += $2; run[name] += $3; branches[name] += $5; taken[name] += $6 }
  function row(name, l, r, b, t) {
    printf "%-32s %6d of %6d lines %6.1f %%   %6d of %6d branches %6.1f %%\n", name, r, l,
      100 * r / l, t, b, b ? 100 * t / b : 100 }
  END { for (name in lines) { row(name, lines[name], run[name], branches[name], taken[name])
      l += lines[name]; r += run[name]; b += branches[name]; t += taken[name] }
    row("~ all", l, r, b, t) }' "$build/coverage.csv" | sort | tee "$build/coverage.rows"
awk -v least_lines="$least_lines" -v least_branches="$least_branches" '$1 == "~" &&
  ($7 < least_lines || $13 < least_branches) {
    printf "less than %d %% of the lines or %d %% of the branches\n", least_lines, least_branches; exit 1 }' \
  "$build/coverage.rows"
[[ $by == corpus ]] || tests/product/untaken.py "$build/coverage.json"
