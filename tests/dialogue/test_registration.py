"""The registration: the Inform0 with the location, the platform's answer, and what the gateway keeps of it."""

import pytest

from messages import (ACKNOWLEDGED_STORE, BLOCK_A, DEVICE_STORE, LOCATED_STORE, NO_BLOCK, NOW, REG_ID, UUID,
                      acknowledged, answer, first_uuid, inform0, inform0_response, key_block, key_common, members,
                      registered, start_commands)

BLOCK_B = {**BLOCK_A, "Long": "121.47370", "AreaCode": "310000", "GISDigest": "fedcba9876543210"}
WITH_B = {**LOCATED_STORE, **{"nuvek_Entry1 " + name: value for name, value in BLOCK_B.items()},
          "nuvek_Entry1 GISInterface": "B"}


def run(gateway, store, **kw):
    """Starts an agent with its platform up; gives both and forgets what the start has written."""
    agent = gateway(store, **kw)
    agent.primary.up()
    agent.start("-v", "1")
    agent.wait_effects(START)
    return agent


START = ["system insmod ROOT/lib/modules/speedtest.ko",
         *["set nuvek_DevInfo " + line for line in (
             "Manufacturer=Norvik", "Isp=ZELM", "ProductClass=NV-2400G", "SerialNumber=NV24000012345678",
             "SWVersion=V3.1.0-r7", "WanMac=66778899AABB", "DevMac=001122334455", "ProtocolVer=1.0",
             "AccessType=GPON")],
         "commit nuvek_DevInfo", "save"]


def answered(agent, block, request):
    """The next connection brings this request and gets this answer, after which the agent closes."""
    link = agent.primary.accept()
    assert link.request() == request
    link.answer(block)
    link.expect_close(after=[request])


def test_repeated_every_turn_on_one_connection_until_acknowledged(gateway):
    agent = run(gateway, {**LOCATED_STORE, "nuvek_Common DefaultFirstReportTime": "1440"})
    link = agent.primary.accept()
    assert [link.request() for _ in range(2)] == [inform0()] * 2  # by itself, about once a second
    agent.turns(3)
    assert [link.request() for _ in range(3)] == [inform0()] * 3
    agent.clock = NOW + 3661
    assert link.request(skip=inform0()) == inform0(NOW + 3661, time="20200913212741")
    assert agent.effects() == [] and agent.keys() is None
    link.answer(answer(inform0_response()))
    link.expect_close(after=[inform0(NOW + 3661, time="20200913212741")])
    agent.wait_effects(acknowledged() + start_commands(NOW + 3661))
    assert agent.keys() == key_block(0, "A", BLOCK_A) + key_common()
    reports = agent.log().count("DEBUG nuvek_report: Enter")
    agent.turns(2)
    log = agent.log()
    assert log.count("DEBUG nuvek_report: Enter") == log.count("DEBUG nuvek_first_report: report_mode:A") == reports


def test_no_registration_after_the_acknowledgement_nor_after_a_restart(gateway):
    agent = run(gateway, LOCATED_STORE)
    answered(agent, answer(inform0_response()), inform0())
    agent.wait_effects(acknowledged())
    agent.turns(2)
    reports = agent.log().count("DEBUG nuvek_report: Enter")
    agent.turns(3)
    assert agent.log().count("DEBUG nuvek_report: Enter") == reports
    agent.stop()
    agent.primary.down()
    agent.primary.up()  # what was still waiting is forgotten
    agent.restart(power_cut=True)
    agent.turns(3)
    assert agent.primary.nobody_waits()


def test_the_first_uuid_is_made_from_mac_and_clock_and_kept(gateway):
    agent = run(gateway, {**LOCATED_STORE, "nuvek_Common UUID": ""})
    uuid = first_uuid(NOW, 0, "00:11:22:33:44:55")
    answered(agent, answer(inform0_response()), inform0(uuid=uuid))
    agent.wait_effects(["set nuvek_Common UUID=" + uuid, "commit nuvek_Common", "save", *acknowledged(),
                        *start_commands(uuid=uuid)])
    assert agent.keys() == key_block(0, "A", BLOCK_A) + key_common(uuid)
    agent.stop()
    agent.clock += 100
    agent.store["nuvek_Entry0 alreadyReport"] = ""
    agent.restart(power_cut=True)
    assert "set nuvek_Common UUID=" + uuid not in agent.records()


def test_a_kept_uuid_is_used_after_the_restart(gateway):
    agent = run(gateway, {**LOCATED_STORE, "nuvek_Common UUID": ""})
    uuid = first_uuid(NOW, 0, "00:11:22:33:44:55")
    link = agent.primary.accept()
    assert link.request() == inform0(uuid=uuid)
    agent.stop()
    link.close()
    agent.clock += 100
    agent.restart(power_cut=True)
    assert agent.primary.accept().request() == inform0(NOW + 100, uuid, time="20200913202820")


@pytest.mark.parametrize("code, line", [
    (0, "DEBUG nuvek_RPCInform0Res_process: report inform success"),
    (-1, "ERROR nuvek_RPCInform0Res_process: String format error"),
    (-2, "ERROR nuvek_RPCInform0Res_process: String format error"),
    (-3, "ERROR nuvek_RPCInform0Res_process: server return error"),
    (-4, "ERROR nuvek_RPCInform0Res_process: server return error"),
    (7, None),
])
def test_answer_codes(gateway, code, line):
    agent = run(gateway, LOCATED_STORE)
    answered(agent, answer(inform0_response(code)), inform0())
    agent.wait_effects(acknowledged() if code == 0 else registered(code))
    judged = [entry for entry in agent.log() if "nuvek_RPCInform0Res_process" in entry]
    assert judged == ["DEBUG nuvek_RPCInform0Res_process: Enter", *([line] if line else [])]
    assert agent.keys() == key_block(0, "A", BLOCK_A) + key_common()
    if code != 0:  # reported again, now with the identifier that even a refusal brings
        assert agent.primary.accept().request() == inform0(reg_id=REG_ID)
        assert agent.effects() == []


def test_an_answer_without_identifier_is_ignored_whole(gateway):
    agent = run(gateway, LOCATED_STORE)
    for response in ('{"RPCMethod":"Inform0Response","ID":1,"Code":0}', inform0_response(reg_id="")):
        answered(agent, answer(response), inform0())
    agent.turns()
    assert agent.effects() == [] and agent.keys() is None
    assert agent.log().count("DEBUG nuvek_RPCInform0Res_process: Enter") == 2


def test_an_identifier_too_long_for_its_field_reaches_no_other(gateway):
    """The received record holds 127 characters, the device's field 95; what follows the field is the UUID."""
    agent = run(gateway, LOCATED_STORE)
    reg_id = "0123456789" * 12
    answered(agent, answer(inform0_response(3, reg_id)), inform0())
    agent.wait_effects(registered(3, reg_id))
    assert agent.keys() == key_block(0, "A", BLOCK_A) + key_common(reg_id=reg_id)
    assert agent.primary.accept().request() == inform0(reg_id=reg_id[:95])


def test_empty_location_values_have_their_defaults(gateway):
    agent = run(gateway, {**DEVICE_STORE, "nuvek_Entry0 GISInterface": "A"})
    answered(agent, answer(inform0_response()), inform0(block=NO_BLOCK))
    agent.wait_effects(acknowledged())
    assert agent.keys() == key_block(0, "A", NO_BLOCK) + key_common()


def test_a_location_edited_before_the_acknowledgement_is_read_again(gateway):
    agent = run(gateway, LOCATED_STORE)
    link = agent.primary.accept()
    assert link.request() == inform0()
    agent.edit_store({"nuvek_Entry0 Long": "1.00000"})
    assert link.request(skip=inform0()) == inform0(block={**BLOCK_A, "Long": "1.00000"})


def test_a_letter_that_only_begins_with_a_reports_block_a(gateway):
    agent = run(gateway, {**LOCATED_STORE, "nuvek_Entry0 GISInterface": "AB"})
    answered(agent, answer(inform0_response()), inform0())
    agent.wait_effects(acknowledged())
    assert agent.keys() == key_common()  # the key file asks for exactly "A"


@pytest.mark.parametrize("letter", ["", "B", "b", "a", "XA"])
def test_no_first_report_for_other_letters(gateway, letter):
    agent = run(gateway, {**LOCATED_STORE, "nuvek_Entry0 GISInterface": letter})
    agent.turns(3)
    assert agent.primary.nobody_waits()
    agent.clock += 1800  # a difference equal to the limit is not enough
    agent.turns(2)
    assert agent.primary.nobody_waits()
    agent.clock += 1
    block = BLOCK_A if letter == "" else NO_BLOCK
    request = inform0(NOW + 1801, time="20200913205641", letter=letter, block=block)
    answered(agent, answer(inform0_response()), request)
    if letter == "":  # no letter, so no block to mark
        agent.wait_effects(registered(0))
    else:
        agent.wait_effects(acknowledged(block=1))
    assert agent.keys() == key_common()


def test_the_default_report_goes_out_once(gateway):
    store = {**DEVICE_STORE, "nuvek_Common DefaultFirstReportTime": "2"}
    agent = run(gateway, store)
    agent.turns()
    agent.clock += 121
    answered(agent, answer('{"RPCMethod":"Nothing","ID":1}'),
             inform0(NOW + 121, time="20200913202841", letter="", block=NO_BLOCK))
    agent.clock += 4000
    agent.turns(3)
    assert agent.primary.nobody_waits()


@pytest.mark.parametrize("minutes", ["0", "", "abc"])
def test_half_an_hour_without_a_time_for_the_default_report(gateway, minutes):
    agent = run(gateway, {**DEVICE_STORE, "nuvek_Common DefaultFirstReportTime": minutes})
    agent.turns()
    agent.clock += 1800
    agent.turns(2)
    assert agent.primary.nobody_waits()
    agent.clock += 1
    agent.primary.accept()


def test_the_default_report_is_not_repeated_when_the_platform_is_down(gateway):
    agent = gateway({**DEVICE_STORE, "nuvek_Common DefaultFirstReportTime": "1"}).start("-v", "1")
    agent.turns()
    agent.clock += 61
    agent.wait_log("ERROR nuvek_Link_Remoteserver: connect remote server error")
    agent.primary.up()
    agent.clock += 600
    agent.turns(3)
    assert agent.primary.nobody_waits()
    assert not [line for line in agent.log() if "sendPostRequest" in line]  # nothing was sent, and no word about it


def test_block_b_acknowledged_earlier_stops_the_default_report(gateway):
    agent = run(gateway, {**DEVICE_STORE, "nuvek_Entry1 alreadyReport": "01"})
    agent.turns()
    agent.clock += 100000
    agent.turns(2)
    assert agent.primary.nobody_waits()


@pytest.mark.parametrize("flag, reports", [("1", False), ("01", False), (" 1", False), ("2", True), ("yes", True)])
def test_what_counts_as_acknowledged(gateway, flag, reports):
    agent = run(gateway, {**LOCATED_STORE, "nuvek_Entry0 alreadyReport": flag})
    agent.turns(2)
    assert agent.primary.nobody_waits() != reports


def test_key_file_with_both_blocks(gateway):
    """Block B is in the file with what the record holds, which is nothing: only block A is ever loaded."""
    agent = run(gateway, WITH_B)
    (agent.root / "usr/osgi/nuvekKeyInfo").write_text("x" * 5000)
    answered(agent, answer(inform0_response()), inform0())
    agent.wait_effects(acknowledged())
    assert agent.keys() == key_block(0, "A", BLOCK_A) + key_block(1, "B", NO_BLOCK) + key_common()


def test_key_file_that_cannot_be_written(gateway):
    agent = run(gateway, LOCATED_STORE)
    (agent.root / "usr/osgi").rmdir()
    answered(agent, answer(inform0_response()), inform0())
    agent.wait_effects(acknowledged())
    agent.wait_log("ERROR nuvek_save_keys: can't open ROOT/usr/osgi/nuvekKeyInfo")


def test_device_time_west_of_utc_runs_on_into_the_identifier(gateway):
    agent = gateway(LOCATED_STORE)
    agent.primary.up()
    agent.start(TZ="EST5")
    link = agent.primary.accept()
    assert link.request() == inform0(time="20200913072640-0")
    link.answer(answer(inform0_response(9)))
    link.expect_close(after=[inform0(time="20200913072640-0")])
    assert agent.primary.accept().request() == inform0(time="20200913072640-0" + REG_ID, reg_id=REG_ID)


def test_device_time_on_utc(gateway):
    agent = gateway(LOCATED_STORE)
    agent.primary.up()
    agent.start(TZ="UTC0")
    assert agent.primary.accept().request() == inform0(time="20200913122640")


def test_location_values_are_cut_to_fifteen_characters(gateway):
    store = {**LOCATED_STORE, "nuvek_Entry0 Lat": "39.9165270000000001", "nuvek_Entry0 AreaCode": "1" * 40}
    agent = run(gateway, store)
    block = {**BLOCK_A, "Lat": "39.916527000000", "AreaCode": "1" * 15}
    assert agent.primary.accept().request() == inform0(block=block)


def test_members_are_as_the_platform_knows_them():
    assert members({"Long": "1.5", "X": "y"}, ("Long",)) == '"Long": 1.5 ,"X":"y"'
    assert UUID.encode() in inform0() and ACKNOWLEDGED_STORE["nuvek_Entry0 alreadyReport"] == "1"
