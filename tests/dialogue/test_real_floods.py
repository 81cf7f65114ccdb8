"""The local port under clients that mean no good: the reports go out within their bounds, the next honest client is
served, and nothing is lost."""
import pathlib
import socket
import threading
import time

from messages import ACKNOWLEDGED_STORE, PRIMARY, answer, period_report
from realtime import SLOW, FreeGateway, wait_for

EVERY_MINUTE = {**ACKNOWLEDGED_STORE, "nuvek_Server ReportCycle": "1"}
POST = b'{"Longitude":"116.397128","Latitude":"39.916527","ID":"7"}'
LOCKED = b'{"Result":-3,"ID":7}'  # a second location is refused: served, and nothing changes
FIRST_DATA_S = 10  # that a client may let the gateway wait for its first byte
LATE_S = 4  # for a busy machine
QUEUE = 5  # clients that may wait for their turn; a sixth waits while one is served
CONNECTS = 500 if SLOW else 5000
CONNECTS_A_SECOND = 1000
PRIVATE_KB = 8  # two pages


def run(gateway):
    agent = gateway(EVERY_MINUTE, FreeGateway)
    agent.primary.up()
    agent.start("-v", "1")
    report(agent)
    return agent


def report(agent):
    agent.clock += 61
    link = agent.primary.accept()
    assert link.request() == period_report()
    link.answer(answer("{}"))
    link.expect_close()


def post(agent):
    with agent.local() as client:
        client.sendall(POST)
        assert client.recv(1024) == LOCKED
        assert client.recv(1) == b""  # dropped: no turn has a client in its hands now


def private_kb(agent):
    lines = pathlib.Path("/proc/%d/smaps_rollup" % agent.agent.pid).read_text().splitlines()
    return next(int(line.split()[1]) for line in lines if line.startswith("Private_Dirty:"))


class Unharmed:
    """At the end the agent reports, serves, and holds no more than at the beginning. Memory is that of a plain build: a
    sanitizer keeps what was freed, an emulator's memory is its own."""

    def __init__(self, agent):
        self.agent = agent

    def __enter__(self):
        post(self.agent)
        self.descriptors, self.private_kb = self.agent.descriptors(), private_kb(self.agent)

    def __exit__(self, failure, *_):
        if failure:
            return
        report(self.agent)
        post(self.agent)
        self.agent.wait_descriptors(self.descriptors)
        assert SLOW or private_kb(self.agent) <= self.private_kb + PRIVATE_KB


class Flood:
    """Connects as fast as it can and leaves at once, until it is told to end."""

    def __init__(self, port):
        self.port, self.connects, self.end = port, 0, threading.Event()
        self.thread = threading.Thread(target=self.run)

    def run(self):
        while not self.end.is_set():
            with socket.socket() as client:
                client.setblocking(False)
                client.connect_ex((PRIMARY, self.port))
                try:
                    client.getpeername()
                    self.connects += 1
                except OSError:  # no room in the queue
                    time.sleep(0.0001)

    def __enter__(self):
        self.begin = time.monotonic()
        self.thread.start()
        return self

    def __exit__(self, *_):
        self.end.set()
        self.thread.join()


def test_thousands_of_connects_a_second_do_not_stop_the_reports(gateway):
    agent = run(gateway)
    with Unharmed(agent):
        with Flood(agent.local_port) as flood:
            for _ in range(5):
                report(agent)
            wait_for(lambda: flood.connects >= CONNECTS, "%d connects" % CONNECTS)
            lasted_s = time.monotonic() - flood.begin
            report(agent)
        agent.wait_log("DEBUG nuvek_localProcess: recv :0", CONNECTS)  # each has its turn
        assert SLOW or CONNECTS / lasted_s >= CONNECTS_A_SECOND


def test_clients_that_begin_a_message_and_wait_are_answered_and_dropped(gateway):
    """One chunk is one message: its first byte is taken for all of it."""
    agent = run(gateway)
    with Unharmed(agent):
        clients = []
        for number in range(200):
            clients.append(agent.local())
            clients[-1].sendall(b"{")
            assert clients[-1].recv(1024) == b'{"Result":-3,"ID":0}'
            assert clients[-1].recv(1024) == b""
            if number % 50 == 0:
                report(agent)
        for client in clients:
            client.close()


def test_clients_that_never_read_their_answer_do_not_hold_the_loop(gateway):
    agent = run(gateway)
    served = agent.log().count("DEBUG nuvek_local_response: local response:%s " % LOCKED.decode())
    with Unharmed(agent):
        clients = []
        for number in range(1, 201):
            client = socket.socket()
            client.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 1)
            client.connect((PRIMARY, agent.local_port))
            client.sendall(POST)
            clients.append(client)
            if number % 50 == 0:
                report(agent)
            if number % QUEUE == 0:
                agent.wait_log("DEBUG nuvek_local_response: local response:%s " % LOCKED.decode(), served + number)
        for client in clients:
            client.close()
