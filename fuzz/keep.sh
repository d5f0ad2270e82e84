#!/usr/bin/env bash
# keep.sh FOLDER [target...]: makes what the runs of a build found the kept corpus (corpus/*.tar.xz):
# the fewest inputs, none over 3 KB, that reach all that is reached.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
folder=$(cd "$1" && pwd)
shift
targets=("$@")
((${#targets[@]})) || mapfile -t targets < <(
  find "$folder/found" -mindepth 1 -maxdepth 1 -type d -printf '%f\n' | sort)

for target in "${targets[@]}"; do
  kept=$folder/kept/$target
  rm -rf "$kept"
  mkdir -p "$kept"
  find "$folder/found/$target" -type f -size +3k -delete
  ASAN_OPTIONS=detect_leaks=0 "$folder/fuzz_$target" -merge=1 -rss_limit_mb=0 \
    "$kept" "$folder/found/$target" >"$folder/kept/$target.log" 2>&1
  tar --sort=name --mtime=@0 --owner=0 --group=0 --numeric-owner -C "$kept" \
    -cJf "$here/corpus/$target.tar.xz" .
  printf '%s: %s inputs\n' "$target" "$(find "$kept" -type f | wc -l)"
done
