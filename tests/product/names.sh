# shellcheck shell=bash
# names.sh, to be sourced: the exported names as a list and the headers have them, and their
# comparison. A difference sets `status` to 1.

# listed_names LIST: what is separated by semicolons or line ends, sorted.
listed_names() { tr ';' '\n' <"$1" | sed '/^$/d' | sort; }

# declared_names INCLUDE: what the public headers declare with CU_API, sorted.
declared_names() {
  cat "$1"/*.h | sed -e '/^ *#/d; s|/\*.*\*/||' | tr '\n' ' ' | grep -oE 'CU_API[^;{]*;' |
    sed -E 's/\(\*[^)]*\)\([^)]*\)//g; s/CU_[A-Z]+\([^)]*\)//g; s/\(.*//; s/\[.*//; s/;.*//' |
    grep -oE '[A-Za-z_][A-Za-z0-9_]*[[:space:]]*$' | tr -d ' ' | sort
}

# shellcheck disable=SC2034 # read by the scripts that source this
status=0
compare() { # TEXT EXPECTED ACTUAL
  local difference
  difference=$(diff <(printf '%s\n' "$2") <(printf '%s\n' "$3")) || {
    printf '%s (< missing, > unexpected):\n%s\n' "$1" "$(grep '^[<>]' <<<"$difference")"
    # shellcheck disable=SC2034
    status=1
  }
}
