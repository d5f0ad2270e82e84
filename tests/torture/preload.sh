#!/usr/bin/env bash
# preload.sh PRELOAD DOCUMENTS BUILD STRIDE [EMULATOR...]: programs that use the shared library as it
# is shipped, with one of their calls failing: the first, the second and so on until the program
# makes no more of them, with some left out, STRIDE times as many where each step is emulated. With
# CU_TEST_FULL in the environment none are. A faulted run may succeed or say that it failed, but
# nothing may kill it, and a run with nothing failing must work in what it left behind. Ends with how
# many faults struck.
set -euo pipefail
preload=$1 documents=$2 build=$3 stride=${CU_TEST_FULL+0}
stride=${stride:-$4}
shift 4
emulator=("$@")

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

# run PROGRAM ARGUMENT...: with the fault that CU_FAIL tells, if any, in the current folder.
run() (
  if [[ -z ${CU_FAIL-} ]]; then
    exec "${emulator[@]}" "$@"
  elif [[ ${emulator[0]-} == *qemu* ]]; then
    exec "${emulator[@]}" -E "LD_PRELOAD=$preload" "$@" # qemu itself cannot load it
  else
    export LD_PRELOAD=$preload
    exec "${emulator[@]}" "$@"
  fi
) >"$scratch/out" 2>&1

# complain TEXT
complain() {
  printf '%s, CU_FAIL=%s: %s\n' "$scenario" "$fault" "$1"
  tail -n 20 "$scratch/out"
  exit 1
}

mkdir -p "$scratch/fresh/plugins"
cp "$documents"/../small/*.json "$documents"/../small/*.logenable "$documents"/* "$scratch/fresh"
cp "$build/examples/boardd/libboardaction.so" "$scratch/fresh/plugins/"
# begin: a folder as the scenario finds it.
begin() {
  cd "$scratch"
  rm -rf work struck
  cp -r fresh work
  cd work
}

faults=0
# fail CALL MODE ERROR STRIDE PROGRAM ARGUMENT...
fail() {
  local call=$1 mode=$2 error=$3 each=$4 k status
  shift 4
  for ((k = 1; ; k += each)); do
    fault=$call:$k:$mode:$error
    begin
    status=0
    CU_FAIL=$fault CU_FAIL_FILE=$scratch/struck run "$@" || status=$?
    ((status <= 2)) || complain "ended with $status"
    [[ -e $scratch/struck ]] || {
      ((status == 0)) || complain "failed without a fault, with $status"
      return 0
    }
    faults=$((faults + 1))
    [[ $scenario != @(logging|record_store|boardd) ]] || run "$@" ||
      complain "the next run, with nothing failing, ended with $?"
  done
}

readonly IO=(fopen fclose fread fwrite fseek ftell open close read write pwrite rename remove mkdir
  stat mmap shm_open sem_open dlopen)
# Those that make more calls than there is time for have a longer stride.
for scenario in configuration:1 json_document:1 json_writer:1 logging:17 node_query:41 \
  flex_message_queue:3 record_store:1 shared_memory:1 boardd:29; do
  each=$((${scenario#*:} * stride))
  ((stride > 0)) || each=1
  scenario=${scenario%:*}
  program=("$build/examples/small/example_$scenario")
  [[ $scenario != configuration ]] || program+=(config.json)
  [[ $scenario != boardd ]] || program=("$build/examples/boardd/boardd" --seconds 0)
  before=$faults
  for mode in once after; do
    fail memory "$mode" 12 "$each" "${program[@]}"
    for call in "${IO[@]}"; do fail "$call" "$mode" 5 "$each" "${program[@]}"; done
  done
  printf '%s: %d faults, %d s so far\n' "$scenario" $((faults - before)) "$SECONDS"
done
((faults > 100)) || {
  printf 'only %d faults struck\n' "$faults"
  exit 1
}
printf '%d faults\n' "$faults"
