"""gdb support for libcommonutilities: records shown by what they hold, and the command cu-log.

gdb loads this by itself once the library is (see its "auto-load" settings), or by hand:
    source commonutilities-gdb.py
"""
import datetime
import os
import re
import struct

import gdb
import gdb.printing

LEVELS = ("EMERGENCY", "ALERT", "CRITICAL", "ERROR", "WARNING", "NOTICE", "INFO", "DEBUG", "TRACE",
          "TRACEDEBUG")
# A record that was never initialised, or was overwritten, can claim any number of elements.
MOST_ELEMENTS = 10000


def type_of(name):
    return gdb.lookup_type(name)


def text(pointer):
    """The text at a char pointer, as gdb shows texts; "null" for a null pointer."""
    return "null" if int(pointer) == 0 else '"%s"' % pointer.string(errors="replace")


class Elements:
    """A (count, list) record: rfStringArray, rfIntArray, rfAEBoardTopologyAEBusArray, ..."""

    def __init__(self, value):
        self.value = value

    def to_string(self):
        return "%s of %d" % (self.value.type.strip_typedefs().name, self.value["count"])

    def children(self):
        if int(self.value["list"]) == 0:
            return
        for index in range(min(int(self.value["count"]), MOST_ELEMENTS)):
            yield "[%d]" % index, self.value["list"][index]


class StackPrinter:
    def __init__(self, value):
        self.value = value

    def to_string(self):
        mode = ", first in first out" if int(self.value["fifoMode"]) else ""
        return "Stack of %d%s" % (self.value["count"], mode)

    def children(self):
        for index in range(min(int(self.value["count"]), MOST_ELEMENTS)):
            yield "[%d]" % index, self.value["items"][index]


def map_entries(value):
    """(key, value pointer) of each entry of a Map; the key stands behind its node."""
    left = MOST_ELEMENTS
    if int(value["buckets"]) == 0:
        return
    key_types = {0: "unsigned int", 2: "unsigned long long", 3: "unsigned short"}
    key_type = int(value["keyType"])
    for bucket in range(int(value["nbuckets"])):
        node = value["buckets"][bucket]
        while int(node) != 0 and left > 0:
            left -= 1
            behind = node + 1
            if key_type == 1:
                key = text(behind.cast(type_of("char").pointer()))
            else:
                number = type_of(key_types.get(key_type, "unsigned int"))
                key = str(int(behind.cast(number.pointer()).dereference()))
            yield key, node["value"]
            node = node["next"]


class MapPrinter:
    def __init__(self, value):
        self.value = value

    def to_string(self):
        return "Map of %d" % self.value["nnodes"]

    def children(self):
        for key, pointer in map_entries(self.value):
            yield "[%s]" % key, pointer


class JsonNodePrinter:
    """A node of the tree with all that is below it."""

    def __init__(self, value):
        self.value = value

    def to_string(self):
        kind = int(self.value["kind"])
        body = self.value["body"]
        if kind == 1:
            return "object of %d" % body["map"]["nnodes"]
        if kind == 2:
            return "array of %d" % body["stack"]["count"]
        pointer = body["value"]["text"]
        if int(pointer) and int(body["value"]["origin"]):
            return pointer.string(errors="replace")
        return text(pointer)

    def children(self):
        node = type_of("JsonNode").pointer()
        kind = int(self.value["kind"])
        body = self.value["body"]
        if kind == 1:
            # The map's values are pointers to nodes.
            for key, place in map_entries(body["map"]):
                child = place.cast(node.pointer()).dereference()
                if int(child):
                    yield key, child.dereference()
        elif kind == 2:
            for index in range(min(int(body["stack"]["count"]), MOST_ELEMENTS)):
                child = body["stack"]["items"][index].cast(node)
                if int(child):
                    yield "[%d]" % index, child.dereference()


class RingPrinter:
    """Queue and SimpleQueue: the entries from the oldest to the newest."""

    def __init__(self, value):
        self.value = value

    def to_string(self):
        return "%s, %d of %d entries" % (self.value.type.strip_typedefs().name,
                                         self.value["count"], self.value["capacity"])

    def children(self):
        capacity = int(self.value["capacity"])
        for index in range(min(int(self.value["count"]), capacity, MOST_ELEMENTS)):
            slot = self.value["slots"][(int(self.value["head"]) + index) % capacity]
            yield "[%d]" % index, slot


class FlexQueuePrinter:
    def __init__(self, value):
        self.value = value

    def to_string(self):
        return "FlexQueue, %d of %d entries" % (self.value["count"], self.value["capacity"])

    def children(self):
        if int(self.value["slots"]) == 0:
            return
        for index in range(min(int(self.value["capacity"]), MOST_ELEMENTS)):
            slot = self.value["slots"][index]
            if int(slot["inUse"]):
                yield "[%d]" % index, slot["entry"]


class FlexMsgQueuePrinter:
    def __init__(self, value):
        self.value = value

    def to_string(self):
        return "FlexMsgQueue, %d subscriber slots" % self.value["subCount"]

    def children(self):
        if int(self.value["subs"]) == 0:
            return
        for index in range(min(int(self.value["subCount"]), MOST_ELEMENTS)):
            slot = self.value["subs"][index]
            if int(slot) and int(slot["inUse"]):
                yield "[%d]" % index, slot["queue"]


class MessageQueuePrinter:
    """The messages since the last wrap."""

    def __init__(self, value):
        self.value = value

    def to_string(self):
        return "MessageQueue, %d of %d messages, %d wraps" % (
            self.value["count"], self.value["capacity"], self.value["wraps"])

    def children(self):
        if int(self.value["entries"]) == 0:
            return
        for index in range(int(self.value["capacity"])):
            entry = self.value["entries"][index]
            if int(entry) == 0:
                continue
            if int(entry["type"]) == 0 and int(entry["data"]):
                yield "[%d]" % index, text(entry["data"].cast(type_of("char").pointer()))
            else:
                yield "[%d]" % index, entry.dereference()


def stored_path(array):
    """A path of the block: 255 bytes, of which the last may be the path's own."""
    return array.string(errors="replace", length=int(array.type.sizeof)).split("\0")[0]


class DBGLogCtrlPrinter:
    def __init__(self, value):
        self.value = value

    def to_string(self):
        value = self.value
        if int(value["magic"]) != 0xABCDEF:
            return "DBGLogCtrl with a wrong magic (0x%x)" % int(value["magic"])
        mask = int(value["logLevelMask"])
        names = ",".join(name for level, name in enumerate(LEVELS) if mask >> level & 1)
        return 'DBGLogCtrl: %s, "%s" at %d of %d, levels %s, console %s, syslog %s, %d users' % (
            "on" if int(value["loggingEnabled"]) else "OFF", stored_path(value["logFilePath"]),
            value["logFilePosition"], value["maxLogFileSize"], names or "none",
            "on" if int(value["consoleEnabled"]) else "off",
            "on" if int(value["syslogEnabled"]) else "off", value["refCount"])


class LogCommand(gdb.Command):
    """Show the end of the circular log of the program, or of the core file's program.

cu-log [COUNT] [FILE]: the last COUNT lines (20) in the order of time, from the file that the logger
names or from FILE. The lines are on disk, not in the core file: bring the log along. With a sysroot
the log is looked for there, too."""

    # At the beginning of a line alone: what looks like a head within a message is the message's.
    HEAD = re.compile(rb"^\[(\d+) : (\d+) ([A-Z]+) \((\d+)\)\]", re.MULTILINE)

    def __init__(self):
        super().__init__("cu-log", gdb.COMMAND_DATA)

    def invoke(self, argument, from_tty):
        words = gdb.string_to_argv(argument)
        count = int(words.pop(0)) if words and words[0].isdigit() else 20
        if words:
            path = words[0]
        else:
            block = gdb.parse_and_eval("gDBGLogCtrl")
            if int(block) == 0:
                raise gdb.GdbError("the program has no logger")
            gdb.write("%s\n" % block.dereference().format_string(raw=False))
            path = stored_path(block["logFilePath"])
            sysroot = gdb.parameter("sysroot").replace("target:", "")
            if sysroot and os.path.isfile(os.path.join(sysroot, path.lstrip("/"))):
                path = os.path.join(sysroot, path.lstrip("/"))
        try:
            with open(path, "rb") as file:
                content = file.read()
        except OSError as error:
            raise gdb.GdbError("%s: %s; say where the log is: cu-log %d FILE" %
                               (path, error.strerror, count))
        for time, line in self.lines(content)[-count:] if count else []:
            gdb.write(self.readable(time, line.decode(errors="backslashreplace")) + "\n")

    @staticmethod
    def readable(time, line):
        """The line with a date instead of nanoseconds, and without what a terminal would obey."""
        try:
            date = datetime.datetime.fromtimestamp(time // 10**9).strftime("%Y-%m-%d %H:%M:%S")
        except (OverflowError, ValueError, OSError):
            date = "?"
        line = line.replace(" (%d)]" % time, "]", 1)
        line = "".join(c if c.isprintable() or c == "\n" else "\\x%02x" % ord(c) for c in line)
        return "%s.%06d  %s" % (date, time % 10**9 // 1000, line)

    def lines(self, content):
        position = struct.unpack("<I", content[:4])[0] if len(content) >= 4 else 4
        # What stands behind the position begins with the rest of an overwritten line.
        found = []
        for begin, end in ((4, position), (position, len(content))):
            piece = content[begin:end]
            heads = list(self.HEAD.finditer(piece))
            for head, following in zip(heads, heads[1:] + [None]):
                message = piece[head.start():following.start() if following else len(piece)]
                found.append((int(head.group(4)), message.rstrip(b"\n")))
        return sorted(found, key=lambda entry: entry[0])


class Printers(gdb.printing.PrettyPrinter):
    # With fields that tell the record from one of the program's own: Map and Queue are common names.
    BY_NAME = {
        "JsonNode": (JsonNodePrinter, {"kind", "key", "body", "lastElement"}),
        "Map": (MapPrinter, {"buckets", "nbuckets", "nnodes", "keyType"}),
        "Stack": (StackPrinter, {"items", "count", "readIndex", "fifoMode"}),
        "Queue": (RingPrinter, {"head", "count", "capacity", "slots", "notifyDisabled"}),
        "SimpleQueue": (RingPrinter, {"head", "count", "capacity", "slots"}),
        "FlexQueue": (FlexQueuePrinter, {"count", "capacity", "slots", "broadcastMode"}),
        "FlexMsgQueue": (FlexMsgQueuePrinter, {"subs", "subCount", "autopurge"}),
        "MessageQueue": (MessageQueuePrinter, {"count", "capacity", "wraps", "entries"}),
        "DBGLogCtrl": (DBGLogCtrlPrinter, {"magic", "logLevelMask", "logFilePath"})}

    def __init__(self):
        super().__init__("commonutilities", [])

    def __call__(self, value):
        kind = value.type.strip_typedefs()
        if kind.code != gdb.TYPE_CODE_STRUCT or kind.name is None:
            return None
        fields = [field.name for field in kind.fields()]
        if kind.name in self.BY_NAME:
            printer, needed = self.BY_NAME[kind.name]
            return printer(value) if needed.issubset(fields) else None
        if re.fullmatch(r"(rf|Ambrel)\w*Array", kind.name) and fields[:2] == ["count", "list"]:
            return Elements(value)
        return None


gdb.printing.register_pretty_printer(gdb.current_objfile(), Printers(), replace=True)
LogCommand()
