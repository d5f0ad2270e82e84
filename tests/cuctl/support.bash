# What the tests of cuctl share. They are told in the environment: CUCTL, BOARDD, PLUGIN, DOCUMENTS
# (a folder), PAGE (the manual page's source), and UNBOUNDED=1 where an emulator's own needs count.
bats_require_minimum_version 1.5.0
export TZ=UTC LC_ALL=C
export SHELL=/bin/bash # `script` runs its command with it, and reads the quotes of printf %q with it
unset NO_COLOR

# cuctl ARGUMENT...: within 64 MiB and one second of processor time, whatever it is given.
cuctl() (
  ((${UNBOUNDED-0})) || ulimit -v 65536 -t 1
  exec timeout 60 "$CUCTL" "$@"
)

# expect EXIT-CODE TEXT ARGUMENT...: the command ends with the code, and says the text.
expect() {
  local code=$1 text=$2
  shift 2
  run cuctl "$@"
  if ((status != code)) || [[ $output != *"$text"* ]]; then
    printf 'cuctl %s: exit %s instead of %s, or no "%s" in:\n%s\n' "$*" "$status" "$code" "$text" \
      "$(head -c 2000 <<<"$output")"
    return 1
  fi
}

# expect_json EXIT-CODE COMMAND ARGUMENT...: with --json each line is an object of JSON, whose keys the
# page names for the COMMAND, such as "log cat". The lines are left in $json.
expect_json() {
  local code=$1 command=$2 status=0
  shift 2
  json=$(cuctl --json "$@" 2>/dev/null </dev/null) || status=$?
  if ((status != code)); then
    printf 'cuctl --json %s: exit %s instead of %s:\n%s\n' "$*" "$status" "$code" \
      "$(head -c 2000 <<<"$json")"
    return 1
  fi
  python3 "$BATS_TEST_DIRNAME/json-lines.py" "$PAGE" "$command" <<<"$json"
}

# has TEXT: the latest output, or JSON with an argument, contains it.
has() {
  [[ ${2-$output} == *"$1"* ]] || {
    printf 'no "%s" in:\n%s\n' "$1" "${2-$output}"
    return 1
  }
}

# lacks TEXT: the latest output does not contain it.
lacks() {
  [[ $output != *"$1"* ]] || {
    printf '"%s" in:\n%s\n' "$1" "$output"
    return 1
  }
}

# wait_for COMMAND...: until it succeeds.
wait_for() {
  local deadline=$((SECONDS + 60))
  until "$@"; do
    ((SECONDS < deadline)) || {
      echo "waited in vain: $*"
      return 1
    }
    sleep 0.05
  done
}

# lengths FILE: at which to cut it short. An emulator takes its time for each start of a program, and
# gets one in seven.
lengths() {
  seq 1 $((${UNBOUNDED-0} ? 7 : 1)) $(($(stat -c %s "$1") - 1))
}

# le32 NUMBER: four bytes, the least one first.
le32() {
  local i
  # shellcheck disable=SC2059
  for i in 0 8 16 24; do printf "\\x$(printf %02x $((($1 >> i) & 255)))"; done
}

# put FILE OFFSET: overwrites bytes in a file with standard input, in one write.
put() {
  dd of="$1" bs=1M iflag=fullblock seek="$2" oflag=seek_bytes conv=notrunc status=none
}

# line NANOSECONDS TEXT [LEVEL [PID]]: a line as the logger writes it.
line() {
  printf '[%s : %s %s (%s)]%s\n' "${4-412}" "${4-412}" "${3-INFO}" "$1" "$2"
}

# make_log FILE POSITION: a log from the text on standard input; "end" is the end of it.
make_log() {
  local text position=$2
  text=$(mktemp)
  cat >"$text"
  [[ $position != end ]] || position=$((4 + $(stat -c %s "$text")))
  { le32 "$position"; cat "$text"; } >"$1"
}

# make_store FILE: two valid records, 1 and 2, and a superseded one.
make_store() {
  "$CUCTL" store load "$1" - >/dev/null <<'DUMP'
ambrelstorage 4
record 1 1 5 68656c6c6f 250000 100
record 2 1 3 000aff 0 101
record 3 0 2 6f6b -5 102
end 3
DUMP
}

# boardd_folder: where the demo daemon has run once, made anew for each test file.
boardd_folder() {
  local folder=$BATS_FILE_TMPDIR/boardd
  if [[ ! -d $folder ]]; then
    mkdir "$folder"
    "$BATS_TEST_DIRNAME/boardd-folder.sh" "$folder" "$BOARDD" "$PLUGIN" "$DOCUMENTS"
  fi
  cp -r "$folder/." "$BATS_TEST_TMPDIR"
}

# on_terminal ARGUMENT...: the command with a terminal for its output; NO_COLOR and more may be given
# in front, as env takes them.
on_terminal() {
  local quoted=()
  while [[ $1 == *=* ]]; do
    quoted+=("$(printf %q "$1")")
    shift
  done
  script -qec "env ${quoted[*]} $(printf '%q ' "$CUCTL" "$@")" /dev/null </dev/null
}
