#!/usr/bin/awk -f
# shared-arguments.awk HEADER: the header as the reference reads it. What a comment of the file or of
# a group (@name) says once,
#
#   * - `queue`: the queue.
#   * - Result: 1; 0 for a null argument.
#   * - Result of `free_*`: 1.
#
# under the words "Shared arguments", every function gets that has such an argument or result and does
# not describe it. Line numbers stay.
function trim(text) { gsub(/^[ \t]+|[ \t]+$/, "", text); return text }

# The entries of a comment, its lines from..to, into shared[scope, name].
function collect(from, to, scope,   i, line, name, text, inside, pattern) {
  name = ""
  for (i = from; i <= to; ++i) {
    line = lines[i]
    sub(/^ *\/?\*+ ?\/?/, "", line)
    sub(/\*\/ *$/, "", line)
    line = trim(line)
    if (line ~ /Shared arguments/) { inside = 1; continue }
    if (!inside) continue
    if (line ~ /^- `[A-Za-z_0-9]+`: / || line ~ /^- Result/) {
      name = line
      text = line
      sub(/^- [^:]*: /, "", text)
      if (line ~ /^- Result of/) { split(line, pattern, "`"); name = "@" pattern[2] }
      else if (line ~ /^- Result/) name = "@*"
      else { split(line, pattern, "`"); name = pattern[2] }
      shared[scope, name] = text
      if (name ~ /^@/) results[scope] = results[scope] " " name
    } else if (line == "" || line ~ /^[-@*]/) {
      name = ""
      if (line == "" && i > from && shared_seen(scope)) inside = 0
    } else if (name != "") {
      shared[scope, name] = shared[scope, name] " " line
    }
  }
}
function shared_seen(scope,   key) {
  for (key in shared) if (index(key, scope SUBSEP) == 1) return 1
  return 0
}

function forget(scope,   key) {
  for (key in shared) if (index(key, scope SUBSEP) == 1) delete shared[key]
  delete results[scope]
}

function argument(name) {
  if (("group", name) in shared) return shared["group", name]
  if (("file", name) in shared) return shared["file", name]
  return ""
}

function result(function_name,   scope, i, n, patterns, pattern) {
  for (scope = 1; scope <= 2; ++scope) {
    n = split(results[scope == 1 ? "group" : "file"], patterns, " ")
    for (i = 1; i <= n; ++i) {
      pattern = substr(patterns[i], 2)
      gsub(/\*/, ".*", pattern)
      if (function_name ~ ("^" pattern "$")) return shared[scope == 1 ? "group" : "file", patterns[i]]
    }
  }
  return ""
}

# The declaration from line `from` on: its name, its arguments in order, whether it gives a result.
function declaration(from,   i, text, open, depth, c, part, count, start) {
  text = ""
  for (i = from; i <= count_of_lines; ++i) {
    text = text " " lines[i]
    if (lines[i] ~ /;/) break
  }
  arguments = 0
  declared = text
  sub(/\(.*/, "", declared)
  # A call to an attribute macro in front has parentheses of its own.
  while (declared ~ /CU_[A-Z]+$/ && declared !~ /CU_API *$/) {
    sub(/CU_[A-Z]+\([^)]*\)/, "", text)
    declared = text
    sub(/\(.*/, "", declared)
  }
  if (index(text, "(") == 0) return 0
  gives = declared
  name_of = declared
  sub(/^.*[^A-Za-z0-9_]/, "", name_of)
  gsub(/CU_[A-Z]+|extern/, "", gives)
  sub(/[A-Za-z0-9_]+$/, "", gives)
  gives = trim(gives) != "void"
  open = index(text, "(")
  depth = 0
  part = ""
  for (i = open + 1; i <= length(text); ++i) {
    c = substr(text, i, 1)
    if (c == "(") ++depth
    if (c == ")" && depth-- == 0) { add_argument(part); break }
    if (c == "," && depth == 0) { add_argument(part); part = "" }
    else part = part c
  }
  return 1
}

function add_argument(part) {
  part = trim(part)
  if (part == "void" || part == "...") return
  if (part ~ /\(\*/) { sub(/^.*\(\*/, "", part); sub(/\).*/, "", part) }
  else { sub(/\[.*/, "", part); sub(/^.*[^A-Za-z0-9_]/, "", part) }
  order[++arguments] = part
}

# Adds to the comment, lines from..to, what its function shares with others.
function complete(from, to,   i, j, line, described, told, before, text, at, marker) {
  split("", described)
  told = 0
  for (i = from; i <= to; ++i) {
    line = lines[i]
    if (match(line, /@param +[A-Za-z_0-9]+/)) {
      text = substr(line, RSTART, RLENGTH)
      sub(/@param +/, "", text)
      described[text] = i
    }
    if (line ~ /@return|@retval/ && !told) told = i
  }
  split("", before)
  at = 0
  for (i = 1; i <= arguments; ++i) {
    if (order[i] in described || argument(order[i]) == "") continue
    # In front of the next argument that has a description of its own.
    at = 0
    for (j = i + 1; j <= arguments && !at; ++j) if (order[j] in described) at = described[order[j]]
    if (!at) at = told ? told : to
    before[at] = before[at] "@param " order[i] " " argument(order[i]) " "
  }
  if (gives && !told && result(name_of) != "") before[to] = before[to] "@return " result(name_of) " "
  for (i = from; i <= to; ++i) {
    if (before[i] == "") continue
    line = lines[i]
    if (match(line, /@param|@return|@retval/) && i in before && line !~ /\*\/ *$/) marker = RSTART
    else if (match(line, /\*\/ *$/)) marker = RSTART
    else continue
    lines[i] = substr(line, 1, marker - 1) before[i] substr(line, marker)
  }
}

{ lines[++count_of_lines] = $0 }

END {
  for (n = 1; n <= count_of_lines; ++n) {
    if (lines[n] !~ /^\/\*\*/) continue
    first = n
    while (n <= count_of_lines && lines[n] !~ /\*\//) ++n
    whole = ""
    for (m = first; m <= n; ++m) whole = whole lines[m]
    if (whole ~ /@file/) collect(first, n, "file")
    else if (whole ~ /@name/) { forget("group"); collect(first, n, "group") }
    else if (whole ~ /@\}/) forget("group")
    else if (lines[n + 1] ~ /^CU_API/ && declaration(n + 1)) complete(first, n)
  }
  for (n = 1; n <= count_of_lines; ++n) print lines[n]
}
