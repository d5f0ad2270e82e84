# cuctl crc32, cuctl crc8
load support

setup() {
  cd "$BATS_TEST_TMPDIR" || exit 1
  printf 123456789 >nine
}

@test "the check values" {
  [[ $(cuctl crc32 nine) == "cbf43926  nine" ]]
  [[ $(cuctl crc8 nine) == "f4  nine" ]]
  [[ $(cuctl crc32 - <nine) == "cbf43926  -" ]]
  expect_json 0 crc32 crc32 nine
  has '{"file":"nine","checksum":"crc32","value":"cbf43926","size":9}' "$json"
  expect_json 0 crc8 crc8 nine
  : >empty
  [[ $(cuctl crc32 empty) == "00000000  empty" ]]
}

@test "files that are read in pieces" {
  python3 -c '
import random, sys
random.seed(7)
sys.stdout.buffer.write(random.randbytes(5 * 1048576 + 77))' >large
  [[ $(cuctl crc32 large) == "$(python3 -c 'import zlib; print("%08x" % zlib.crc32(open("large", "rb").read()))')  large" ]]
  [[ $(cuctl crc32 - < <(cat large)) == "$(cuctl crc32 large | cut -c 1-8)  -" ]]
  # Zeros in front leave a CRC-8 that starts at 0 as it is.
  { head -c 3000001 /dev/zero; cat nine; } >padded
  [[ $(cuctl crc8 padded) == "f4  padded" ]]
}

@test "what cannot be read" {
  expect 3 "No such file" crc32 missing
  expect 3 "Is a directory" crc8 .
  mkfifo pipe
  expect 3 "a pipe that nobody writes to" crc32 pipe
}
