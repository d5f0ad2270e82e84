"""Runs a service out of its unit file as systemd does: ExecStartPre=, ExecStart=, Environment=,
EnvironmentFile=, StateDirectory=, Restart= and RestartSec=, and no other setting."""
import os
import re
import shlex
import signal
import subprocess
import threading


def settings_of(text):
    """The (name, value) pairs of [Service], in their order."""
    pairs, section = [], None
    for line in text.splitlines():
        line = line.strip()
        if line.startswith("["):
            section = line
        elif section == "[Service]" and line and line[0] not in "#;":
            name, _, value = line.partition("=")
            pairs.append((name.strip(), value.strip()))
    return pairs


def session_of(leader):
    """The processes that a service has left behind; systemd ends the whole control group."""
    found = []
    for entry in os.listdir("/proc"):
        if entry.isdigit():
            try:
                with open(f"/proc/{entry}/stat", encoding="utf-8", errors="replace") as stat:
                    fields = stat.read().rpartition(")")[2].split()
            except OSError:
                continue
            if int(fields[3]) == leader and fields[0] != "Z":
                found.append(int(entry))
    return found


class Service:
    """A unit, started; it is started again when it ends, until stop()."""

    def __init__(self, path, instance, paths, log):
        """`paths` replaces paths of the unit by others; its output goes to the file `log`."""
        text = path.read_text()
        for old, new in paths.items():
            text = text.replace(old, str(new))
        self._settings = settings_of(text)
        self._instance = instance
        self._environment = dict(os.environ)
        for value in self._all("Environment"):
            for word in shlex.split(self._specifiers(value)):
                self._set(word)
        for value in self._all("EnvironmentFile"):
            with open(self._specifiers(value), encoding="utf-8") as lines:
                for line in lines:
                    if line.strip() and line[0] not in "#;":
                        self._set(line.strip())
        for value in self._all("StateDirectory"):
            state = os.path.join(str(paths["/var/lib"]), value)
            os.makedirs(state, exist_ok=True)
            self._environment["STATE_DIRECTORY"] = state
        self._delay = float(self._one("RestartSec", "0.1"))
        self._restart = self._one("Restart", "no")
        self._log = open(log, "ab")
        self._stopping = threading.Event()
        self.process = None
        self.starts = 0
        for command in self._all("ExecStartPre"):
            subprocess.run(self._words(command), check=True, env=self._environment)
        self._start()
        self._watcher = threading.Thread(target=self._watch, daemon=True)
        self._watcher.start()

    def _all(self, name):
        return [value for key, value in self._settings if key == name]

    def _one(self, name, default):
        return (self._all(name) or [default])[-1]

    def _set(self, assignment):
        name, _, value = assignment.partition("=")
        self._environment[name] = value

    def _specifiers(self, text):
        known = {"%i": self._instance, "%H": os.uname().nodename, "%%": "%"}
        return re.sub("%.", lambda found: known[found.group()], text)

    def _words(self, command):
        variable = re.compile(r"\$\$|\$\{(\w+)\}")
        return [variable.sub(lambda found: "$" if found.group() == "$$" else
                             self._environment[found.group(1)], word)
                for word in shlex.split(self._specifiers(command))]

    def _start(self):
        self.process = subprocess.Popen(self._words(self._one("ExecStart", "")),
                                        env=self._environment, stdin=subprocess.DEVNULL,
                                        stdout=self._log, stderr=self._log, start_new_session=True)
        self.starts += 1

    def _watch(self):
        while True:
            code = self.process.wait()
            for pid in session_of(self.process.pid):
                os.kill(pid, signal.SIGKILL)
            if self._stopping.is_set() or self._restart == "no":
                return
            if self._restart == "on-failure" and code == 0:
                return
            if self._stopping.wait(self._delay):
                return
            self._start()

    def kill(self, number=signal.SIGKILL):
        """As if it had crashed: it comes back."""
        self.process.send_signal(number)

    def stop(self):
        """As systemctl stop does."""
        self._stopping.set()
        if self.process.poll() is None:
            self.process.terminate()
        self._watcher.join()
        self._log.close()
