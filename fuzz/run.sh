#!/usr/bin/env bash
# run.sh FOLDER [seconds] [target[=seconds]...]: runs the fuzz targets, all or the named ones, each for
# so many seconds, from the kept corpus on, as many at a time as there are processors. "all" stands for
# those that are not named. New inputs stay in the build folder until keep.sh keeps them. Leaks are
# looked for except where the interface loses memory by design: repeated keys. CU_SEED in the
# environment is the seed.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
folder=$(cd "$1" && pwd)
seconds=${2:-60}
shift $(($# < 2 ? $# : 2))
(($#)) || set -- all
targets=()
for target in "$@"; do
  [[ $target == all ]] || targets+=("$target")
done
if [[ " $* " == *" all "* ]]; then
  while read -r target; do
    [[ " $* " == *" $target"[=\ ]* ]] || targets+=("$target")
  done < <(find "$folder" -maxdepth 1 -name 'fuzz_*' -type f -executable -printf '%f\n' | sed 's/^fuzz_//' | sort)
fi

fuzz() { # TARGET[=SECONDS]
  local target=${1%=*} leaks=1 extra=() status=0
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
  (cd "$folder/found" && ASAN_OPTIONS=detect_leaks=$leaks "$folder/fuzz_$target" \
    -seed="${CU_SEED:-0}" "${length[@]}" -timeout=5 \
    -rss_limit_mb=1024 -malloc_limit_mb=256 -max_len=65536 \
    -print_final_stats=1 -dict="$here/documents.dict" "${extra[@]}" \
    "$folder/found/$target") >"$log" 2>&1 || status=$?
  if ((status)); then
    tail -n 60 "$log"
    printf 'fuzz_%s FAILED\n' "$target"
    return 1
  fi
  printf '== %s, %s s\n%s\n' "$target" "$seconds" \
    "$(sed -nE 's/^stat::(number_of_executed_units|average_exec_per_sec): +/   \1 /p' "$log")"
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
