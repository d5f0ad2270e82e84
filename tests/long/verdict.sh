# shellcheck shell=bash
# Sourced by the long runs.

# verdict NAME SEED STATUS [KEY NUMBER]...: prints one line of JSON and ends the script with STATUS.
verdict() {
  local name=$1 seed=$2 status=$3 word=pass
  shift 3
  ((status == 0)) || word=fail
  printf '{"run":"%s","seed":%s' "$name" "$seed"
  while (($# > 1)); do
    printf ',"%s":%s' "$1" "$2"
    shift 2
  done
  printf ',"seconds":%d,"verdict":"%s"}\n' "$SECONDS" "$word"
  exit $((status != 0))
}

# A seed of its own for a run that was not given one.
any_seed() { printf '%d\n' $(((RANDOM << 15 | RANDOM) % 99999 + 1)); }
