#!/usr/bin/env python3
"""untaken.py COVERAGE.JSON: every branch for want of memory was taken. Run in the source folder.

A branch stands on an allocation where its line or the one before calls what allocates. Each that no
test has taken must be listed, with its reason, in untaken-branches.txt beside this script. An
addition or product that overflows is none: on 64 bits no test can make its operands.
"""
import json
import pathlib
import re
import sys

ALLOCATES = re.compile(
    r"\b\w*(alloc|dup|new|copy|clone|grow|resize|push|append|element_?at|make|create|insert|concat|"
    r"join|tokeni[sz]e|init|symbols|atfork|key_?at)\w*(<[^<>()]*>)?\(", re.IGNORECASE)
OVERFLOW = re.compile(r"__builtin_\w+_overflow")


def main():
    listed = {}
    table = pathlib.Path(__file__).with_name("untaken-branches.txt")
    for row in table.read_text(encoding="utf-8").splitlines():
        if row and not row.startswith("//"):
            listed[row] = False
    unexplained = []
    tested = 0
    for file in json.loads(pathlib.Path(sys.argv[1]).read_text(encoding="utf-8"))["files"]:
        source = pathlib.Path(file["file"]).read_text(encoding="utf-8").splitlines()
        for line in file["lines"]:
            branches = [branch for branch in line["branches"] if not branch["throw"]]
            number = line["line_number"]
            text = source[number - 1].strip()
            before = source[number - 2] if number > 1 else ""
            if not branches or not ALLOCATES.search(before + "\n" + text):
                continue
            tested += 1
            if all(branch["count"] for branch in branches) or OVERFLOW.search(text):
                continue
            row = f"{file['file']}: {text}"
            if row in listed:
                listed[row] = True
            else:
                unexplained.append(f"{file['file']}:{number}: {text}")
    for row, found in listed.items():
        if not found:
            print(f"taken by now, or gone: {row}")
    if unexplained:
        print("for want of memory, not taken:", *unexplained, sep="\n")
        return 1
    print(f"want of memory: the branches of {tested} lines are taken, but {len(listed)} that are explained")
    return 0


if __name__ == "__main__":
    sys.exit(main())
