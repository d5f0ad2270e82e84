# cuctl json check|get|tree
load support

setup() {
  cd "$BATS_TEST_TMPDIR" || exit 1
  printf '{"name":"carrier","list":[1,{"x":"y"},[]],"sub":{"a":{"b":"deep"}},"on":true}' >good.json
}

@test "check: the strict verdict beside the library's" {
  expect 0 ok json check good.json
  expect_json 0 "json check" json check good.json
  has '"strict":"ok","library":"accepted"' "$json"
  printf '{\n "a":1,\n "b":2 ,\n}' >comma.json
  expect 4 "comma.json:3:8: trailing comma (strict: error, library: refused)" json check comma.json
  expect_json 4 "json check" json check comma.json
  has '"library":"refused","tokens":0,"problem":"trailing comma","offset":17' "$json"
  printf '[1 2]' >lenient.json
  expect 1 "(strict: error, library: accepted)" json check lenient.json
  expect_json 1 "json check" json check lenient.json
  printf '{"a":1}\0{"b"' >nul.json
  expect 1 "a NUL byte; the library reads no further" json check nul.json
  expect_json 1 "json check" json check nul.json
  has '"nul":7' "$json"
  : >empty.json
  expect 1 "library: accepted" json check empty.json
  expect 0 ok json check - <good.json
}

@test "get: values, containers and lists" {
  expect 0 carrier json get good.json name
  expect 0 deep json get good.json sub/a/b
  expect 0 object json get good.json sub
  expect 0 array json get good.json list
  has "  1"
  expect 0 object json get good.json
  expect 1 "no nothing" json get good.json nothing
  expect 1 "no name/x" json get good.json name/x
  expect_json 0 "json get" json get good.json sub/a/b
  has '"path":"sub/a/b","kind":"value","value":"deep"' "$json"
  expect_json 0 "json get" json get good.json list
}

@test "tree: the whole document, or from a path on" {
  run cuctl json tree good.json
  ((status == 0))
  [[ $output == 'object of 4
  name: "carrier"
  list: array of 3
    [0] 1
    [1] object of 1
      x: "y"
    [2] array of 0
  sub: object of 1
    a: object of 1
      b: "deep"
  on: true' ]]
  run cuctl json tree good.json sub/a
  [[ $output == 'object of 1
  b: "deep"' ]]
  expect 1 "no sub/x" json tree good.json sub/x
  expect 1 "no list/x" json tree good.json list/x
  expect_json 0 "json tree" json tree good.json
  has '{"id":5,"parent":4,"name":"x","kind":"string","value":"y"}' "$json"
  printf '{"a","b":1}' >lenient.json
  expect 0 "key without a value: a" json tree lenient.json
  : >empty.json
  expect 0 "" json tree empty.json
}

@test "documents that are damaged end in exit 4" {
  printf '{"a":1,}' >comma.json
  for command in get tree; do
    expect 4 "comma.json:1:7: trailing comma" json "$command" comma.json a
  done
  local n
  for n in $(lengths good.json); do
    head -c "$n" good.json >cut.json
    expect 4 "" json tree cut.json
    expect 4 "" json check cut.json
  done
}

@test "what is nested beyond a node tree" {
  python3 -c 'print("[" * 1025 + "]" * 1025, end="")' >deep.json
  expect 0 ok json check deep.json
  expect 4 "nested too deeply" json tree deep.json
  expect 4 "nested too deeply" json get deep.json a
  python3 -c 'print("[" * 1000 + "]" * 1000, end="")' >deep.json
  expect 0 "array of 1" json tree deep.json
}
