#!/usr/bin/env bash
# preload.sh PRELOAD DOCUMENTS BUILD STRIDE [EMULATOR...]: programs that use the shared library as it
# is shipped, with one of its calls failing: the first, the second and so on to the last that a run
# makes. Of long runs some calls are left out, more with a longer STRIDE, for where each step is
# emulated; none with CU_TEST_FULL in the environment. A faulted run may succeed or say that it
# failed, but nothing may kill it, and a run with nothing failing must work in what it left behind.
# Ends with how many faults struck.
set -euo pipefail
# What a faulted run leaves in shared memory is no concern of others: in a mount namespace, where one
# can be had, there is a folder for it that the scenarios have to themselves.
if [[ -z ${CU_OWN_SHM-} ]]; then
  export CU_OWN_SHM=no
  ! unshare -rm mount -t tmpfs none /dev/shm 2>/dev/null || CU_OWN_SHM=yes exec unshare -rm "$0" "$@"
fi
[[ $CU_OWN_SHM != yes ]] || mount -t tmpfs none /dev/shm
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
  [[ $CU_OWN_SHM != yes ]] || rm -rf /dev/shm/*
  cp -r fresh work
  cd work
}

faults=0
# fail CALL COUNT MODE ERROR STRIDE PROGRAM ARGUMENT...
fail() {
  local call=$1 count=$2 mode=$3 error=$4 each=$5 k status
  shift 5
  for ((k = 1; k <= count; k += each)); do
    fault=$call:$k:$mode:$error
    begin
    status=0
    CU_FAIL=$fault CU_FAIL_FILE=$scratch/struck run "$@" || status=$?
    ((status <= 2)) || complain "ended with $status"
    # Threads do not make as many calls each time.
    [[ -e $scratch/struck ]] || return 0
    faults=$((faults + 1))
    [[ $scenario != @(logging|record_store|boardd) ]] || run "$@" ||
      complain "the next run, with nothing failing, ended with $?"
  done
}

# Those that make more calls than there is time for have some left out.
for scenario in configuration:1 json_document:1 json_writer:1 logging:17 node_query:1 \
  flex_message_queue:3 record_store:3 shared_memory:1 boardd:29; do
  each=${scenario#*:}
  ((each == 1)) || each=$((stride == 0 ? 1 : each * stride))
  scenario=${scenario%:*}
  program=("$build/examples/small/example_$scenario")
  [[ $scenario != configuration ]] || program+=(config.json)
  [[ $scenario != boardd ]] || program=("$build/examples/boardd/boardd" --seconds 0)
  before=$faults fault=count
  begin
  CU_FAIL=count CU_FAIL_FILE=$scratch/counts run "${program[@]}" || complain "ended with $?"
  while read -r call count; do
    error=5
    [[ $call != memory ]] || error=12
    for mode in once after; do
      fail "$call" "$count" "$mode" "$error" "$each" "${program[@]}"
    done
  done <"$scratch/counts"
  printf '%s: %d faults, %d s so far\n' "$scenario" $((faults - before)) "$SECONDS"
done
((faults > 100)) || {
  printf 'only %d faults struck\n' "$faults"
  exit 1
}
printf '%d faults\n' "$faults"
