#!/usr/bin/env bash
# check-gdb.sh PROGRAM SCRIPT LIBRARY: gdb with the library's printers shows each record of the program
# by what it holds, live and from a core file, cu-log shows the end of its log, and the printers come
# with the library. Ends with 77 where no gdb could do that.
set -euo pipefail
program=$(realpath "$1") script=$(realpath "$2") library=$(realpath "$3")

skip() { echo "skipped: $1"; exit 77; }
command -v gdb >/dev/null || skip "gdb is not installed"
gdb -nx -batch -ex 'python print("has python")' 2>&1 | grep -q '^has python' ||
  skip "this gdb has no Python"

dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
cd "$dir"
echo 'LOGLEVEL: 255' >settings
commands=(-ex 'frame function main')
for record in tree ports names numbers texts messages ring publisher table '*gDBGLogCtrl'; do
  commands+=(-ex "echo $record:\ " -ex "print $record")
done
commands+=(-ex 'print ((DBGLogCtrl){0})' -ex 'cu-log 2')

gdb=(gdb -nx -batch -iex 'set auto-load off' -iex 'set debuginfod enabled off')
"${gdb[@]}" "$program" -ex "source $script" -ex 'set print pretty off' \
  -ex "run settings demo.log >/dev/null 2>&1" -ex "generate-core-file core" "${commands[@]}" \
  >live 2>errors || true
"${gdb[@]}" "$program" core -ex "source $script" -ex 'set print pretty off' "${commands[@]}" \
  >dead 2>>errors || true
! grep -qE 'ptrace: Operation not permitted|Could not trace the inferior' live errors ||
  skip "this machine lets no debugger in"

# As installed: below gdb's own directory, under the library's path.
mkdir -p "auto-load${library%/*}"
cp "$script" "auto-load$library-gdb.py"
gdb -nx -batch -iex "set auto-load scripts-directory $dir/auto-load" \
  -iex "set auto-load safe-path $dir/auto-load" -iex 'set debuginfod enabled off' "$program" \
  -ex 'break main' -ex 'run settings other.log >/dev/null 2>&1' -ex cu-log \
  -ex 'cu-log 1 /nonexistent/log' >loaded 2>&1 || true

failures=0
expect() { # TEXT in both
  local output
  for output in live dead; do
    grep -qF -- "$1" "$output" || {
      printf 'the %s program lacks: %s\n' "$output" "$1"
      ((++failures))
    }
  done
}
# shellcheck disable=SC2016 # a name of gdb's
expect 'tree:$1 = object of 2 = {'
expect '"board" = "carrier-7"'
expect '"fans" = array of 2 = {[0] = 1, [1] = object of 1 = {"rpm" = 2400}}'
expect 'Map of 1 = {["https"] = '
expect 'Stack of 1 = {'
expect 'rfIntArray of 2 = {[0] = 7, [1] = -9}'
expect 'rfStringArray of 1 = {'
expect 'MessageQueue, 1 of 4 messages, 0 wraps = {[0] = "link down"}'
expect 'SimpleQueue, 1 of 3 entries = {'
expect 'FlexMsgQueue, 2 subscriber slots = {[0] = SimpleQueue, 1 of 5 entries = {'
expect 'FlexQueue, 1 of 4 entries = {'
expect 'DBGLogCtrl: on, "demo.log" at '
expect 'levels EMERGENCY,ALERT,CRITICAL,ERROR,WARNING,NOTICE,INFO,DEBUG, console off, syslog off, 1 users'
expect 'DBGLogCtrl with a wrong magic (0x0)'
expect '[demo:1]middle\x1b[31m [1 : 1 ERROR (0)]not a line'
expect '[demo:2]newest'
if grep -qF '[demo:0]old' live dead; then
  echo "cu-log 2 shows more than two lines"
  ((++failures))
fi
for told in 'the program has no logger' \
  '/nonexistent/log: No such file or directory; say where the log is: cu-log 1 FILE'; do
  grep -qxF "$told" loaded || {
    printf 'the printers that came with the library do not say: %s\n' "$told"
    cat loaded
    ((++failures))
  }
done
if grep -E 'Python Exception|Traceback' live dead errors; then ((++failures)); fi

((failures == 0)) || { head -n 40 dead errors; exit 1; }
echo "every record is shown, live and from a core file"
