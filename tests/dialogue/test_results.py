"""The measurements: started by the acknowledgement, reported, refused, sent again."""
import hashlib

from messages import (ACKNOWLEDGED_STORE, LOCATED_STORE, NOW, UUID, answer, counters, get, get_response, inform0_response,
                      message_id, period_report, result_response, speed_result, trace_result)

SPEED = "system httpSpeed -u http://nuvek-p1.test/speedtest/%s -t 30 -n 6 -e &" % hashlib.md5(UUID.encode()).hexdigest()
TRACE = "system traceroute  -i trace.test > ROOT/tmp/tracenuvek &"
PIDOF = "system pidof traceroute > ROOT/tmp/app_check.pid"
MEASURED = {**ACKNOWLEDGED_STORE, "nuvek_Common LastSpeedTime": str(NOW - 604800), "nuvek_Common LastTraceTime": str(NOW - 9)}


def results(agent):
    return [line for line in agent.records() if line.startswith("set nuvek_Counter")]


def with_speed_result(gateway, store=MEASURED):
    """A gateway whose speed test, due by its cycle, has just reported; the connection of the result."""
    agent = gateway(store)
    agent.primary.up()
    agent.start("-v", "1")
    agent.wait_record(SPEED)
    agent.uptime += 41
    link = agent.primary.accept()
    assert link.request() == speed_result()
    return agent, link


def test_an_acknowledgement_starts_both_tests_and_the_end_of_the_trace_is_noticed(gateway):
    agent = gateway(LOCATED_STORE)
    agent.write("tmp/tracenuvek", "traceroute to trace.test\n 1 gw (10.0.0.1) 0.5 ms 0.4 ms *\n 2 * * *\n")
    agent.primary.up()
    agent.start("-v", "1")
    link = agent.primary.accept()
    link.request()
    link.answer(answer(inform0_response()))
    link = agent.primary.accept()
    assert link.request() == trace_result(path='["gw", 0.5, "gw", 0.4, "gw", "null"],["*", "null", "*", "null", "*", "null"]')
    records = agent.records()
    commands = [line for line in records if line.startswith("system")]
    assert commands[1:4] == [SPEED, TRACE, PIDOF]
    stamps = [line for line in records if "LastSpeedTime" in line or "LastTraceTime" in line if line.startswith("set")]
    assert stamps == ["set nuvek_Common LastSpeedTime=%d" % NOW, "set nuvek_Common LastTraceTime=%d" % NOW]
    link.answer(answer(result_response(message_id(NOW), 0)))
    agent.wait_record("set nuvek_Counter SuccessResult=1")
    assert results(agent) == ["set nuvek_Counter SuccessTask=1", "set nuvek_Counter SuccessResult=1"]


def test_a_speed_test_is_reported_after_41_seconds_of_uptime(gateway):
    agent = gateway(MEASURED)
    agent.write("var/httpSpeed", "1.5,2.25")
    agent.write("var/httpURL", "http://a/b")
    agent.write("var/httpDIP", "192.0.2.1")
    agent.primary.up()
    agent.start()
    agent.wait_record(SPEED)
    agent.uptime += 40
    agent.turns(2)
    assert agent.primary.nobody_waits()
    agent.uptime += 1
    link = agent.primary.accept()
    assert link.request() == speed_result(table="1.5,2.25", url="http://a/b", address="192.0.2.1")
    assert results(agent) == ["set nuvek_Counter SuccessTask=1"]
    agent.turns(2)
    assert agent.records().count(SPEED) == 1, "the new stamp counts from the start"


def test_a_refused_result_is_sent_again_by_the_timer_after_10_then_20_seconds(gateway):
    agent, link = with_speed_result(gateway)
    link.answer(answer(result_response(message_id(NOW), -3)))
    link.expect_close()
    agent.wait_log("DEBUG nuvek_set_delaySessionTime: n :1, delay session time:10")
    agent.let_pass(9)
    agent.turns()
    assert agent.primary.nobody_waits()
    agent.let_pass(1)
    link = agent.primary.accept()
    assert link.request() == speed_result(NOW + 10)
    link.answer(answer(result_response(message_id(NOW + 10), -2)))
    agent.wait_log("DEBUG nuvek_set_delaySessionTime: n :2, delay session time:20")
    agent.let_pass(20)
    link = agent.primary.accept()
    assert link.request() == speed_result(NOW + 30)
    link.answer(answer(result_response(message_id(NOW + 30), 0)))
    agent.wait_record("set nuvek_Counter SuccessResult=1")
    assert results(agent) == ["set nuvek_Counter FailTask=1", "set nuvek_Counter FailResult=1", "set nuvek_Counter FailTask=2",
                              "set nuvek_Counter FailResult=2", "set nuvek_Counter FailTask=3",
                              "set nuvek_Counter SuccessResult=1"]


def test_an_acceptance_in_time_removes_the_timer(gateway):
    agent, link = with_speed_result(gateway, {**MEASURED, "nuvek_Server ReportCycle": "1"})
    link.answer(answer(result_response(message_id(NOW), -3)))
    link.expect_close()
    agent.wait_record("set nuvek_Counter FailResult=1")
    agent.let_pass(5)
    agent.edit_store({"nuvek_Common LastInformTime": str(NOW - 61)})
    link = agent.primary.accept()
    assert link.request() == period_report()
    link.answer(answer(result_response(4711, 0)))
    agent.wait_record("set nuvek_Counter SuccessResult=1")
    agent.turns(2)
    agent.let_pass(10)
    agent.turns()
    assert agent.records().count("set nuvek_Counter FailTask=2") == 0, "the result was not sent again"


def test_while_a_result_is_refused_no_test_starts(gateway):
    agent, link = with_speed_result(gateway)
    link.answer(answer(result_response(message_id(NOW), 5)))
    link.expect_close()
    agent.wait_record("set nuvek_Counter FailResult=1")
    agent.edit_store({"nuvek_Common LastTraceTime": "1"})
    agent.turns(2)
    assert TRACE not in agent.records()


def test_an_answer_that_matches_no_test_changes_only_the_code_and_the_counters(gateway):
    agent, link = with_speed_result(gateway)
    link.answer(answer(result_response(12345678, -3)))
    link.expect_close()
    agent.wait_record("set nuvek_Counter FailResult=1")
    agent.let_pass(15)
    agent.turns()
    assert agent.primary.nobody_waits(), "no timer was armed"


def test_the_delayed_result_goes_out_while_the_main_loop_receives_connects_and_answers(gateway):
    agent, link = with_speed_result(gateway, {**MEASURED, "nuvek_Server ReportCycle": "1"})
    link.answer(answer(result_response(message_id(NOW), -3)))
    link.expect_close()
    agent.wait_record("set nuvek_Counter FailResult=1")
    agent.edit_store({"nuvek_Common LastInformTime": str(NOW - 61)})
    link = agent.primary.accept()
    assert link.request() == period_report()
    link.answer(answer(get("NUVEK.Counter", 5)))  # handled by one thread while the other one's timer comes due
    agent.let_pass(10)
    received = link.received_until_closed()
    if b'"NUVEK.SiteSpeed"' not in received:
        received += agent.primary.accept().request()
    assert received.count(b'"GetResponse"') == 1 and received.count(b'"NUVEK.SiteSpeed"') == 1
    for part in received.split(b"POST ")[1:]:
        head, body = part.split(b"\r\n\r\n")
        assert b"Content-Length: %d\r\n" % len(body) in head + b"\r\n", "no request is torn by the other"


def test_a_test_due_by_its_cycle_waits_for_an_acknowledged_location(gateway):
    store = {name: value for name, value in MEASURED.items() if "alreadyReport" not in name and "GISInterface" not in name}
    agent = gateway(store)
    agent.start()
    agent.turns(2)
    assert SPEED not in agent.records()


def test_two_results_of_one_second_are_answered_as_the_trace(gateway):
    agent = gateway({**MEASURED, "nuvek_Common LastTraceTime": str(NOW - 604800)})
    agent.program("pidof", "echo 77")
    agent.primary.up()
    agent.start("-v", "1")
    agent.wait_record(TRACE)
    agent.turns(2)
    agent.uptime += 41
    link = agent.primary.accept()
    assert link.request() == speed_result()
    agent.program("pidof", "true")
    assert link.request() == trace_result()
    link.answer(answer(result_response(message_id(NOW), -3)))
    link.expect_close()
    agent.wait_record("set nuvek_Counter FailResult=1")
    assert not [line for line in agent.log() if "delay session time" in line], "a trace-route does not back off"


def test_counters_of_a_whole_day_agree_with_what_the_platform_saw(gateway):
    agent, link = with_speed_result(gateway, {**MEASURED, "nuvek_Server ReportCycle": "1"})
    link.answer(answer(result_response(message_id(NOW), 0)))
    link.expect_close()
    agent.clock += 61
    link = agent.primary.accept()
    assert link.request() == period_report()
    link.answer(answer(get("NUVEK.Counter")))
    assert link.request() == get_response("NUVEK.Counter", counters(fail_task=1, success_inform=1, success_result=1))
