"""One allocation fails, whichever it is: what needed it may be missing, and everything else is as ever."""
import os

import pytest

from day import SPEED, STORE, TRACE, Day
from harness import TIMER
from messages import (BLOCK_A, LOCATED_STORE, REG_ID, answer, device_time, inform0, inform0_response, key_block, key_common,
                      registered, speed_result, trace_result)


def play(day, piece):
    """Plays one piece in a second of its own. Returns what came of it and what was to come of it."""
    day.agent.clock += 1
    day.agent.forget()
    return piece(day)


@pytest.mark.parametrize("piece", Day.PIECES, ids=lambda piece: piece.__name__)
def test_whichever_allocation_fails_only_what_needed_it_is_missing(gateway, piece):
    agent = gateway(STORE)
    day = Day(agent).start()
    for _ in range(2):  # what the C library keeps from its first use on is not the piece's
        before = agent.word("allocations")
        outcome, outcomes = play(day, piece)
        assert outcome == outcomes[0][0]
        day.take_in()
        needed = agent.word("allocations") - before
        day.next_report_is_right()
        day.take_in()
    assert needed > 0
    held = day.holds_no_more()
    number = 0
    while True:
        number += 1
        failed = agent.word("memory")
        agent.set_word("fail_allocation", number)
        outcome, outcomes = play(day, piece)
        agent.set_word("fail_allocation", 0)
        day.take_in()
        if agent.word("memory") == failed:
            break
        where = "allocation %d of %d failed" % (number, needed)
        lines = [line for expected, line in outcomes if expected == outcome]
        assert lines, (where, outcome)
        assert None in lines or any(day.told(line) for line in lines), (where, lines, agent.state())
        day.next_report_is_right()
        day.take_in()
        held = day.holds_no_more(held, where)
    assert number > needed
    assert outcome == outcomes[0][0]


def registrations(day, *reg_ids):
    """Lets the registration, which each turn sends anew, come out at least once, and every time whole."""
    clock = day.agent.clock
    expected = [inform0(clock, time=device_time(clock), reg_id=reg_id) for reg_id in reg_ids]
    # A C library that had no memory for the zone's name, once, counts in UTC until the process ends.
    local, utc = device_time(clock).encode(), device_time(clock - 8 * 3600).encode()
    for _ in range(3):
        if requests := day.requests():
            requests = [request.replace(utc, local) for request in requests]
            assert [request for request in requests if request not in expected] == []
            assert requests[-1] == expected[-1]
            return
    assert False, "no registration in three turns\n" + day.agent.state()


def test_a_registration_that_is_not_acknowledged_comes_again_whichever_allocation_failed(gateway):
    agent = gateway(LOCATED_STORE)
    day = Day(agent).start()
    registrations(day, "")
    keys = key_block(0, "A", BLOCK_A) + key_common()
    held = None
    number, failed = 0, -1
    while failed == number - 1:
        agent.forget()
        agent.set_word("fail_allocation", number)
        day.links[-1].answer(answer(inform0_response(-3)))
        registrations(day, *(["", REG_ID] if number == 0 else [REG_ID]))
        agent.set_word("fail_allocation", 0)
        failed = agent.word("memory")
        for link in day.links[:-1]:
            link.close()
        day.links = day.links[-1:]
        assert [line for line in agent.effects() if not line.startswith("system")] in (registered(-3), [])
        assert agent.keys() in (keys, None)  # whole or not there
        held = day.holds_no_more(held)
        number += 1
    assert number > 50
    assert agent.keys() == keys


@pytest.mark.skipif("NUVEK_SANITIZED" in os.environ, reason="the sanitizer itself allocates for a thread, and gives up")
def test_a_gateway_starts_and_registers_whichever_allocation_of_its_start_fails(gateway):
    clean = None
    number = failed = untimed = 0
    while number <= 1 or failed:
        agent = gateway({**LOCATED_STORE, "nuvek_Server ReportCycle": "525600"})
        day = Day(agent)
        agent.set_word("fail_allocation", number)
        agent.start("-v", "1")
        registrations(day, "")
        failed = agent.word("memory")
        agent.set_word("fail_allocation", 0)
        untimed += agent.waits_in(TIMER) is None
        assert agent.log().count("ERROR start_up: Init timer fail!") == (agent.waits_in(TIMER) is None)
        results = day.answer(inform0_response(0)) + day.requests()
        agent.uptime += 41
        results += day.requests()
        results = [result for result in results if b'"Inform0"' not in result]  # sent before the answer was read
        assert results == [trace_result(**TRACE), speed_result(**SPEED)], "what an acknowledgement starts"
        day.part()
        agent.effects()
        day.next_report_is_right()
        clean = clean or day.holds_no_more()  # of the first agent, for which nothing fails
        day.holds_no_more(clean)
        agent.stop()
        number += 1
    assert number > 5
    assert untimed > 0
