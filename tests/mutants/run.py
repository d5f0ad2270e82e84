#!/usr/bin/python3
"""run.py FOLDER [--all | --rotate N [--seed S] | NAME...]
run.py --check

Changes the library on purpose, one small
fault at a time, and sees whether the tests notice.

The mutants are in the *.mutants files beside this one; hazards.mutants explains their format. Each
is applied to a copy of the tree below FOLDER, built there, and run against the tests that it names,
or that pin its entry of docs/hazards.md. What they let pass is run against every test program. A
mutant that survives all, one whose text is no longer in the sources, and one that does not compile
fail the run. The last line is a verdict in JSON.

--rotate takes N of them, others on each day; the seed that it prints gives the same ones again.
--check only tells whether all of them still fit the sources and each hazard has one.
"""

import argparse
import glob
import json
import os
import re
import shutil
import signal
import subprocess
import sys
import time

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(os.path.dirname(HERE))
HAZARDS, PINS = "docs/hazards.md", "tests/product/hazards.txt"
JOBS = str(os.cpu_count() or 1)
SANITIZERS = "-DCOMMONUTILITIES_SANITIZE=address,undefined"


class Broken(Exception):
    """A mutant that tells nothing: it does not apply or does not compile."""


class Mutant:
    def __init__(self, name, why):
        self.name, self.why = name, why
        self.edits = []  # of a file, behind an anchor, old lines by new ones
        self.tests = []
        self.sanitized = False

    @property
    def hazard(self):
        found = re.match(r"R\d+(?=-)", self.name)
        return found.group() if found else None


class Edit:
    def __init__(self, file, anchor):
        self.file, self.anchor, self.old, self.new = file, anchor, [], []

    def apply(self, text):
        """Lines are compared without their indentation. Without an anchor the old ones must stand
        in the file once; with one, the first place at or behind it counts."""
        lines = text.split("\n")
        begin = 0
        if self.anchor:
            anchors = [i for i, line in enumerate(lines) if self.anchor in line]
            if len(anchors) != 1:
                raise Broken(f"{self.file} has {len(anchors)} lines with '{self.anchor}'")
            begin = anchors[0]
        stripped = [line.strip() for line in lines]
        places = [i for i in range(begin, len(lines))
                  if stripped[i:i + len(self.old)] == self.old]
        if not places or (len(places) > 1 and not self.anchor):
            raise Broken(f"{self.file} has the old text {len(places)} times")
        lines[places[0]:places[0] + len(self.old)] = self.new
        return "\n".join(lines)


def read_mutants():
    mutants = {}
    for path in sorted(glob.glob(os.path.join(HERE, "*.mutants"))):
        mutant = file = anchor = edit = None
        with open(path, encoding="utf-8") as lines:
            for number, line in enumerate(lines, 1):
                line = line.rstrip("\n")
                if not line or line.startswith("#"):
                    edit = None
                    continue
                mark, _, rest = line.partition(" ")
                if mark == "==":
                    name, _, why = rest.partition(": ")
                    if name in mutants or not why:
                        sys.exit(f"{path}:{number}: twice, or without a reason")
                    mutant = mutants[name] = Mutant(name, why)
                    file = anchor = edit = None
                elif mark == "file":
                    file, anchor, edit = rest, None, None
                elif mark == "@":
                    anchor, edit = rest, None
                elif mark == "tests":
                    mutant.tests += rest.split()
                elif line == "sanitized":
                    mutant.sanitized = True
                elif mark == "-":
                    if edit is None or edit.new:
                        edit = Edit(file, anchor)
                        mutant.edits.append(edit)
                    edit.old.append(rest.strip())
                elif mark == "+" and edit is not None:
                    edit.new.append(rest)
                else:
                    sys.exit(f"{path}:{number}: what is '{line}'?")
    return mutants


def programs_of_tests():
    """The program of each test, by its name Suite.Test."""
    programs = {}
    for path in glob.glob(os.path.join(ROOT, "tests/*/CMakeLists.txt")):
        with open(path, encoding="utf-8") as file:
            text = file.read()
        for name, arguments in re.findall(r"cu_add_test\((\w+)([^)]*)\)", text):
            for source in re.findall(r"\w+_test\.cc", arguments):
                with open(os.path.join(os.path.dirname(path), source), encoding="utf-8") as file:
                    found = re.findall(r"^TEST(?:_F|_P)?\(\s*(\w+),\s*(\w+)\)", file.read(), re.M)
                for suite, test in found:
                    programs.setdefault(f"{suite}.{test}", name)
    return programs


def read_pins():
    pins = {}
    with open(os.path.join(ROOT, PINS), encoding="utf-8") as lines:
        for line in lines:
            if line[0] == "R":
                hazard, test = line.split()
                pins.setdefault(hazard, []).append(test)
    return pins


class Plan:
    """What is run against a mutant: programs, each with the tests that count, or None for all."""

    def __init__(self, mutant, programs, pins):
        self.pins = set(pins.get(mutant.hazard, []))
        self.filters = {}
        for test in mutant.tests or sorted(self.pins):
            program = test if "." not in test else programs.get(test)
            if program is None:
                raise Broken(f"no test {test}")
            if "." not in test:
                self.filters[program] = None
            elif self.filters.get(program, []) is not None:
                self.filters.setdefault(program, []).append(test)
        if not self.filters:
            raise Broken("names no test")


def filter_of(tests):
    """For GoogleTest, with the instances that have parameters."""
    return ":".join(f"{test}:*/{test}/*:{test}/*" for test in tests)


def check(mutants, programs, pins):
    """What is wrong with the lists themselves."""
    complaints = []
    for mutant in mutants.values():
        texts = {}
        try:
            Plan(mutant, programs, pins)
            for edit in mutant.edits:
                if edit.file not in texts:
                    with open(os.path.join(ROOT, edit.file), encoding="utf-8") as file:
                        texts[edit.file] = file.read()
                texts[edit.file] = edit.apply(texts[edit.file])
            if not texts:
                raise Broken("changes nothing")
        except (Broken, OSError) as reason:
            complaints.append(f"{mutant.name}: {reason}")
    with open(os.path.join(ROOT, HAZARDS), encoding="utf-8") as file:
        hazards = re.findall(r"^\| (R\d+) \|", file.read(), re.M)
    mended = {mutant.hazard for mutant in mutants.values()}
    return complaints + [f"{hazard}: no mutant mends it" for hazard in hazards
                         if hazard not in mended]


class Tree:
    """A copy of the sources with a build folder for plain programs and one with sanitizers."""

    def __init__(self, folder):
        self.root = os.path.join(folder, "tree")
        self.folder = folder
        self.programs = {}  # of a build folder: path, folder and environment of each
        self.clean_seconds = {}

    def sync(self):
        listed = subprocess.run(["git", "-C", ROOT, "ls-files", "-z", "-co", "--exclude-standard"],
                                capture_output=True, check=True)
        names = [name for name in listed.stdout.decode().split("\0") if name]
        names = [name for name in names if os.path.exists(os.path.join(ROOT, name))]
        for name in names:
            self.restore(name)
        wanted = set(names)
        for place, _, files in os.walk(self.root):
            for file in files:
                path = os.path.join(place, file)
                if os.path.relpath(path, self.root) not in wanted:
                    os.remove(path)

    def restore(self, name):
        source, copy = os.path.join(ROOT, name), os.path.join(self.root, name)
        with open(source, "rb") as file:
            content = file.read()
        if os.path.exists(copy):
            with open(copy, "rb") as file:
                if file.read() == content:
                    return
        os.makedirs(os.path.dirname(copy), exist_ok=True)
        with open(copy, "wb") as file:
            file.write(content)
        shutil.copymode(source, copy)

    def build_folder(self, sanitized):
        return os.path.join(self.folder, "sanitized" if sanitized else "plain")

    def configure(self, sanitized):
        build = self.build_folder(sanitized)
        command = ["cmake", "-S", self.root, "-B", build, "-G", "Ninja", "--log-level=WARNING",
                   "-DCMAKE_BUILD_TYPE=Debug", "-DCMAKE_CXX_FLAGS_DEBUG=-O1",
                   "-DCMAKE_C_FLAGS_DEBUG=-O1", "-DCOMMONUTILITIES_BUILD_EXAMPLES=OFF"]
        if sanitized:
            command.append(SANITIZERS)
        if shutil.which("ccache"):
            command += [f"-DCMAKE_{language}_COMPILER_LAUNCHER=ccache" for language in ("C", "CXX")]
        subprocess.run(command, check=True, stdout=subprocess.DEVNULL)

    def look_up(self, sanitized):
        """How ctest runs each program, by its name; it knows those alone that are built."""
        shown = subprocess.run(
            ["ctest", "--test-dir", self.build_folder(sanitized), "--show-only=json-v1"],
            capture_output=True, check=True)
        self.programs[sanitized] = {}
        for test in json.loads(shown.stdout)["tests"]:
            properties = {p["name"]: p["value"] for p in test["properties"]}
            environment = dict(pair.split("=", 1) for pair in properties.get("ENVIRONMENT", []))
            command = test.get("command", [""])
            if os.path.basename(command[0]) == test["name"]:
                self.programs[sanitized][test["name"]] = (
                    command[0], properties["WORKING_DIRECTORY"], environment)

    def build(self, sanitized, programs):
        """What the compiler complained of; empty when all is built."""
        done = subprocess.run(
            ["cmake", "--build", self.build_folder(sanitized), "-j", JOBS, "--target", *programs],
            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False, text=True)
        if done.returncode == 0:
            return ""
        return "\n".join(re.findall(r".*(?:error:|undefined reference).*", done.stdout)[:5]
                         or done.stdout.splitlines()[-5:])

    def run(self, sanitized, program, tests, limit):
        """Whether a program passes, and if not, which test failed first."""
        path, place, environment = self.programs[sanitized][program]
        variables = {**os.environ, **environment, "GTEST_FAIL_FAST": "1", "GTEST_COLOR": "no"}
        if tests is not None:
            variables["GTEST_FILTER"] = filter_of(tests)
        process = subprocess.Popen([path], cwd=place, env=variables, stdin=subprocess.DEVNULL,
                                   stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                                   start_new_session=True)
        hung = False
        try:
            output = process.communicate(timeout=limit)[0]
        except subprocess.TimeoutExpired:
            hung = True
        finally:
            try:
                os.killpg(process.pid, signal.SIGKILL)  # also the children of a test that died
            except ProcessLookupError:
                pass
        if hung:
            output = process.communicate()[0]
        text = output.decode(errors="replace")
        if tests is not None and re.search(r"^\[=+\] Running 0 tests", text, re.M):
            raise Broken(f"{program} has none of the tests {' '.join(tests)}")
        if process.returncode == 0 and not hung:
            return True, None
        begun = re.findall(r"^\[ RUN      \] (\S+)", text, re.M)
        failed = re.findall(r"^\[  FAILED  \] (\S+?),? ", text, re.M)
        if failed:
            culprit = failed[0]
        elif "LeakSanitizer: detected" in text:
            culprit = "at its end: a leak"
        else:
            culprit = begun[-1] if begun else "before its tests"
        return False, culprit + (" (hangs)" if hung else "")

    def check_clean(self, sanitized, filters):
        """Kills tell nothing unless the tests pass without a mutant."""
        for filtered in (False, True):
            programs = [program for program, tests in filters.items() if bool(tests) == filtered]
            if not programs:
                continue
            variables = dict(os.environ)
            if filtered:
                variables["GTEST_FILTER"] = filter_of(sum((filters[p] for p in programs), []))
            done = subprocess.run(
                ["ctest", "--test-dir", self.build_folder(sanitized), "--output-on-failure",
                 "-j", JOBS, "-R", "^(" + "|".join(programs) + ")$"],
                env=variables, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False,
                text=True)
            if done.returncode != 0:
                sys.exit("fails without any mutant\n" + done.stdout)
            for program, seconds in re.findall(r"(\w+) \.+ +Passed +([\d.]+) sec", done.stdout):
                self.clean_seconds[sanitized, program] = float(seconds)

    def limit(self, sanitized, program):
        return 30 + 5 * self.clean_seconds.get((sanitized, program), 60)


def first_failure(tree, sanitized, filters):
    for program, tests in filters.items():
        passed, culprit = tree.run(sanitized, program, tests, tree.limit(sanitized, program))
        if not passed:
            return program, culprit
    return None


def plain_name(test):
    """Suite.Test of what may be an instance with parameters."""
    found = re.match(r"(?:\w+/)?(\w+)(?:/\w+)?\.(\w+)", test)
    return f"{found.group(1)}.{found.group(2)}" if found else test


def judge(tree, mutant, plan, others):
    """A word on the mutant, and by what it was killed, or why it was not."""
    try:
        for edit in mutant.edits:
            path = os.path.join(tree.root, edit.file)
            with open(path, encoding="utf-8") as file:
                text = file.read()
            with open(path, "w", encoding="utf-8") as file:
                file.write(edit.apply(text))
        complaint = tree.build(mutant.sanitized, plan.filters)
        if complaint:
            raise Broken("does not compile\n" + complaint)
        killed = first_failure(tree, mutant.sanitized, plan.filters)
        if killed is None and any(tests for tests in plan.filters.values()):
            killed = first_failure(tree, mutant.sanitized, dict.fromkeys(plan.filters))
        if killed is None and others:
            everything = dict.fromkeys(others)
            complaint = tree.build(mutant.sanitized, everything)
            if complaint:
                raise Broken("does not compile\n" + complaint)
            tree.look_up(mutant.sanitized)
            killed = first_failure(tree, mutant.sanitized, everything)
        if killed is None:
            return "SURVIVED", mutant.why
        program, culprit = killed
        expected = program in plan.filters and (
            not plan.pins or plain_name(culprit) in plan.pins)
        return "killed" if expected else "killed elsewhere", f"{program} {culprit}"
    except Broken as reason:
        return "BROKEN", str(reason)
    finally:
        for edit in mutant.edits:
            tree.restore(edit.file)


def rotation(mutants, size, seed):
    """Neighbours share their sources and tests, so a group of them needs few programs."""
    ordered = sorted(mutants, key=lambda m: (m.sanitized, m.edits[0].file, m.name))
    groups = [ordered[i:i + size] for i in range(0, len(ordered), size)]
    return groups[seed % len(groups)]


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("folder", nargs="?")
    parser.add_argument("names", nargs="*")
    parser.add_argument("--all", action="store_true")
    parser.add_argument("--rotate", type=int, metavar="N")
    parser.add_argument("--check", action="store_true")
    parser.add_argument("--named", action="store_true", help="only the tests that a mutant names")
    parser.add_argument("--seed", type=int, default=int(time.time()) // 86400)
    options = parser.parse_args()

    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))
    started = time.monotonic()
    mutants, programs, pins = read_mutants(), programs_of_tests(), read_pins()
    complaints = check(mutants, programs, pins)
    if complaints:
        sys.exit("\n".join(complaints))
    if options.check:
        print(f"{len(mutants)} mutants fit the sources")
        return 0
    if options.folder is None:
        parser.error("no folder")
    if options.all:
        chosen = list(mutants.values())
    elif options.rotate:
        chosen = rotation(mutants.values(), options.rotate, options.seed)
    else:
        chosen = [m for m in mutants.values()
                  if any(m.name == name or m.name.startswith(name + "-") for name in options.names)]
    if not chosen:
        sys.exit("no such mutant")
    print(f"{len(chosen)} of {len(mutants)} mutants, seed {options.seed}", flush=True)

    others = [] if options.named else sorted(set(programs.values()))
    tree = Tree(os.path.abspath(options.folder))
    tree.sync()
    counts = {}
    for sanitized in sorted({m.sanitized for m in chosen}):
        group = sorted((m for m in chosen if m.sanitized == sanitized),
                       key=lambda m: (m.edits[0].file, m.name))
        plans = {mutant.name: Plan(mutant, programs, pins) for mutant in group}
        tree.configure(sanitized)
        wanted = {}
        for plan in plans.values():
            for program, tests in plan.filters.items():
                known = wanted.get(program, [])
                wanted[program] = None if tests is None or known is None else known + tests
        complaint = tree.build(sanitized, wanted)
        if complaint:
            sys.exit("does not build without any mutant\n" + complaint)
        tree.look_up(sanitized)
        tree.check_clean(sanitized, wanted)
        for mutant in group:
            begun = time.monotonic()
            word, detail = judge(tree, mutant, plans[mutant.name], others)
            counts[word] = counts.get(word, 0) + 1
            seconds = round(time.monotonic() - begun)
            print(f"{word:9} {mutant.name}: {detail} ({seconds} s)", flush=True)

    elsewhere = counts.get("killed elsewhere", 0)
    killed = counts.get("killed", 0) + elsewhere
    print(json.dumps({"run": "mutants", "seed": options.seed, "mutants": len(chosen),
                      "killed": killed, "killed_elsewhere": elsewhere,
                      "survived": counts.get("SURVIVED", 0), "broken": counts.get("BROKEN", 0),
                      "seconds": round(time.monotonic() - started),
                      "verdict": "pass" if killed == len(chosen) else "fail"}))
    return killed != len(chosen)


if __name__ == "__main__":
    sys.exit(main())
