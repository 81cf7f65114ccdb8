"""What is answered: by default and by a scenario."""
import time

import pytest
from gateway import UUID, Answer, get_response, inform0, report, request, site_speed, trace_route

OTHER = UUID[:-1] + "6"


def test_inform0_is_answered_with_a_registration_identifier(platform):
    answer = platform.ask(inform0())
    assert answer.uuid == UUID
    assert list(answer.messages[0].items()) == [
        ("RPCMethod", "Inform0Response"), ("ObjectPath", "NUVEK.DeviceInfo"), ("RegID", "NUVEK-1"), ("ID", 12345678), ("Code", 0)]


def test_results_are_answered_by_their_own_id(platform):
    for message, identifier in ((site_speed(), 23456789), (trace_route(), 34567890)):
        assert platform.ask(message).messages == [{"RPCMethod": "ResultResponse", "ID": identifier, "Code": 0}]


def test_default_asks_for_the_five_packages_and_then_for_counters(platform):
    asked = [[path for path, _ in platform.ask(report()).gets()] for _ in range(3)]
    counter = "NUVEK.Counter"
    assert asked == [["NUVEK.DeviceInfo", "NUVEK.GISInfoA", "NUVEK.GISInfoB", "NUVEK.Interface", counter], [counter], [counter]]


def test_nothing_to_ask_is_a_right_answer_without_a_message(start):
    answer = start("Report: {}").ask(report())
    assert (answer.uuid, answer.messages) == (UUID, [{}])


def test_registration_identifier_follows_its_pattern_and_stays(start):
    platform = start('Inform0: {reg_id: "R/{n}/{uuid}"}')
    for uuid, number in ((UUID, 1), (OTHER, 2), (UUID, 1)):
        assert platform.ask(inform0(uuid=uuid)).messages[0]["RegID"] == "R/%d/%s" % (number, uuid)


def test_codes_come_in_their_order_per_gateway_and_the_last_one_stays(start):
    platform = start("Inform0: {codes: [-1, 0]}\nSiteSpeed: {codes: [-3, -2, 0]}")
    assert [platform.ask(site_speed()).messages[0]["Code"] for _ in range(4)] == [-3, -2, 0, 0]
    for uuid in (UUID, OTHER):
        assert [platform.ask(inform0(uuid=uuid)).messages[0]["Code"] for _ in range(2)] == [-1, 0]


def test_gets_follow_their_lists_and_have_fresh_ids(start):
    platform = start("Report: {gets: [[A, B], [], [C]]}\nInform0: {gets: [[D], []]}\nTraceRoute: {gets: [[E]]}")
    asked = [platform.ask(report()).gets() for _ in range(4)]
    assert [[path for path, _ in gets] for gets in asked] == [["A", "B"], [], ["C"], ["C"]]
    answer = platform.ask(inform0())
    assert [m["RPCMethod"] for m in answer.messages] == ["Inform0Response", "Get"]
    assert platform.ask(trace_route()).gets()[0][0] == "E"
    identifiers = [i for gets in asked for _, i in gets]
    assert len(set(identifiers)) == 4
    assert all(len(str(i)) == 8 == len(set(str(i))) for i in identifiers)


def test_the_longest_possible_answer_fits_a_gateway(start):
    paths = ",".join(["P" * 31] * 8)
    platform = start('Inform0: {reg_id: "%s", codes: [-2147483648], gets: [[%s]]}' % ("r" * 95, paths))
    assert len(platform.ask(inform0()).block) > 950  # Answer() itself checks the limit


def test_delay_holds_back_its_own_kind_and_nobody_else(start):
    platform = start("Inform0: {delay_ms: 400}")
    begin = time.monotonic()
    with platform.connect() as slow:
        slow.send(request(inform0()))
        platform.ask(report())
        assert time.monotonic() - begin < 0.4
        Answer(slow.block())
        assert time.monotonic() - begin >= 0.4


def test_responses_to_several_gets_are_acknowledged_after_the_last(start):
    platform = start("Report: {gets: [[NUVEK.Counter, NUVEK.GISInfoA]]}")
    with platform.connect() as connection:
        (one, first), (two, second) = connection.ask(report()).gets()
        connection.send(request(get_response(one, first)))
        assert [line["kind"] for line in platform.journal(at_least=2)] == ["Report", "GetResponse"]
        connection.send(request(get_response(two, second)))
        both = connection.block()
    assert both.count(b"HTTP/1.1 200 OK\r\n") == 2


def test_client_that_waits_for_each_acknowledgement_gets_it(start):
    platform = start("Report: {gets: [[NUVEK.Counter, NUVEK.GISInfoA]]}")
    with platform.connect() as connection:
        for path, identifier in connection.ask(report()).gets():
            assert connection.ask(get_response(path, identifier)).messages == [{}]


def test_gateway_that_closes_after_its_last_response_loses_none(start):
    paths = ["NUVEK.DeviceInfo", "NUVEK.GISInfoA", "NUVEK.GISInfoB", "NUVEK.Interface", "NUVEK.Counter", "NUVEK.Unknown"]
    platform = start("Report: {gets: [[%s]]}" % ", ".join(paths))
    for turn in range(20):
        with platform.connect() as connection:
            for path, identifier in connection.ask(report()).gets():
                connection.send(request(get_response(path, identifier)))
    lines = platform.journal(at_least=20 * 7)
    assert len(lines) == 20 * 7 and {line["verdict"] for line in lines} == {"ok"}


def test_get_left_unanswered_is_a_finding(platform):
    answer = platform.ask(report())
    last = platform.journal(at_least=2)[-1]
    assert sorted(last["verdict"]) == sorted("Get %d was not answered" % identifier for _, identifier in answer.gets())
    assert last["uuid"] == UUID and last["request"] == ""


@pytest.mark.parametrize("message", [inform0(), site_speed()])
def test_findings_can_be_told_without_a_refusal(start, message):
    platform = start("on_finding: answer")
    wrong = message.replace('"Params":', '"Parms":')
    assert "Code" in platform.ask(wrong).messages[0]
    assert platform.journal()[0]["verdict"] != "ok"


@pytest.mark.parametrize("message", ["{", report(uuid="x]"), inform0(identifier="null")])
def test_message_that_cannot_be_answered_is_refused_in_any_case(start, message):
    platform = start("on_finding: answer")
    platform.findings_of(message)
