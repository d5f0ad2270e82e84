#!/usr/bin/env bash
# check-gdb.sh PROGRAM SCRIPT LIBRARY [SYSROOT EMULATOR...]: gdb with the library's printers shows each
# record of the program by what it holds, live and from a core file, cu-log shows the end of its log,
# and the printers come with the library. A program for another machine runs in qemu's EMULATOR, and
# gdb-multiarch looks at it. Ends with 77 where no gdb could do that.
set -euo pipefail
program=$(realpath "$1") script=$(realpath "$2") library=$(realpath "$3")
sysroot=${4-} emulator=("${@:5}")
debugger=gdb
((${#emulator[@]} == 0)) || debugger="gdb-multiarch"

skip() { echo "skipped: $1"; exit 77; }
command -v "$debugger" >/dev/null || skip "$debugger is not installed"
"$debugger" -nx -batch -ex 'python print("has python")' 2>&1 | grep -q '^has python' ||
  skip "this $debugger has no Python"

dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
cd "$dir"
echo 'LOGLEVEL: 255' >settings
commands=(-ex 'frame function main')
for record in tree ports names numbers texts messages ring publisher table '*gDBGLogCtrl'; do
  commands+=(-ex "echo $record:\ " -ex "print $record")
done
commands+=(-ex 'print ((DBGLogCtrl){0})' -ex 'cu-log 2')

gdb=("$debugger" -nx -batch -iex 'set debuginfod enabled off')
((${#emulator[@]} == 0)) ||
  gdb+=(-iex "set sysroot $sysroot" -iex "set solib-search-path ${library%/*}:$sysroot/lib")

# run LOG: the program is started; `begin` has the commands that let it run on.
run() {
  begin=(-ex "run settings $1 >/dev/null 2>&1")
  ((${#emulator[@]})) || return 0
  "${emulator[0]}" -g "$dir/$1.socket" "${emulator[@]:1}" "$program" settings "$1" >/dev/null 2>&1 &
  until [[ -S $1.socket ]] || ! kill -0 $! 2>/dev/null; do sleep 0.05; done
  begin=(-ex "target remote $dir/$1.socket" -ex continue)
}

core_commands=(-ex 'generate-core-file core')
if ((${#emulator[@]})); then
  # The emulator writes the core file of what it runs.
  core_commands=()
  ulimit -c unlimited
  ("${emulator[@]}" "$program" settings demo.log || true) >/dev/null 2>&1
  rm demo.log
  mv qemu_*.core core
fi
run demo.log
"${gdb[@]}" -iex 'set auto-load off' "$program" -ex "source $script" -ex 'set print pretty off' \
  "${begin[@]}" "${core_commands[@]}" "${commands[@]}" >live 2>errors || true
"${gdb[@]}" -iex 'set auto-load off' "$program" core -ex "source $script" \
  -ex 'set print pretty off' "${commands[@]}" >dead 2>>errors || true
! grep -qE 'ptrace: Operation not permitted|Could not trace the inferior' live errors ||
  skip "this machine lets no debugger in"

# As installed: below gdb's own directory, under the library's path.
mkdir -p "auto-load${library%/*}"
cp "$script" "auto-load$library-gdb.py"
run other.log
"${gdb[@]}" -iex "set auto-load scripts-directory $dir/auto-load" \
  -iex "set auto-load safe-path $dir/auto-load" "$program" -ex 'break main' "${begin[@]}" -ex cu-log \
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
