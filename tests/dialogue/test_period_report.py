"""The periodic report: when it goes out, what it says, and how it is counted."""

import pytest

from messages import ACKNOWLEDGED_STORE, LOCATED_STORE, NOW, answer, counters, get, get_response, period_report

HOURLY = {**ACKNOWLEDGED_STORE, "nuvek_Server ReportCycle": "60"}


def run(gateway, store, **kw):
    agent = gateway(store, **kw)
    agent.primary.up()
    agent.start("-v", "1")
    agent.turns()
    agent.effects()
    return agent


def reported(agent, block=answer("{}")):
    link = agent.primary.accept()
    assert link.request() == period_report()
    link.answer(block)
    link.expect_close()


def test_strictly_later_than_the_cycle(gateway):
    agent = run(gateway, HOURLY)
    agent.clock = NOW + 3600
    agent.turns(2)
    assert agent.primary.nobody_waits() and agent.effects() == []
    agent.clock = NOW + 3601
    reported(agent)
    agent.wait_effects(["set nuvek_Common LastInformTime=%d" % (NOW + 3601), "set nuvek_Counter SuccessInform=1"])
    agent.clock = NOW + 3601 + 3600
    agent.turns(2)
    assert agent.primary.nobody_waits()
    agent.clock += 1
    reported(agent)
    agent.wait_effects(["set nuvek_Common LastInformTime=%d" % (NOW + 7202), "set nuvek_Counter SuccessInform=2"])


@pytest.mark.parametrize("cycle", [None, "", "0", "abc", "71582788.5x"])
def test_a_day_without_a_cycle(gateway, cycle):
    store = {**ACKNOWLEDGED_STORE, "nuvek_Server ReportCycle": cycle}
    if cycle is None:
        del store["nuvek_Server ReportCycle"]
    wanted = 86400 if cycle != "71582788.5x" else 71582788 * 60 & 0xFFFFFFFF
    agent = run(gateway, store)
    agent.clock = (NOW + min(wanted, 86400)) & 0xFFFFFFFF
    agent.turns(2)
    assert agent.primary.nobody_waits()
    agent.clock += 1
    if wanted == 86400:
        reported(agent)
    else:
        agent.turns(2)
        assert agent.primary.nobody_waits()


def test_a_stamp_ahead_of_the_clock_reports_at_once_and_is_set_right(gateway):
    agent = gateway({**HOURLY, "nuvek_Common LastInformTime": str(NOW + 1)})
    agent.primary.up()
    agent.start()
    reported(agent)
    agent.wait_record("set nuvek_Common LastInformTime=%d" % NOW)
    agent.wait_record("set nuvek_Counter SuccessInform=1")
    agent.turns(2)
    assert agent.primary.nobody_waits()


def test_a_clock_that_goes_back_a_day_does_not_silence_the_reports(gateway):
    agent = run(gateway, HOURLY)
    agent.clock = NOW - 86400
    reported(agent)
    agent.wait_effects(["set nuvek_Common LastInformTime=%d" % (NOW - 86400), "set nuvek_Counter SuccessInform=1"])


def test_a_zero_stamp_reports_at_once(gateway):
    agent = gateway({**HOURLY, "nuvek_Common LastInformTime": "0"})
    agent.primary.up()
    agent.start()
    reported(agent)


def test_only_block_a_enables_the_cycle(gateway):
    for flags in ({}, {"nuvek_Entry1 alreadyReport": "1"}):
        store = {**LOCATED_STORE, "nuvek_Entry0 GISInterface": "", "nuvek_Server ReportCycle": "1", **flags}
        agent = run(gateway, store)
        agent.clock += 1000
        agent.turns(2)
        assert agent.primary.nobody_waits() and agent.effects() == []


def test_a_failed_report_is_counted_and_waits_a_whole_cycle(gateway):
    agent = gateway({**HOURLY, "nuvek_Common LastInformTime": "1", "nuvek_Counter FailInform": "7"}).start("-v", "1")
    agent.wait_record("set nuvek_Counter FailInform=8")
    errors = [line for line in agent.log() if line.startswith("ERROR")]
    assert errors == ["ERROR nuvek_Link_Remoteserver: connect remote server error",
                      "ERROR nuvek_period_report: link sever error!", "ERROR nuvek_sendPostRequest: fd error",
                      "ERROR nuvek_period_report:  sendPostRequest error"]
    agent.effects()
    agent.primary.up()
    agent.clock = NOW + 3600
    agent.turns(2)
    assert agent.primary.nobody_waits() and agent.effects() == []
    agent.clock += 1
    reported(agent)


def test_the_counters_reach_flash_with_the_twentieth_change(gateway):
    agent = run(gateway, {**HOURLY, "nuvek_Server ReportCycle": "1"})
    for change in range(1, 22):
        agent.clock += 61
        agent.turns()
        reported(agent)
        agent.wait_effects(["set nuvek_Common LastInformTime=%d" % agent.clock,
                            "set nuvek_Counter SuccessInform=%d" % change, *(["save"] if change == 20 else [])])
    agent.stop()  # the twenty-first is lost when the power is cut now
    agent.restart(power_cut=True)  # flash has the twentieth report's time: one is due at once
    link = agent.primary.accept()
    assert link.request() == period_report()
    link.answer(answer(get("NUVEK.Counter")))
    assert link.request() == get_response("NUVEK.Counter", counters(success_inform=21))
    link.expect_close()


def test_the_platform_asks_for_the_counters_at_the_report(gateway):
    agent = run(gateway, {**HOURLY, "nuvek_Counter FailTask": "3", "nuvek_Counter SuccessInform": "2147483647"})
    agent.clock += 3601
    link = agent.primary.accept()
    assert link.request() == period_report()
    link.answer(answer(get("NUVEK.Counter", 99)))
    expected = counters(fail_task=3, success_inform=-2147483648)
    assert link.request() == get_response("NUVEK.Counter", expected, 99)
    link.expect_close()
    agent.wait_effects(["set nuvek_Common LastInformTime=%d" % (NOW + 3601),
                        "set nuvek_Counter SuccessInform=-2147483648"])


def test_the_report_uses_an_open_connection(gateway):
    """A Get that the platform sends unasked leaves no connection; an answer not yet there does."""
    agent = run(gateway, {**HOURLY, "nuvek_Server ReportCycle": "1"})
    agent.clock += 61
    link = agent.primary.accept()
    assert link.request() == period_report()
    agent.clock += 61
    assert link.request() == period_report()
    assert agent.primary.nobody_waits()
