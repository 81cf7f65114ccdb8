"""What bench/fleet.py says of one gateway is true of the built agent: its replay of a fleet stands on these rules."""
import pathlib
import sys

import pytest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2]))

from bench import fleet
from messages import (ACKNOWLEDGED_STORE, LOCATED_STORE, NOW, answer, inform0, inform0_response, message_id, period_report,
                      result_response, speed_result)
from test_results import MEASURED, SPEED


def test_a_turn_lasts_its_second_and_brings_an_inform0_on_the_same_connection(gateway):
    agent = gateway(LOCATED_STORE)
    agent.primary.up()
    agent.start()
    assert agent.waits_in().endswith(" within %d" % (fleet.TURN_S * 1000000))
    agent.turns(5)
    link = agent.primary.accept()
    assert link.take() == [inform0()] * 6 and agent.primary.nobody_waits()


@pytest.mark.parametrize("refusal", [answer(inform0_response(-3, "")), b"HTTP/1.1 404 Not Found\r\n\r\n", answer("{}"), None])
def test_any_answer_ends_turn_and_connection_and_brings_the_next_inform0_at_once(gateway, refusal):
    agent = gateway(LOCATED_STORE)
    agent.primary.up()
    agent.start()
    for _ in range(3):
        link = agent.primary.waiting()[0]
        assert link.take() == [inform0()]
        link.answer(refusal) if refusal else link.close()
        agent.turns()
        assert link.agent_closed


def test_each_local_client_ends_a_turn_and_brings_an_inform0(gateway):
    agent = gateway(LOCATED_STORE)
    agent.primary.up()
    agent.start()
    link = agent.primary.accept()
    link.take()
    for _ in range(20):
        with agent.local():
            pass  # connects, says nothing and leaves
        agent.turns()
    assert link.take() == [inform0()] * 20


@pytest.mark.parametrize("object, fit, saves", [
    ('{"RPCMethod":"Inform0Response","ID":1,"RegID":"R","Code":-3}', 16, 1),
    ('{"RPCMethod":"Inform0Response","RegID":"R"}', 22, 2),  # the shortest, which acknowledges
])
def test_each_inform0_response_of_a_block_saves(gateway, object, fit, saves):
    agent = gateway(LOCATED_STORE)
    agent.primary.up()
    agent.start()
    body = "[%s]" % ",".join(["1"] + [object] * fit)
    block = ("HTTP/1.1 200 OK\r\nContent-Length: %d\r\n\r\n%s" % (len(body), body)).encode()
    assert len(block) <= 1024 < len(block) + len(object)
    agent.primary.accept().answer(block)
    agent.effects()
    agent.turns()
    assert agent.effects().count("save") == fit * saves


def test_an_acknowledgement_ends_the_registration(gateway):
    agent = gateway(LOCATED_STORE)
    agent.primary.up()
    agent.start()
    link = agent.primary.accept()
    link.request()
    link.answer(answer(inform0_response()))
    agent.turns(5)
    sent = [request for link in agent.primary.waiting() for request in link.take()]
    assert sent and not [request for request in sent if b'"Inform0"' in request], "only a result of what it started"


def test_a_link_that_cannot_be_made_is_two_attempts(gateway):
    """Of CONNECT_LIMIT_S each: test_real_waits.py has the clock in its hand."""
    agent = gateway(LOCATED_STORE).start()
    refused = agent.errors().count("connect: Connection refused\n")
    agent.turns()
    assert refused == 2 and agent.errors().count("connect: Connection refused\n") == 4
    assert fleet.CONNECT_LIMIT_S == 1


def test_the_day_of_a_report(gateway):
    agent = gateway(ACKNOWLEDGED_STORE)
    agent.primary.up()
    agent.start()
    agent.clock += fleet.DAY_S
    agent.turns()
    assert agent.primary.nobody_waits()
    agent.clock += 1
    agent.turns()
    assert agent.primary.accept().request() == period_report()


def test_a_speed_test_and_every_back_off_of_its_result(gateway):
    agent = gateway(MEASURED)
    agent.primary.up()
    agent.start()
    agent.wait_record(SPEED)
    agent.uptime += fleet.SPEED_TEST_S - 1
    agent.turns(2)
    assert agent.primary.nobody_waits()
    agent.uptime += 1
    link = agent.primary.accept()
    assert link.request() == speed_result()
    for number in range(1, fleet.LONGEST_STEP + 3):
        agent.turns()
        link.answer(answer(result_response(message_id(agent.clock), -3)))
        link.expect_close()
        agent.let_pass(fleet.back_off_s(number) - 1)
        assert agent.primary.nobody_waits()
        agent.let_pass(1)
        link = agent.primary.waiting()[0]
        assert link.request() == speed_result(agent.clock)
    assert agent.clock == NOW + 10 + 20 + 40 + 80 + 160 + 320 + 640 + 1280 + 2560 + 3 * 5120
