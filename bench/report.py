#!/usr/bin/python3
"""report.py JSON --rounds N --library FILE --size FILE --docs FOLDER: writes performance.md and
performance.svg from what the benchmark programs appended to JSON."""

import argparse
import collections
import json
import os
import platform
import re
import subprocess

import matplotlib

matplotlib.use("svg")
from matplotlib import pyplot  # noqa: E402: the backend is chosen first

HERE = os.path.dirname(os.path.abspath(__file__))

PEERS = ("libcjson-dev libjansson-dev libjson-c-dev libyajl-dev rapidjson-dev nlohmann-json3-dev "
         "libsimdjson-dev libspdlog-dev libgoogle-glog-dev libglib2.0-dev zlib1g-dev libdeflate-dev "
         "libboost-dev uthash-dev libmuparser-dev liblua5.4-dev libsqlite3-dev liblmdb-dev "
         "libapr1-dev").split()

TITLES = {
    "config_load": "Configuration load", "json_writer": "JSON writer", "node_tree": "JSON node tree",
    "logging": "Logging", "checksums": "Checksums", "map": "Hash map", "rpn": "RPN",
    "queues": "Queues and wake-ups", "storage": "Record store", "shared_memory": "Shared memory",
    "text": "Formatting and tokens", "parameters": "Parameter lookup",
    "loading": "A loaded library",
}


def output(*command):
    return subprocess.run(command, capture_output=True, text=True, check=False).stdout.strip()


def number(value):
    return "-" if value is None else f"{value:.3f}" if value < 0.1 else f"{value:.2f}"


def duration(nanoseconds):
    for limit, scale, unit in ((1e4, 1, "ns"), (1e7, 1e3, "us"), (1e99, 1e6, "ms")):
        if nanoseconds < limit:
            return f"{nanoseconds / scale:.1f} {unit}"
    raise ValueError(nanoseconds)


def table(header, rows):
    lines = ["| " + " | ".join(header) + " |", "|" + "---|" * len(header)]
    lines += ["| " + " | ".join(cell.replace("|", r"\|") for cell in row) + " |" for row in rows]
    return "\n".join(lines)


def host(library, rounds):
    processor = re.search(r"^model name\s*: (.*)", open("/proc/cpuinfo", encoding="utf-8").read(),
                          re.M)
    compilers = set(re.findall(r"\]\s+(.+)", output("readelf", "-p", ".comment", library)))
    versions = output("dpkg-query", "-W", "-f=${db:Status-Status} ${Package} ${Version}\n", *PEERS)
    peers = [line.removeprefix("installed ") for line in versions.splitlines()
             if line.startswith("installed ")]
    name = platform.freedesktop_os_release()["PRETTY_NAME"]
    return "\n".join([
        f"- {processor[1] if processor else platform.machine()}, {os.cpu_count()} processors, "
        f"Linux {platform.release().split('-')[0]}, {name}, {' '.join(platform.libc_ver())}",
        f"- built by {'; '.join(sorted(compilers))}, `-O2 -DNDEBUG` (preset `release`)",
        f"- {rounds} rounds; load average when it ended: "
        + ", ".join(f"{load:.1f}" for load in os.getloadavg()),
        "- peers: " + ", ".join(peers),
    ])


def family_section(family, rows):
    goals = [row for row in rows if "goal" in row]
    parts = [f"## {TITLES.get(family, family)}\n"]
    if goals:
        parts.append(table(
            ("workload", "what", "against", "ratio", "p10 .. p90", "goal", ""),
            [(row["workload"], row["case"], row["against"], f"**{number(row['value'])}**",
              f"{number(row['p10'])} .. {number(row['p90'])}" if "p10" in row else "",
              number(row["goal"]), row["verdict"]) for row in goals]) + "\n")
    measured = [row for row in rows if "median_ns" in row]
    if measured:
        parts.append("Every case:\n")
        parts.append(table(
            ("workload", "", "case", "median", "p10 .. p90", "/ floor", "/ best peer"),
            [(row["workload"], row["role"],
              row["case"] + (" (best peer)" if row["best_peer"] else ""),
              duration(row["median_ns"]), f"{duration(row['p10_ns'])} .. {duration(row['p90_ns'])}",
              number(row["of_floor"]), number(row["of_best_peer"])) for row in measured]) + "\n")
    figures = collections.OrderedDict()
    for row in rows:
        if "metric" in row:
            figures.setdefault(row["workload"], []).append(row)
    for workload, counted in figures.items():
        parts.append(f"Counted, {workload}:\n")
        parts.append(table(("", "case", "metric", "value"),
                           [(row["role"], row["case"], row["metric"], number(row["value"]))
                            for row in counted]) + "\n")
    return "\n".join(parts)


def guard_section():
    path = os.path.join(HERE, "guard-baseline.json")
    if not os.path.exists(path):
        return ""
    with open(path, encoding="utf-8") as file:
        recorded = json.load(file)
    rows = [(path, f"{count:,}", str(recorded["system calls"].get(path, "-")))
            for path, count in recorded["instructions"].items()]
    return "\n".join([
        "## Instructions and system calls\n",
        "`./dev guard` compares them with the record; they do not depend on the machine's speed. A "
        "path is a fixed number of calls, so the figures are no comparison between paths.\n",
        table(("path", "instructions", "system calls"), rows), ""])


def size_section(path):
    if not os.path.exists(path):
        return ""
    with open(path, encoding="utf-8") as file:
        return f"## Footprint on 32-bit ARM\n\n`./dev size`:\n\n```\n{file.read().rstrip()}\n```\n"


def draw(goals, path):
    """One line a goal: how much of what it allows is used. Left of the line it is met."""
    matplotlib.rcParams["svg.hashsalt"] = "performance"
    matplotlib.rcParams["svg.fonttype"] = "none"  # text stays text
    matplotlib.rcParams["font.size"] = 7
    figure, axes = pyplot.subplots(figsize=(11, 0.9 + 0.155 * len(goals)))
    labels = []
    for at, row in enumerate(goals):
        used = row["value"] / row["goal"]
        colour = "tab:green" if row["verdict"] == "met" else "tab:red"
        if "p10" in row:
            axes.plot([row["p10"] / row["goal"], row["p90"] / row["goal"]], [at, at], color=colour,
                      linewidth=1, alpha=0.5)
        axes.plot(used, at, "o", color=colour, markersize=3.5)
        labels.append(f"{row['family']}: {row['workload']}, {row['case']} / {row['against']}")
    axes.axvline(1, color="black", linewidth=0.8)
    axes.set_xscale("log")
    axes.set_xticks([0.1, 0.2, 0.5, 1, 2], ["0.1", "0.2", "0.5", "goal", "2"])
    axes.set_yticks(range(len(goals)), labels)
    axes.set_ylim(len(goals) - 0.5, -0.5)
    axes.grid(axis="x", linewidth=0.3)
    axes.set_xlabel("measured / goal: median and p10 .. p90 of the paired ratios")
    figure.tight_layout()
    figure.savefig(path, metadata={"Date": None})


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("json")
    parser.add_argument("--rounds", required=True)
    parser.add_argument("--library", required=True)
    parser.add_argument("--size", required=True)
    parser.add_argument("--docs", required=True)
    arguments = parser.parse_args()
    with open(arguments.json, encoding="utf-8") as file:
        rows = [json.loads(line) for line in file]
    families = collections.OrderedDict((family, []) for family in TITLES)
    for row in rows:
        families.setdefault(row["family"], []).append(row)
    families = {family: found for family, found in families.items() if found}
    goals = [row for found in families.values() for row in found if "goal" in row]
    met = sum(row["verdict"] == "met" for row in goals)
    missed = [(TITLES.get(row["family"], row["family"]), row["workload"],
               f"{row['case']} / {row['against']}", number(row["value"]), number(row["goal"]))
              for row in goals if row["verdict"] != "met"]

    with open(os.path.join(HERE, "performance-notes.md"), encoding="utf-8") as file:
        notes = file.read().rstrip()
    parts = [
        "# Performance\n",
        "Written by the benchmark suite; do not edit. It is made again with:\n",
        f"```sh\n./dev bench --report --rounds {arguments.rounds}\n```\n",
        host(arguments.library, arguments.rounds) + "\n",
        f"**{met} of {len(goals)} goals are met.** A ratio is the median over the rounds of the "
        "library's time divided by the other's in the same round; less is better. A goal is the "
        "largest ratio, or count, that is allowed.\n",
        "![measured against goal](performance.svg)\n",
    ]
    if missed:
        parts += ["Missed:\n", table(("family", "workload", "what", "ratio", "goal"), missed) + "\n"]
    parts += [notes + "\n"]
    parts += [family_section(family, found) for family, found in families.items()]
    parts += [guard_section(), size_section(arguments.size)]
    with open(os.path.join(arguments.docs, "performance.md"), "w", encoding="utf-8") as file:
        file.write("\n".join(part for part in parts if part))
    draw(goals, os.path.join(arguments.docs, "performance.svg"))
    print(f"bench: {met} of {len(goals)} goals met; wrote {arguments.docs}/performance.md and .svg")


if __name__ == "__main__":
    main()
