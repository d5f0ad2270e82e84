#!/usr/bin/env python3
"""fleet_test.py BUILD: the lines of a log reach an MQTT broker and a syslog collector, all of them,
over restarts of the brokers and crashes of what carries the lines. The units and configurations are
those of examples/fleet, with other paths and ports; the brokers are Debian's."""
import contextlib
import json
import os
import pathlib
import re
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time

from units import Service, session_of

SOURCE = pathlib.Path(__file__).resolve().parents[2]
FLEET = SOURCE / "examples/fleet"
STEP = 2000  # lines at a time
LIMIT = 512 * 1024  # of the log: it starts over in the middle of each part
PATIENCE = 180  # seconds for anything that must come


def wait_for(what, condition):
    deadline = time.monotonic() + PATIENCE
    while not condition():
        if time.monotonic() > deadline:
            raise SystemExit(f"not within {PATIENCE} s: {what}")
        time.sleep(0.05)


def free_port():
    with socket.socket() as sock:
        sock.bind(("127.0.0.1", 0))
        return sock.getsockname()[1]


def listening(port):
    with contextlib.closing(socket.socket()) as sock:
        return sock.connect_ex(("127.0.0.1", port)) == 0


def configured(name, out, *changes):
    """A configuration of examples/fleet with (regular expression, replacement) changes, each of which
    must find something."""
    text = (FLEET / name).read_text()
    for pattern, replacement in changes:
        text, found = re.subn(pattern, str(replacement), text, flags=re.MULTILINE)
        if not found:
            raise SystemExit(f"{name} has no {pattern}")
    out.write_text(text)
    return out


class Broker:
    """A server that is started, stopped as systemctl does, and started again."""

    def __init__(self, command, ready, log):
        self._command, self._ready, self._log = command, ready, log
        self._process = None
        self.start()

    def start(self):
        with open(self._log, "ab") as log:
            self._process = subprocess.Popen(self._command, stdin=subprocess.DEVNULL, stdout=log,
                                             stderr=log)
        wait_for(f"{self._command[0]} is ready", self._up)

    def _up(self):
        if self._process.poll() is not None:
            raise SystemExit(f"{self._command[0]} ended:\n{self._log.read_text()}")
        return self._ready()

    def stop(self):
        self._process.terminate()
        self._process.wait(PATIENCE)


class Board:
    """A daemon that logs, and the unit that carries its log."""

    def __init__(self, build, root, unit, stack):
        self.root = root
        self._lines = 0
        (root / "settings").write_text("LOGLEVEL: 255\n")
        etc = root / "etc"
        etc.mkdir()
        configured("NAME.conf", etc / "demo.conf", ("^LOG=.*$", f"LOG={root}/demo.log"))
        self._writer = subprocess.Popen(
            [build / "tests/fleet/log_writer", root / "settings", root / "demo.log", str(LIMIT)],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        stack.callback(self._writer.kill)
        self.output = root / "unit.log"
        paths = {"/usr/bin/cuctl": build / "tools/cuctl/cuctl", "/etc/commonutilities/fleet": etc,
                 "/var/spool/cuctl": root / "spool", "/var/lib": root / "lib"}
        self._start = lambda: Service(FLEET / unit, "demo", paths, self.output)
        self.service = None

    def carry(self, stack):
        self.service = self._start()
        stack.callback(self.service.stop)

    def log(self):
        """Logs STEP more lines."""
        self._writer.stdin.write(f"{STEP}\n")
        self._writer.stdin.flush()
        self._lines += STEP
        if int(self._writer.stdout.readline()) != self._lines:
            raise SystemExit("the daemon did not log what it should")

    def crash_carrier(self):
        """Kills what carries the lines; the unit brings it back."""
        starts = self.service.starts
        self.service.kill()
        wait_for("the unit starts its command again", lambda: self.service.starts > starts)

    def trying(self):
        """The command that takes the lines runs, or has been refused."""
        return (len(session_of(self.service.process.pid)) > 1 or
                "offered again" in self.output.read_text(errors="replace"))

    def expected(self):
        return set(range(1, self._lines + 1))


class Received:
    """The numbers of the lines in a file that grows."""

    def __init__(self, path):
        self._path = path
        self.cut = 0  # lines that a crash has cut off

    def counts(self):
        numbers = {}
        self.cut = 0
        if not self._path.exists():
            return numbers
        with open(self._path, encoding="utf-8") as lines:
            for line in lines:
                if not line.endswith("\n"):
                    break
                if line == "\n":
                    continue
                try:
                    text = json.loads(line).get("text", "")
                except json.JSONDecodeError:
                    self.cut += 1
                    continue
                found = re.fullmatch(r'\[fleet:\d+\]line (\d+) \u00e9\x1b"\\', text)
                if not found:
                    raise SystemExit(f"not a line that was logged: {line}")
                numbers[int(found.group(1))] = numbers.get(int(found.group(1)), 0) + 1
        return numbers

    def at_least(self, count):
        return len(self.counts()) >= count


def verdict(name, board, received):
    wait_for(f"{name}: {len(board.expected())} lines",
             lambda: received.at_least(len(board.expected())))
    counts = received.counts()
    if set(counts) != board.expected():
        raise SystemExit(f"{name}: unexpected lines {sorted(set(counts) ^ board.expected())[:9]}")
    if received.cut > 1:  # there was one crash
        raise SystemExit(f"{name}: {received.cut} lines are not whole")
    twice = sum(count - 1 for count in counts.values())
    print(f"{name}: {len(counts)} lines logged, all received, {twice} of them more than once",
          flush=True)


def mqtt(build, root, stack):
    port = free_port()
    board = Board(build, root, "cuctl-mqtt@.service", stack)
    lib = root / "broker"
    lib.mkdir()
    subprocess.run(["mosquitto_passwd", "-b", "-c", root / "passwd", "board", "secret"], check=True)
    for path in (root, lib, root / "passwd"):  # the broker gives up root
        path.chmod(0o755 if path != lib else 0o777)
    conf = configured("mosquitto-collector.conf", root / "broker.conf",
                      ("^listener 1883", f"listener {port} 127.0.0.1"),
                      ("/etc/mosquitto/fleet.passwd", root / "passwd"),
                      ("/var/lib/mosquitto/", f"{lib}/"))
    configured("mosquitto_pub", root / "etc/mosquitto_pub", ("^-h .*$", "-h 127.0.0.1"),
               ("^-p .*$", f"-p {port}"), ("^-P .*$", "-P secret"))
    broker = Broker(["mosquitto", "-c", str(conf)], lambda: listening(port), root / "broker.log")
    stack.callback(broker.stop)

    subscription = ["mosquitto_sub", "-h", "127.0.0.1", "-p", str(port), "-u", "board", "-P",
                    "secret", "-t", "log/#", "-q", "1", "-c", "-i", "collector"]
    subprocess.run(subscription + ["-E"], check=True)
    received = Received(root / "received")

    def subscribe():
        with open(root / "received", "ab") as out:
            return subprocess.Popen(subscription, stdout=out)

    subscriber = subscribe()
    board.carry(stack)
    board.log()
    wait_for("the first lines", lambda: received.at_least(1))

    # The broker is restarted while lines are on their way.
    board.log()
    broker.stop()
    board.log()
    wait_for("a try while the broker is away", board.trying)
    broker.start()
    # What carries the lines crashes while they flow again.
    board.log()
    board.crash_carrier()
    wait_for("lines flow after the restart", lambda: received.at_least(2 * STEP))

    # The subscriber is away while the broker restarts.
    wait_for("all so far", lambda: received.at_least(len(board.expected())))
    subscriber.terminate()
    subscriber.wait()
    board.log()
    broker.stop()
    board.log()
    broker.start()
    subscriber = subscribe()
    stack.callback(subscriber.kill)
    board.log()
    verdict("MQTT", board, received)


def rsyslog(build, root, stack):
    port = free_port()
    board = Board(build, root, "cuctl-rsyslog@.service", stack)
    for name in ("collector", "board", "fleet", "spool"):
        (root / name).mkdir()
    collector = configured("rsyslog-collector.conf", root / "collector.conf",
                           ('port="2514"', f'port="{port}" address="127.0.0.1"'),
                           (r"/var/log/fleet/%HOSTNAME%", root / "fleet/board"),
                           (r"\A", f'global(workDirectory="{root}/collector")\n'))
    sender = configured("rsyslog-board.conf", root / "board.conf",
                        ("collector.example.org", "127.0.0.1"), ('port="2514"', f'port="{port}"'),
                        ("/var/spool/cuctl", root / "spool"),
                        ('resumeInterval="5"', 'resumeInterval="1"'),
                        (r"\A", f'global(workDirectory="{root}/board")\n'))

    def server(conf, ready):
        # As its unit starts it, with a configuration and a PID file of its own.
        subprocess.run(["rsyslogd", "-N1", "-f", conf], check=True, stderr=subprocess.DEVNULL)
        pid_file = conf.with_suffix(".pid")
        return Broker(["rsyslogd", "-n", "-f", str(conf), "-i", str(pid_file)],
                      lambda: pid_file.exists() and ready(), conf.with_suffix(".log"))

    central = server(collector, lambda: listening(port))
    stack.callback(central.stop)
    local = server(sender, lambda: True)
    stack.callback(local.stop)
    received = Received(root / "fleet/board.jsonl")

    board.carry(stack)
    board.log()
    wait_for("the first lines", lambda: received.at_least(1))

    # The collector is restarted while lines are on their way.
    board.log()
    central.stop()
    board.log()
    spool = Received(root / "spool/demo.jsonl")
    wait_for("the lines are in the file for rsyslog",
             lambda: spool.at_least(len(board.expected())))
    central.start()
    # What carries the lines crashes while they flow again.
    board.log()
    board.crash_carrier()
    wait_for("all so far", lambda: received.at_least(len(board.expected())))

    # The file is renamed while the board's rsyslog is away.
    local.stop()
    board.log()
    wait_for("the lines are in the file for rsyslog",
             lambda: spool.at_least(len(board.expected())))
    rotation = configured("logrotate", root / "logrotate.conf",
                          ("/var/spool/cuctl", root / "spool"), (" size 1M", " size 1k"))
    rotation.chmod(0o644)
    subprocess.run(["logrotate", "-s", root / "logrotate.state", rotation], check=True)
    if not (root / "spool/demo.1.jsonl").exists():
        raise SystemExit("the file was not renamed")
    local.start()
    board.log()
    verdict("rsyslog", board, received)


def verify_units(build):
    """systemd's own opinion of the units."""
    with tempfile.TemporaryDirectory() as scratch:
        for unit in FLEET.glob("*.service"):
            copy = pathlib.Path(scratch, unit.name.replace("@", "@demo"))
            copy.write_text(unit.read_text().replace("/usr/bin/cuctl", f"{build}/tools/cuctl/cuctl"))
            told = subprocess.run(["systemd-analyze", "verify", "--man=no", copy], text=True,
                                  check=False, stderr=subprocess.PIPE)
            if told.returncode or unit.name.split("@")[0] in told.stderr:
                raise SystemExit(f"{unit.name}: {told.stderr}")


def main():
    build = pathlib.Path(sys.argv[1]).resolve()
    verify_units(build)
    for name, part in (("mqtt", mqtt), ("rsyslog", rsyslog)):
        if name not in (sys.argv[2:] or ["mqtt", "rsyslog"]):
            continue
        root = pathlib.Path(tempfile.mkdtemp(prefix=f"fleet-{name}-"))
        try:
            with contextlib.ExitStack() as stack:
                part(build, root, stack)
        except BaseException:
            print(f"what it left is in {root}", file=sys.stderr)
            raise
        shutil.rmtree(root)


main()
