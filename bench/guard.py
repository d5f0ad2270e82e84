#!/usr/bin/python3
"""guard.py PROGRAM BASELINE [--update]: compares the hot paths with what was recorded.

Instructions (callgrind) may differ by 2 %; system calls (strace) must be the same, and two for a log
line; the sleeps of a message have a bound. Instructions depend on the compiler and on
libc: when they are not those of the baseline, differences are reported and do not fail.
"""

import argparse
import json
import os
import platform
import re
import subprocess
import sys
import tempfile

INSTRUCTIONS_WITHIN = 0.02
MOST_SLEEPS = {"notifying queue": 2.0, "flex queue": 2.05, "flex message queue": 1.45}
SLEEPS_BEYOND = 0.3  # a busy machine adds a few; one more wait in the code would add a whole one
SLEEPS_TRIES = 12  # what other processes add differs from moment to moment; the code's own do not
LINES_LOGGED = 100  # by the path "a log line"
CALLS_A_LINE = 2

# libc picks its string functions by the processor; without these it picks the same ones everywhere.
PLAIN_PROCESSOR = "glibc.cpu.hwcaps=" + ",".join(
    "-" + name
    for name in ("AVX2", "AVX512F", "AVX512VL", "AVX512BW", "AVX", "ERMS", "FSRM", "BMI1", "BMI2",
                 "LZCNT", "RTM", "SSE4_1", "SSE4_2", "SSSE3", "AVX_Fast_Unaligned_Load"))


def run(command, **variables):
    """What a command prints; the logger's own greeting is dropped unless the command fails."""
    done = subprocess.run(command, env={**os.environ, "TMPDIR": "/dev/shm", **variables},
                          capture_output=True, text=True, check=False)
    if done.returncode != 0:
        sys.exit(f"{' '.join(command)}: {done.returncode}\n{done.stderr}")
    return done.stdout


def count_instructions(program):
    """Instructions of one unit of each path, the mean of two."""
    with tempfile.TemporaryDirectory() as folder:
        run(["valgrind", "--tool=callgrind", "--collect-atstart=no",
             f"--callgrind-out-file={folder}/out", program, "--instructions"],
            GLIBC_TUNABLES=PLAIN_PROCESSOR)
        counts = {}
        for name in os.listdir(folder):
            with open(os.path.join(folder, name), encoding="utf-8", errors="replace") as dump:
                text = dump.read()
            label = re.search(r"^desc: Trigger: Client Request: \w+ \| (.+) \| library$", text, re.M)
            total = re.search(r"^(?:summary|totals): (\d+)", text, re.M)
            if label and total:
                counts[label[1]] = int(total[1]) // 2
    return dict(sorted(counts.items()))


def count_system_calls(program):
    """System calls of one unit of each path."""
    with tempfile.NamedTemporaryFile("r") as trace:
        run(["strace", "-s", "200", "-o", trace.name, program, "--system-calls"])
        counts, path = {}, None
        for line in trace:
            mark = re.match(r'write\(-1, "(.*)", \d+\)', line)
            if not mark:
                if path and re.match(r"\w+\(", line):
                    counts[path] += 1
            elif mark[1] == "end":
                path = None
            else:
                path = mark[1]
                counts[path] = 0
    return dict(sorted(counts.items()))


def few_sleeps(_, most, new):
    return new <= most + SLEEPS_BEYOND


def count_sleeps(program):
    """The fewest of several tries, until they are few enough."""
    least = {}
    for _ in range(SLEEPS_TRIES):
        for line in run([program, "--sleeps"]).splitlines():
            name, value = line.split("\t")
            least[name] = min(float(value), least.get(name, float("inf")))
        if all(few_sleeps(name, MOST_SLEEPS[name], value) for name, value in least.items()):
            break
    return least


def toolchain(program):
    comment = run(["readelf", "-p", ".comment", program])
    compilers = sorted(set(re.findall(r"\]\s+(.+)", comment)))
    return {"compiler": "; ".join(compilers), "libc": " ".join(platform.libc_ver()),
            "machine": platform.machine()}


def compare(title, recorded, measured, verdict):
    """Prints the paths that differ; how many of them fail."""
    failed = 0
    for path in sorted(set(recorded) | set(measured)):
        old, new = recorded.get(path), measured.get(path)
        if old is None or new is None:
            print(f"  {title}: {path}: {'not recorded' if old is None else 'not measured'}")
            failed += 1
        elif not verdict(path, old, new):
            change = f" ({(new - old) / old:+.1%})" if old else ""
            print(f"  {title}: {path}: {old} recorded, {new} now{change}")
            failed += 1
    return failed


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n", maxsplit=1)[0])
    parser.add_argument("program")
    parser.add_argument("baseline")
    parser.add_argument("--update", action="store_true", help="record what is measured now")
    arguments = parser.parse_args()

    library = os.path.join(os.path.dirname(arguments.program), "..", "libcommonutilities.so")
    now = {"built": toolchain(library),
           "instructions": count_instructions(arguments.program),
           "system calls": count_system_calls(arguments.program)}
    logged = now["system calls"]["a log line"]
    if logged != CALLS_A_LINE * LINES_LOGGED:
        print(f"  system calls: {LINES_LOGGED} log lines made {logged}, not {CALLS_A_LINE} each")
        return 1
    if arguments.update:
        with open(arguments.baseline, "w", encoding="utf-8") as file:
            json.dump(now, file, indent=2)
            file.write("\n")
        print(f"  recorded {len(now['instructions'])} paths in {arguments.baseline}")
        return 0

    with open(arguments.baseline, encoding="utf-8") as file:
        recorded = json.load(file)
    moved = compare("instructions", recorded["instructions"], now["instructions"],
                    lambda _, old, new: abs(new - old) <= INSTRUCTIONS_WITHIN * old)
    same_build = recorded["built"] == now["built"]
    if not same_build:
        print(f"  built by {now['built']}, recorded with {recorded['built']}:")
        print("  instructions are reported and do not count")
    failed = moved if same_build else 0
    failed += compare("system calls", recorded["system calls"], now["system calls"],
                      lambda _, old, new: new == old)
    failed += compare("sleeps a message", MOST_SLEEPS, count_sleeps(arguments.program), few_sleeps)
    print(f"  {len(now['instructions'])} paths compared, {failed} differ")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
