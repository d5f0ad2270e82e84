# Every command on input that is none: it ends in a known exit code within one second of processor
# time and 64 MiB (see cuctl() of support.bash), in text without a raw control byte, and with --json in
# lines of JSON.
load support

readonly READERS=(
  "log cat|log cat" "log info|log info" "store verify|store verify" "store list|store list --all"
  "store get|store get --hex|1 2" "store dump|store dump" "msgq dump|msgq dump" "conf list|conf list"
  "conf get|conf get|net mtu" "conf check|conf check" "conf render|conf render|<mtu>"
  "json check|json check" "json get|json get|a/b" "json tree|json tree" "action check|action check"
  "topo show|topo show" "filedict show|filedict show"
)

setup() {
  cd "$BATS_TEST_TMPDIR" || exit 1
}

# all CODES FILE: every reader of files ends with one of the codes.
all() {
  local codes=$1 file=$2 reader command words rest output status
  for reader in "${READERS[@]}"; do
    IFS='|' read -r command words rest <<<"$reader"
    status=0
    # shellcheck disable=SC2086
    output=$(cuctl $words "$file" $rest 2>&1 </dev/null | tr '\0' '\1' | head -c 5000000; exit "${PIPESTATUS[0]}") ||
      status=$?
    if [[ $codes != *$status* || $output == *[$'\x01'-$'\x08\x0b'-$'\x1f']* ]]; then
      printf 'cuctl %s %s %s: exit %s, none of %s, or a control byte:\n%s\n' "$words" "$file" "$rest" \
        "$status" "$codes" "$(head -c 1000 <<<"$output" | cat -v)"
      return 1
    fi
    # shellcheck disable=SC2086
    expect_json "$status" "$command" $words "$file" $rest
  done
}

@test "an empty file" {
  : >empty
  all "0 1 4" empty
}

@test "a folder, and what is not there" {
  all 3 .
  all 3 missing
}

@test "a named pipe that nobody writes to" {
  mkfifo pipe
  expect 3 "a pipe that nobody writes to" log cat pipe
  expect 3 "a pipe that nobody writes to" store verify pipe
  expect 3 "a pipe that nobody writes to" json check pipe
  expect 3 "a pipe that nobody writes to" msgq dump pipe
}

@test "/dev/zero, which never ends" {
  all 4 /dev/zero
}

@test "a sparse file of 1 GiB" {
  truncate -s 1G sparse
  all 4 sparse
}

@test "good files that go on for 1 GiB" {
  line 1000000000 text | make_log a.log end
  truncate -s 1G a.log
  expect 0 text log cat a.log
  expect 0 "looked at the latest" log info a.log
  make_store a.db
  truncate -s 1G a.db
  expect 4 "record format 0 at offset 122" store verify a.db
  expect 4 "hello" store get a.db 1
  printf '{"a":1}' >a.json
  truncate -s 1G a.json
  expect 4 "" json check a.json
  { le32 1; le32 1; printf '\0a'; } >a.msgq
  truncate -s 1G a.msgq
  expect 4 "more than 65535 records" msgq dump a.msgq
}

@test "random bytes" {
  local seed
  for seed in 1 2; do
    python3 -c '
import random, sys
random.seed(int(sys.argv[1]))
sys.stdout.buffer.write(random.randbytes(40000))' "$seed" >random
    all 4 random
  done
}

@test "all bytes, NULs, invalid UTF-8" {
  python3 -c 'import sys; sys.stdout.buffer.write(bytes(range(256)) * 40)' >bytes
  all "1 4" bytes
  head -c 3000 /dev/zero >nuls
  all "1 4" nuls
  printf '{"a\xff":"\xc3\x28 \xed\xa0\x80 \xf5"}' >invalid
  all "0 1 4" invalid
  printf '{"a":"b\0c"}' >nul
  all "0 1 4" nul
}

@test "deep nesting, closed and not" {
  python3 -c '
import sys
n = 400000
open("open", "w").write("[" * n)
open("closed", "w").write("[" * n + "]" * n)
open("objects", "w").write("{\"a\":" * n)
open("members", "w").write("{\"a\":" * 100000 + "1" + "}" * 100000)'
  all 4 open
  all 4 objects
  # Valid documents, of which the tokenizer would not come to an end for minutes.
  all 4 closed
  expect 4 "nested too deeply" conf list members
  expect 4 "nested too deeply" topo show members
}

@test "large documents that are damaged at their end" {
  python3 -c '
print("{\"a\":[" + ",".join("1" for i in range(3000000)), end="")' >cut.json
  all 4 cut.json
}

@test "logs of nothing but heads, brackets, and one line without end" {
  { le32 8000000; python3 -c 'print("[1 : 1 INFO (1)]" * 499999, end="")'; } >heads
  truncate -s 8000000 heads
  expect 0 "" log info heads
  expect 0 "" log cat -n 5 heads
  { le32 8000000; head -c 7999996 /dev/zero | tr '\0' '['; } >brackets
  expect 4 "no log lines" log cat brackets
  { le32 8000000; printf '[1 : 1 INFO (1)]'; head -c 7999980 /dev/zero | tr '\0' x; } >long
  expect 0 "1 torn" log info long
  run bash -c 'ulimit -v 65536 -t 1; "$CUCTL" log cat -g "x*y" long; "$CUCTL" log cat long | wc -c'
  has 1048
  { le32 8000000; printf '[1 : 1 INFO (1)]'; head -c 7999980 /dev/zero | tr '\0' '\1'; } >controls
  expect_json 0 "log cat" log cat controls
  # The clock goes back from line to line.
  { le32 4; python3 -c '
for i in range(100000, 0, -1): print(f"[1 : 1 INFO ({i}00000000)]x")'; } >back
  le32 "$(stat -c %s back)" | put back 0
  expect 0 "pieces 100000" log info back
  { le32 60; printf '[99999999999 : 1 INFO (1)]x\n[1 : 1 LOUD (1)]\n[1 : 1 INFO (18446744073709551616)]\n'; } >numbers
  truncate -s 100 numbers
  expect 4 "" log cat numbers
}

@test "times at the ends of their range" {
  { line 0 zero; line 18446744073709551615 latest; } | make_log a.log end
  expect 0 "1970-01-01 00:00:00.000000" log cat a.log
  has "2554-07-21 23:34:33.709551"
  expect_json 0 "log cat" log cat a.log
  printf 'ambrelstorage 4\nrecord 1 1 1 ab 9223372036854775807 4294967295\nrecord 2 1 1 ab -9223372036854775808 0\nrecord 3 1 1 ab 9223372036854775807 0\nend 3\n' |
    cuctl store load a.db
  expect 0 "wall -9223372036854775808" store list a.db
  expect_json 0 "store list" store list a.db
}
