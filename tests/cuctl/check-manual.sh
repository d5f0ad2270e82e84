#!/usr/bin/env bash
# check-manual.sh CUCTL BOARDD PLUGIN DOCUMENTS PAGE: every command has an example in the page, and
# each example, run beside the demo daemon, prints what the page shows, numbers apart.
set -euo pipefail
cuctl=$1 boardd=$2 plugin=$3 documents=$4 page=$5
export TZ=UTC NO_COLOR=1
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)

dir=$(mktemp -d)
daemon=
cleanup() {
  [[ -z $daemon ]] || { kill "$daemon" && wait "$daemon"; } 2>/dev/null || true
  rm -rf "$dir"
}
trap cleanup EXIT
"$here/boardd-folder.sh" "$dir" "$boardd" "$plugin" "$documents"
mkdir "$dir/bin" "$dir/running"
ln -s "$cuctl" "$dir/bin/cuctl"
PATH=$dir/bin:$PATH
cd "$dir"

# The daemon holds its shared memory as long as it runs; it runs in a folder of its own.
(cd running && cp "$documents"/* . && mkdir plugins && cp "$plugin" plugins/ &&
  exec "$boardd" --seconds 120) >/dev/null 2>&1 &
daemon=$!
deadline=$((SECONDS + 60))
until cuctl shm info /boardd.temps boardd.lock >/dev/null 2>&1; do
  if ((SECONDS >= deadline)) || ! kill -0 "$daemon"; then
    echo "the daemon made no shared memory"
    exit 1
  fi
done

failures=0
fail() {
  printf '%s\n' "$*"
  ((++failures))
}

# Numbers, their signs, checksums and the bytes of a dump differ from run to run (a 32-bit stamp of
# the wall clock turns negative every 36 minutes); the rest does not.
normal() {
  sed -E 's/^[0-9a-f]{8}  ([0-9a-f]{2} +){1,16} *.{1,16}$/DUMP/; s/(^| )-([0-9])/\1\2/g; s/\b[0-9a-f]+\b/0/g; s/[0-9]+/0/g; s/ +/ /g'
}

# The shown lines come in this order; "..." stands for any.
compare() { # COMMAND EXPECTED-FILE OUTPUT-FILE
  local line at=0 found
  while IFS= read -r line; do
    [[ $line != ... ]] || continue
    found=$(tail -n "+$((at + 1))" "$3" | normal | grep -nxF -m 1 -- "$(normal <<<"$line")" | cut -d: -f1) || true
    if [[ -z $found ]]; then
      fail "$1: the page shows \"$line\", but it prints:"
      head -n 8 "$3"
      return
    fi
    at=$((at + found))
  done <"$2"
}

command=
finish() {
  [[ -n $command ]] || return 0
  # No example may drive a line of the machine that runs the tests.
  if [[ $command == *"cuctl gpio "* ]]; then
    command="${command% [0-9]*} --help"
    : >expected
  fi
  local status=0
  bash -c "$command" >output 2>&1 </dev/null || status=$?
  ((status == 0 || status == 1)) || { fail "$command: ended with $status"; cat output; }
  compare "$command" expected output
  command=
}

while IFS= read -r line; do
  case $line in
    "\$ cuctl "*)
      finish
      command=${line#"$ "}
      : >expected
      ;;
    '```') finish ;;
    *) [[ -z $command ]] || printf '%s\n' "$line" >>expected ;;
  esac
done <"$page"

# subcommands COMMAND...: the names in the second half of its help.
subcommands() {
  cuctl "$@" --help | sed -n '/^Subcommands:/,/^$/s/^  \([a-z0-9]\{1,\}\) .*/\1/p'
}
count=0
for first in $(subcommands); do
  inner=$(subcommands "$first")
  for command in ${inner:-.}; do
    full="$first ${command#.}"
    ((++count))
    grep -q "^\$ cuctl ${full% }" "$page" || fail "no example of cuctl $full"
  done
done
((count >= 30)) || fail "the help lists only $count commands"

((failures == 0)) || exit 1
echo "$count commands, each with an example that prints what the page shows"
