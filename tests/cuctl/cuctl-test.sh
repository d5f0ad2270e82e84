#!/usr/bin/env bash
# cuctl-test.sh CUCTL BOARDD PLUGIN DOCUMENTS: every command on good, damaged and hostile input; what
# it prints, and its exit code.
set -uo pipefail
cuctl=$1 boardd=$2 plugin=$3 documents=$4
export TZ=UTC NO_COLOR=1

dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
cd "$dir" || exit 1
cp "$documents"/* .
mkdir plugins
cp "$plugin" plugins/
"$boardd" --seconds 1 >/dev/null 2>&1 || { echo "boardd failed"; exit 1; }

failures=0
# run EXIT-CODE TEXT ARGUMENT...: the command ends with the code, and its output contains the text.
run() {
  local code=$1 text=$2 output status=0
  shift 2
  output=$("$cuctl" "$@" 2>&1 </dev/null) || status=$?
  if ((status != code)) || [[ $output != *"$text"* ]]; then
    printf 'cuctl %s: exit %s (expected %s), output lacks "%s":\n%s\n' "$*" "$status" "$code" \
      "$text" "$output" | head -n 12
    ((++failures))
  fi
}

run 0 "libcommonutilities.so.13" --version
run 0 "Exit codes" --help
run 2 "" --no-such-option
run 2 "" log

# Logs.
run 0 "lines, 0 torn" log info boardd.log
run 0 "next open: writes at end" log info --size 262144 boardd.log
run 0 "next open: starts over, mute" log info --size 100 boardd.log
run 0 "the board is unusable" log cat -p EMERGENCY boardd.log
run 0 '"name":"EMERGENCY"' --json log cat -p 0 boardd.log
run 1 "" log cat -g "no line says this" boardd.log
run 2 "not a level" log cat -p LOUD boardd.log
run 2 "not a time" log cat --since whenever boardd.log
run 3 "No such file" log cat missing.log
printf 'no header and no line' >noise.log
run 4 "" log cat noise.log
printf '\x04\0\0\0' >fresh.log
run 0 "position 4 of 4, 0 lines" log info fresh.log
# A wrapped log: new lines in front, a torn one behind them, older ones after that.
line() { printf '[1 : 1 INFO (%s)][m:1]%s\n' "$1" "$2"; }
{ printf 'HEAD'; line 5000000000 new; printf 'of an old line\n'; line 1000000000 old; line 2000000000 older-not; } >wrapped.log
position=$((4 + $(line 5000000000 new | wc -c)))
# shellcheck disable=SC2059
printf "\\x$(printf %02x "$position")\\0\\0\\0" | dd of=wrapped.log conv=notrunc bs=1 2>/dev/null
run 0 "3 lines, 1 torn" log info wrapped.log
[[ $("$cuctl" log cat wrapped.log | sed 's/.*\]//' | tr '\n' ' ') == "old older-not new " ]] ||
  { echo "a wrapped log is not in the order of time"; ((++failures)); }
run 0 "new" log follow --for 1 wrapped.log

# Following with a cursor: each line once, whatever the clock does, and over wraps.
# log_of POSITION: what is on standard input, as a log with this position; 0 for its end.
log_of() {
  local body position
  body=$(cat && printf .)
  body=${body%.}
  position=$(($1 ? $1 : 4 + ${#body}))
  # shellcheck disable=SC2059
  printf "$(printf '\\x%02x\\x%02x\\0\\0' $((position & 255)) $((position >> 8)))" >followed.new
  printf %s "$body" >>followed.new
  mv followed.new followed.log
}
lines() { # FIRST LAST
  local i
  for ((i = $1; i <= $2; ++i)); do line "${i}000000000" "number-$i"; done
}
follow() { # EXPECTED ARGUMENT...: the numbers that are shown
  local expected=$1 got
  shift
  got=$("$cuctl" log follow --for 1 "$@" followed.log 2>&1 | sed 's/.*number-//' | paste -sd " ")
  [[ $got == "$expected" ]] || { printf 'follow %s: "%s" instead of "%s"\n' "$*" "$got" "$expected"; ((++failures)); }
}
lines 1 14 | log_of 0
follow "5 6 7 8 9 10 11 12 13 14"
follow "1 2 3 4 5 6 7 8 9 10 11 12 13 14" --cursor cursor
follow "" --cursor cursor
{ lines 1 14; line 7 number-back; lines 15 15; } | log_of 0
follow "back 15" --cursor cursor
# The log starts over: the oldest lines are overwritten.
length=$(lines 16 17 | wc -c)
round() { lines 16 17 && { lines 1 14; line 7 number-back; lines 15 15; } | tail -c "+$((length + 1))"; }
round | log_of $((4 + length))
follow "16 17" --cursor cursor
# The daemon starts again, and goes on at the end.
{ round; lines 18 18; } | log_of 0
follow "18" --cursor cursor
lines 30 31 | log_of 0
follow "-- the log went round since the last look, lines may be missing -- 30 31" --cursor cursor
echo '{"cursor":1,"newest":"?"}' >cursor
follow "cuctl: cursor: not a cursor; beginning with the oldest line 30 31" --cursor cursor
run 3 "/nowhere/cursor" log follow --for 1 --cursor /nowhere/cursor followed.log
run 2 "requires --to" log follow --every 1 followed.log

# A command that takes the lines: what it refuses is offered again, what it took is not.
rm -f cursor
lines 1 600 | log_of 0
# hand_over CONDITION COMMAND: follows until the condition holds.
hand_over() {
  local pid status=0 deadline=$((SECONDS + 60))
  "$cuctl" log follow --cursor cursor --to "$2" followed.log 2>told &
  pid=$!
  until eval "$1" || ((SECONDS >= deadline)); do sleep 0.05; done
  kill "$pid"
  wait "$pid" || status=$?
  { eval "$1" && ((status == 0)); } || { echo "following with $2: not $1, ended with $status"; ((++failures)); }
}
hand_over 'grep -q "ended with 7; 600 lines are kept" told' 'cat >>refused; exit 7'
[[ ! -e cursor ]] || { echo "a cursor moved on without the command"; ((++failures)); }
hand_over 'test -e cursor' 'cat >>taken; test -e again || { touch again; exit 7; }'
[[ $(wc -l <taken) == 1100 && $(sort -u taken | wc -l) == 600 ]] ||
  { echo "the command was given $(wc -l <taken) lines, $(sort -u taken | wc -l) different ones"; ((++failures)); }
follow "" --cursor cursor
run 1 "" log follow --for 1 --to 'exec sleep 100' followed.log
# The cursor moves on although lines never stop coming.
rm -f cursor
(n=1000; until [[ -e stop ]]; do line "$((++n))000000000" "number-$n"; sleep 0.02; done >>followed.log) &
hand_over 'test -e cursor' 'cat >/dev/null; sleep 0.2'
touch stop
wait

# Stores.
store=store/events.db
run 0 "OK  crc" store verify "$store"
run 0 "id 0 " store list "$store"
run 0 "the daemon started" store get "$store" 0
run 1 "no valid record 999" store get "$store" 999
"$cuctl" store dump "$store" >dump.txt && "$cuctl" store load copy.db <dump.txt >/dev/null
run 0 "OK  crc" store verify copy.db
head -n -1 dump.txt >cut.txt
run 4 "the dump breaks off" store load never.db cut.txt
cp "$store" good.bkc
cp "$store" bad.db
printf 'X' | dd of=bad.db bs=1 seek=60 conv=notrunc 2>/dev/null
run 4 "REFUSED  crc stored" store verify bad.db
run 4 "backup good.bkc OK" store verify bad.db --backup good.bkc
run 4 '"accepted":false' --json store verify bad.db
run 1 "would be refused too" store restore bad.db bad.db
run 0 "restored 3 records from good.bkc; damaged file kept as bad.db.bad" store restore bad.db good.bkc
run 0 "OK  crc" store verify bad.db
run 0 "nothing to do" store restore bad.db good.bkc
# Every truncation and a hostile length end in a verdict.
size=$(stat -c %s "$store")
for ((n = 0; n < size; n += 7)); do
  head -c "$n" "$store" >cut.db
  "$cuctl" store verify cut.db >/dev/null 2>&1
  (($? == 4)) || { echo "a store cut to $n bytes is not damaged"; ((++failures)); }
done
printf '\xff\xff\xff\xff' | dd of=bad.db bs=1 seek=28 conv=notrunc 2>/dev/null
run 4 "claims 4294967295 bytes" store verify bad.db

# Streams, documents, expressions.
run 0 '#1 type 0 len' msgq dump boardd.msgq
head -c 20 boardd.msgq >cut.msgq
run 4 "claims" msgq dump cut.msgq
run 0 "network.mtu = 1500 (uint16)" conf get boardd.json network mtu
run 1 "refuses it" conf get boardd.json network mtu --as integer
run 1 "no network.speed" conf get boardd.json network speed
run 0 "thermal.sensorOffset = -3 (integer)" conf list boardd.json
run 1 'reads as 0 (unsigned integer)' conf check boardd.json
run 0 "MTU 0x5DC" conf render boardd.json "MTU <mtu>"
printf '{"ConfigObj":[{"parameterGroup":"g","ConfigParam":[{"parameterName":"p","type":"Integer","parameterValue":"300"}]}],"extra":{"ipcName":"x"}}' >odd.json
run 1 'type "Integer" reads as boolean' conf check odd.json
run 1 'unknown key "extra"' conf check odd.json
run 0 "ok" json check board.json
printf '{"a":1,}' >comma.json
run 1 "trailing comma (strict: error, library: refused)" json check comma.json
printf '[1 2]' >lenient.json
run 1 "library: accepted" json check lenient.json
run 0 "carrier-7" json get status.json board
run 1 "no nothing" json get status.json nothing
run 4 "" json get comma.json a
run 0 "object of" json tree board.json
run 0 "40" rpn eval "5 3 <"
run 0 'is read as <<' rpn eval "5 3 <"
run 0 "[5 3] -> [40]" rpn eval "5 3 <" --trace
run 0 "44" rpn eval 300 --type 1
run 1 "no value" rpn eval "1 0 /"
run 0 "inlet-thermometer" topo show board.json
run 0 "digraph board" topo show --dot board.json
run 0 "version 1.2" filedict show filedictionary.json
run 0 '"action":"merge"' --json filedict show filedictionary.json
chmod 666 plugins/*
run 1 "measureBoard: /" action check action.json
sed 's/"methodname": "measureBoard"/"methodname": "missing"/' action.json >other-action.json
run 1 "does not export missing" action check other-action.json
run 0 "cbf43926" crc32 <(printf 123456789)
run 0 "f4" crc8 <(printf 123456789)
run 3 "" shm info /no-such-segment no-such-lock
run 3 "" crc32 missing

((failures == 0)) || { printf '%d checks failed\n' "$failures"; exit 1; }
echo "every command did what it should"
