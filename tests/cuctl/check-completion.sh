#!/usr/bin/env bash
# check-completion.sh CUCTL SOURCE BASH-COMPLETION: the kept completion is the one that the help gives,
# and bash offers with it what a user expects at each place.
set -uo pipefail
cuctl=$1 source=$2 library=$3

failures=0
"$source/make-completion.sh" "$cuctl" | diff "$source/cuctl.bash" - || {
  echo "cuctl.bash is not what make-completion.sh writes"
  failures=1
}

dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
cd "$dir" || exit 1
touch boardd.log board.json
mkdir store

# complete WORD...: what bash offers for the last word, which may be empty.
complete_words() {
  bash -c '
    library=$1 file=$2
    shift 2
    source "$library" && source "$file" || exit 1
    COMP_WORDS=(cuctl "$@") COMP_CWORD=$# COMP_LINE="cuctl $*"
    COMP_POINT=${#COMP_LINE} COMP_TYPE=9 COMP_KEY=9
    _cuctl
    printf "%s\n" "${COMPREPLY[@]}" | LC_ALL=C sort | paste -sd " "' _ "$library" "$source/cuctl.bash" "$@" 2>&1
}

expect() { # EXPECTED WORD...
  local got expected=$1
  shift
  got=$(complete_words "$@")
  [[ $got == "$expected" ]] || {
    printf 'cuctl %s<TAB>: "%s" instead of "%s"\n' "$*" "$got" "$expected"
    ((++failures))
  }
}

expect "action conf crc32 crc8 filedict gpio json log msgq rpn shm store topo" ""
expect "crc32 crc8" cr
expect "cat follow info" log ""
expect "restore" store re
expect "get set watch" gpio ""
expect "--backup" store verify --b
expect "--json" --js
expect "--json" log cat --js
expect "--json" --utc log info --js
expect "--pid --priority" log cat --p
expect "CRITICAL" log cat -p CR
expect "uint16 uint64 uint8" conf get x.json net mtu --as ui
expect "board.json boardd.log" log cat b
expect "store" store verify --backup s
expect "" log cat -n b
expect "" gpio set b
expect "" nothing b

((failures == 0)) || { printf '%d checks failed\n' "$failures"; exit 1; }
echo "the completion is the help's, and offers what it should"
