#!/usr/bin/env bash
# soak.sh BUILD [seconds [seed]]: the demo daemon at work, its wall clock set back and forth where
# libfaketime is installed, and once a minute a second daemon that is given a malformed document and
# must refuse it. From the settled start to the end, the daemon's threads, descriptors and memory
# must not grow, and it takes less than a tenth of a core, or what an emulator makes of that. Files are
# open for moments, so the least of ten samples counts.
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
env "${environment[@]}" "${daemon_program[@]}" --dir "$dir/good" --seconds "$seconds" \
  >"$dir/summary" 2>"$dir/errors" &
daemon=$!
begin=$SECONDS status=0

field() { sed -nE "s/^$1:[[:space:]]+([0-9]+).*/\1/p" "/proc/$daemon/status"; }
least() { sort -n | head -n 1; }
# Sets threads, descriptors and rss to the least of ten samples, one each half second. What the
# time library opens is not the daemon's.
sample() {
  local round samples=
  for ((round = 0; round < 10; ++round)); do
    samples+="$(field Threads) $(find "/proc/$daemon/fd" -mindepth 1 ! -lname "$jump_file" | wc -l) $(field VmRSS)"$'\n'
    sleep 0.5
  done
  threads=$(cut -d' ' -f1 <<<"${samples%?}" | least)
  descriptors=$(cut -d' ' -f2 <<<"${samples%?}" | least)
  rss=$(cut -d' ' -f3 <<<"${samples%?}" | least)
}
complain() {
  printf 'after %d s: %s\n' $((SECONDS - begin)) "$*"
  status=1
}

settle=$((seconds / 4 > 60 ? 60 : seconds / 4))
sleep "$settle"
kill -0 "$daemon" 2>/dev/null || {
  complain "the daemon did not start"
  cat "$dir/errors"
  verdict soak "$seed" 1
}
sample
rss_first=$rss threads_first=$threads descriptors_first=$descriptors
jumps=0 malformed=0 minute=$((SECONDS - 60))
while ((SECONDS - begin < seconds - 12)) && kill -0 "$daemon" 2>/dev/null; do
  sleep 1
  if [[ -n $faketime ]] && ((SECONDS % 5 == 0)); then
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
cpu=$(awk '{ print $14 + $15 }' "/proc/$daemon/stat")
((cpu < seconds * most_of_a_core)) || complain "$cpu hundredths of a second of processor time"
((threads <= threads_first)) || complain "$threads threads, $threads_first at first"
((descriptors <= descriptors_first)) ||
  complain "$descriptors descriptors, $descriptors_first at first"
end=0
wait "$daemon" || end=$?
daemon=
((end == 0)) || {
  complain "the daemon ended with $end"
  tail -n 20 "$dir/errors"
}
grep -q 'every message is accounted for' "$dir/summary" || complain "messages were lost"
((rss - rss_first <= most_growth_kib)) || complain "memory grew from $rss_first to $rss KiB"
verdict soak "$seed" "$status" clock_jumps "$jumps" malformed_documents "$malformed" \
  threads_first "$threads_first" threads "$threads" descriptors_first "$descriptors_first" \
  descriptors "$descriptors" rss_first_kib "$rss_first" rss_kib "$rss" \
  cpu_centiseconds "$cpu"
