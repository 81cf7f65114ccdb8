"""The agent with threads that run and waits that are real, for the handful of tests whose subject that is. The clock stands
still all the same until the test moves it. Not part of script/test's ordinary run: script/test -L realtime."""
import os
import signal
import socket
import struct
import subprocess
import time

from messages import PRIMARY, cut_request
from surroundings import ADDRESSES, SANITIZER_REPORT, Surroundings

WAIT_S = 15  # bound of every wait for something that must come
PAUSE_S = 0.002  # between two looks
SLOW = "NUVEK_EMULATOR" in os.environ or "NUVEK_SANITIZED" in os.environ


def wait_for(condition, what, state=lambda: ""):
    """Waits until the condition gives something true and returns that."""
    end = time.monotonic() + WAIT_S
    while True:
        result = condition()
        if result:
            return result
        assert time.monotonic() < end, "waited %d s in vain for %s\n%s" % (WAIT_S, what, state())
        time.sleep(PAUSE_S)


class Link:
    """The platform's end of one connection."""

    def __init__(self, connection):
        self.socket = connection
        self.socket.settimeout(WAIT_S)
        self._pending = b""

    def request(self):
        """The next request, whole."""
        while True:
            request, self._pending = cut_request(self._pending)
            if request is not None:
                return request
            data = self.socket.recv(65536)
            assert data, "the agent closed instead of sending, have %r" % self._pending
            self._pending += data

    def answer(self, block):
        self.socket.sendall(block)

    def expect_close(self):
        data = self.socket.recv(65536)
        assert self._pending + data == b"", "sent before the close: %r" % (self._pending + data)
        self.socket.close()

    def reset(self):
        self.socket.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
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

    def accept(self):
        self._listener.settimeout(WAIT_S)
        try:
            return Link(self._listener.accept()[0])
        except socket.timeout:
            raise AssertionError("waited %d s in vain for a connection to %s" % (WAIT_S, self.address)) from None

    def nobody_waits(self):
        self._listener.setblocking(False)
        try:
            self._listener.accept()[0].close()
            return False
        except BlockingIOError:
            return True


class FreeGateway(Surroundings):
    def __init__(self, folder, store=None, **kw):
        super().__init__(folder, store, **kw)
        self.primary, self.secondary = (Platform(address, self.platform_port) for address in ADDRESSES)
        self.agent = None

    def name(self, name, address):
        """Makes a name resolve, or its look-up hang while the address is "-". No other name resolves."""
        with (self.notes / "names").open("a") as file:
            file.write("%s %s\n" % (name, address))

    def start(self, *options):
        """Starts the agent and waits until it serves its local port, which is the end of its start-up."""
        self._write_store(self.store)
        with self.output_path.open("ab") as out, (self.notes / "err").open("ab") as err:
            self.agent = Agent(self.command(*options), env=self.environment(NUVEK_WORLD="free"), stdout=out, stderr=err,
                               stdin=subprocess.DEVNULL, process_group=0)
        wait_for(self._is_served, "the agent's local port", self.state)
        return self

    def _is_served(self):
        assert self.agent.alive(), "the agent ended\n" + self.state()
        try:
            self.local().close()
        except ConnectionRefusedError:
            return False
        return True

    def stop(self):
        """Ends the agent as the gateway does. It must not have complained about itself."""
        assert self.agent.alive(), "the agent ended by itself\n" + self.state()
        self.agent.send_signal(signal.SIGTERM)
        assert self.agent.wait(WAIT_S) == -signal.SIGTERM
        assert not SANITIZER_REPORT.search(self.errors()), self.errors()

    def kill(self):
        if self.agent is not None:
            self.agent.kill_all()

    def local(self):
        return socket.create_connection((PRIMARY, self.local_port), WAIT_S)

    def turns(self, count=1):
        """Lets the main loop run whole turns, from now on. A client that comes and goes ends the wait of each."""
        for _ in range(count + 1):
            with self.local() as client:
                client.shutdown(socket.SHUT_WR)
                assert client.recv(1) == b""

    def wait_record(self, line, times=1):
        wait_for(lambda: self.records().count(line) >= times, "%d times: %s" % (times, line), self.state)

    def wait_log(self, line, times=1):
        wait_for(lambda: self.log().count(line) >= times, "%d times the log line %s" % (times, line), self.state)

    def descriptors(self):
        return len(os.listdir("/proc/%d/fd" % self.agent.pid))

    def wait_descriptors(self, count):
        """A turn in progress may hold one more for a moment, so the count is waited for; a lost one never comes back."""
        wait_for(lambda: self.descriptors() == count, "%d descriptors" % count, lambda: "%d open" % self.descriptors())

    def state(self):
        return self.end_of_what_is_known()


class Agent(subprocess.Popen):
    def alive(self):
        return self.poll() is None

    def kill_all(self):
        """Whatever it did: afterwards neither the agent lives nor a program that it started."""
        try:
            os.killpg(self.pid, signal.SIGKILL)
        except ProcessLookupError:
            pass
        self.wait()
