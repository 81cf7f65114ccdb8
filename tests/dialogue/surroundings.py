"""A gateway around the built agent: files, store, clock, shell, what the agent did there, and how it is started."""

import mmap
import os
import pathlib
import re
import shlex
import socket

from messages import DEVICE_STORE, NOW, PRIMARY, SECONDARY

WORDS_FILE = pathlib.Path(__file__).resolve().parent.parent / "gateway_world" / "words.def"
SANITIZER_REPORT = re.compile(r"ThreadSanitizer|AddressSanitizer|LeakSanitizer|runtime error:")
ASKS = ("get ", "lookup ")
CALLS = (*ASKS, "set ", "commit ", "save", "system ")


def _words():
    """The words shared with the agent, and those of them that count faults, as the library itself has them."""
    rows = re.findall(r"^(WORD|FAULT)\((\w+)\)$", WORDS_FILE.read_text(), re.MULTILINE)
    return tuple(name for _, name in rows), tuple(name for kind, name in rows if kind == "FAULT")


WORDS, FAULTS = _words()


def build_folder():
    return pathlib.Path(os.environ["NUVEK_BUILD"])


def reserve_port():
    """A free port for the life of the socket returned: bound, but open to others who allow the address to be reused."""
    holder = socket.socket()
    holder.bind(("0.0.0.0", 0))
    holder.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
    return holder


class Control:
    """The words shared with the agent."""

    def __init__(self, path):
        path.write_bytes(bytes(4 * len(WORDS)))
        with path.open("r+b") as file:
            # Whole words: struct.pack_into() clears the bytes first, and a running agent would meet a clock of 0.
            self._words = memoryview(mmap.mmap(file.fileno(), 0)).cast("I")

    def get(self, word):
        return socket.ntohl(self._words[WORDS.index(word)])

    def set(self, word, value):
        self._words[WORDS.index(word)] = socket.htonl(value)


class Lines:
    """A text file that grows; read on from where the last look ended."""

    def __init__(self, path):
        self.path = path
        self._at = 0

    def rest(self):
        """What is new, as whole lines."""
        try:
            with self.path.open("rb") as file:
                file.seek(self._at)
                data = file.read()
        except FileNotFoundError:
            return []
        end = data.rfind(b"\n") + 1
        self._at += end
        return data[:end].decode("latin-1").split("\n")[:-1]


class Surroundings:
    def __init__(self, folder, store=None, clock=NOW, synchronised=True):
        self.root = folder / "root"
        self.notes = folder / "notes"
        for path in ("tmp", "var", "usr/osgi", "lib/modules", "bin"):
            (self.root / path).mkdir(parents=True)
        self.notes.mkdir()
        self.output_path = self.notes / "out"
        self._platform_holder, self._local_holder = reserve_port(), reserve_port()
        self.platform_port = self._platform_holder.getsockname()[1]
        self.local_port = self._local_holder.getsockname()[1]
        self.store = dict(DEVICE_STORE if store is None else store)
        self.control = Control(self.notes / "control")
        self.clocks = []  # all that it ever showed
        self.clock = clock
        self.uptime = 1000
        if synchronised:
            self.synchronise()
        self._record = Lines(self.notes / "record")
        self._records = []
        self._forgotten = {}  # by file, how much of it is no longer of interest
        self._seen = 0

    # --- the gateway's other software ---

    def synchronise(self):
        (self.root / "tmp/timeSync").write_text("")

    def write(self, path, content):
        (self.root / path).write_bytes(content if isinstance(content, bytes) else content.encode())

    def program(self, name, script):
        """Puts a program into the gateway's path and lets the shell run what the agent asks for."""
        file = self.root / "bin" / name
        file.write_text("#!/bin/sh\n" + script + "\n")
        file.chmod(0o755)
        self.control.set("shell_runs", 1)

    def edit_store(self, changes):
        """Changes the store under the running agent; None removes an attribute."""
        self.store.update(changes)
        self._write_store(changes)

    def _write_store(self, values):
        lines = [name + ("" if value is None else "=" + value) + "\n" for name, value in values.items()]
        number = self.control.get("store_edits") + 1
        (self.notes / ("store.%d" % number)).write_text("".join(lines), encoding="latin-1")
        self.control.set("store_edits", number)

    # --- time and faults ---

    @property
    def clock(self):
        """Seconds since 1970, negative ahead of it; where time has 32 bits the agent sees the lower ones."""
        era = self.control.get("clock_era")
        return (era - (era >> 31 << 32) << 32) + self.control.get("clock_s")

    @clock.setter
    def clock(self, seconds):
        self.clocks.append(seconds)
        self.control.set("clock_era", seconds >> 32 & 0xFFFFFFFF)
        self.control.set("clock_s", seconds & 0xFFFFFFFF)

    @property
    def uptime(self):
        return self.control.get("uptime_s")

    @uptime.setter
    def uptime(self, seconds):
        self.control.set("uptime_s", seconds)

    def word(self, name):
        return self.control.get(name)

    def set_word(self, name, value):
        self.control.set(name, value)

    # --- how the agent is started ---

    def command(self, *options):
        return [*self._emulator(), os.environ.get("NUVEK_AGENT", str(build_folder() / "bin/nuvek")), *options]

    @staticmethod
    def _guest_environment():
        """What the agent's loader is to know."""
        return {"LD_LIBRARY_PATH": str(build_folder() / "lib"),
                "LD_PRELOAD": str(build_folder() / "tests/libgateway_world.so")}

    def _emulator(self):
        """The emulator itself is a program of this machine and must not meet the gateway's libraries."""
        words = shlex.split(os.environ.get("NUVEK_EMULATOR", ""))
        for pair in self._guest_environment().items() if words else ():
            words += ["-E", "=".join(pair)]
        return words

    def environment(self, **more):
        environment = {
            "PATH": "%s:/usr/bin:/bin" % (self.root / "bin"), "TZ": "CST-8", "NUVEK_ROOT": str(self.root),
            "NUVEK_PLATFORM_PORT": str(self.platform_port), "NUVEK_LOCAL_PORT": str(self.local_port),
            "NUVEK_WORLD_FOLDER": str(self.notes), "NUVEK_WORLD_STORE": "memory",
            "ASAN_OPTIONS": "verify_asan_link_order=0",  # the world's allocator goes ahead of the sanitizer's
            **more,
        }
        return environment if "NUVEK_EMULATOR" in os.environ else {**environment, **self._guest_environment()}

    # --- what the agent did ---

    def _take_in(self):
        """Reads on in the record. Returns the new lines."""
        lines = [line.replace(str(self.root), "ROOT") for line in self._record.rest()]
        self._records += [line for line in lines if line.startswith(CALLS)]
        return lines

    def records(self):
        """Every call in its order: get NODE ATTR, set NODE ATTR=VALUE, commit NODE, save, system COMMAND, lookup NAME."""
        self._take_in()
        return list(self._records)

    def _effects(self):
        return [line for line in self.records() if not line.startswith(ASKS)]

    def effects(self):
        """The calls that change something, since the last that a test has seen."""
        effects = self._effects()
        new, self._seen = effects[self._seen:], len(effects)
        return new

    def forget(self):
        """Begins all that is known of the agent anew."""
        self._take_in()
        self._records = []
        for path in (self.output_path, self.notes / "err", self.notes / "console"):
            self._forgotten[path] = path.stat().st_size if path.exists() else 0
        self._seen = 0

    def written(self):
        return _values(self.records())

    def saved(self):
        lines = self.records()
        last = max(number for number, line in enumerate(lines) if line == "save")
        return _values(lines[:last])

    def _text(self, path):
        if not path.exists():
            return ""
        with path.open("rb") as file:
            file.seek(self._forgotten.get(path, 0))
            return file.read().decode("latin-1").replace(str(self.root), "ROOT")

    def output(self):
        return self._text(self.output_path)

    def errors(self):
        return self._text(self.notes / "err")

    def console(self):
        return self._text(self.notes / "console")

    def log(self):
        """The log's lines without their source lines: "DEBUG nuvek_report: Enter"."""
        lines = re.findall(r"^\[NUVEK (DEBUG|ERROR) (\w+):\d+\] (.*)$", self.output(), re.MULTILINE)
        return ["%s %s: %s" % line for line in lines]

    def keys(self):
        path = self.root / "usr/osgi/nuvekKeyInfo"
        return path.read_bytes().decode("latin-1") if path.exists() else None

    def end_of_what_is_known(self):
        return "\n".join(["--- record", *self.records()[-15:], "--- output", self.output()[-1500:], self.errors()[-800:]])


def _values(lines):
    return dict(line[4:].split("=", 1) for line in lines if line.startswith("set "))


ADDRESSES = (PRIMARY, SECONDARY)
