"""The built agent as a process in lock step: each of its threads stands still wherever it waits, until it is told to go on.
The words of both sides are those of tests/gateway_world/step.h."""
import fcntl
import os
import select
import signal
import socket
import subprocess

MAIN, TIMER = 0, 1
NAMES = ("main", "timer")
WATCHDOG_S = 120  # far beyond anything: only what hangs for good meets it
ABOVE = 210  # the agent's own descriptors keep their numbers


class Stuck(AssertionError):
    """A thread did not come back from where it was let go."""


class Process:
    """One life of the agent. `where` has what each thread waits in; None is a thread that has not begun."""

    def __init__(self, command, environment, out, err):
        pairs = [socket.socketpair(socket.AF_UNIX, socket.SOCK_SEQPACKET) for _ in NAMES]
        self._channels = [ours for ours, _ in pairs]
        ends = [fcntl.fcntl(theirs.fileno(), fcntl.F_DUPFD, ABOVE) for _, theirs in pairs]
        environment = {**environment, "NUVEK_WORLD": "step", "NUVEK_WORLD_CHANNELS": " ".join(map(str, ends))}
        self.process = subprocess.Popen(command, env=environment, stdout=out, stderr=err, stdin=subprocess.DEVNULL,
                                        pass_fds=ends, process_group=0)
        self.pid = self.process.pid
        for _, theirs in pairs:
            theirs.close()
        for end in ends:
            os.close(end)
        for channel in self._channels:
            channel.settimeout(WATCHDOG_S)
        self.where = [None, None]
        self._await(MAIN)

    def go(self, thread, answer="go", arrivals=(), until=""):
        """Lets the thread go on until its next stop; what has been sent to the agent arrives before it does."""
        assert self.where[thread] is not None, "the %s thread has not begun" % NAMES[thread]
        before, self.where[thread] = self.where[thread], None
        self._channels[thread].send("\n".join((answer, " ".join(arrivals), until)).encode("latin-1"))
        try:
            self._await(thread)
        except socket.timeout:
            self.where[thread] = "runs since it was let go from: " + before
            raise Stuck("%d s without a stop\n%s" % (WATCHDOG_S, self.state())) from None

    def _await(self, thread):
        try:
            text = self._channels[thread].recv(4096)
        except ConnectionResetError:
            text = b""
        if not text:
            status = self.process.wait(WATCHDOG_S)
            raise AssertionError("the agent ended by itself, status %s" % status)
        self.where[thread] = text.decode("latin-1")
        if self.where[TIMER] is None and thread == MAIN and select.select([self._channels[TIMER]], [], [], 0)[0]:
            # Its first word was sent before the thread that made it went on.
            self.where[TIMER] = self._channels[TIMER].recv(4096).decode()

    def state(self):
        return "\n".join("%s thread: %s" % (name, where) for name, where in zip(NAMES, self.where))

    def alive(self):
        return self.process.returncode is None and self.process.poll() is None

    def terminate(self):
        """Ends it as the gateway does. Returns its status."""
        self.process.send_signal(signal.SIGTERM)
        try:
            status = self.process.wait(WATCHDOG_S)
        except subprocess.TimeoutExpired:
            raise Stuck("%d s after SIGTERM it still lives\n%s" % (WATCHDOG_S, self.state())) from None
        self.kill()
        return status

    def kill(self):
        """Whatever it did: afterwards neither the agent lives nor a program that it started."""
        try:
            os.killpg(self.pid, signal.SIGKILL)
        except ProcessLookupError:
            pass
        self.process.wait()
        for channel in self._channels:
            channel.close()
