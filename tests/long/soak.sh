#!/usr/bin/env bash
# soak.sh BUILD [seconds [seed]]: the demo daemon at work, in two parts. A release runs 86400 seconds.
#
# First a day of its store's maintenance in seconds: minutes last some milliseconds until 1,500 have
# passed, each with a full save, and the 1,440th with a compaction. Memory, threads and descriptors
# stay as they are, and the store and the log are sound at the end.
#
# Then, for so many seconds, the daemon as it is, its wall clock set back and forth where libfaketime
# is installed, and once a minute another one that is given a malformed document and must refuse it.
# From the settled start to the end, the daemon's threads, descriptors and memory must not grow, and
# it takes less than a tenth of a core, or what an emulator makes of that.
#
# Files are opened and closed for moments, so the middle one of several samples counts.
set -euo pipefail
# shellcheck source=tests/long/verdict.sh
source "$(dirname "${BASH_SOURCE[0]}")/verdict.sh"
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
build=$(cd "$1" && pwd) seconds=${2:-3600} seed=${3:-$(any_seed)}
RANDOM=$seed

dir=$(mktemp -d)
daemon=
trap '[[ -z $daemon ]] || kill -KILL "$daemon" 2>/dev/null || true; rm -rf "$dir"' EXIT
prepare() { # FOLDER
  mkdir -p "$1/plugins"
  cp "$here"/../../examples/documents/* "$1"
  cp "$build/examples/boardd/libboardaction.so" "$1/plugins/"
}
prepare "$dir/minutes"
prepare "$dir/good"
prepare "$dir/bad"

# A program for another machine runs in the emulator that the build has found. The time library is for
# this machine's programs, and the emulator's own memory settles later.
qemu=$(sed -nE 's/^COMMONUTILITIES_QEMU_ARM:FILEPATH=//p' "$build/CMakeCache.txt")
emulator=()
[[ -z $qemu ]] || emulator=("$qemu" -L /usr/arm-linux-gnueabihf)
daemon_program=("${emulator[@]}" "$build/examples/boardd/boardd")
if ((${#emulator[@]})); then
  faketime='' most_of_a_core=50 most_growth_kib=2048
else
  faketime=$(find /usr/lib -name libfaketime.so.1 2>/dev/null | head -n 1)
  most_of_a_core=10 most_growth_kib=256
fi
jump_file=$dir/clock
printf '+0\n' >"$jump_file"
environment=()
[[ -z $faketime ]] || environment=("LD_PRELOAD=$faketime" "FAKETIME_TIMESTAMP_FILE=$jump_file"
  FAKETIME_NO_CACHE=1 FAKETIME_DONT_FAKE_MONOTONIC=1 FAKETIME_FORCE_MONOTONIC_FIX=0)

printf 'seed %d, %d s\n' "$seed" "$seconds"
status=0
complain() {
  printf 'after %d s: %s\n' "$SECONDS" "$*"
  status=1
}
field() { sed -nE "s/^$1:[[:space:]]+([0-9]+).*/\1/p" "/proc/$daemon/status" 2>/dev/null; }
# What the time library opens is not the daemon's.
open_files() { find "/proc/$daemon/fd" -mindepth 1 ! -lname "$jump_file" 2>/dev/null | wc -l; }
middle() { sort -n | awk '{ line[NR] = $0 } END { print line[int((NR + 1) / 2)] }'; }
# measure NUMBER: a line of it, the threads, the descriptors and the memory in KiB; none at the end.
measure() {
  local line
  line="$1 $(field Threads) $(open_files) $(field VmRSS)" || return 0
  if [[ $line =~ ^([0-9]+ ){3}[0-9]+$ ]]; then printf '%s\n' "$line"; fi
}
# growth FILE: how much memory the straight line through all measures gains from the first to the last.
growth() {
  awk 'NR == 1 { first = $1 }
       { last = $1; x = $1 - first; n++; sx += x; sy += $4; sxx += x * x; sxy += x * $4 }
       END { d = n * sxx - sx * sx
             slope = 0
             if (d > 0) slope = (n * sxy - sx * sy) / d
             printf "%.0f\n", slope * (last - first) }' "$1"
}
# stop FOLDER: the daemon ends, and nothing went wrong.
stop() {
  local end=0
  kill -TERM "$daemon" 2>/dev/null || true
  wait "$daemon" || end=$?
  daemon=
  ((end == 0)) || {
    complain "the daemon ended with $end"
    tail -n 20 "$1/errors"
  }
  grep -q 'every message is accounted for' "$1/summary" || complain "messages were lost"
}
# sound FOLDER: its store and its log are, as far as cuctl is there to tell.
sound() {
  local cuctl=("${emulator[@]}" "$build/tools/cuctl/cuctl")
  [[ -x $build/tools/cuctl/cuctl ]] || return 0
  "${cuctl[@]}" store verify "$1/store/events.db" --backup "$1/store-backup/events.db.bkc" \
    >"$1/verdict" 2>&1 || complain "the store: $(tail -n 5 "$1/verdict")"
  "${cuctl[@]}" log info "$1/boardd.log" >"$1/verdict" 2>&1 ||
    complain "the log: $(tail -n 5 "$1/verdict")"
}

# A day of maintenance. The file has a letter for each minute, and one for compaction.
readonly MINUTES=1500
preloaded=("$build/tests/support/libminute_preload.so")
if ((${#emulator[@]})); then # which itself cannot load it
  preloaded=("${emulator[@]}" -E "LD_PRELOAD=${preloaded[0]}")
else
  preloaded=("LD_PRELOAD=${preloaded[0]}")
fi
env CU_MINUTE_MS=3 CU_MINUTE_FILE="$dir/letters" "${preloaded[@]}" \
  "$build/examples/boardd/boardd" --dir "$dir/minutes" --seconds 900 \
  >"$dir/minutes/summary" 2>"$dir/minutes/errors" &
daemon=$!
touch "$dir/letters"
while kill -0 "$daemon" 2>/dev/null && passed=$(stat -c %s "$dir/letters") &&
  ((passed <= MINUTES)); do
  # What it takes at its start is no growth.
  ((passed < MINUTES / 5)) || measure "$passed"
  sleep 0.05
done >"$dir/day"
stop "$dir/minutes"
minutes=$(tr -cd m <"$dir/letters" | wc -c)
((minutes >= MINUTES)) || complain "$minutes minutes of maintenance"
grep -qE '^m{1440}sm+$' "$dir/letters" || complain "compaction did not come in the 1,440th minute"
sound "$dir/minutes"
measures=$(wc -l <"$dir/day")
((measures >= 10)) || complain "$measures measures in a day of maintenance"
for column in 2 3; do
  from=$(head -n $((measures / 2)) "$dir/day" | cut -d' ' -f$column | middle)
  to=$(tail -n $((measures / 2)) "$dir/day" | cut -d' ' -f$column | middle)
  # One more may be open at the moment; what is lost each minute is lost hundreds of times.
  ((to <= from + 1)) || complain "in a day of maintenance, column $column went from $from to $to"
done
day_growth=$(growth "$dir/day")
((day_growth <= most_growth_kib)) || complain "memory grew by $day_growth KiB in a day of maintenance"
day_seconds=$SECONDS

# The daemon as it is, which is told when its time is up.
env "${environment[@]}" "${daemon_program[@]}" --dir "$dir/good" --seconds $((seconds * 2 + 600)) \
  >"$dir/good/summary" 2>"$dir/good/errors" &
daemon=$!
begin=$SECONDS
# Sets threads, descriptors and rss to the middle one of ten samples, one each half second.
sample() {
  local round
  for ((round = 0; round < 10; ++round)); do
    measure $((SECONDS - begin))
    sleep 0.5
  done >"$dir/ten"
  cat "$dir/ten" >>"$dir/run"
  threads=$(cut -d' ' -f2 "$dir/ten" | middle)
  descriptors=$(cut -d' ' -f3 "$dir/ten" | middle)
  rss=$(cut -d' ' -f4 "$dir/ten" | middle)
  [[ -n $rss ]]
}

settle=$((seconds / 4 > 60 ? 60 : seconds / 4))
sleep "$settle"
kill -0 "$daemon" 2>/dev/null || {
  complain "the daemon did not start"
  cat "$dir/good/errors"
  verdict soak "$seed" 1
}
sample
rss_first=$rss threads_first=$threads descriptors_first=$descriptors
jumps=0 jumped=0 malformed=0 minute=$((SECONDS - 60))
while ((SECONDS - begin < seconds - 6)) && kill -0 "$daemon" 2>/dev/null; do
  sleep 1
  measure $((SECONDS - begin)) >>"$dir/run"
  if [[ -n $faketime ]] && ((SECONDS - jumped >= 5)); then
    jumped=$SECONDS
    printf '%+d\n' $((RANDOM % 7200 - 3600)) >"$jump_file"
    jumps=$((jumps + 1))
  fi
  if ((SECONDS - minute >= 60)); then
    minute=$SECONDS
    whole=$here/../../examples/documents/boardd.json
    # Cut before its last bracket, no document is whole.
    head -c $((RANDOM % ($(stat -c %s "$whole") - 4) + 1)) "$whole" >"$dir/bad/boardd.json"
    refusal=0
    "${daemon_program[@]}" --dir "$dir/bad" --seconds 1 >/dev/null 2>&1 || refusal=$?
    ((refusal == 1)) || complain "a malformed document ended with $refusal"
    malformed=$((malformed + 1))
  fi
done
sample || complain "the daemon ended too early"
# User and system time in hundredths of a second.
cpu=$(awk '{ print $14 + $15 }' "/proc/$daemon/stat") || cpu=0
((cpu < (SECONDS - begin) * most_of_a_core)) || complain "$cpu hundredths of a second of processor time"
((threads <= threads_first)) || complain "$threads threads, $threads_first at first"
((descriptors <= descriptors_first)) ||
  complain "$descriptors descriptors, $descriptors_first at first"
stop "$dir/good"
sound "$dir/good"
((rss - rss_first <= most_growth_kib)) || complain "memory grew from $rss_first to $rss KiB"
run_growth=$(growth "$dir/run")
((run_growth <= most_growth_kib)) || complain "memory grew by $run_growth KiB, by all measures"
verdict soak "$seed" "$status" clock_jumps "$jumps" malformed_documents "$malformed" \
  threads_first "$threads_first" threads "$threads" descriptors_first "$descriptors_first" \
  descriptors "$descriptors" rss_first_kib "$rss_first" rss_kib "$rss" rss_growth_kib "$run_growth" \
  cpu_centiseconds "$cpu" maintenance_minutes "$minutes" maintenance_seconds "$day_seconds" \
  maintenance_growth_kib "$day_growth"
