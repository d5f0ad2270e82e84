# cuctl gpio get|set|watch, on a /sys of files
load support

setup() {
  cd "$BATS_TEST_TMPDIR" || exit 1
  export UMOCKDEV_DIR=$PWD/testbed
  mkdir -p testbed/sys/class/gpio/gpio5
  : >testbed/sys/class/gpio/export
  echo in >testbed/sys/class/gpio/gpio5/direction
  echo 1 >testbed/sys/class/gpio/gpio5/value
  echo none >testbed/sys/class/gpio/gpio5/edge
}

cuctl() {
  timeout 60 umockdev-wrapper "$CUCTL" "$@"
}

@test "get" {
  expect 0 "gpio5 in value 1" gpio get 5
  expect_json 0 "gpio get" gpio get 5
  has '{"line":5,"direction":"in","value":1}' "$json"
}

@test "set" {
  expect 0 "gpio5 out value 0" gpio set 5 0
  [[ $(<testbed/sys/class/gpio/gpio5/direction) == out* && $(<testbed/sys/class/gpio/gpio5/value) == 0* ]]
  expect_json 0 "gpio set" gpio set 5 1
  [[ $(<testbed/sys/class/gpio/gpio5/value) == 1* ]]
  expect 2 "" gpio set 5 2
  expect 2 "" gpio set 5
}

@test "a line that is not there" {
  expect 3 "gpio7" gpio get 7
  [[ $(<testbed/sys/class/gpio/export) == 7* ]]
  expect 3 "gpio7" gpio set 7 1
  expect 2 "not a number of at least 0" gpio get -- -7
}

@test "a value that is none" {
  rm testbed/sys/class/gpio/gpio5/value
  expect 3 "gpio5 cannot be read" gpio get 5
}

@test "watch waits until it is told to end" {
  timeout 60 umockdev-wrapper "$CUCTL" gpio watch 5 >out 2>&1 3>&- &
  local watcher=$!
  watching() { [[ $(<testbed/sys/class/gpio/gpio5/edge) == both* ]]; }
  wait_for watching
  kill "$watcher"
  local code=0
  wait "$watcher" || code=$?
  ((code == 0 || code == 143)) # before its handlers are set, the signal itself ends it
}

@test "a kernel without the interface" {
  rm -r testbed/sys/class/gpio
  for command in "get 5" "set 5 1" "watch 5"; do
    # shellcheck disable=SC2086
    expect 3 "the kernel lacks CONFIG_GPIO_SYSFS (deprecated since Linux 4.8)" gpio $command
    has gpioget
  done
}
