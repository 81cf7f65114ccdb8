"""What can hold the agent up by waits that are real: the kernel's, a pipe's, a helper program's."""
import os
import socket
import time

import pytest

import lockstep
from messages import (ACKNOWLEDGED_STORE, DEVICE_STORE, LOCATED_STORE, NOW, PRIMARY, SECONDARY, answer, inform0, inform0_response,
                      period_report, speed_result)
from realtime import SLOW, WAIT_S, FreeGateway, wait_for
from test_results import MEASURED, PIDOF, SPEED, TRACE

POST = b'{"Longitude":"116.397128","Latitude":"39.916527","ID":"7"}'
LOCKED = b'{"Result":-3,"ID":7}'
ATTEMPTS = 2  # of a link: primary, secondary
CONNECT_S = SEND_S = 1
TURN_S = 1
LATE_S = 8 if SLOW else 2  # for a busy machine
HELD_S = 0.3  # of real time, for what must not happen


def asks(agent):
    client = agent.local()
    client.sendall(POST)
    return client


def is_held(client):
    client.settimeout(HELD_S)
    try:
        assert client.recv(1024) == LOCKED
        return False
    except socket.timeout:
        client.settimeout(WAIT_S)
        return True


class FullQueue:
    """A platform that answers no handshake: its queue is full."""

    def __init__(self, address, port):
        self.listener = socket.socket()
        self.listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        self.listener.bind((address, port))
        self.listener.listen(0)
        self.waiting = []
        while self._takes_one_more(address, port):
            pass

    def _takes_one_more(self, address, port):
        self.waiting.append(socket.socket())
        self.waiting[-1].settimeout(HELD_S)
        try:
            self.waiting[-1].connect((address, port))
        except socket.timeout:
            return False
        return True


def test_a_platform_that_answers_no_handshake_costs_a_second_for_each_of_two_attempts(gateway):
    agent = gateway(LOCATED_STORE, FreeGateway)
    queues = [FullQueue(address, agent.primary.port) for address in (PRIMARY, SECONDARY)]
    agent.start("-v", "1")
    agent.wait_log("ERROR nuvek_Link_Remoteserver: connect remote server error")
    begin = time.monotonic()
    client = asks(agent)
    agent.wait_log("ERROR nuvek_Link_Remoteserver: connect remote server error", 2)
    link_s = time.monotonic() - begin
    assert ATTEMPTS * CONNECT_S - 0.5 < link_s < ATTEMPTS * CONNECT_S + TURN_S + LATE_S
    assert client.recv(1024) == LOCKED, "clients have their turn between two links"
    assert len(queues) == 2 and "connect: Connection refused" not in agent.errors()


def test_a_platform_that_never_reads_costs_a_second_for_each_request_once_it_is_full(gateway):
    agent = gateway(LOCATED_STORE, FreeGateway)
    agent.primary.up(receive_bytes=1)
    agent.start("-v", "1")
    link = agent.primary.accept()

    def seconds_of_two_turns():
        begin = time.monotonic()
        agent.turns(1)
        return time.monotonic() - begin

    def is_full():
        return seconds_of_two_turns() > SEND_S - 0.1 and "ERROR nuvek_sendPostRequest: send error" in agent.log()

    wait_for(is_full, "a connection that takes no more", agent.state)
    assert seconds_of_two_turns() < 2 * SEND_S + LATE_S
    link.reset()
    assert agent.primary.accept().request() == inform0()


def test_measuring_programs_that_hang_hold_nothing_up(gateway):
    agent = gateway({**MEASURED, "nuvek_Common LastTraceTime": str(NOW - 604800), "nuvek_Server ReportCycle": "1"},
                    FreeGateway)
    agent.program("httpSpeed", "exec sleep 5")
    agent.program("traceroute", "exec sleep 5")
    agent.program("pidof", "echo 77")
    agent.primary.up()
    agent.start()
    agent.wait_record(SPEED)
    agent.wait_record(TRACE)
    agent.clock += 61
    assert agent.primary.accept().request() == period_report()
    client = asks(agent)
    assert client.recv(1024) == LOCKED


def test_a_pipe_in_place_of_a_result_file_holds_the_loop_until_it_is_written(gateway):
    agent = gateway(MEASURED, FreeGateway)
    pipe = agent.root / "var/httpSpeed"
    os.mkfifo(pipe)
    agent.primary.up()
    agent.start()
    agent.wait_record(SPEED)
    agent.uptime += 41

    def reader_waits():
        try:
            return os.fdopen(os.open(pipe, os.O_WRONLY | os.O_NONBLOCK), "w")
        except OSError:
            return None

    writer = wait_for(reader_waits, "the agent to open the speed table", agent.state)
    client = asks(agent)
    assert is_held(client)
    with writer:
        writer.write("1.5,2.25")
    assert agent.primary.accept().request() == speed_result(table="1.5,2.25")
    assert client.recv(1024) == LOCKED


def test_a_log_that_nobody_reads_holds_the_loop_until_somebody_does(gateway):
    agent = gateway(ACKNOWLEDGED_STORE, FreeGateway)
    os.mkfifo(agent.output_path)
    reader = os.open(agent.output_path, os.O_RDONLY | os.O_NONBLOCK)
    agent.start("-v", "1")
    for _ in range(2000):  # far more than a pipe holds
        client = asks(agent)
        if is_held(client):
            break
    client.setblocking(False)

    def answer_after_more_of_the_log():
        try:
            os.read(reader, 65536)
            return client.recv(1024)
        except BlockingIOError:
            return None

    assert wait_for(answer_after_more_of_the_log, "the client's answer") == LOCKED
    os.close(reader)


def test_the_end_comes_at_once_while_a_helper_program_hangs(gateway):
    agent = gateway({**DEVICE_STORE, "nuvek_Entry0 GISInterface": "A"}, FreeGateway)
    agent.program("pidof", "exec sleep 20")
    agent.primary.up()
    agent.start()
    link = agent.primary.accept()
    link.request()
    link.answer(answer(inform0_response()))
    agent.wait_record(PIDOF)
    agent.stop()


def test_the_watchdog_of_the_lock_step_names_where_each_thread_is(gateway, monkeypatch):
    """Only what hangs for good meets it; here it is near."""
    monkeypatch.setattr(lockstep, "WATCHDOG_S", HELD_S)
    agent = gateway(DEVICE_STORE)
    agent.program("insmod", "exec sleep 1000")
    with pytest.raises(lockstep.Stuck) as stuck:
        agent.start()
    assert "main thread: runs since it was let go from: system insmod" in str(stuck.value)
    assert "timer thread: sleep 100000" in str(stuck.value)
    agent.kill()
