# cuctl shm info|read|watch|unlock
load support

setup() {
  cd "$BATS_TEST_TMPDIR" || exit 1
  name=cuctl-test-$$-$BATS_TEST_NUMBER
  lock=$name-lock
  printf 'temperature' >"/dev/shm/$name"
  truncate -s 64 "/dev/shm/$name"
  chmod 600 "/dev/shm/$name"
}

teardown() {
  [[ -z ${watcher-} ]] || { kill "$watcher" && wait "$watcher"; } 2>/dev/null || true
  rm -f "/dev/shm/$name" "/dev/shm/sem.$lock"
}

# make_lock VALUE
make_lock() {
  python3 -c '
import ctypes, sys
libc = ctypes.CDLL(None, use_errno=True)
libc.sem_open.restype = ctypes.c_void_p
if not libc.sem_open(b"/" + sys.argv[1].encode(), 0o100, 0o600, int(sys.argv[2])): sys.exit("no lock")' "$lock" "$1"
}

@test "info: size, owner, mode and the lock" {
  expect 1 "size 64 uid $EUID mode 0600 sem missing" shm info "$name" "$lock"
  make_lock 1
  expect 0 "size 64 uid $EUID mode 0600 sem 1 (free)" shm info "/$name" "/$lock"
  expect_json 0 "shm info" shm info "$name" "$lock"
  has '"mode":"0600","lock":1' "$json"
  rm "/dev/shm/sem.$lock"
  make_lock 0
  expect 0 "sem 0 (held)" shm info "$name" "$lock"
  rm "/dev/shm/sem.$lock"
  make_lock 2
  expect 0 "sem 2 (posted too often)" shm info "$name" "$lock"
  expect 3 "No such file" shm info no-such-segment "$lock"
  expect 3 "" shm info "$name/a/b" "$lock"
}

@test "read: a hex dump" {
  expect 0 "00000000  74 65 6d 70 65 72 61 74 75 72 65 00 00 00 00 00  temperature....." shm read "$name" "$lock"
  ((${#lines[@]} == 4))
  expect_json 0 "shm read" shm read "$name" "$lock"
  has '"size":64,"offset":0,"data":"74656d7065726174757265' "$json"
  truncate -s 0 "/dev/shm/$name"
  expect 0 "" shm read "$name" "$lock"
  expect_json 0 "shm read" shm read "$name" "$lock"
  truncate -s 200000 "/dev/shm/$name"
  expect_json 0 "shm read" shm read "$name" "$lock"
  [[ $(grep -c '"offset":' <<<"$json") == 4 ]]
}

@test "watch: the ranges that change" {
  timeout 60 "$CUCTL" shm watch "$name" "$lock" >out 3>&- &
  watcher=$!
  changed() {
    turn=$(((turn + 1) % 10))
    printf '%s' "$turn" | put "/dev/shm/$name" 32
    grep -q '00000020      1 bytes  3[0-9]' out
  }
  turn=0
  wait_for changed
  kill "$watcher"
  wait "$watcher"
  watcher=
  expect_json 0 "shm watch" shm watch --for 1 "$name" "$lock"
  timeout 60 "$CUCTL" --json shm watch "$name" "$lock" >out 3>&- &
  watcher=$!
  changed_again() {
    turn=$(((turn + 1) % 10))
    printf '%s' "$turn" | put "/dev/shm/$name" 32
    grep -q '{"offset":32,"length":1,"data":"3[0-9]"}' out
  }
  wait_for changed_again
  # It shrinks, and then it is gone.
  truncate -s 8 "/dev/shm/$name"
  wait_for grep -q '"offset":8,"length":56,"data":""' out
  rm "/dev/shm/$name"
  local code=0
  wait "$watcher" || code=$?
  watcher=
  ((code == 3))
}

@test "unlock: only a lock that is held, and only with --yes" {
  expect 3 "No such file" shm unlock "$name" "$lock"
  make_lock 0
  expect 1 "held; post it with --yes" shm unlock "$name" "$lock"
  expect 0 "sem 0 (held)" shm info "$name" "$lock"
  expect_json 0 "shm unlock" shm unlock --yes "$name" "$lock"
  expect 0 "sem 1 (free)" shm info "$name" "$lock"
  expect 1 "is not held; nothing to do" shm unlock --yes "$name" "$lock"
  expect 0 "sem 1 (free)" shm info "$name" "$lock"
}
