# cuctl msgq dump
load support

setup() {
  cd "$BATS_TEST_TMPDIR" || exit 1
  { record 0 "link down eth0"; record 7 $'a\nb'; } >good.msgq
}

# record TYPE TEXT: with a terminator, as strings are queued.
record() {
  le32 1
  le32 $((${#2} + 1))
  # shellcheck disable=SC2059
  printf "\\x$(printf %02x "$1")"
  printf '%s\0' "$2"
}

@test "number, type, length and text of each record" {
  expect 0 '#1 type 0 len 15 "link down eth0"' msgq dump good.msgq
  has '#2 type 7 len 4 "a\x0ab"'
  expect_json 0 "msgq dump" msgq dump good.msgq
  has '{"number":2,"type":7,"length":4,"references":1,"text":"a\nb"}' "$json"
  run cuctl msgq dump - <good.msgq
  ((status == 0 && ${#lines[@]} == 2))
  : >empty.msgq
  expect 0 "" msgq dump empty.msgq
}

@test "stops at a record that overruns" {
  { cat good.msgq; le32 1; le32 1000; printf '\0abc'; } >bad.msgq
  expect 4 "record #3 at offset 37 claims 1000 bytes, 3 are left" msgq dump bad.msgq
  has '#2 type 7'
  expect_json 4 "msgq dump" msgq dump bad.msgq
  run cuctl msgq dump - < <(cat bad.msgq)
  ((status == 4))
  has "claims 1000 bytes, 3 are left"
  { le32 1; le32 4294967295; printf '\0abc'; } >bad.msgq
  expect 4 "claims 4294967295 bytes" msgq dump bad.msgq
  run cuctl msgq dump - < <(cat bad.msgq)
  ((status == 4))
}

@test "every truncation is found" {
  local n whole
  whole=$(($(record 0 "link down eth0" | wc -c)))
  for n in $(lengths good.msgq); do
    head -c "$n" good.msgq >cut.msgq
    ((n != whole)) || continue
    expect 4 "" msgq dump cut.msgq
  done
}

@test "a stream that a queue would not load" {
  record 0 abc >short.msgq
  expect 1 "a queue does not load streams of fewer than 16 bytes" msgq dump short.msgq
}

@test "more records than a queue holds" {
  head -c 1000000 /dev/zero >many.msgq
  expect 4 "more than 65535 records" msgq dump many.msgq
}
