# cuctl store verify|list|get|dump|load|restore
load support

setup() {
  cd "$BATS_TEST_TMPDIR" || exit 1
  make_store good.db
}

# A payload byte of record 1 is another one.
damage() {
  cp good.db "$1"
  printf X | put "$1" 50
}

@test "verify: a sound store" {
  expect 0 "OK  crc" store verify good.db
  has "3 records walkable"
  expect_json 0 "store verify" store verify good.db
  has '"verdict":"OK","accepted":true,"walkable":3' "$json"
}

@test "verify: a wrong checksum: refused, but walkable" {
  damage bad.db
  expect 4 "REFUSED  crc stored " store verify bad.db
  has " computed "
  has "; 3 records walkable; last good offset 122"
  expect_json 4 "store verify" store verify bad.db
  has '"accepted":false' "$json"
  has '"crc_computed"' "$json"
}

@test "verify: looks at the backup too" {
  damage bad.db
  cp good.db good.db.bkc
  touch -d "2 hours ago" good.db.bkc
  touch bad.db
  expect 4 "backup good.db.bkc OK, 3 records, 2 h older" store verify bad.db --backup good.db.bkc
  expect 4 "backup bad.db REFUSED" store verify bad.db --backup bad.db
  expect 4 "backup none.bkc cannot be read" store verify bad.db --backup none.bkc
  expect_json 4 "store verify" store verify bad.db --backup good.db.bkc
  has '"backup":{"file":"good.db.bkc"' "$json"
  expect_json 4 "store verify" store verify bad.db --backup none.bkc
  has '"backup":null' "$json"
}

@test "verify: a new store without records is no damage" {
  printf '\x04\0\0\0\x10\0\x20\0\0\0\0\0\x12\x57\x44\x32' >new.db
  expect 0 "EMPTY  a new store" store verify new.db
  expect 0 "" store list new.db
  expect_json 0 "store verify" store verify new.db
  head -c 16 good.db >cut.db
  expect 4 "REFUSED" store verify cut.db
}

@test "verify: names the first bad offset" {
  cp good.db bad.db
  printf '\x07' | put bad.db 53
  expect 4 "record format 7 at offset 53" store verify bad.db
  has "1 records walkable"
  cp good.db bad.db
  printf '\xff\xff\xff\xff' | put bad.db 28
  expect 4 "record at offset 16 claims 4294967295 bytes, 74 are left" store verify bad.db
  has "0 records walkable"
  cp good.db bad.db
  printf 'tail' >>bad.db
  expect 0 "OK" store verify bad.db
  printf '\x05' | put bad.db 0
  expect 4 "format 5 instead of 4" store verify bad.db
}

@test "verify: every truncation is refused" {
  local n
  for n in 0 $(lengths good.db); do
    head -c "$n" good.db >cut.db
    expect 4 "REFUSED" store verify cut.db
    expect 4 "" store dump cut.db
  done
  expect_json 4 "store list" store list --all cut.db
  has '"whole":false' "$json"
}

@test "verify: a file that changes is reported as changing, not as damage" {
  # Its content is another one at each look.
  expect 1 "changing" store verify /proc/uptime
  expect_json 1 "store verify" store verify /proc/uptime
  has '"verdict":"changing"' "$json"

  # A daemon in the middle of its writes.
  damage busy.db
  python3 -c '
import sys, os
fd = os.open("busy.db", os.O_WRONLY)
while os.getppid() != 1:
    for byte in b"AB": os.pwrite(fd, bytes([byte]), 50)' 3>&- &
  local writer=$!
  seen() { [[ $(cuctl store verify busy.db) == changing* ]]; }
  wait_for seen
  kill "$writer"
  wait "$writer" || true
  expect 4 "REFUSED" store verify busy.db
}

@test "list: valid records, with --all the others too" {
  expect 0 "id 1     valid      len 5      mono 100s  wall 250000  off 16" store list good.db
  ((${#lines[@]} == 2))
  expect 0 "id 3     superseded len 2      mono 102s  wall -5  off 88" store list --all good.db
  expect_json 0 "store list" store list --all good.db
  has '{"id":3,"valid":false,"length":2,"wall_stamp":-5,"monotonic_seconds":102,"offset":88' "$json"
  damage bad.db
  expect 4 "id 2 " store list bad.db
  has "refused: crc stored"
}

@test "get: the bytes, a dump, JSON" {
  cuctl store get good.db 1 2 >bytes
  printf 'hello\0\n\xff' | cmp - bytes
  expect 0 "00000000  68 65 6c 6c 6f                                   hello" store get --hex good.db 1
  expect_json 0 "store get" store get good.db 2
  has '"payload":"000aff"' "$json"
  expect 1 "no valid record 3" store get good.db 3
  expect 1 "hello" store get good.db 9 1
  expect 2 "" store get good.db one
  damage bad.db
  expect 4 "no valid record 9" store get bad.db 9
  run --separate-stderr cuctl store get bad.db 2 1
  ((status == 4))
  [[ $stderr == *"refused: crc stored"* ]]
}

@test "dump and load: the same file again" {
  cuctl store dump good.db >dump.txt
  [[ $(sed -n 2p dump.txt) == "record 1 1 5 68656c6c6f 250000 100" ]]
  cuctl store load copy.db dump.txt
  cmp good.db copy.db
  cuctl store dump - <good.db | cuctl store load - >piped.db
  cmp good.db piped.db
  expect_json 0 "store dump" store dump good.db
  has '"payload":"68656c6c6f"' "$json"
  expect_json 0 "store load" store load copy.db dump.txt
  printf '# a comment\n\nambrelstorage 4\r\nrecord 7 1 1 AB\nend 1\n' >short
  expect 0 "1 records" store load short.db short
  expect 0 "id 7 " store list short.db
}

@test "load: a bad dump makes no file" {
  bad() { # MESSAGE LINE...
    local text=$1
    shift
    printf '%s\n' "$@" >dump.txt
    rm -f never.db
    expect 4 "$text" store load never.db dump.txt
    [[ ! -e never.db ]]
  }
  bad "dump.txt:1: not a dump" "hello"
  bad "dump.txt:1: not a dump" "ambrelstorage 5"
  bad "the dump breaks off" "ambrelstorage 4" "record 1 1 1 ab 0 0"
  bad "dump.txt:2: not a record" "ambrelstorage 4" "recor 1 1 1 ab 0 0"
  bad "another length" "ambrelstorage 4" "record 1 1 2 ab 0 0" "end 1"
  bad "not hexadecimal" "ambrelstorage 4" "record 1 1 1 a 0 0" "end 1"
  bad "not hexadecimal" "ambrelstorage 4" "record 1 1 1 xy 0 0" "end 1"
  bad "not numbers that fit" "ambrelstorage 4" "record 4294967296 1 1 ab 0 0" "end 1"
  bad "not numbers that fit" "ambrelstorage 4" "record 1 256 1 ab 0 0" "end 1"
  bad "not numbers that fit" "ambrelstorage 4" "record -1 1 1 ab 0 0" "end 1"
  bad "the stamps are not numbers" "ambrelstorage 4" "record 1 1 1 ab 0 x" "end 1"
  bad "text behind the record" "ambrelstorage 4" "record 1 1 1 ab 0 0 0" "end 1"
  bad "number of records differs" "ambrelstorage 4" "record 1 1 1 ab 0 0" "end 2"
  bad "text after the end" "ambrelstorage 4" "record 1 1 1 ab 0 0" "end 1" "end 1"
  : >dump.txt
  expect 4 "the dump breaks off" store load never.db dump.txt
  head -c 3000 /dev/zero >dump.txt
  expect 4 "not a dump" store load never.db dump.txt
  run ! compgen -G "never.db*"
  printf 'ambrelstorage 4\nend 0\n' >dump.txt
  expect 1 "no record has a payload" store load empty.db dump.txt
  expect 3 "No such file" store load no/such/folder.db dump.txt
  expect 3 "" store load . dump.txt
}

@test "load keeps the mode of what it replaces, and a link" {
  cuctl store dump good.db >dump.txt
  chmod 640 good.db
  ln -s good.db link.db
  cuctl store load link.db dump.txt
  [[ -L link.db && $(stat -c %a good.db) == 640 ]]
  (umask 027 && cuctl store load new.db dump.txt)
  [[ $(stat -c %a new.db) == 640 ]]
}

@test "restore: the backup takes the place of a damaged store" {
  damage bad.db
  chmod 600 bad.db
  cp good.db good.bkc
  expect 0 "restored 3 records from good.bkc; damaged file kept as bad.db.bad" store restore bad.db good.bkc
  cmp bad.db good.db
  [[ $(stat -c %a bad.db) == 600 ]]
  expect 4 "REFUSED" store verify bad.db.bad
  expect 0 "nothing to do" store restore bad.db good.bkc
  expect_json 0 "store restore" store restore bad.db good.bkc
  run ! compgen -G "bad.db.??????"
}

@test "restore: names the newer records, which can be read" {
  damage bad.db
  printf 'ambrelstorage 4\nrecord 1 1 1 ab 0 0\nend 1\n' | cuctl store load old.bkc
  expect 0 "; 1 newer records readable: cuctl store get $PWD/bad.db.bad 2" store restore bad.db old.bkc
  expect 4 "" store get bad.db.bad 2
}

@test "restore: nothing without a sound backup" {
  damage bad.db
  cp bad.db before
  expect 1 "would be refused too; --force" store restore bad.db bad.db
  expect 3 "No such file" store restore bad.db none.bkc
  printf '\x04\0\0\0\x10\0\x20\0\0\0\0\0\x12\x57\x44\x32' >new.bkc
  expect 1 "would be refused too" store restore bad.db new.bkc
  cmp bad.db before
  [[ ! -e bad.db.bad ]]
}

@test "restore: a store that is gone, and one that a start made anew" {
  cp good.db good.bkc
  expect 0 "restored 3 records from good.bkc" store restore gone.db good.bkc
  cmp gone.db good.db
  [[ ! -e gone.db.bad ]]
  printf '\x04\0\0\0\x10\0\x20\0\0\0\0\0\x12\x57\x44\x32' >new.db
  echo evidence >new.db.bad
  expect 0 "restored 3 records" store restore new.db good.bkc
  cmp new.db good.db
  [[ $(<new.db.bad) == evidence ]]
}

@test "restore --force: a sound store from what can be walked" {
  cp good.db bad.db
  printf '\x07' | put bad.db 88 # the third record's format
  expect 0 "restored 2 records; damaged file kept as bad.db.bad" store restore --force bad.db none.bkc
  expect 0 "OK" store verify bad.db
  [[ $(cuctl store get bad.db 1) == hello ]]
  head -c 20 good.db >bad.db
  expect 1 "nothing to salvage" store restore --force bad.db none.bkc
  expect 1 "nothing to salvage" store restore --force gone.db none.bkc
}

@test "restore: not of what is no file" {
  mkdir folder
  cp good.db good.bkc
  expect 3 "Is a directory" store restore folder good.bkc
  expect 3 "" store restore good.bkc/under good.bkc
}

@test "a store of records without end" {
  # 200,000 records without payload.
  python3 -c '
import struct, sys
head = struct.pack("<4sHHI4s", b"\4\0\0\0", 16, 32, 0, b"\x12\x57\x44\x32")
sys.stdout.buffer.write(head + struct.pack("<4sII I qII", b"\4\0\0\0", 1, 1, 0, 0, 0, 0) * 200000)' >many.db
  expect 4 "no record has a payload; 200000 records walkable" store verify many.db
}

@test "a store of a length that is none" {
  cp good.db huge.db
  truncate -s 3000M huge.db
  expect 4 "record format 0 at offset 122" store verify huge.db
  python3 -c '
import struct, sys
sys.stdout.buffer.write(b"\4\0\0\0\x10\0\x20\0" + b"\0" * 8 + struct.pack("<4sII I qII", b"\4\0\0\0", 1, 1, 2000000000, 0, 0, 0))' >huge.db
  truncate -s 3000M huge.db
  expect 3 "a store of more than 8 MiB" store verify huge.db
}
