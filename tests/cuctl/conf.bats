# cuctl conf list|get|check|render
load support

setup() {
  cd "$BATS_TEST_TMPDIR" || exit 1
  cp "$DOCUMENTS/boardd.json" .
}

# one_parameter TYPE VALUE: a document with parameter g.p; the value as it stands in JSON.
one_parameter() {
  printf '{"ConfigObj":[{"parameterGroup":"g","ConfigParam":[\n {"parameterName":"p","type":"%s","parameterValue":%s}]}]}' \
    "$1" "$2" >one.json
}

@test "list: every parameter, read by its type" {
  expect 0 "network.mtu = 1500 (uint16)" conf list boardd.json
  has "ipcName = /boardd"
  has "logFileSize = 262144"
  expect_json 0 "conf list" conf list boardd.json
  has '"group":"network","name":"mtu","type":"uint16","value":"1500"' "$json"
}

@test "get: through the getter of the type, or of another one" {
  expect 0 "network.mtu = 1500 (uint16)" conf get boardd.json network mtu
  expect_json 0 "conf get" conf get boardd.json network mtu
  expect 1 "refuses it" conf get boardd.json network mtu --as integer
  expect 2 "is not a type" conf get boardd.json network mtu --as Integer
  expect 1 "no network.speed" conf get boardd.json network speed
  expect 1 "no nothing.mtu" conf get boardd.json nothing mtu
  one_parameter uint8 '"300"'
  expect 0 "g.p = 44 (uint8)" conf get one.json g p --as uint8
  one_parameter string '"text"'
  expect 0 "g.p = text (string)" conf get one.json g p
  for type in "unsigned integer" integer float long boolean uint8 uint16 uint64; do
    one_parameter "$type" '"1"'
    expect 0 "g.p = " conf get one.json g p
  done
}

@test "render: replaces each name" {
  expect 0 "MTU 0x5DC, VLAN 42" conf render boardd.json "MTU <mtu>, VLAN <vlan>"
  run cuctl conf render boardd.json - <<<"from a file: <vlan>"
  [[ $output == "from a file: 42" ]]
  expect 2 "either the document or the template" conf render - -
  expect_json 0 "conf render" conf render boardd.json "<mtu>"
}

@test "check: a sound document" {
  one_parameter uint16 '"1500"'
  expect 0 ok conf check one.json
  expect_json 0 "conf check" conf check one.json
}

@test "check: tells the place of what reads otherwise" {
  one_parameter Integer '"300"'
  expect 1 'one.json:2:24: warning: type "Integer" reads as boolean' conf check one.json
  expect_json 1 "conf check" conf check one.json
  one_parameter uint '"300"'
  expect 1 'type "uint" reads as' conf check one.json
  one_parameter uint8 '"300"'
  expect 1 'one.json:2:56: warning: g.p = "300" reads as 44 (uint8)' conf check one.json
  one_parameter uint8 '"-1"'
  expect 1 'g.p = "-1" reads as' conf check one.json
  one_parameter integer '"12cm"'
  expect 1 'g.p = "12cm" reads as 12 (integer)' conf check one.json
  one_parameter integer '"3000000000"'
  expect 1 'g.p = "3000000000" reads as' conf check one.json
  one_parameter float '"1.5V"'
  expect 1 'g.p = "1.5V" reads as 1.5' conf check one.json
  one_parameter boolean '"yes"'
  expect 1 'g.p = "yes" reads as' conf check one.json
  one_parameter string null
  expect 1 '"parameterValue" is null: the text "null" is read' conf check one.json
  one_parameter string '""'
  expect 1 '"parameterValue" is empty: it is read as absent' conf check one.json
  one_parameter string '{"a":1}'
  expect 1 '"parameterValue" wants a text' conf check one.json
}

@test "check: names that stand twice" {
  printf '{"ConfigObj":[{"parameterGroup":"g","ConfigParam":[{"parameterName":"p","type":"uint8","parameterValue":"1"},\n{"parameterName":"p","type":"uint8","parameterValue":"2"}]},{"parameterGroup":"g","ConfigParam":[{"parameterName":"q","type":"uint8","parameterValue":"2"}]}],"ipcName":"a","ipcName":"b"}' >twice.json
  expect 1 "twice.json:2:" conf check twice.json
  has "g.p stands here twice: only the first is found"
  has 'group "g" stands here twice'
  has '"ipcName" stands here twice: the last one counts'
}

@test "check: more than 255 parameters, unknown keys, keys without a value" {
  python3 -c '
import json
params = [{"parameterName": f"p{i}", "type": "uint8", "parameterValue": "1"} for i in range(256)]
print(json.dumps({"ConfigObj": [{"parameterGroup": "g", "ConfigParam": params}]}))' >many.json
  expect 1 "256 parameters in one group; keep to 255" conf check many.json
  printf '{"extra":{"ipcName":"x"},"more":1,"ConfigObj":[]}' >odd.json
  expect 1 'unknown key "extra": its members are read as if they stood in the enclosing object' conf check odd.json
  has 'unknown key "more"'
  printf '{"ipcName","ConfigObj":[]}' >odd.json
  expect 1 '"ipcName" has no value' conf check odd.json
  printf '{"ConfigObj":{"a":1}}' >odd.json
  expect 1 "an array is expected here" conf check odd.json
  printf '{"ConfigObj":[1,{"ConfigParam":[2]}]}' >odd.json
  expect 1 "an object is expected here" conf check odd.json
  printf '{"ConfigObj":[{"parameterGroup":"g","ConfigParam":[{"type":"uint8"}]}]}' >odd.json
  expect 1 'a parameter of group "g" has no name' conf check odd.json
}

@test "check: what the tokenizer lets pass, text behind a NUL, what the library refuses" {
  printf '{"ipcName":"x" "logfile":"y"}' >lenient.json
  expect 1 "(strict: error, library: accepted)" conf check lenient.json
  printf '{"ipcName":"x"}\0{' >nul.json
  expect 1 "nul.json:1:16: warning: a NUL byte: the library reads no further" conf check nul.json
  ((${#lines[@]} == 1))
  printf '{"ipcName":"x",}' >comma.json
  expect 4 "comma.json:1:15: warning: trailing comma (strict: error, library: refused)" conf check comma.json
  expect_json 4 "conf check" conf check comma.json
}

@test "every truncation ends in exit 4, or in a warning" {
  one_parameter uint16 '"1500"'
  local n
  for n in $(lengths one.json); do
    head -c "$n" one.json >cut.json
    expect 4 "" conf list cut.json
    expect 4 "strict: error" conf check cut.json
  done
}

@test "a document with fifty thousand warnings is still checked in a second" {
  python3 -c 'print("{" + ",\n".join(f"\"k{i}\":1" for i in range(50000)) + "}")' >many.json
  run cuctl conf check many.json
  ((status == 1 && ${#lines[@]} == 50000))
  has "many.json:50000:2: warning: unknown key \"k49999\""
}
