"""A gateway with the built agent on it, and a platform that a test speaks for, over real loopback sockets."""

import mmap
import os
import pathlib
import re
import shlex
import signal
import socket
import struct
import subprocess
import time

from messages import DEVICE_STORE, NOW, PRIMARY, SECONDARY

WAIT_S = 15  # bound of every wait for something that must come
PAUSE_S = 0.002  # between two looks
SLOW = "NUVEK_EMULATOR" in os.environ or "NUVEK_SANITIZED" in os.environ
AT_ONCE_S = 5 if SLOW else 0.5
# What a test can make fail, in the order of recorder/faults.h.
FAULTS = ("memory", "socket", "connect", "accept", "select", "send", "short send", "receive", "open", "full disk", "system",
          "lookup")
SANITIZER_REPORT = re.compile(r"ThreadSanitizer|AddressSanitizer|LeakSanitizer|runtime error:")


def wait_for(condition, what, state=lambda: "", pause=PAUSE_S):
    """Waits until the condition gives something true and returns that."""
    end = time.monotonic() + WAIT_S
    while True:
        result = condition()
        if result:
            return result
        assert time.monotonic() < end, "waited %d s in vain for %s\n%s" % (WAIT_S, what, state())
        time.sleep(pause)


def stay_on_one_processor():
    """Keeps test and agent on one processor: what the agent sends is then here before the end of a connection that it
    closes later. Between two processors a busy machine may deliver the later first."""
    processors = sorted(os.sched_getaffinity(0))
    os.sched_setaffinity(0, {processors[os.getpid() % len(processors)]})


def reserve_port():
    """A free port for the life of the socket returned: bound, but open to others who allow the address to be reused."""
    holder = socket.socket()
    holder.bind(("0.0.0.0", 0))
    holder.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
    return holder


class Control:
    """The words shared with the agent; their order is that of recorder/control.h."""

    WORDS = ("clock_s", "clock_us", "uptime_s", "shell_runs", "store_edits", "ticks",
             "target_s", "step_s", "parked", "turns", "longest_turn_us", "longest_turn_s",
             "reports", "full_speed_tables", "empty_speed_tables", "trace_ends", "refused_connects", "heap_bytes",
             "tick_us", "fail_allocation", "allocations", "live", "fault_seed", "fault_rate", *FAULTS)

    def __init__(self, path):
        path.write_bytes(bytes(4 * len(self.WORDS)))
        with path.open("r+b") as file:
            # Whole words: struct.pack_into() clears the bytes first, and the agent would meet a clock of 0.
            self._words = memoryview(mmap.mmap(file.fileno(), 0)).cast("I")

    def get(self, word):
        return socket.ntohl(self._words[self.WORDS.index(word)])

    def set(self, word, value):
        self._words[self.WORDS.index(word)] = socket.htonl(value)


class Link:
    """The platform's end of one connection."""

    def __init__(self, connection):
        self.socket = connection
        self.socket.settimeout(WAIT_S)
        self.closed = False
        self._pending = b""

    def _receive(self, what):
        try:
            data = self.socket.recv(65536)
        except socket.timeout:
            raise AssertionError("waited %d s in vain for %s, have %r" % (WAIT_S, what, self._pending)) from None
        assert data, "the agent closed instead of sending %s, have %r" % (what, self._pending)
        self._pending += data

    def request(self, skip=None):
        """The next request, whole, or the next that is not `skip`."""
        while (request := self._next_request()) == skip:
            pass
        return request

    def _next_request(self):
        while not (request := self._cut_request()):
            self._receive("a whole request")
        return request

    def _cut_request(self):
        """The first request of what was received; None while it is not whole."""
        head = self._pending.find(b"\r\n\r\n") + 4
        if head < 4:
            return None
        length = re.search(rb"\r\nContent-Length: (\d+)\r\n", self._pending[:head])
        assert length, "a request without its length: %r" % self._pending
        end = head + int(length.group(1))
        if len(self._pending) < end:
            return None
        request, self._pending = self._pending[:end], self._pending[end:]
        return request

    def answer(self, block):
        self.socket.sendall(block)

    def take(self):
        """The whole requests that are here already, without waiting; `closed` tells whether more can come."""
        self.socket.setblocking(False)
        try:
            while data := self.socket.recv(65536):
                self._pending += data
            self.closed = True
        except BlockingIOError:
            pass
        except ConnectionError:
            self.closed = True
        self.socket.settimeout(WAIT_S)
        requests = []
        while request := self._cut_request():
            requests.append(request)
        return requests

    def received_until_closed(self):
        while data := self.socket.recv(65536):
            self._pending += data
        return self._pending

    def expect_close(self, after=()):
        """Waits for the agent to close; nothing may come before but whole requests that `after` names."""
        try:
            while data := self.socket.recv(65536):
                self._pending += data
        except ConnectionResetError:
            pass
        except socket.timeout:
            raise AssertionError("waited %d s in vain for the agent to close, have %r"
                                 % (WAIT_S, self._pending)) from None
        for request in after:
            self._pending = self._pending.replace(request, b"")
        assert self._pending == b"", "sent before the close: %r" % self._pending
        self.socket.close()

    def reset(self):
        self.socket.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        self.socket.close()

    def close(self):
        self.socket.close()


class Platform:
    """One platform server; down until it is told to be up."""

    def __init__(self, address, port):
        self.address, self.port = address, port
        self._listener = None

    def up(self, receive_bytes=None):
        self._listener = socket.socket()
        if receive_bytes is not None:
            self._listener.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, receive_bytes)
        self._listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        self._listener.bind((self.address, self.port))
        self._listener.listen(16)
        return self

    def down(self):
        self._listener.close()
        self._listener = None

    def accept(self):
        self._listener.settimeout(WAIT_S)
        try:
            return Link(self._listener.accept()[0])
        except socket.timeout:
            raise AssertionError("waited %d s in vain for a connection to %s" % (WAIT_S, self.address)) from None

    def waiting(self):
        """The connections that are here already, without waiting."""
        self._listener.setblocking(False)
        links = []
        try:
            while True:
                links.append(Link(self._listener.accept()[0]))
        except BlockingIOError:
            return links

    def nobody_waits(self):
        return not self.waiting()


class Gateway:
    """The agent's whole surroundings: files, store, clock, shell, and the agent itself as a process."""

    LIBRARIES = ("tests/dialogue", "lib")  # the recorder's ahead of the desk's own

    def __init__(self, folder, store=None, clock=NOW, synchronised=True):
        self.root = folder / "root"
        self._recorder = folder / "recorder"
        for path in ("tmp", "var", "usr/osgi", "lib/modules", "bin"):
            (self.root / path).mkdir(parents=True)
        self._recorder.mkdir()
        self.output_path = self._recorder / "out"
        self._platform_holder, self._local_holder = reserve_port(), reserve_port()
        port = self._platform_holder.getsockname()[1]
        self.primary, self.secondary = Platform(PRIMARY, port), Platform(SECONDARY, port)
        self.local_port = self._local_holder.getsockname()[1]
        self.store = dict(DEVICE_STORE if store is None else store)
        self._control = Control(self._recorder / "control")
        self.clocks = []  # all that it ever showed
        self.clock = clock
        self.uptime = 1000
        if synchronised:
            self.synchronise()
        self.agent = None
        self._seen = 0

    # --- the gateway's other software ---

    def synchronise(self):
        (self.root / "tmp/timeSync").write_text("")

    def write(self, path, content):
        (self.root / path).write_bytes(content if isinstance(content, bytes) else content.encode())

    def name(self, name, address):
        """Makes a name resolve, or its look-up hang while the address is "-". No other name resolves."""
        with (self._recorder / "names").open("a") as file:
            file.write("%s %s\n" % (name, address))

    def program(self, name, script):
        """Puts a program into the gateway's path and lets the shell run what the agent asks for."""
        file = self.root / "bin" / name
        file.write_text("#!/bin/sh\n" + script + "\n")
        file.chmod(0o755)
        self._control.set("shell_runs", 1)

    def edit_store(self, changes):
        """Changes the store under the running agent; None removes an attribute."""
        self.store.update(changes)
        self._write_store(changes)

    def _write_store(self, values):
        lines = [name + ("" if value is None else "=" + value) + "\n" for name, value in values.items()]
        number = self._control.get("store_edits") + 1
        (self._recorder / ("store.%d" % number)).write_text("".join(lines), encoding="latin-1")
        self._control.set("store_edits", number)

    # --- time ---

    @property
    def clock(self):
        return self._control.get("clock_s")

    @clock.setter
    def clock(self, seconds):
        self.clocks.append(seconds)
        self._control.set("clock_s", seconds)

    @property
    def uptime(self):
        return self._control.get("uptime_s")

    @uptime.setter
    def uptime(self, seconds):
        self._control.set("uptime_s", seconds)

    def pass_quickly(self, seconds):
        """Lets so much time pass as let_pass() does, with a timer thread that looks far more often than a gateway's."""
        self.set_word("tick_us", 200)
        self.tick(0.0002)  # what the clock was moved by just before must not add up to a corrected clock
        self.let_pass(seconds, 0.0002)
        self.set_word("tick_us", 0)

    def tick(self, pause=PAUSE_S):
        """Lets the timer thread look once at its timers, from now on."""
        seen = self._control.get("ticks")
        wait_for(lambda: self._control.get("ticks") >= seen + 2, "a tick of the timer thread", self.state, pause)

    def let_pass(self, seconds, pause=PAUSE_S):
        """Moves the clock in steps that the timer service takes for time passing, not for a corrected clock."""
        while seconds:
            step = min(seconds, 50)
            self.clock += step
            seconds -= step
            self.tick(pause)

    # --- faults ---

    def word(self, name):
        return self._control.get(name)

    def set_word(self, name, value):
        self._control.set(name, value)

    # --- the agent ---

    def start(self, *options, **environment):
        """Starts the agent and waits until it serves its local port, which is the end of its start-up."""
        self.launch(*options, **environment)
        wait_for(self._served, "the agent's local port", self.state)
        return self

    def launch(self, *options, **environment):
        """Starts the agent and waits for nothing."""
        self._write_store(self.store)
        build = pathlib.Path(os.environ["NUVEK_BUILD"])
        libraries = ":".join(str(build / folder) for folder in self.LIBRARIES)
        command = [os.environ.get("NUVEK_AGENT", str(build / "bin/nuvek")), *options]
        emulator = shlex.split(os.environ.get("NUVEK_EMULATOR", ""))
        env = {
            "PATH": "%s:/usr/bin:/bin" % (self.root / "bin"), "TZ": "CST-8", "NUVEK_ROOT": str(self.root),
            "NUVEK_PLATFORM_PORT": str(self.primary.port), "NUVEK_LOCAL_PORT": str(self.local_port),
            "NUVEK_RECORDER": str(self._recorder), **environment,
        }
        if emulator:  # the emulator itself is a program of this machine and must not meet the gateway's libraries
            command = [*emulator, "-E", "LD_LIBRARY_PATH=" + libraries, *command]
        else:
            env["LD_LIBRARY_PATH"] = libraries
        recorder = build / "tests/dialogue"
        if os.environ.get("NUVEK_SANITIZED") == "address" and str(recorder) in libraries:
            # Else the sanitizer's allocator would go ahead of the recorder's.
            env.update(LD_PRELOAD=str(recorder / "libtcapi.so"), ASAN_OPTIONS="verify_asan_link_order=0")
        with self.output_path.open("ab") as out, (self._recorder / "err").open("ab") as err:
            self.agent = subprocess.Popen(command, env=env, stdout=out, stderr=err, stdin=subprocess.DEVNULL)

    def _served(self):
        assert self.agent.poll() is None, "the agent ended\n" + self.state()
        try:
            socket.create_connection((PRIMARY, self.local_port), WAIT_S).close()
        except ConnectionRefusedError:
            return False
        return True

    def stop(self):
        """Ends the agent as the gateway does. It must go at once, and must not have complained about itself."""
        assert self.agent.poll() is None, "the agent ended by itself\n" + self.state()
        self.agent.send_signal(signal.SIGTERM)
        begin = time.monotonic()
        assert self.agent.wait(WAIT_S) == -signal.SIGTERM
        assert time.monotonic() - begin < AT_ONCE_S
        assert not SANITIZER_REPORT.search(self.errors()), self.errors()

    def restart(self, power_cut=False):
        """Starts the agent on the store as it left it: the live one, or after a power cut the flash."""
        self.store.update(self.saved() if power_cut else self.written())
        for name in ("record", "out", "err"):
            (self._recorder / name).unlink()
        self._seen = 0
        return self.start()

    def turns(self, count=1):
        """Lets the main loop run whole turns, from now on. A client that comes and goes ends the wait of each."""
        for _ in range(count + 1):
            with self.local() as client:
                client.shutdown(socket.SHUT_WR)
                assert client.recv(1) == b""

    def local(self):
        return socket.create_connection((PRIMARY, self.local_port), WAIT_S)

    # --- what the agent did ---

    def records(self):
        """Every call in its order: get NODE ATTR, set NODE ATTR=VALUE, commit NODE, save, system COMMAND, lookup NAME."""
        path = self._recorder / "record"
        text = path.read_bytes().decode("latin-1") if path.exists() else ""
        return [line.replace(str(self.root), "ROOT") for line in text[:text.rfind("\n") + 1].split("\n")[:-1]]

    def effects(self):
        """The calls that change something, since the last that a test has seen."""
        effects = [line for line in self.records() if not line.startswith(("get ", "lookup "))]
        new, self._seen = effects[self._seen:], len(effects)
        return new

    def wait_effects(self, expected):
        """Waits until so many new effects are there and compares them; later ones stay unseen."""
        def new():
            return [line for line in self.records() if not line.startswith(("get ", "lookup "))][self._seen:]

        wait_for(lambda: len(new()) >= len(expected), "%d effects" % len(expected), self.state)
        assert new()[:len(expected)] == expected
        self._seen += len(expected)

    def wait_record(self, line, times=1):
        wait_for(lambda: self.records().count(line) >= times, "%d times: %s" % (times, line), self.state)

    def forget(self):
        """Begins all that is known of the agent anew, at a moment when it is quiet."""
        for name in ("record", "out", "err"):
            os.truncate(self._recorder / name, 0)
        self._seen = 0

    def written(self):
        return _values(self.records())

    def saved(self):
        lines = self.records()
        last = max(number for number, line in enumerate(lines) if line == "save")
        return _values(lines[:last])

    def output(self):
        return self.output_path.read_text(encoding="latin-1").replace(str(self.root), "ROOT")

    def errors(self):
        return (self._recorder / "err").read_text(encoding="latin-1")

    def console(self):
        path = self._recorder / "console"
        return path.read_text() if path.exists() else ""

    def log(self):
        """The log's lines without their source lines: "DEBUG nuvek_report: Enter"."""
        lines = re.findall(r"^\[NUVEK (DEBUG|ERROR) (\w+):\d+\] (.*)$", self.output(), re.MULTILINE)
        return ["%s %s: %s" % line for line in lines]

    def wait_log(self, line, times=1):
        wait_for(lambda: self.log().count(line) >= times, "%d times the log line %s" % (times, line), self.state)

    def keys(self):
        path = self.root / "usr/osgi/nuvekKeyInfo"
        return path.read_bytes().decode("latin-1") if path.exists() else None

    def descriptors(self):
        return len(os.listdir("/proc/%d/fd" % self.agent.pid))

    def wait_descriptors(self, count):
        """A turn in progress may hold one more for a moment, so the count is waited for; a lost one never comes back."""
        wait_for(lambda: self.descriptors() == count, "%d descriptors" % count, lambda: "%d open" % self.descriptors())

    def state(self):
        """The end of what is known, for the message of a failed wait."""
        return "\n".join(["--- record", *self.records()[-15:], "--- output", self.output()[-1500:], self.errors()[-800:]])


def _values(lines):
    return dict(line[4:].split("=", 1) for line in lines if line.startswith("set "))
