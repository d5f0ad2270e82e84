# cuctl log follow with a cursor, and with a command that takes the lines
load support

setup() {
  cd "$BATS_TEST_TMPDIR" || exit 1
}

# numbers FIRST LAST: lines of these numbers and times.
numbers() {
  local i
  for ((i = $1; i <= $2; ++i)); do line "${i}000000000" "number-$i"; done
}

# put_log POSITION: standard input becomes the log at once.
put_log() {
  make_log a.new "$1"
  mv a.new a.log
}

# followed EXPECTED ARGUMENT...: what follows of the numbers.
followed() {
  local expected=$1 got
  shift
  got=$(cuctl log follow --for 1 "$@" a.log 2>&1 | sed 's/.*number-//' | paste -sd " ")
  [[ $got == "$expected" ]] || {
    printf 'follow %s: "%s" instead of "%s"\n' "$*" "$got" "$expected"
    return 1
  }
}

@test "with a cursor each line comes once, whatever the clock does, and over wraps" {
  numbers 1 14 | put_log end
  followed "5 6 7 8 9 10 11 12 13 14"
  followed "1 2 3 4 5 6 7 8 9 10 11 12 13 14" --cursor cursor
  followed "" --cursor cursor
  { numbers 1 14; line 7 number-back; numbers 15 15; } | put_log end
  followed "back 15" --cursor cursor
  # The log starts over: the oldest lines are overwritten.
  local length
  length=$(numbers 16 17 | wc -c)
  round() {
    numbers 16 17
    { numbers 1 14; line 7 number-back; numbers 15 15; } | tail -c "+$((length + 1))"
  }
  round | put_log $((4 + length))
  followed "16 17" --cursor cursor
  # The daemon starts again, and goes on at the end.
  { round; numbers 18 18; } | put_log end
  followed "18" --cursor cursor
  numbers 30 31 | put_log end
  followed "-- the log went round since the last look, lines may be missing -- 30 31" --cursor cursor
}

@test "a cursor that is none, or cannot be kept" {
  numbers 30 31 | put_log end
  local bad
  for bad in '{"cursor":1,"newest":"?"}' '' '[' '{"cursor":2}' '{"cursor":1,"newest":1,"blocks":[[1]]}'; do
    printf '%s' "$bad" >cursor
    followed "cuctl: cursor: not a cursor; beginning with the oldest line 30 31" --cursor cursor
  done
  expect 3 "/nowhere/cursor" log follow --for 1 --cursor /nowhere/cursor a.log
  expect 2 "requires --to" log follow --every 1 a.log
}

# hand_over COMMAND CONDITION...: follows until the condition holds.
hand_over() {
  local pid status=0 command=$1
  shift
  timeout 120 "$CUCTL" log follow --cursor cursor --to "$command" a.log 2>told 3>&- &
  pid=$!
  wait_for "$@"
  kill "$pid"
  wait "$pid" || status=$?
  ((status == 0))
}

@test "a command that refuses its lines is offered them again" {
  numbers 1 600 | put_log end
  hand_over 'cat >>refused; exit 7' grep -q "ended with 7; 600 lines are kept" told
  [[ ! -e cursor ]]
  hand_over 'cat >>taken; test -e again || { touch again; exit 7; }' test -e cursor
  [[ $(wc -l <taken) == 1100 && $(sort -u taken | wc -l) == 600 ]]
  followed "" --cursor cursor
}

@test "the cursor moves on although lines never stop coming" {
  numbers 1 600 | put_log end
  (
    n=1000
    until [[ -e stop ]]; do
      line "$((++n))000000000" "number-$n"
      sleep 0.02
    done >>a.log
  ) 3>&- &
  hand_over 'cat >/dev/null; sleep 0.2' test -e cursor
  touch stop
}

@test "lines that no command has taken end in exit 1" {
  numbers 1 3 | put_log end
  expect 1 "" log follow --for 1 --to 'exec sleep 100' a.log
}
