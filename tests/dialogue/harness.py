"""A gateway with the built agent on it in lock step, and a platform and local clients that a test speaks for.

How a test is written: `gateway(store)` makes a gateway, `start()` runs the agent to the wait of its first turn. From then on
nothing happens by itself. `turn()` runs the main thread from the wait of one turn to that of the next, `tick()` the timer
thread from one sleep to the next; `clock` and `uptime` are set. What is wanted of the agent (`accept()`, `request()`,
`recv()`, `wait_record()`) lets both threads go on, a tick and a turn at a time, until it is there, some turns at most. A
thread that comes to a wait that nothing ends stays in it: `waits_in()` tells in which, `hold()` makes one. An interleaving is
written down with `go_to()`, which stops a thread ahead of a call, and `go_on()`."""

import os
import signal
import socket

from lockstep import MAIN, TIMER, Process
from messages import PRIMARY
from peers import Client, Platform
from surroundings import ADDRESSES, FAULTS, SANITIZER_REPORT, Surroundings

PATIENCE_TURNS = 40  # bound of everything that is wanted of the agent
STEP_S = 50  # the timer service takes 60 s and more for a corrected clock
__all__ = ["FAULTS", "MAIN", "TIMER", "Gateway", "stay_on_one_processor"]


def stay_on_one_processor():
    """Keeps test and agent on one processor, since only one of them runs at a time."""
    processors = sorted(os.sched_getaffinity(0))
    os.sched_setaffinity(0, {processors[os.getpid() % len(processors)]})


class Gateway(Surroundings):
    def __init__(self, folder, store=None, **kw):
        super().__init__(folder, store, **kw)
        self.primary, self.secondary = (Platform(self, address, self.platform_port) for address in ADDRESSES)
        self.agent = None
        self._names = {}
        self._held = []
        self._forget_connections()

    def _forget_connections(self):
        self._peers = {}  # by the agent's descriptor
        self._clients = {}  # by their port, until the agent has accepted them
        self._listener = None
        self._clients_are_new = False

    # --- the gateway's other software ---

    def name(self, name, address):
        """Makes a name resolve, or its look-up hang while the address is "-". No other name resolves."""
        self._names[name] = address

    def hold(self, beginning):
        """Lets every wait that begins like this ("system pidof", "connect") last until it is released."""
        self._held.append(beginning)

    def release(self, beginning):
        self._held.remove(beginning)

    # --- the agent's life ---

    def start(self, *options, **environment):
        """Starts the agent and lets it go on until the wait of its first turn."""
        self.launch(*options, **environment)
        self.until(self._is_at_rest, "the first turn")
        return self

    def launch(self, *options, **environment):
        """Starts the agent, as far as its first wait."""
        if self.environment()["NUVEK_WORLD_STORE"] == "memory":
            self._write_store(self.store)
        with self.output_path.open("ab") as out, (self.notes / "err").open("ab") as err:
            self.agent = Process(self.command(*options), self.environment(**environment), out, err)
        self._learn()

    def stop(self):
        """Ends the agent as the gateway does. It must not have complained about itself."""
        assert self.agent.alive(), "the agent ended by itself\n" + self.state()
        assert self.agent.terminate() == -signal.SIGTERM
        self._end_connections()
        assert not SANITIZER_REPORT.search(self.errors()), self.errors()

    def kill(self):
        """The end without a word, of the agent and of whatever it started."""
        if self.agent is not None:
            self.agent.kill()
            self._end_connections()

    def _end_connections(self):
        self._learn()
        for peer in self._peers.values():
            peer.agent_closed = True
        self._forget_connections()

    def restart(self, power_cut=False):
        """Starts the agent on the store as it left it: the live one, or after a power cut the flash."""
        self.store.update(self.saved() if power_cut else self.written())
        self.forget()
        return self.start()

    # --- the agent's steps ---

    def waits_in(self, thread=MAIN):
        return self.agent.where[thread]

    def _is_at_rest(self, thread=MAIN):
        where = self.waits_in(thread)
        if thread == TIMER:
            return where is None or where.startswith("sleep ")
        return where.startswith("select ") and not self._waits_for_a_client()

    def _waits_for_a_client(self):
        return self.waits_in().endswith(" within 10000000")

    def _ending(self, thread):
        """What ends the thread's wait; None while it is not to end."""
        where = self.waits_in(thread)
        kind, _, rest = where.partition(" ")
        if kind == "break" or any(where.startswith(beginning) for beginning in self._held):
            return None
        if kind == "lookup":
            address = self._names.get(rest)
            return None if address == "-" else "address " + address if address else "none"
        if kind == "system":
            return "go" if self.word("shell_runs") else "value 0"
        if kind in ("select", "recv"):
            peer = self._peers.get(int(rest.split()[0]))
            return "go" if peer and peer.has_something() else None
        return None if kind == "send" else "go"

    def _go(self, thread, answer="go", until=""):
        arrivals = [peer.arrival() for peer in self._peers.values()]
        if self._clients_are_new and self._clients and self._listener is not None:
            arrivals.append("%d:-1:0" % self._listener)
            self._clients_are_new = False
        self.agent.go(thread, answer, [arrival for arrival in arrivals if arrival], until)
        self._learn()

    def _run(self, thread):
        """Lets the thread go on to its rest. Returns whether it came there, else it is held somewhere."""
        tries = 0
        while not self._is_at_rest(thread):
            answer = self._ending(thread)
            if answer is None:
                return False
            tries = tries + 1 if self.waits_in(thread) == "lock" else 0
            if tries > 1:  # it was tried and is still the other thread's
                return False
            self._go(thread, answer)
        return True

    def turn(self):
        """Runs the main thread to the wait of its next turn. Returns whether it came there."""
        if self._is_at_rest():
            self._go(MAIN)
        return self._run(MAIN)

    def tick(self):
        """Lets the timer thread look once at its timers. Returns whether it sleeps again."""
        if self.waits_in(TIMER) is None:
            return True
        if self._is_at_rest(TIMER) and self.waits_in(TIMER) is not None:
            self._go(TIMER)
        return self._run(TIMER)

    def turns(self, count=1):
        """Runs whole turns of the main loop."""
        for _ in range(count):
            assert self.turn(), "held\n" + self.state()

    def until(self, condition, what, state=lambda: ""):
        """Lets both threads go on until the condition gives something true, and returns that."""
        for _ in range(PATIENCE_TURNS):
            if result := condition():
                return result
            self.tick()
            self.turn()
        result = condition()
        assert result, "%d turns in vain for %s\n%s\n%s" % (PATIENCE_TURNS, what, state(), self.state())
        return result

    def go_to(self, beginning, thread=MAIN, answer=None):
        """Lets the thread go on until it is about to make a call whose line begins so: "set NODE", "send", "close", "open
        PATH". At each other wait on the way it gets what ends it."""
        for _ in range(10 * PATIENCE_TURNS):
            self._go(thread, answer or ("go" if self._is_at_rest(thread) else self._ending(thread) or "go"), beginning)
            answer = None
            if self.waits_in(thread).startswith("break " + beginning):
                return
        raise AssertionError("it never came to %s\n%s" % (beginning, self.state()))

    def go_on(self, thread=MAIN, answer="go", until=""):
        """Ends the wait that the thread is in, whatever that is, and lets it go to the next one."""
        self._go(thread, answer, until)

    def run(self, thread=MAIN):
        """Ends the stop that a thread was asked for, and lets it go on to its rest. Returns whether it came there."""
        self._go(thread)
        return self._run(thread)

    def time_out(self):
        """Nothing comes within the time for which the main thread waits for a local client."""
        assert self._waits_for_a_client(), self.state()
        self._go(MAIN)
        self._run(MAIN)

    def let_pass(self, seconds):
        """Moves the clock in steps that the timer service takes for time passing, not for a corrected clock."""
        self.tick()
        while seconds:
            step = min(seconds, STEP_S)
            self.clock += step
            seconds -= step
            self.tick()

    # --- connections ---

    def local(self):
        """A client on the home network, connected."""
        client = Client(self, socket.create_connection((PRIMARY, self.local_port)))
        self._clients[client.socket.getsockname()[1]] = client
        self._clients_are_new = True
        return client

    def _learn(self):
        """What the record says of connections."""
        for line in self._take_in():
            word, *rest = line.split(" ")
            if word == "listen":
                self._listener = int(rest[0])
            elif word in ("connect", "accept"):
                self._begin_connection(*map(int, rest[:2]), *rest[2:])
            elif word in ("send", "recv", "close") and int(rest[0]) in self._peers:
                peer = self._peers[int(rest[0])]
                if word == "send":
                    peer.agent_sent(int(rest[1]))
                elif word == "recv":
                    peer.agent_took(int(rest[1]))
                else:
                    peer.agent_closed = True
                    del self._peers[peer.fd]

    def _begin_connection(self, fd, port, target=None):
        if target is None:
            peer = self._clients.pop(port)
        else:
            peer = next(one for one in (self.primary, self.secondary) if target.startswith(one.address + ":")).agent_connected()
        peer.fd = fd
        self._peers[fd] = peer

    # --- what the agent did ---

    def wait_effects(self, expected):
        """Lets the agent go on until so many new effects are there and compares them; later ones stay unseen."""
        def new():
            return self._effects()[self._seen:]

        self.until(lambda: len(new()) >= len(expected), "%d effects" % len(expected))
        assert new()[:len(expected)] == expected
        self._seen += len(expected)

    def wait_record(self, line, times=1):
        self.until(lambda: self.records().count(line) >= times, "%d times: %s" % (times, line))

    def wait_log(self, line, times=1):
        self.until(lambda: self.log().count(line) >= times, "%d times the log line %s" % (times, line))

    def open_files(self):
        """What each of its descriptors is."""
        folder = "/proc/%d/fd" % self.agent.pid
        return [os.readlink(os.path.join(folder, name)) for name in os.listdir(folder)]

    def descriptors(self):
        return len(self.open_files())

    def state(self):
        """Where each thread waits and the end of what is known, for the message of a failure."""
        return self.agent.state() + "\n" + self.end_of_what_is_known()
