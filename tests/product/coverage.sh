#!/usr/bin/env bash
# coverage.sh BUILD: what the tests that ran in a build of the "coverage" preset have reached of the
# library, a line for each subsystem; BUILD/coverage.txt lists the lines that nothing reached.
set -euo pipefail
build=$(cd "$1" && pwd)
cd "$(dirname "${BASH_SOURCE[0]}")/../.."

gcovr --root . --object-directory "$build" --exclude-unreachable-branches --exclude-throw-branches \
  --filter '(logging|text|json|containers|expr|config|threads|messaging|storage|process|shm|platform|internal)/' \
  --csv "$build/coverage.csv" --txt "$build/coverage.txt" "$build/CMakeFiles/commonutilities_objects.dir"
awk -F, 'NR > 1 { split($1, path, "/"); name = path[1]
    lines[name] += $2; run[name] += $3; branches[name] += $5; taken[name] += $6 }
  function row(name, l, r, b, t) {
    printf "%-12s %6d of %6d lines %6.1f %%   %6d of %6d branches %6.1f %%\n", name, r, l,
      100 * r / l, t, b, b ? 100 * t / b : 100 }
  END { for (name in lines) { row(name, lines[name], run[name], branches[name], taken[name])
      l += lines[name]; r += run[name]; b += branches[name]; t += taken[name] }
    row("~ all", l, r, b, t) }' "$build/coverage.csv" | sort
