#!/usr/bin/env python3
"""json-lines.py PAGE COMMAND: each line on standard input is one object of strict JSON, with no key
but those that the page names for the command."""
import json
import re
import sys


def documented(page, command):
    section = page[page.index("\n# JSON\n"):page.index("\n# EXIT STATUS\n")]
    rows = re.findall(r"^\|  (.*)\n:  ((?:.*\n(?:   .*\n)*))", section, re.M)
    keys = set()
    for names, text in rows:
        if command in [name.strip() for name in names.split(",")]:
            keys.update(re.sub(r"\([^)]*\)", "", text).replace("\n", " ").replace(" ", "").split(","))
    return keys


def unique(pairs):
    names = [name for name, _ in pairs]
    if len(names) != len(set(names)):
        raise ValueError(f"a key twice: {names}")
    return dict(pairs)


def refuse(text):
    raise ValueError(f"{text} is no JSON")


page_path, command = sys.argv[1:]
allowed = documented(open(page_path, encoding="utf-8").read(), command)
if not allowed:
    sys.exit(f"the page names no keys for {command}")
for line in sys.stdin.buffer.read().decode("utf-8").split("\n"):
    if not line:
        continue
    value = json.loads(line, object_pairs_hook=unique, parse_constant=refuse)
    if not isinstance(value, dict):
        sys.exit(f"no object: {line[:200]}")
    unknown = set(value) - allowed
    if unknown:
        sys.exit(f"{command}: the page does not name {sorted(unknown)}")
