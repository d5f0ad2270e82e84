#!/usr/bin/env bash
# run.sh FOLDER [seconds] [target[=seconds]...]: runs the fuzz targets, all or the named ones, each for
# so many seconds, 60 by default, from the kept corpus on, as many at a time as there are processors.
# "all" stands for those that are not named. New inputs stay in the build folder until keep.sh keeps them. Leaks are
# looked for except where the interface loses memory by design: repeated keys. CU_SEED in the
# environment is the seed. What is told of a target ends with its runs a second of processor time.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
folder=$(cd "$1" && pwd)
shift
seconds=60
if [[ ${1-} =~ ^[0-9]+$ ]]; then
  seconds=$1
  shift
fi
(($#)) || set -- all
mapfile -t all < <(
  find "$folder" -maxdepth 1 -name 'fuzz_*' -type f -executable -printf '%f\n' | sed 's/^fuzz_//' | sort)
targets=()
for target in "$@"; do
  [[ $target != all ]] || continue
  if [[ ! " ${all[*]} " == *" ${target%%=*} "* || ! $target =~ ^[a-z_0-9]+(=[0-9]+)?$ ]]; then
    printf 'fuzz: no target "%s"; there are: %s\n' "$target" "${all[*]}" >&2
    exit 2
  fi
  targets+=("$target")
done
if [[ " $* " == *" all "* ]]; then
  for target in "${all[@]}"; do
    [[ " $* " == *" $target"[=\ ]* ]] || targets+=("$target")
  done
fi

fuzz() { # TARGET[=SECONDS]
  local target=${1%=*} leaks=1 extra=() status=0 user kernel
  local seconds=$seconds
  [[ $1 != *=* ]] || seconds=${1#*=}
  local log=$folder/found/$target.log
  case $target in
    walk_values) ;; # its deserializer releases what a repeated key replaces
    walk_* | store_file | node_tree | generic_parser | cuctl) leaks=0 ;;
  esac
  case $target in
    log_settings) extra=(-close_fd_mask=2) ;; # the logger tells on standard error what it opens
  esac
  local length=(-max_total_time="$seconds")
  ((seconds)) || length=(-runs=0) extra=()
  mkdir -p "$folder/found/$target"
  [[ ! -f $here/corpus/$target.tar.xz ]] || tar -xJf "$here/corpus/$target.tar.xz" -C "$folder/found/$target"
  local TIMEFORMAT='%U %S' # processor time: the machine may have other work
  # The memory that AddressSanitizer holds back counts, so it is less than it would take by itself.
  {
    time env -C "$folder/found" "ASAN_OPTIONS=detect_leaks=$leaks:quarantine_size_mb=16" \
      "$folder/fuzz_$target" -seed="${CU_SEED:-0}" "${length[@]}" -timeout=5 \
      -rss_limit_mb=512 -malloc_limit_mb=64 -max_len=65536 \
      -print_final_stats=1 -dict="$here/documents.dict" "${extra[@]}" \
      "$folder/found/$target" >"$log" 2>&1
  } 2>"$log.time" || status=$?
  read -r user kernel <"$log.time"
  if ((status)); then
    tail -n 60 "$log"
    printf 'fuzz_%s FAILED\n' "$target"
    return 1
  fi
  awk -v target="$target" -v seconds="$seconds" -v user="$user" -v kernel="$kernel" '
    /^stat::number_of_executed_units:/ { runs = $2 }
    /^stat::peak_rss_mb:/ { peak = $2 }
    END { time = user + kernel
      told = sprintf("== %s, %d s\n   %d runs", target, seconds, runs)
      if (seconds && time) told = told sprintf(" in %.0f s of processor time, %.0f a second, %d MB",
        time, runs / time, peak)
      print told }' "$log"
}

failed=0 running=0
for target in "${targets[@]}"; do
  if ((running == $(nproc))); then
    wait -n || failed=1
    ((--running)) || true
  fi
  fuzz "$target" &
  ((++running))
done
while ((running > 0)); do
  wait -n || failed=1
  ((--running)) || true
done
exit "$failed"
