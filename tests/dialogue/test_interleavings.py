"""The two threads in each other's way, one forced meeting for each lock and each thing they share: docs/reliability.md names
which of these goes red when a lock is taken away. The timer thread's part is always the same: it sends a refused speed result
again."""
from harness import MAIN, TIMER
from messages import (ACKNOWLEDGED_STORE, NOW, answer, counters, get, get_response, message_id, period_report,
                      result_response, speed_result, trace_result)
from test_results import PIDOF, SPEED, TRACE

WEEK_S = 604800
EVERY_MINUTE = {**ACKNOWLEDGED_STORE, "nuvek_Server ReportCycle": "1"}
LATER = NOW + 10  # when a first back-off is over


def run(gateway, store=EVERY_MINUTE):
    agent = gateway(store)
    agent.primary.up()
    return agent.start("-v", "1")


def refused_result(agent, request=None):
    """A speed test's result was refused: it is to be sent again in ten seconds."""
    agent.edit_store({"nuvek_Common LastSpeedTime": str(agent.clock - WEEK_S)})
    agent.wait_record(SPEED)
    agent.uptime += 41
    link = agent.primary.accept()
    assert link.request() == (request or speed_result(agent.clock))
    link.answer(answer(result_response(message_id(agent.clock), -3)))
    link.expect_close()


def report(agent):
    """Lets a periodic report go out. Returns its connection, which waits for an answer."""
    agent.edit_store({"nuvek_Common LastInformTime": str(agent.clock - 61)})
    link = agent.primary.accept()
    assert link.request() == period_report()
    return link


def back_off_ends(agent, before):
    """The timer thread begins to send the result again, and stands ahead of the call."""
    agent.tick()
    agent.clock += 10
    agent.go_to(before, TIMER)


def changes(agent):
    return [line for line in agent.effects() if line.startswith("set nuvek_Counter") or line == "save"]


def test_a_counter_is_not_written_between_the_twentieth_change_and_its_save(gateway):
    agent = run(gateway)
    for _ in range(16):
        link = report(agent)
        link.answer(answer("{}"))
        link.expect_close()
    refused_result(agent)
    link = report(agent)
    assert len(changes(agent)) - 1 == 19, "less the save of the start"
    back_off_ends(agent, "save")
    link.answer(answer(result_response(4711, 5)))
    assert not agent.turn()
    agent.run(TIMER)
    agent.turns(2)
    assert changes(agent) == ["set nuvek_Counter FailTask=2", "save", "set nuvek_Counter FailResult=2"]
    for _ in range(18):
        report(agent).close()
    assert "save" not in changes(agent)
    report(agent)
    assert changes(agent)[-1] == "save", "none of the twenty was lost"


def test_a_connection_is_not_closed_while_the_other_thread_sends_on_it(gateway):
    agent = run(gateway)
    refused_result(agent)
    link = report(agent)
    back_off_ends(agent, "send")
    link.answer(answer("{}"))
    assert not agent.turn() and agent.waits_in(MAIN) == "lock"
    agent.run(TIMER)
    agent.turns()
    assert link.request() == speed_result(LATER)
    link.expect_close()


def test_the_answer_to_a_get_is_not_torn_by_the_other_threads_request(gateway):
    agent = run(gateway)
    refused_result(agent)
    link = report(agent)
    link.answer(answer(get("NUVEK.Counter")))
    expected = get_response("NUVEK.Counter", counters(success_inform=1, fail_task=1, fail_result=1))
    agent.go_to("send")
    agent.go_on(answer="short 100", until="send")
    assert link.received() == expected[:100]
    agent.tick()
    agent.clock += 10
    agent.tick()
    assert agent.waits_in(TIMER) == "lock" and link.received() == expected[:100]
    agent.run(MAIN)
    assert link.request() == expected
    link.expect_close()
    assert agent.primary.accept().request() == speed_result(LATER)


def test_a_request_is_not_torn_by_the_other_threads(gateway):
    agent = run(gateway)
    refused_result(agent)
    agent.edit_store({"nuvek_Common LastInformTime": str(NOW - 61)})
    agent.go_to("send")
    agent.go_on(answer="short 100", until="send")
    agent.tick()
    agent.clock += 10
    agent.tick()
    assert agent.waits_in(TIMER) == "lock"
    agent.run(MAIN)
    link = agent.primary.accept()
    assert [link.request(), link.request()] == [period_report(), speed_result(LATER)]


def test_address_and_path_of_a_request_are_not_changed_by_the_other_thread(gateway):
    """The name of the platform is looked up again for each link."""
    agent = run(gateway, {**EVERY_MINUTE, "nuvek_Server PlatDomain1": "one.test"})
    agent.name("one.test", agent.primary.address)
    agent.name("two.test", agent.secondary.address)
    agent.secondary.up()
    refused_result(agent, speed_result(host="127.0.0.1"))
    agent.hold("connect")
    agent.tick()
    agent.clock += 10
    agent.tick()
    assert agent.waits_in(TIMER).startswith("connect ")
    agent.edit_store({"nuvek_Server PlatDomain1": "two.test", "nuvek_Common LastInformTime": str(NOW - 61)})
    assert not agent.turn() and agent.waits_in(MAIN) == "lock"
    agent.release("connect")
    agent.tick()
    assert agent.primary.accept().request() == speed_result(LATER)
    agent.turns()


def test_a_uuid_is_whole_before_the_other_thread_sends_it(gateway):
    store = {**ACKNOWLEDGED_STORE, "nuvek_Common UUID": "", "nuvek_Entry0 alreadyReport": "", "nuvek_Entry0 GISInterface": "",
             "nuvek_Entry1 alreadyReport": "1"}
    agent = gateway(store)
    agent.primary.up()
    agent.start("-v", "1")
    agent.edit_store({"nuvek_Common LastSpeedTime": str(NOW - WEEK_S)})
    agent.turns()
    agent.uptime += 41
    link = agent.primary.accept()
    assert link.request().partition(b"\r\n\r\n")[2].startswith(b'["",{"RPCMethod":"Result"')
    link.answer(answer(result_response(message_id(NOW), -3)))
    link.expect_close()
    agent.edit_store({"nuvek_Entry0 GISInterface": "A"})
    agent.go_to("set nuvek_Common UUID=")
    agent.tick()
    agent.clock += 10
    agent.tick()
    assert agent.waits_in(TIMER) == "lock"
    agent.run(MAIN)
    agent.tick()
    link = agent.primary.accept()
    uuid = agent.written()["nuvek_Common UUID"].encode()
    assert len(uuid) == 36
    for kind in (b"Inform0", b"Result"):
        assert link.request().partition(b"\r\n\r\n")[2].startswith(b'["%s",{"RPCMethod":"%s"' % (uuid, kind))


def test_a_test_that_has_ended_is_reported_once(gateway):
    """A first back-off whose timer outlives the acceptance: another one had been asked for since."""
    agent = run(gateway)
    refused_result(agent)
    for code in (-3, 0):
        link = report(agent)
        link.answer(answer(result_response(message_id(NOW), code)))
        link.expect_close()
    agent.turns()
    agent.edit_store({"nuvek_Common LastTraceTime": str(NOW - WEEK_S)})
    agent.hold("system pidof")
    agent.wait_record(TRACE)
    assert not agent.turn() and agent.records()[-1] == PIDOF
    agent.effects()
    agent.let_pass(10)
    assert agent.waits_in(TIMER) == "lock"
    agent.release("system pidof")
    agent.turn()
    agent.tick()
    assert agent.primary.accept().request() == trace_result(LATER)
    agent.turns()
    assert agent.primary.nobody_waits()
    assert [line for line in agent.effects() if "Task=" in line or "pidof" in line] == ["set nuvek_Counter SuccessTask=1"]


def result_is_being_sent_again(gateway, code):
    """The timer thread has sent the result again and still looks for the trace, within its callback; the platform's answer to
    the result is here."""
    agent = run(gateway)
    agent.program("pidof", "echo 77")
    agent.edit_store({"nuvek_Common LastTraceTime": str(NOW - WEEK_S)})
    refused_result(agent)
    agent.hold("system pidof")
    agent.let_pass(10)
    link = agent.primary.accept()
    assert link.request() == speed_result(LATER)
    assert agent.waits_in(TIMER).startswith("system pidof")
    link.answer(answer(result_response(message_id(LATER), code)))
    agent.turns()  # it watches the new connection from now on
    assert not agent.turn() and agent.waits_in(MAIN) == "lock"
    return agent


def test_removing_a_timer_waits_for_the_callback_that_runs(gateway):
    agent = result_is_being_sent_again(gateway, 0)
    assert not [line for line in agent.log() if "RemoveTimer" in line]
    agent.release("system pidof")
    agent.tick()
    agent.turns()
    assert [line for line in agent.log() if "RemoveTimer" in line], "there was none any more"


def test_a_timer_added_while_a_callback_runs_counts_from_its_end(gateway):
    agent = result_is_being_sent_again(gateway, -3)
    agent.clock += 5
    agent.release("system pidof")
    agent.tick()
    agent.turns()
    agent.let_pass(19)
    assert agent.primary.nobody_waits()
    agent.let_pass(1)
    assert agent.primary.accept().request() == speed_result(NOW + 35)


def test_a_helper_program_is_given_no_socket(gateway):
    """The timer thread starts one while the main thread has a client in its hands and the platform's answer is awaited."""
    agent = run(gateway)
    agent.program("httpSpeed", "exit 0")
    agent.program("traceroute", "exit 0")
    agent.program("pidof", 'ls -l /proc/self/fd > "$NUVEK_ROOT/tmp/descriptors"; echo 77')
    agent.edit_store({"nuvek_Common LastTraceTime": str(NOW - WEEK_S)})
    refused_result(agent)
    client = agent.local()
    assert not agent.turn() and agent.waits_in(MAIN).startswith("select %d " % client.fd)
    agent.write("tmp/descriptors", "")
    agent.let_pass(10)
    assert agent.primary.accept().request() == speed_result(LATER)
    own = "\n".join(agent.open_files())
    assert own.count("socket:") == 3 + len(("main", "timer")), own
    given = (agent.root / "tmp/descriptors").read_text()
    assert "/dev/null" in given and "socket:" not in given, given
