#!/usr/bin/env bash
# check-architecture.sh DOCUMENT SOURCE OBJECTS NM: the two tables of DOCUMENT say what is so. A
# subsystem uses those whose functions and variables its objects refer to, and a mechanism is relied
# on by those that include it; every header in internal/ is a mechanism with a row.
set -euo pipefail
export LC_ALL=C
document=$(realpath "$1") objects=$(realpath "$3") nm=$4
cd "$2"

mapfile -t subsystems < <(find "$objects" -mindepth 1 -maxdepth 1 -type d -printf '%f\n' | sort)
status=0
compare() { # WHAT TOLD FOUND
  [[ $2 == "$3" ]] || {
    printf '%s\n  told:  %s\n  found: %s\n' "$1" "${2:-nothing}" "${3:-nothing}"
    status=1
  }
}
list() { paste -sd' ' | sed 's/ /, /g'; }

# shellcheck disable=SC2016
told=$(sed -nE 's/^\| `([a-z]+)` \| (.*) \|$/\1 \2/p' "$document")
found=$(for subsystem in "${subsystems[@]}"; do
  "$nm" -P "$objects/$subsystem"/*.o | awk -v name="$subsystem" 'NF > 1 { print name, $1, $2 }'
done | awk '
  $3 ~ /^[BDRTbd]$/ { home[$2] = $1 }
  $3 == "U" { wanted[$1 " " $2] }
  END { for (pair in wanted) { split(pair, part, " ")
    if (part[2] in home && home[part[2]] != part[1]) print part[1], home[part[2]] } }' | sort -u)
for subsystem in "${subsystems[@]}"; do
  row=$(sed -n "s/^$subsystem //p" <<<"$told")
  [[ -n $row ]] || row='no row'
  # shellcheck disable=SC2016
  compare "what $subsystem uses" "$(grep -oE '`[a-z]+`|no row' <<<"${row%;*}" | tr -d '`' | list)" \
    "$(sed -n "s/^$subsystem //p" <<<"$found" | list)"
done

# shellcheck disable=SC2016
mechanisms=$(sed -nE 's/^\| .* \| `([a-z]+\/[a-z0-9_]+\.hpp)` \| (.*) \|$/\1 \2/p' "$document")
compare 'headers in internal/' "$(grep -o '^internal/[^ ]*' <<<"$mechanisms" | sort | list)" \
  "$(find internal -name '*.hpp' | sort | list)"
everyone=$(printf '%s\n' "${subsystems[@]}" | list)
while read -r header users; do
  [[ $users != all ]] || users=$everyone
  compare "who includes $header" "$users" \
    "$(grep -rlF --include='*.cc' --include='*.hpp' "#include \"$header\"" "${subsystems[@]}" |
      sed 's,/.*,,' | sort -u | list)"
done <<<"$mechanisms"
((status)) || printf '%d subsystems and %d mechanisms are as told\n' "${#subsystems[@]}" \
  "$(wc -l <<<"$mechanisms")"
exit "$status"
