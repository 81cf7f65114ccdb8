"""What can hold the agent up: each wait ends at its bound, or with the one who causes it. What a wait costs in real time is in
test_real_waits.py."""
import re

import pytest

from harness import MAIN, TIMER
from messages import (ACKNOWLEDGED_STORE, LOCATED_STORE, NOW, PRIMARY, SECONDARY, answer, inform0, message_id, period_report,
                      result_response, speed_result)
from test_results import MEASURED, PIDOF, SPEED

POST = b'{"Longitude":"116.397128","Latitude":"39.916527","ID":"7"}'
LOCKED = b'{"Result":-3,"ID":7}'
NAME = "platform.test"
NAMED = {**LOCATED_STORE, "nuvek_Server PlatDomain1": NAME}
EVERY_MINUTE = {**ACKNOWLEDGED_STORE, "nuvek_Server ReportCycle": "1"}
TIMED_OUT = "errno EINPROGRESS"  # as a connect() says whose second is over
NOT_TAKEN = "errno EAGAIN"  # as a send() says whose second is over


def asks(agent):
    client = agent.local()
    client.sendall(POST)
    return client


def test_a_silent_name_server_holds_the_loop_until_the_resolver_gives_up(gateway):
    agent = gateway(NAMED)
    agent.primary.up()
    agent.name(NAME, "-")
    agent.launch()
    assert not agent.turn() and agent.waits_in() == "lookup " + NAME
    client = asks(agent)
    assert not agent.turn()
    agent.name(NAME, PRIMARY)
    assert client.recv(1024) == LOCKED
    assert agent.primary.accept().request() == inform0()


def test_the_end_comes_at_once_while_a_name_is_looked_up(gateway):
    agent = gateway(NAMED)
    agent.name(NAME, "-")
    agent.launch()
    assert not agent.turn() and agent.waits_in() == "lookup " + NAME
    agent.stop()


def test_two_attempts_that_time_out_are_a_link_and_a_client_has_its_turn_between_two_links(gateway):
    agent = gateway(LOCATED_STORE)
    agent.hold("connect")
    agent.launch("-v", "1")
    client = None
    for _ in range(2):
        for address in (PRIMARY, SECONDARY):
            assert not agent.turn()
            assert agent.waits_in().endswith(" %s:%d" % (address, agent.platform_port))
            if client is None:
                client = asks(agent)
            agent.go_on(answer=TIMED_OUT)
        agent.turn()
        assert client.recv_now(1024) == LOCKED if _ == 0 else True
    assert agent.log().count("ERROR nuvek_Link_Remoteserver: connect remote server error") == 2
    assert len(re.findall(r"^connect: Operation (?:now )?in progress$", agent.errors(), re.MULTILINE)) == 4


def test_a_request_that_is_not_taken_within_its_second_fails_and_the_next_one_is_tried_on_the_same_connection(gateway):
    agent = gateway(LOCATED_STORE)
    agent.primary.up()
    agent.start("-v", "1")
    link = agent.primary.accept()
    assert link.request() == inform0()
    for times in range(1, 4):
        agent.go_to("send")
        agent.go_on(answer=NOT_TAKEN)
        assert agent.log().count("ERROR nuvek_sendPostRequest: send error") == times
    assert link.take() == []
    assert link.request() == inform0()
    link.reset()
    assert agent.primary.accept().request() == inform0()


def test_a_delayed_result_that_hangs_holds_the_next_report_but_not_the_local_port(gateway):
    """The link is the timer thread's meanwhile."""
    agent = gateway({**MEASURED, "nuvek_Server ReportCycle": "1", "nuvek_Server PlatDomain1": NAME})
    agent.name(NAME, PRIMARY)
    agent.primary.up()
    agent.start("-v", "1")
    agent.wait_record(SPEED)
    agent.uptime += 41
    link = agent.primary.accept()
    assert link.request() == speed_result()
    agent.name(NAME, "-")
    link.answer(answer(result_response(message_id(NOW), -3)))
    link.expect_close()
    agent.wait_log("DEBUG nuvek_set_delaySessionTime: n :1, delay session time:10")
    agent.let_pass(11)
    assert agent.waits_in(TIMER) == "lookup " + NAME
    client = asks(agent)
    assert client.recv(1024) == LOCKED
    agent.clock += 51
    assert not agent.turn() and agent.waits_in(MAIN) == "lock"
    assert agent.records()[-1] == "set nuvek_Common LastInformTime=%d" % (NOW + 62)
    client = asks(agent)
    assert not agent.turn() and agent.primary.nobody_waits()
    agent.name(NAME, PRIMARY)
    received = agent.primary.accept()
    assert [received.request(), received.request()] == [speed_result(NOW + 62), period_report()]
    assert client.recv(1024) == LOCKED


def test_the_start_waits_for_the_kernel_module_and_can_be_ended(gateway):
    agent = gateway()
    agent.hold("system insmod")
    agent.launch()
    assert not agent.turn() and agent.waits_in() == "system insmod %s/lib/modules/speedtest.ko" % agent.root
    with pytest.raises(ConnectionRefusedError):
        agent.local()
    agent.stop()


def test_a_pidof_that_hangs_holds_the_loop_until_it_ends(gateway):
    agent = gateway({**MEASURED, "nuvek_Common LastTraceTime": str(NOW - 604800)})
    agent.hold("system pidof")
    agent.primary.up()
    agent.start()
    assert not agent.turn()
    assert agent.records()[-1] == PIDOF
    client = asks(agent)
    assert not agent.turn()
    agent.release("system pidof")
    assert client.recv(1024) == LOCKED


def test_silent_clients_delay_a_report_by_one_wait_and_the_next_client_by_one_wait_each(gateway):
    agent = gateway(EVERY_MINUTE)
    agent.primary.up()
    agent.start()
    silent = [agent.local() for _ in range(2)]
    honest = asks(agent)
    assert not agent.turn()
    agent.clock += 61
    agent.time_out()
    link = agent.primary.accept()
    assert link.request() == period_report()
    link.answer(answer("{}"))
    assert not agent.turn()
    agent.time_out()
    assert honest.recv(1024) == LOCKED
    for client in (*silent, honest):
        assert client.recv(1) == b""
        client.close()
    link.expect_close()


def test_a_client_that_sends_garbage_and_stays_holds_the_loop_until_it_leaves(gateway):
    """So it has always been; only the wait for the first byte has an end."""
    agent = gateway(EVERY_MINUTE)
    agent.primary.up()
    agent.start("-v", "1")
    client = agent.local()
    agent.clock += 61
    for times in range(1, 12):
        client.sendall(b"x")
        assert not agent.turn()
        assert agent.waits_in() == "recv %d" % client.fd
        assert agent.log().count("DEBUG nuvek_localProcess: recv :1") == times
        assert agent.primary.nobody_waits()
    client.close()
    link = agent.primary.accept()
    assert link.request() == period_report()
    link.answer(answer("{}"))
    link.expect_close()
