# cuctl topo show, cuctl filedict show
load support

setup() {
  cd "$BATS_TEST_TMPDIR" || exit 1
  cp "$DOCUMENTS"/{board,filedictionary,boardd}.json .
}

@test "a board as a tree, as JSON, as a drawing" {
  expect 0 "      inlet-thermometer  thermometer at 0x48" topo show board.json
  expect_json 0 "topo show" topo show board.json
  has '"kind":"board"' "$json"
  has '"kind":"sensor"' "$json"
  # Each node names its parent.
  python3 -c '
import json, sys
nodes = [json.loads(line) for line in sys.stdin]
assert [node["id"] for node in nodes] == list(range(len(nodes)))
kinds = {node["id"]: node["kind"] for node in nodes}
above = {"bus": "board", "segment": "bus", "device": "segment", "sensor": "device"}
assert all(node["parent"] == -1 or kinds[node["parent"]] == above[node["kind"]] for node in nodes)' <<<"$json"
  expect 0 "digraph board {" topo show --dot board.json
  [[ $(tail -n 1 <<<"$output") == "}" ]]
}

@test "a file dictionary" {
  expect 0 "files  version 1.2" filedict show filedictionary.json
  expect_json 0 "filedict show" filedict show filedictionary.json
  has '"action":"merge"' "$json"
  expect 0 "digraph" filedict show --dot filedictionary.json
}

@test "a document of another kind" {
  expect 1 "no board topology in it" topo show boardd.json
  expect 1 "no file dictionary in it" filedict show board.json
  printf '[1,2]' >list.json
  expect 1 "no board topology" topo show list.json
  : >empty.json
  expect 1 "no board topology" topo show empty.json
}

@test "names that would break a drawing" {
  printf '{"TopologyName":"a\\"b\\\\ \x1b[31m]->{\xff","AEBus":[]}' >odd.json
  run cuctl topo show --dot odd.json
  ((status == 0))
  lacks $'\x1b'
  has '\\x1b[31m'
  if command -v dot >/dev/null; then
    cuctl topo show --dot odd.json | dot -Tsvg >/dev/null
  fi
}

@test "every truncation ends in exit 4" {
  head -c 300 board.json >start.json
  local n
  for n in $(lengths start.json); do
    head -c "$n" start.json >cut.json
    expect 4 "" topo show cut.json
    expect 4 "" filedict show cut.json
  done
}
