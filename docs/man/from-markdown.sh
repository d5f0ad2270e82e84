#!/usr/bin/env bash
# from-markdown.sh PAGE.md NAME SECTION: writes a guide as a man page; its title becomes the line that
# apropos knows.
set -euo pipefail
page=$1 name=$2 section=$3

about=$(sed -nE '1s/^# (.)(.*)/\L\1\E\2 (libcommonutilities)/p' "$page")
date=$(date -u -d "@${SOURCE_DATE_EPOCH:-$(stat -c %Y "$page")}" +%F)

# Links become what they are called; another guide is a man page of its own.
sed -E '1d; s/\[(hazards|troubleshooting)\.md\]\([^)]*\)/**commonutilities-\1**(7)/g
  s/\[([^]]*)\]\([^)]*\)/\1/g' "$page" |
  { printf '# NAME\n\n%s - %s\n\n# DESCRIPTION\n' "$name" "$about"; sed -E 's/^## /# /; s/^### /## /'; } |
  sed -E '/^# /s/.*/\U&/' |
  lowdown -s -tman --out-no-smarty -M title="$name" -M section="$section" -M date="$date" -M source=commonutilities - |
  # lowdown gives every column the same width. Here narrow ones are as wide as their text, and the
  # others share the rest; nothing is stretched to a straight margin, which needs longer lines.
  awk '
    /^\.TS$/ { rows = columns = 0; table = 1; next }
    table && /^(tab\(|lb|l )/ { next }
    table && /^T{$/ { cell = ""; column = 1; next }
    table && /^T}\|T{$/ { cells[rows, column++] = cell; cell = ""; next }
    table && /^T}$/ { cells[rows++, column] = cell; columns = column; next }
    table && /^\.TE$/ { emit(); table = 0; next }
    table { cell = cell (cell == "" ? "" : "\n") $0; next }
    { print }
    function emit(   at, row, head, format, line, text) {
      for (at = 1; at <= columns; ++at) {
        wide[at] = at == columns
        for (row = 0; row < rows; ++row) {
          text = cells[row, at]
          gsub(/\\f./, "", text)
          if (length(text) > 20 || text ~ /\n/) wide[at] = 1
        }
        head = head (at > 1 ? " | " : "") "lb"
        format = format (at > 1 ? " | " : "") (wide[at] ? "lx" : "l")
      }
      print ".na\n.TS\ntab(|) box;\n" head "\n" format "."
      for (row = 0; row < rows; ++row) {
        line = ""
        for (at = 1; at <= columns; ++at) {
          text = cells[row, at]
          line = line (at > 1 ? "|" : "") (wide[at] ? "T{\n" text "\nT}" : "\\&" text)
        }
        print line
        if (row == 0) print "_"
      }
      print ".TE\n.ad"
    }'
