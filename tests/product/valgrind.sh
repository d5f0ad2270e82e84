#!/usr/bin/env bash
# valgrind.sh BUILD [PATTERN]: the test programs whose names match, all by default, under valgrind's
# memory check: reads and writes out of bounds, and decisions that depend on memory never written.
# Leaks are AddressSanitizer's to find. Ends with how many programs had a report.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
build=$(cd "$1" && pwd) pattern=${2:-.}

# These look at time or at themselves in ways that do not bear a program between them and the
# processor: they measure stacks, memory and calls, trace children, end on signals of their own, or try
# so many inputs that it would take hours.
readonly NOT_UNDER_VALGRIND='test_(small_stack|log_kill|log_system_calls|store_kill|signals|signal_install|backtrace|text_internals)$'

# Of the others, these measure time and memory.
export GTEST_FILTER='-LargeDocuments.*'

reports=$(mktemp -d)
trap 'rm -rf "$reports"' EXIT
passed=0 failed=()
while read -r program; do
  name=$(basename "$program")
  status=0
  (cd "$(dirname "$program")" && timeout 900 valgrind --tool=memcheck -q --leak-check=no \
    --error-exitcode=99 --child-silent-after-fork=yes --fair-sched=yes --max-stackframe=8000000 \
    --suppressions="$here/valgrind.supp" \
    "$program" --gtest_brief=1) >"$reports/$name" 2>&1 || status=$?
  if ((status == 0)) && ! grep -q '^==[0-9]*== ' "$reports/$name"; then
    passed=$((passed + 1))
  else
    failed+=("$name")
    tail -n 60 "$reports/$name"
    printf '%s ended with %d\n' "$name" "$status"
  fi
done < <(find "$build/tests" -name 'test_*' -type f -executable | grep -E "$pattern" |
  grep -Ev "$NOT_UNDER_VALGRIND" | sort)
printf '%d programs without a report, %d with: %s\n' "$passed" "${#failed[@]}" "${failed[*]-}"
((${#failed[@]} == 0 && passed > 0))
