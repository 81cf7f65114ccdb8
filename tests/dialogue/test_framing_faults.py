"""What arrives on the platform socket is not always an answer."""
import pytest

from messages import (ACKNOWLEDGED_STORE, NOW, answer, counters, get, get_response, period_report, result_response)

DUE = {**ACKNOWLEDGED_STORE, "nuvek_Common LastInformTime": str(NOW - 86401)}
MARK = result_response(4711, 9)  # an object that leaves a trace when it is handled: it counts as a failed result
TRACE = "set nuvek_Counter FailResult=1"


@pytest.fixture
def reported(gateway):
    agent = gateway(DUE)
    agent.primary.up()
    agent.start("-v", "1")
    link = agent.primary.accept()
    assert link.request() == period_report()
    return agent, link


def expect_next_report_to_be_right(agent):
    agent.clock += 86401
    link = agent.primary.accept()
    assert link.request() == period_report()
    link.answer(answer(get("NUVEK.Counter")))
    assert link.request() == get_response("NUVEK.Counter", counters(success_inform=2))


CLOSING = {
    "one byte less than it says": (answer(MARK, length=len('["platform",%s]' % MARK) + 1), None),
    "one byte more than it says": (answer(MARK, length=len('["platform",%s]' % MARK) - 1), None),
    "no length": (b"HTTP/1.1 200 OK\r\n\r\n[\"u\",{}]", None),
    "a length of 17 digits": (answer(MARK, length="0" * 15 + "65"), "ERROR nuvek_parse_RecvDataSingle: error packet"),
    "length zero": (b"HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n",
                    "ERROR nuvek_parse_RecvDataSingle: Content-Length:0"),
    "no comma": (answer(body='["platform"]'), None),
    "no array": (answer(body="{}"), None),
    "not found": (b"HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n\r\n", "ERROR nuvek_parse_RecvData: 404 Not Found"),
}


@pytest.mark.parametrize("name", CLOSING)
def test_a_wrong_answer_closes_the_connection_and_changes_nothing(reported, name):
    block, line = CLOSING[name]
    agent, link = reported
    agent.effects()
    link.answer(block)
    link.expect_close()
    agent.turns()
    assert TRACE not in agent.records()
    if line:
        assert line in agent.log()
    expect_next_report_to_be_right(agent)


KEEPING = {
    "too long": b"HTTP/1.1 200 OK\r\n" + b"x" * (1025 - 17),
    "far too long": b"HTTP/1.1 200 OK\r\n" + b"x" * 1800,
    "beginning with a NUL byte": b"\0HTTP/1.1 200 OK\r\n",
}


@pytest.mark.parametrize("name", KEEPING)
def test_an_unfit_block_is_refused_and_keeps_the_connection(reported, name):
    agent, link = reported
    link.answer(KEEPING[name])
    agent.wait_log("ERROR nuvek_parse_RecvData: input data is null or buff max")
    link.answer(answer(get("NUVEK.Counter")))
    assert link.request() == get_response("NUVEK.Counter", counters(success_inform=1))
    link.expect_close()


@pytest.mark.parametrize("block", [b"HTTP/1.1 500 Internal Server Error\r\n\r\n", b"\xff\xfe garbage \x80\r\n", b"HTTP/1.1 200 OK",
                                   b"%s%n%d{}[]"])
def test_what_is_no_answer_is_passed_over(reported, block):
    agent, link = reported
    link.answer(block)
    agent.wait_log("DEBUG nuvek_parse_RecvData: Exit")
    link.answer(answer(get("NUVEK.Counter")))
    assert link.request() == get_response("NUVEK.Counter", counters(success_inform=1))


def test_an_answer_in_two_pieces_is_lost(reported):
    agent, link = reported
    block = answer(MARK)
    link.answer(block[:40])
    link.expect_close()  # the first piece has no array
    agent.turns()
    assert TRACE not in agent.records()
    expect_next_report_to_be_right(agent)


def test_a_block_of_exactly_1024_characters_is_handled(reported):
    agent, link = reported
    block = answer(MARK)
    block = block.replace(b"\r\n\r\n", b"\r\nX-Fill: " + b"f" * (1024 - len(block) - 10) + b"\r\n\r\n")
    assert len(block) == 1024
    link.answer(block)
    agent.wait_record(TRACE)


def test_objects_are_handled_in_their_order(reported):
    agent, link = reported
    link.answer(answer(result_response(1, 9), result_response(2, 0), result_response(3, 9)))
    agent.wait_record("set nuvek_Counter FailResult=2")
    assert [line for line in agent.effects() if "Result=" in line] == [
        "set nuvek_Counter FailResult=1", "set nuvek_Counter SuccessResult=1", "set nuvek_Counter FailResult=2"]


def test_an_object_within_an_object_ends_both_and_the_next_is_handled(reported):
    agent, link = reported
    link.answer(answer('{"RPCMethod":"ResultResponse","Code":0,"Extra":{"a":1}}', MARK))
    link.expect_close()
    agent.wait_record(TRACE)
    assert "SuccessResult" not in "".join(agent.effects()), "what is left of the first one does not parse"


def test_the_platform_may_close_reset_or_half_close_at_any_time(gateway):
    for way in ("close", "reset", "half", "mid"):
        agent = gateway(DUE)
        agent.primary.up()
        agent.start("-v", "1")
        link = agent.primary.accept()
        link.request()
        if way == "half":
            link.half_close()
            link.expect_close()
        elif way == "mid":
            link.answer(answer(MARK)[:30])
            link.reset()
        else:
            getattr(link, way)()
        agent.turns(2)
        agent.clock += 86401
        agent.wait_record("set nuvek_Common LastInformTime=%d" % (NOW + 86401))
        again = agent.primary.accept()
        again.request()


def test_a_closed_connection_is_logged(reported):
    agent, link = reported
    link.close()
    agent.wait_log("ERROR nuvek_serverProcess: server closed fd")
