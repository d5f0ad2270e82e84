# cuctl action check
load support

setup() {
  ((EUID == 0)) || skip "files of root are needed"
  cd "$BATS_TEST_TMPDIR" || exit 1
  chmod 755 .
  mkdir plugins
  cp "$PLUGIN" plugins/libp.so
  chmod 755 plugins plugins/libp.so
  action plugins libp.so measureBoard >action.json
}

# action PATH PLUGIN METHOD: a document with one action.
action() {
  printf '{"action":"measure","actioncode":"1","plugintype":"1","pluginpath":"%s","plugin":"%s","methodname":"%s"}' "$@"
}

# Makes its PATH the action's.
path() {
  action "$1" libp.so measureBoard >action.json
}

@test "a sound action, alone and in a list" {
  expect 0 "measure: ok" action check action.json
  expect_json 0 "action check" action check action.json
  has '"ok":true,"problem":""' "$json"
  path "$PWD/plugins"
  expect 0 "measure: ok" action check action.json
  printf '[%s,%s]' "$(action plugins libp.so measureBoard)" "$(action plugins libp.so missing)" >list.json
  expect 1 "does not export missing" action check list.json
  has "measure: ok"
}

@test "what is missing" {
  path nowhere
  expect 1 "nowhere/libp.so: No such file" action check action.json
  path "$(printf 'x%.0s' {1..1100})"
  expect 1 "longer than 1023" action check action.json
  printf '{"action":"a","plugin":"p","methodname":"m"}' >action.json
  expect 1 'no "pluginpath"' action check action.json
  printf '{"action":"a","pluginpath":"p","methodname":"m"}' >action.json
  expect 1 'no "plugin"' action check action.json
  printf '{"pluginpath":"p","plugin":"p"}' >action.json
  expect 1 '(no name): no "methodname"' action check action.json
  printf '[]' >action.json
  expect 1 "no action in it" action check action.json
  printf '{"action":' >action.json
  expect 4 "" action check action.json
}

@test "a stranger could change it" {
  chmod 775 plugins/libp.so
  expect 1 "plugins/libp.so writable by group" action check action.json
  chmod 757 plugins/libp.so
  expect 1 "plugins/libp.so writable by others" action check action.json
  chmod 755 plugins/libp.so
  chmod 775 plugins
  expect 1 "plugins writable by group" action check action.json
  chmod 777 plugins
  expect 1 "plugins writable by others" action check action.json
  chmod 1777 plugins
  expect 0 "measure: ok" action check action.json
  chmod 755 plugins
  chown 65534 plugins/libp.so
  expect 1 "plugins/libp.so owned by user 65534" action check action.json
  expect_json 1 "action check" action check action.json
}

@test "a stranger could change a link on the way" {
  mkdir open
  chmod 777 open
  ln -s "$PWD/plugins" open/link
  path open/link
  expect 1 "open writable by others" action check action.json
  ln -s open/link second
  path second
  expect 1 "open writable by others" action check action.json
  chmod 755 open
  expect 0 "measure: ok" action check action.json
  path plugins/../second/./
  expect 0 "measure: ok" action check action.json
  ln -s loop loop
  path loop
  expect 1 "loop/libp.so: Too many levels" action check action.json
}

@test "what is no shared library of this machine" {
  printf 'text' >plugins/libp.so
  expect 1 "not an ELF file" action check action.json
  cp "$PLUGIN" plugins/libp.so
  le32 40 | head -c 2 | put plugins/libp.so 18
  expect 1 "built for another machine" action check action.json
  cp "$CUCTL" plugins/libp.so
  printf '\x02' | put plugins/libp.so 16
  expect 1 "not a shared library" action check action.json
  rm plugins/libp.so
  mkdir plugins/libp.so
  expect 1 "is not a file" action check action.json
  rmdir plugins/libp.so
  mkfifo plugins/libp.so
  expect 1 "is not a file" action check action.json
}

@test "ELF files that lie" {
  local size n
  size=$(stat -c %s "$PLUGIN")
  for ((n = 0; n < size; n += 211)); do
    head -c "$n" "$PLUGIN" >plugins/libp.so
    run cuctl action check action.json
    ((status == 0 || status == 1))
  done
  # Section headers at the end of the address space, and more of them than there can be.
  cp "$PLUGIN" plugins/libp.so
  printf '\xf0\xff\xff\xff\xff\xff\xff\xff' | put plugins/libp.so 40
  expect 1 "exports nothing" action check action.json
  cp "$PLUGIN" plugins/libp.so
  printf '\xff\xff' | put plugins/libp.so 60
  run cuctl action check action.json
  ((status == 0 || status == 1))
  truncate -s 1G plugins/libp.so
  run cuctl action check action.json
  ((status == 0 || status == 1))
}
