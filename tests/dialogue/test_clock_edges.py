"""The edges of the clock: the second that ends signed time (2038-01-19 03:14:08 UTC), the end of unsigned time (2106), and
a clock from before 1970. Stamps are texts of signed numbers, and compared as unsigned ones."""
import ctypes
import os

import pytest

from messages import (ACKNOWLEDGED_STORE, BLOCK_A, DEVICE_STORE, LOCATED_STORE, NO_BLOCK, NOW, acknowledged, answer,
                      device_time, first_uuid, inform0, inform0_response, key_block, key_common, message_id, period_report,
                      result_response, speed_result, start_commands)

WIDE = os.environ["NUVEK_TIME_BYTES"] == "8"  # else the C library's calendar ends in 2038, and begins there in 1901
UCLIBC = "NUVEK_WITH_UCLIBC" in os.environ
SIGNED_END = 2**31
END = 2**32
HOURLY = {**ACKNOWLEDGED_STORE, "nuvek_Server ReportCycle": "60"}
UNSEEDED = {**LOCATED_STORE, "nuvek_Common LastInformTime": ""}
WEEK_S = 604800


def stamp(clock):
    return ctypes.c_int32(clock).value


def shown(clock):
    """The device time of a message."""
    if UCLIBC and SIGNED_END - WEEK_S <= clock < SIGNED_END:
        clock -= 2 * 8 * 3600  # its calendar takes the time zone with the wrong sign in that week
    return device_time(clock if WIDE else stamp(clock))


def at(clock, **device):
    return inform0(clock, time=shown(clock), **device)


def started(gateway, store, clock):
    agent = gateway(store, clock=clock)
    agent.primary.up()
    agent.start("-v", "1")
    return agent


def nothing_happens(agent):
    agent.effects()
    agent.turns(3)
    return agent.effects() == [] and agent.primary.nobody_waits()


def answered(agent, request, *objects):
    link = agent.primary.accept()
    assert link.request() == request
    link.answer(answer(*objects))
    link.expect_close()


def test_the_device_is_registered_across_the_end_of_signed_time(gateway):
    agent = started(gateway, {**UNSEEDED, "nuvek_Common UUID": ""}, SIGNED_END - 1)
    uuid = first_uuid(SIGNED_END - 1, 0, "00:11:22:33:44:55")
    link = agent.primary.accept()
    assert link.request() == at(SIGNED_END - 1, uuid=uuid)
    assert "set nuvek_Common LastInformTime=2147483647" in agent.effects()
    agent.clock = SIGNED_END
    assert link.request(skip=at(SIGNED_END - 1, uuid=uuid)) == at(SIGNED_END, uuid=uuid)
    link.answer(answer(inform0_response()))
    link.expect_close(after=[at(SIGNED_END, uuid=uuid)])
    agent.wait_effects(acknowledged() + start_commands(-SIGNED_END, uuid=uuid))
    assert agent.keys() == key_block(0, "A", BLOCK_A) + key_common(uuid)
    agent.stop()
    agent.restart(power_cut=True)
    agent.turns(2)
    assert agent.primary.nobody_waits(), "registered is registered"


@pytest.mark.parametrize("clock", [SIGNED_END, SIGNED_END + 1, 3000000000, END - 1])
def test_the_gate_is_open_and_the_first_stamp_is_written_once(gateway, clock):
    agent = started(gateway, UNSEEDED, clock)
    assert agent.primary.accept().request() == at(clock)
    agent.turns(3)
    stamps = [line for line in agent.records() if line.startswith("set nuvek_Common LastInformTime=")]
    assert stamps == ["set nuvek_Common LastInformTime=%d" % stamp(clock)]


def test_a_first_uuid_is_made_of_the_whole_clock(gateway):
    agent = started(gateway, {**LOCATED_STORE, "nuvek_Common UUID": ""}, 3000000000)
    uuid = first_uuid(3000000000, 0, "00:11:22:33:44:55")
    assert agent.primary.accept().request() == at(3000000000, uuid=uuid)


@pytest.mark.parametrize("last", [SIGNED_END - 1800, SIGNED_END - 3600, SIGNED_END - 3601])
def test_the_periodic_report_keeps_its_cycle_across_the_end_of_signed_time(gateway, last):
    agent = started(gateway, {**HOURLY, "nuvek_Common LastInformTime": str(last)}, last + 3600)
    for number in (1, 2):
        assert nothing_happens(agent)
        agent.clock += 1
        agent.turns()
        answered(agent, period_report())
        agent.wait_effects(["set nuvek_Common LastInformTime=%d" % stamp(agent.clock),
                            "set nuvek_Counter SuccessInform=%d" % number])
        agent.clock += 3600
    agent.stop()
    agent.restart()  # with the stamp from the store: a negative number by now
    assert agent.store["nuvek_Common LastInformTime"] == str(stamp(last + 7202))
    assert nothing_happens(agent)
    agent.clock += 1
    answered(agent, period_report())


def test_a_clock_that_is_set_back_across_the_end_of_signed_time_reports_at_once(gateway):
    agent = started(gateway, {**HOURLY, "nuvek_Common LastInformTime": str(stamp(SIGNED_END + 5))}, SIGNED_END + 5)
    assert nothing_happens(agent)
    agent.clock = NOW
    answered(agent, period_report())
    agent.wait_record("set nuvek_Common LastInformTime=%d" % NOW)
    assert nothing_happens(agent)


def test_the_default_report_goes_out_across_the_end_of_signed_time(gateway):
    agent = started(gateway, {**DEVICE_STORE, "nuvek_Common DefaultFirstReportTime": "1"}, SIGNED_END - 30)
    agent.turns()
    agent.clock += 60
    assert nothing_happens(agent)
    agent.clock += 1
    answered(agent, at(SIGNED_END + 31, letter="", block=NO_BLOCK))
    agent.clock += 3600
    assert nothing_happens(agent)


def test_a_measurement_keeps_its_cycle_across_the_end_of_signed_time(gateway):
    store = {**ACKNOWLEDGED_STORE, "nuvek_Common LastInformTime": str(SIGNED_END - 10),
             "nuvek_Common LastTraceTime": str(SIGNED_END + 10 - WEEK_S)}
    agent = started(gateway, store, SIGNED_END + 9)
    assert nothing_happens(agent)
    agent.clock += 1
    agent.turns()
    assert agent.effects()[:2] == start_commands(stamp(SIGNED_END + 10))[2:]
    agent.stop()
    agent.store["nuvek_Server ReportCycle"] = "20160"  # two weeks: no report comes between
    agent.clock += WEEK_S - 1
    agent.restart()
    assert nothing_happens(agent)
    agent.clock += 1
    agent.turns()
    assert agent.effects()[:2] == start_commands(stamp(SIGNED_END + 10 + WEEK_S))[2:]


def refused(agent, clock):
    """A speed test, due by its cycle, reports and is refused: the back-off of ten seconds begins."""
    agent.turns(2)
    agent.uptime += 41
    answered(agent, speed_result(clock), result_response(message_id(clock), -3))
    agent.wait_log("DEBUG nuvek_set_delaySessionTime: n :1, delay session time:10")


def measured(gateway, clock):
    """One whose speed test is due. No report comes between, wherever the clock goes."""
    store = {"nuvek_Common LastInformTime": str(stamp(clock)), "nuvek_Common LastSpeedTime": str(stamp(clock - WEEK_S)),
             "nuvek_Server ReportCycle": "71582788"}
    return started(gateway, {**ACKNOWLEDGED_STORE, **store}, clock)


@pytest.mark.parametrize("ahead", [1, 5, 10])
def test_a_back_off_lasts_ten_seconds_across_the_end_of_signed_time(gateway, ahead):
    agent = measured(gateway, SIGNED_END - ahead)
    refused(agent, SIGNED_END - ahead)
    agent.let_pass(9)
    agent.turns()
    assert agent.primary.nobody_waits()
    agent.let_pass(1)
    answered(agent, speed_result(SIGNED_END - ahead + 10), result_response(message_id(SIGNED_END - ahead + 10), 0))
    agent.wait_record("set nuvek_Counter SuccessResult=1")


def test_the_gate_closes_at_the_end_of_unsigned_time_and_opens_when_the_clock_is_set_right(gateway):
    agent = started(gateway, HOURLY, END - 1)
    answered(agent, period_report())  # the stamp of 2020 is older than an hour
    agent.wait_record("set nuvek_Common LastInformTime=-1")
    agent.wait_record("set nuvek_Counter SuccessInform=1")
    for clock in (END, END + 3600, END + 7200):
        agent.clock = clock
        assert nothing_happens(agent)
    agent.clock = NOW
    answered(agent, period_report())
    agent.wait_effects(["set nuvek_Common LastInformTime=%d" % NOW, "set nuvek_Counter SuccessInform=2"])


def test_a_back_off_that_would_end_behind_the_end_of_unsigned_time_ends_at_once(gateway):
    agent = measured(gateway, END - 5)
    refused(agent, END - 5)
    answered(agent, speed_result(END - 5), result_response(message_id(END - 5), 0))
    agent.wait_record("set nuvek_Counter SuccessResult=1")


@pytest.mark.parametrize("clock", [-1, -86400, -SIGNED_END])
def test_a_clock_from_before_1970_closes_the_gate_where_it_can_be_told_from_one_past_2038(gateway, clock):
    agent = started(gateway, UNSEEDED, clock)
    if WIDE:
        assert nothing_happens(agent)
    else:
        assert agent.primary.accept().request() == at(clock)


def test_a_gateway_from_before_1970_takes_a_location_and_registers_once_the_clock_is_right(gateway):
    agent = gateway({**DEVICE_STORE, "nuvek_Common LastInformTime": ""}, clock=-1000, synchronised=False)
    agent.primary.up()
    agent.start()
    with agent.local() as client:
        client.sendall(b'{"Longitude":"116.397128","Latitude":"39.916527","ID":"7"}')
        assert client.received_until_closed() == b'{"Result":0,"ID":7}'
    assert nothing_happens(agent)
    agent.clock = NOW
    agent.synchronise()
    assert agent.primary.accept().request() == inform0(block={**NO_BLOCK, "Long": "116.39713", "Lat": "39.91653"})
    assert agent.effects() == ["set nuvek_Common LastInformTime=%d" % NOW]


def test_a_clock_that_falls_behind_1970_leaves_a_back_off_its_ten_seconds(gateway):
    agent = measured(gateway, NOW)
    refused(agent, NOW)
    agent.clock = -1000
    agent.tick()
    agent.let_pass(9)
    agent.tick()
    agent.turns()
    assert agent.primary.nobody_waits()
    agent.let_pass(1)
    agent.tick()
    link = agent.primary.accept()
    assert link.request() == speed_result(agent.clock)
