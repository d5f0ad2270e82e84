# cuctl log cat|follow|info
load support

setup() {
  cd "$BATS_TEST_TMPDIR" || exit 1
  # 2024-03-05 14:07:09 UTC
  second=1709647629000000000
}

teardown() {
  [[ -z ${follower-} ]] || { kill "$follower" && wait "$follower"; } 2>/dev/null || true
}

three_lines() {
  line "$second" "[m:1]first" ERROR 412
  line $((second + 123456789)) "[m:2]second" WARNING 412
  line $((second + 2000000000)) "[m:3]third" DEBUG 413
}

@test "a line has date, process, thread, level and text" {
  three_lines | make_log a.log end
  expect 0 "2024-03-05 14:07:09.123456 +0000  412:412 WARNING    [m:2]second" log cat a.log
  ((${#lines[@]} == 3))
  expect_json 0 "log cat" log cat a.log
  has '"time":1709647629123456789' "$json"
  has '"text":"[m:2]second"' "$json"
}

@test "times are local, or UTC with --utc" {
  three_lines | make_log a.log end
  TZ=CET-1 run cuctl log cat -n 1 a.log
  has "2024-03-05 15:07:11.000000 +0100"
  TZ=CET-1 run cuctl --utc log cat -n 1 a.log
  has "2024-03-05 14:07:11.000000 +0000"
}

@test "options choose lines" {
  three_lines | make_log a.log end
  expect 0 third log cat -n 1 a.log
  ((${#lines[@]} == 1))
  expect 0 first log cat -p error a.log
  ((${#lines[@]} == 1))
  expect 0 second log cat -p 4 -n 1 a.log
  expect 0 third log cat --pid 413 a.log
  ((${#lines[@]} == 1))
  expect 0 second log cat -g '^\[m:2.s(ec|x)o' a.log
  ((${#lines[@]} == 1))
  expect 0 second log cat --since "2024-03-05 14:07:09" --until "@1709647630" a.log
  ((${#lines[@]} == 2))
  expect 0 third log cat --since 2024-03-05T14:07:10 a.log
  ((${#lines[@]} == 1))
  expect 1 "" log cat --since -10min a.log
  expect 1 "" log cat --until 2024-03-04 a.log
  expect 0 "" log cat --since -99999d a.log
  ((${#lines[@]} == 3))
  expect 1 "" log cat -g "no line says this" a.log
}

@test "what is no time, level, number or expression is a usage error" {
  three_lines | make_log a.log end
  for bad in whenever -10parsec - -99999999999999999999d @1e9 @99999999999999999999 "2024-13-05"; do
    expect 2 "not a time" log cat --since "$bad" a.log
  done
  expect 2 "not a level" log cat -p LOUD a.log
  expect 2 "not a number of at least 0" log cat -n -3 a.log
  expect 2 "not a regular expression" log cat -g '(' a.log
}

@test "minutes of today, and now" {
  line "$(date +%s)000000000" present | make_log a.log end
  expect 0 present log cat --since 00:00 a.log
  expect 0 present log cat --since 00:00:00 --until now a.log
}

@test "a wrapped log comes in the order of time, without its torn line" {
  { line 5000000000 new; printf 'of an old line\n'; line 1000000000 old; line 2000000000 older; } |
    make_log a.log $((4 + $(line 5000000000 new | wc -c)))
  run cuctl log cat a.log
  ((status == 0 && ${#lines[@]} == 3))
  [[ ${lines[0]} == *old && ${lines[1]} == *older && ${lines[2]} == *new ]]
  expect 0 "3 lines, 1 torn" log info a.log
  has "pieces 2"
  has "torn   15 bytes"
  expect_json 0 "log info" log info --size 100000 a.log
  has '"torn_bytes":15' "$json"
}

@test "a log that was opened again goes on at its end, and is ordered by time" {
  # Written to the end, wrapped and overwritten in front, opened anew and continued at the end.
  { line 3000000000 c; line 4000000000 d; printf 'torn\n'; line 1000000000 a; line 2000000000 b;
    line 5000000000 e; line 6000000000 f; } | make_log a.log end
  [[ $(cuctl log cat a.log | sed 's/.* //' | paste -sd '') == abcdef ]]
  expect 0 "6 lines, 1 torn" log info a.log
  has "pieces 2"
}

@test "lines of one moment stay in the order of the file" {
  { line 7000000000 one; line 7000000000 two; line 7000000000 three; } | make_log a.log end
  [[ $(cuctl log cat a.log | sed 's/.* //' | paste -sd ' ') == "one two three" ]]
}

@test "messages with line breaks, without one, and with what looks like a head" {
  { printf '[1 : 1 INFO (1000000000)]two\nlines\n'; printf '[1 : 1 INFO (2000000000)]cut'
    printf '[1 : 1 INFO (3000000000)][1 : x INFO (4)] is no head\n'; } | make_log a.log end
  run cuctl log cat a.log
  ((${#lines[@]} == 4))
  [[ ${lines[1]} == "    lines" && ${lines[2]} == *cut ]]
  has "[1 : x INFO (4)] is no head"
}

@test "a new log, an empty one, and one that opens mute" {
  le32 4 >new.log
  expect 0 "position 4 of 4, 0 lines" log info new.log
  expect 1 "" log cat new.log
  : >empty.log
  expect 0 "0 lines" log info empty.log
  expect 1 "" log cat empty.log
  three_lines | make_log a.log end
  local size
  size=$(stat -c %s a.log)
  expect 0 "next open: writes at end" log info --size $((size + 2)) a.log
  expect 0 "next open: starts over, mute" log info --size $((size + 1)) a.log
  expect 0 "next open: starts over, mute" log info --size 0 a.log
  expect_json 0 "log info" log info --size 10 a.log
  has '"next_open_mute":true' "$json"
}

@test "no log: exit 4, and what it has is shown" {
  printf 'ab' >short.log
  expect 4 "shorter than a log's header" log cat short.log
  expect 4 "shorter than a log's header" log info short.log
  printf 'no header and no line' >noise.log
  expect 4 "lies outside the file" log cat noise.log
  { le32 8; printf 'text'; } >text.log
  expect 4 "no log lines in it" log cat text.log
  three_lines | make_log far.log 5000
  expect 4 third log cat far.log
  has "the header's position 5000 lies outside"
  expect_json 4 "log info" log info far.log
  has '"header_valid":false' "$json"
}

@test "every truncation ends in a verdict" {
  three_lines | make_log a.log end
  local n
  for n in $(lengths a.log); do
    head -c "$n" a.log >cut.log
    expect 4 "" log cat cut.log
    expect_json 4 "log info" log info cut.log
  done
}

@test "of a very large log the latest lines are shown" {
  { le32 5000000; line 9000000000 newest; } >big.log
  truncate -s 3000M big.log
  line 8000000000 latest-of-the-end | put big.log $((3000 * 1048576 - 60))
  le32 $((4 + $(line 9000000000 newest | wc -c))) | put big.log 0
  expect 0 newest log cat big.log
  has latest-of-the-end
  has "3000 MiB; the latest 8 MiB are shown"
  expect 0 "looked at the latest" log info big.log
}

@test "a pipe and standard input" {
  three_lines | make_log a.log end
  run cuctl log cat - <a.log
  ((status == 0 && ${#lines[@]} == 3))
  run bash -c '"$CUCTL" log cat - < <(cat a.log)'
  ((status == 0 && ${#lines[@]} == 3))
  mkfifo pipe
  cat a.log >pipe &
  expect 0 third log cat pipe
  expect 2 "cannot be followed" log follow -
}

# Starts a follower, whose output is the file "out".
follow() {
  timeout 120 "$CUCTL" "$@" >out 2>&1 3>&- &
  follower=$!
}

# append TIME TEXT: as a daemon does it, first the line and then the header.
append() {
  line "$1" "$2" >>a.log
  le32 "$(stat -c %s a.log)" | put a.log 0
}

@test "follow shows the last ten lines, then each new one once" {
  for i in {10..22}; do line "${i}000000000" "line$i"; done | make_log a.log end
  follow log follow a.log
  wait_for grep -q line22 out
  run ! grep -q line12 out
  grep -q line13 out
  append 30000000000 line30
  append 30000000000 twin30
  wait_for grep -q twin30 out
  # The clock was set back.
  append 5000000000 early
  wait_for grep -q early out
  append 31000000000 line31
  wait_for grep -q line31 out
  [[ $(grep -c . out) == 14 ]] || {
    cat out
    return 1
  }
}

@test "follow takes the filters for both" {
  { for i in {10..40}; do line "${i}000000000" "line$i" ERROR; done; line 50000000000 noise; } |
    make_log a.log end
  follow log follow -p ERROR a.log
  wait_for grep -q line40 out
  [[ $(grep -c . out) == 10 ]]
  append 60000000000 more-noise
  line 61000000000 wanted ERROR >>a.log
  le32 "$(stat -c %s a.log)" | put a.log 0
  wait_for grep -q wanted out
  run ! grep -q noise out
}

@test "follow over a wrap: says that the log is mute, and shows what follows" {
  for i in {10..22}; do line "${i}000000000" "line$i"; done | make_log a.log end
  follow --json log follow a.log
  wait_for grep -q line22 out
  le32 4 | put a.log 0
  wait_for grep -q "log wrapped, output is off until the daemon calls DbgLog_ChangeLogSettings" out
  line 40000000000 "over the old text" | put a.log 4
  le32 $((4 + $(line 40000000000 "over the old text" | wc -c))) | put a.log 0
  wait_for grep -q "over the old text" out
  [[ $(grep -c notice out) == 1 ]]
  python3 "$BATS_TEST_DIRNAME/json-lines.py" "$PAGE" "log follow" <out
}

@test "follow over deletion and a new log" {
  line 1000000000 before | make_log a.log end
  follow log follow a.log
  wait_for grep -q before out
  rm a.log
  wait_for grep -q "log removed" out
  line 2000000000 after | make_log b.log end
  mv b.log a.log
  wait_for grep -q "log is there" out
  wait_for grep -q after out
  line 3000000000 replaced | make_log b.log end
  mv b.log a.log
  wait_for grep -q replaced out
  kill "$follower"
  wait "$follower"
  follower=
}

@test "follow waits for a log that is not there yet" {
  follow log follow a.log
  line 1000000000 born | make_log b.log end
  mv b.log a.log
  wait_for grep -q born out
}

@test "follow shows a line without an end once it grows no more" {
  line 1000000000 before | make_log a.log end
  follow log follow a.log
  wait_for grep -q before out
  printf '[1 : 1 INFO (2000000000)]half' >>a.log
  wait_for grep -q half out
  [[ $(grep -c . out) == 2 ]]
}

@test "follow ends by itself, and refuses what is no file" {
  line 1000000000 before | make_log a.log end
  expect 0 before log follow --for 1 a.log
  expect 3 "not a regular file" log follow --for 1 .
  mkfifo pipe
  expect 3 "not a regular file" log follow --for 1 pipe
}
