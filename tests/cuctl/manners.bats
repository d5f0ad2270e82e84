# What every command of cuctl shares: help, usage errors, terminals, colours, progress, hostile text.
load support

setup() {
  cd "$BATS_TEST_TMPDIR" || exit 1
  esc=$'\x1b'
  # A colour, a C1 control as UTF-8 and alone, an overlong form, a cut sequence, and good UTF-8.
  hostile=$'\x1b[31mred\x07 \xc2\x9b1m \x9b \xc0\xaf \xe2\x82 \xe2\x82\xac'
  shown='\x1b[31mred\x07 \xc2\x9b1m \x9b \xc0\xaf \xe2\x82 €'
  line 1000000000 "$hostile" ERROR | make_log a.log end
}

# subcommands COMMAND...: the names in its help.
subcommands() {
  "$CUCTL" "$@" --help | sed -n '/^Subcommands:/,/^$/s/^  \([a-z0-9]\{1,\}\) .*/\1/p'
}

@test "version: library, soname, build id" {
  run cuctl --version
  ((status == 0))
  [[ $output =~ ^"cuctl "[0-9.]+", libcommonutilities.so.13, build id "[0-9a-f]{16,}$ ]]
}

@test "help of every command" {
  local first second
  for first in $(subcommands); do
    expect 0 "Usage: cuctl $first" "$first" --help
    for second in $(subcommands "$first"); do
      expect 0 "Usage: cuctl $first $second" "$first" "$second" --help
    done
  done
  expect 0 "Exit codes: 0 yes or done" --help
}

@test "usage errors say what is wrong and where help is: exit 2" {
  expect 2 "see cuctl --help"
  expect 2 'cuctl: no command "lgo"; see cuctl --help' lgo
  expect 2 'no command "cta"; see cuctl log --help' log cta
  expect 2 "see cuctl store --help" store
  expect 2 "FILE is required; see cuctl log cat --help" log cat
  expect 2 "see cuctl json check --help" json check --no-such-option x
  run --separate-stderr cuctl log
  [[ -z $output && -n $stderr ]]
}

@test "global options stand before or behind the command" {
  [[ $(cuctl --json log info a.log) == "$(cuctl log info a.log --json)" ]]
}

@test "colours on a terminal, none in a pipe" {
  run on_terminal log cat a.log
  has "${esc}[31mERROR"
  run cuctl log cat a.log
  lacks "$esc"
  run on_terminal store verify a.log
  has "${esc}[31mREFUSED"
  run on_terminal log cat missing
  has "${esc}[31mcuctl:${esc}[0m missing: No such file"
}

@test "NO_COLOR, when it is not empty" {
  run on_terminal NO_COLOR=1 log cat a.log
  lacks "$esc"
  run on_terminal NO_COLOR= log cat a.log
  has "${esc}[31m"
}

@test "control bytes and invalid UTF-8 of a file are shown, and raw with --raw" {
  run on_terminal NO_COLOR=1 log cat a.log
  has "$shown"
  lacks "$esc"
  run cuctl log cat a.log
  has "$shown"
  run cuctl --raw log cat a.log
  has "$hostile"
  run on_terminal NO_COLOR=1 --raw log cat a.log
  has "${esc}[31mred"
}

@test "no command lets control bytes of a document through" {
  printf '{"%s":"%s","ConfigObj":[{"parameterGroup":"%s","ConfigParam":[{"parameterName":"%s","type":"%s","parameterValue":"%s"}]}],"TopologyName":"%s","version":"%s","action":"%s","ipcName":"%s"}' \
    "$hostile" "$hostile" "$hostile" "$hostile" "$hostile" "$hostile" "$hostile" "$hostile" "$hostile" "$hostile" >odd.json
  { le32 1; le32 ${#hostile}; printf '\0%s' "$hostile"; } >odd.msgq
  local command
  for command in "log cat a.log" "msgq dump odd.msgq" "conf list odd.json" "conf check odd.json" \
    "json check odd.json" "json tree odd.json" "topo show odd.json" "topo show --dot odd.json" \
    "filedict show odd.json" "action check odd.json"; do
    # shellcheck disable=SC2086
    run on_terminal NO_COLOR=1 $command
    [[ $output != *$esc* && ($output == *'\x1b[31mred'* || $command == json\ check*) ]] || {
      printf '%s:\n%s\n' "$command" "$output"
      return 1
    }
    # shellcheck disable=SC2086
    run on_terminal NO_COLOR=1 --json $command
    [[ $output != *$esc* && $output != *$'\xc2\x9b'* ]]
  done
}

@test "names of files are shown with care, too" {
  cp a.log "${esc}[31m.log"
  for command in "log cat" "store list" "json check" "msgq dump" crc32; do
    # shellcheck disable=SC2086
    run on_terminal NO_COLOR=1 $command "${esc}[31m.log"
    lacks "$esc"
    # shellcheck disable=SC2086
    run on_terminal NO_COLOR=1 $command "${esc}[31m.none"
    lacks "$esc"
    has '\x1b[31m.none: No such file'
  done
}

@test "a payload goes raw into a pipe, and shown to a terminal" {
  printf 'ambrelstorage 4\nrecord 1 1 5 1b5b33316d 0 0\nend 1\n' | cuctl store load a.db
  [[ $(cuctl store get a.db 1) == "${esc}[31m" ]]
  run on_terminal store get a.db 1
  has '\x1b[31m'
  lacks "$esc"
  run on_terminal --raw store get a.db 1
  has "${esc}[31m"
  printf '{"ConfigObj":[]}' >a.json
  run on_terminal conf render a.json "${esc}[31m"
  has '\x1b[31m'
  lacks "$esc"
}

@test "progress on a terminal once work takes over a second, and never in a pipe" {
  slowly() {
    head -c 1500000 /dev/zero
    sleep 1.2
    head -c 1500000 /dev/zero
  }
  export -f slowly
  run bash -c 'slowly | script -qec "\"$CUCTL\" crc32 - <&9" /dev/null 9<&0 </dev/null'
  [[ $output == *"reading 2 MiB"*"${esc}[K"*"  -"* ]]
  run bash -c 'slowly | "$CUCTL" crc32 -'
  lacks reading
  run on_terminal crc32 a.log
  lacks reading
}

@test "a full disk is told" {
  for command in "log cat a.log" "--json log info a.log" "log cat --help" --version; do
    # shellcheck disable=SC2086
    run bash -c '"$CUCTL" "$@" >/dev/full' _ $command
    ((status == 3))
  done
  run bash -c '"$CUCTL" log cat a.log >/dev/full'
  has "cuctl: standard output: No space left on device"
}

@test "it needs no daemon, and neither the library nor a writable folder" {
  run ldd "$CUCTL"
  lacks commonutilities
  run strace -f -qq -e trace=open,openat,creat,unlink,rename,mkdir "$CUCTL" log cat a.log
  [[ $output == *a.log* && ! $output =~ O_WRONLY|O_RDWR|O_CREAT|unlink|rename|creat|mkdir ]]
}
