# cuctl on what the demo daemon leaves behind
load support

setup() {
  cd "$BATS_TEST_TMPDIR" || exit 1
  boardd_folder
}

@test "its log" {
  expect 0 "lines, 0 torn, next open: writes at end" log info --size 262144 boardd.log
  expect 0 "the board is unusable" log cat -p EMERGENCY boardd.log
  expect_json 0 "log cat" log cat boardd.log
}

@test "its store" {
  expect 0 "OK  crc" store verify store/events.db
  expect 0 "id 0 " store list store/events.db
  has "($(date +%Y)-"
  expect_json 0 "store list" store list store/events.db
  has '"date":"' "$json"
  expect 0 "the daemon started" store get store/events.db 0
}

@test "its stream, status and documents" {
  expect 0 '#1 type 0 len' msgq dump boardd.msgq
  expect 0 carrier-7 json get status.json board
  expect 0 "thermal.sensorOffset = -3 (integer)" conf list boardd.json
  expect 1 'reads as 0 (unsigned integer)' conf check boardd.json
  expect 0 inlet-thermometer topo show board.json
}

@test "the library accepts a store that was loaded" {
  printf 'ambrelstorage 4\nrecord 9 1 4 6b657074 0 0\nend 1\n' | cuctl store load store/events.db
  "$BOARDD" --seconds 1 >/dev/null 2>&1
  expect 0 "kept" store get store/events.db 9
  expect 0 "OK  crc" store verify store/events.db
}

@test "the library accepts a store that was restored or salvaged" {
  cp store/events.db good.bkc
  printf X | put store/events.db 60
  expect 0 "restored 3 records from good.bkc" store restore store/events.db good.bkc
  "$BOARDD" --seconds 1 >/dev/null 2>&1
  expect 0 "the daemon started" store get store/events.db 0
  printf X | put store/events.db 60
  expect 4 "REFUSED" store verify store/events.db
  expect 0 "restored" store restore --force store/events.db none
  local before
  before=$(cuctl store list store/events.db | wc -l)
  "$BOARDD" --seconds 1 >/dev/null 2>&1
  (($(cuctl store list store/events.db | wc -l) >= before))
}
