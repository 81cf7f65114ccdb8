"""What the console changes: questions, the next answers, the scenario."""
import signal

import pytest
from conftest import wait_for
from gateway import UUID, get_response, inform0, report, request, site_speed, trace_route

OTHER = "2" + UUID[1:]
GETS = "/api/gateways/%s/gets" % UUID
LITERAL = "HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\n[\u00ff\u0080{}"


def quiet(start):
    return start("Report: {}", console=True)


def test_question_is_asked_at_the_next_contact(start):
    platform = quiet(start)
    platform.ask(report())
    answer = platform.console.post(GETS, {"path": "NUVEK.Counter"})
    assert answer["uuid"] == UUID and [(row["path"], row["id"]) for row in answer["waiting"]] == [("NUVEK.Counter", None)]
    with platform.connect() as connection:
        ((path, identifier),) = connection.ask(inform0()).gets()
        assert path == "NUVEK.Counter"
        (row,) = platform.console.get("/api/gateways/" + UUID)["waiting"]
        assert (row["id"], row["since"]) == (identifier, answer["waiting"][0]["since"])
        connection.ask(get_response(path, identifier))
    gateway = platform.console.get("/api/gateways/" + UUID)
    assert gateway["waiting"] == [] and gateway["counters"]["gateway"]["FailResult"] == 1 and gateway["findings"] == 0
    assert platform.ask(report()).gets() == []


def test_question_is_for_one_gateway(start):
    platform = quiet(start)
    platform.ask(report())
    platform.console.post(GETS, {"path": "A"})
    assert platform.ask(report(uuid=OTHER)).gets() == []
    assert [path for path, _ in platform.ask(site_speed()).gets()] == ["A"]


def test_eight_questions_an_answer_with_the_scenarios(start):
    platform = start("Report: {gets: [[S, S], []]}", console=True)
    platform.ask(inform0())
    for number in range(10):
        platform.console.post(GETS, {"path": "Q%d" % number})
    asked = [[path for path, _ in platform.ask(report()).gets()] for _ in range(3)]
    assert asked == [["S", "S", "Q0", "Q1", "Q2", "Q3", "Q4", "Q5"], ["Q6", "Q7", "Q8", "Q9"], []]


def test_question_outlives_a_spoiled_answer(start):
    platform = start("Report: {}\nfaults: [{to: Report, nth: 1, do: garbage}, {to: Report, nth: 2, do: two_pieces}]", console=True)
    platform.ask(inform0())
    platform.console.post(GETS, {"path": "Q"})
    for _ in range(2):
        platform.ask_raw(report())
    assert [path for path, _ in platform.ask(report()).gets()] == ["Q"]


def test_questions_are_taken_back(start):
    platform = quiet(start)
    platform.ask(report())
    platform.console.post(GETS, {"path": "Q"})
    assert platform.console.call("DELETE", GETS) == (200, {"uuid": UUID, "waiting": []})
    assert platform.ask(report()).gets() == []


def test_questions_are_bounded(start):
    platform = quiet(start)
    platform.ask(report())
    for _ in range(16):
        platform.console.post(GETS, {"path": "x" * 31})
    assert platform.console.call("POST", GETS, {"path": "Q"})[0] == 409


def test_answers_that_never_come_are_given_up(start):
    """A gateway that answers no Get: the last 64 are remembered."""
    platform = start("Report: {gets: [[A, B, C, D, E, F, G, H]]}", console=True)
    for _ in range(20):
        platform.ask(report())
    assert len(platform.console.get("/api/gateways/" + UUID)["waiting"]) == 64


@pytest.mark.parametrize("body, reason", [
    ({}, "path"), ({"path": ""}, "path"), ({"path": "a b"}, "path"), ({"path": "x" * 32}, "path"), ({"path": 5}, "text"),
    ({"path": "A", "colour": 1}, 'unknown member "colour"'), ("[]", "JSON object"), ("{", "JSON object"), ("", "JSON object"),
    ("[" * 60_000, "JSON object"), ('{"path":' * 5000, "JSON object"), ("\xff", "JSON object"),
], ids=range(12))
def test_wrong_question_is_refused(start, body, reason):
    platform = quiet(start)
    platform.ask(report())
    status, answer = platform.console.call("POST", GETS, body)
    assert status == 400 and reason in answer["error"]
    assert platform.console.call("POST", GETS.replace("1", "3"), {"path": "A"})[0] == 404


def test_code_is_ordered(watched):
    order = watched.console.post("/api/answers", {"kind": "SiteSpeed", "code": -3, "times": 2})
    assert order == {"number": 1, "kind": "SiteSpeed", "uuid": None, "times": 2, "left": 2, "code": -3, "bytes": None,
                     "fault": None, "gap_ms": 100}
    assert watched.ask(trace_route()).messages[0]["Code"] == 0
    assert watched.ask(site_speed()).messages[0]["Code"] == -3
    assert watched.console.get("/api/answers")["answers"][0]["left"] == 1
    assert [watched.ask(site_speed()).messages[0]["Code"] for _ in range(2)] == [-3, 0]
    assert watched.console.get("/api/answers") == {"answers": []}
    assert [row["by"] for row in watched.console.get("/api/exchanges")["exchanges"]] == ["scenario", "console", "console", "scenario"]


def test_code_is_ordered_for_one_gateway(watched):
    watched.console.post("/api/answers", {"kind": "Inform0", "code": -4, "uuid": OTHER})
    assert watched.ask(inform0()).messages[0]["Code"] == 0
    assert watched.ask(inform0(uuid=OTHER)).messages[0]["Code"] == -4


def test_literal_bytes_are_ordered(watched):
    order = watched.console.post("/api/answers", {"kind": "Report", "bytes": LITERAL})
    assert order["bytes"] == LITERAL
    assert watched.ask_raw(report()) == LITERAL.encode("latin-1")
    exchange = watched.console.get("/api/exchanges/1")
    assert (exchange["answer"], exchange["outcome"], exchange["by"]) == (LITERAL, "43 literal bytes", "console")
    assert watched.journal()[0]["answer"] == LITERAL


def test_connection_stays_after_literal_bytes(start):
    platform = quiet(start)
    platform.console.post("/api/answers", {"bytes": "x"})
    with platform.connect() as connection:
        connection.send(request(report()))
        assert connection.block() == b"x"
        connection.ask(inform0())


def test_get_in_literal_bytes_may_be_answered_and_need_not(start):
    platform = quiet(start)
    body = '["%s",{"RPCMethod":"Get","ObjectPath":"NUVEK.Counter","ID":7}]' % UUID
    literal = "HTTP/1.1 200 OK\r\nContent-Length: %d\r\n\r\n%s" % (len(body), body)
    platform.console.post("/api/answers", {"kind": "Report", "bytes": literal, "times": 2})
    with platform.connect() as connection:
        connection.ask(report())
        connection.ask(get_response("NUVEK.Counter", 7))
    platform.ask(report())
    assert [line["verdict"] for line in platform.journal()] == ["ok"] * 3


def test_registration_in_literal_bytes_counts(start):
    platform = quiet(start)
    body = '["%s",{"RPCMethod":"Inform0Response","RegID":"BY-HAND","ID":12345678,"Code":0}]' % UUID
    platform.console.post("/api/answers", {"bytes": "HTTP/1.1 200 OK\r\nContent-Length: %d\r\n\r\n%s" % (len(body), body)})
    platform.ask(inform0())
    gateway = platform.console.get("/api/gateways/" + UUID)
    assert (gateway["reg_id"], gateway["registered"]) == ("BY-HAND", True)


def test_fault_is_ordered(start):
    platform = start("SiteSpeed: {codes: [-3, 0]}", console=True)
    platform.console.post("/api/answers", {"fault": "not_found"})
    assert platform.ask_raw(site_speed()).startswith(b"HTTP/1.1 404 ")
    assert platform.ask(site_speed()).messages[0]["Code"] == -3, "a fault uses up no code"


def test_downloads_are_meant_only_by_name(start):
    platform = quiet(start)
    platform.console.post("/api/answers", {"fault": "not_found", "times": 2})
    with platform.connect() as connection:
        connection.send(b"GET /speedtest/x HTTP/1.1\r\nHost: x\r\n\r\n")
        assert connection.block().startswith(b"HTTP/1.1 200 OK")
    platform.console.post("/api/answers", {"kind": "SpeedTest", "fault": "server_error"})
    with platform.connect() as connection:
        connection.send(b"GET /speedtest/x HTTP/1.1\r\nHost: x\r\n\r\n")
        assert connection.block().startswith(b"HTTP/1.1 500")


def test_orders_go_ahead_of_the_scenario_in_their_order(start):
    platform = start("faults: [{do: server_error}]", console=True)
    platform.console.post("/api/answers", {"kind": "Inform0", "code": -1})
    platform.console.post("/api/answers", {"code": -2, "kind": "Inform0"})
    assert [platform.ask(inform0()).messages[0]["Code"] for _ in range(2)] == [-1, -2]
    assert platform.ask_raw(inform0()).startswith(b"HTTP/1.1 500")


def test_orders_are_taken_back(watched):
    for code in (-1, -2, -3):
        watched.console.post("/api/answers", {"kind": "Inform0", "code": code})
    status, body = watched.console.call("DELETE", "/api/answers/2")
    assert status == 200 and [order["code"] for order in body["answers"]] == [-1, -3]
    assert watched.console.call("DELETE", "/api/answers/2")[0] == 404
    assert watched.console.call("DELETE", "/api/answers") == (200, {"answers": []})
    assert watched.ask(inform0()).messages[0]["Code"] == 0


def test_orders_are_bounded(watched):
    for _ in range(64):
        watched.console.post("/api/answers", {"bytes": "x" * 16_384})
    assert watched.console.call("POST", "/api/answers", {"fault": "close"})[0] == 409


@pytest.mark.parametrize("body, reason", [
    ({}, "one of"), ({"code": 1, "fault": "close", "kind": "Inform0"}, "one of"), ({"fault": "explode"}, "fault"),
    ({"fault": ""}, "fault"), ({"code": 1}, "kind"), ({"code": 1, "kind": "Report"}, "kind"), ({"code": 2 ** 31, "kind": "Inform0"}, "code"),
    ({"code": 2 ** 64 - 1, "kind": "Inform0"}, "code"), ({"code": "1", "kind": "Inform0"}, "code"), ({"code": 1.5, "kind": "Inform0"}, "code"),
    ({"kind": "Nobody", "fault": "close"}, "kind"), ({"uuid": "x", "fault": "close"}, "uuid"), ({"times": 0, "fault": "close"}, "times"),
    ({"times": 1001, "fault": "close"}, "times"), ({"bytes": ""}, "bytes"), ({"bytes": "x" * 16_385}, "bytes"),
    ({"bytes": "\u0100"}, "bytes"), ({"bytes": 5}, "bytes"), ({"gap_ms": 60_001, "fault": "two_pieces"}, "gap_ms"), ({"colour": 1}, "colour"),
], ids=range(20))
def test_wrong_order_is_refused(watched, body, reason):
    status, answer = watched.console.call("POST", "/api/answers", body)
    assert status == 400 and reason in answer["error"]
    assert watched.console.get("/api/answers") == {"answers": []}


def test_scenario_is_told(start):
    platform = start("Report: {}\n", console=True)
    told = platform.console.get("/api/scenario")
    assert (told["source"], told["yaml"], told["error"]) == ("file", "Report: {}\n", None)
    assert told["file"].endswith("scenario.yaml")


def test_built_in_scenario_is_a_right_one(watched):
    told = watched.console.get("/api/scenario")
    assert (told["source"], told["file"]) == ("default", None)
    before = [path for path, _ in watched.ask(report()).gets()]
    assert watched.console.scenario(told["yaml"])[0] == 200
    assert [path for path, _ in watched.ask(report()).gets()] == before and len(before) == 5


def test_another_scenario_begins_with_its_first_step(start):
    platform = start("SiteSpeed: {codes: [-1, 0]}", console=True)
    assert [platform.ask(site_speed()).messages[0]["Code"] for _ in range(2)] == [-1, 0]
    status, told = platform.console.scenario("SiteSpeed: {codes: [-2, -3]}\nfaults: [{to: SiteSpeed, nth: 3, do: close}]")
    assert (status, told["source"]) == (200, "console")
    assert [platform.ask(site_speed()).messages[0]["Code"] for _ in range(2)] == [-2, -3]
    assert platform.ask_raw(site_speed()) == b""
    assert platform.ask(inform0()).messages[0]["RegID"] == "NUVEK-1"


@pytest.mark.parametrize("text, error", [
    ("Report:\n  delay_ms: soon\n", {"error": "line 2, column 13: expected a whole number from 0 to 3600000", "line": 2, "column": 13,
                                     "expected": "a whole number from 0 to 3600000"}),
    ("Inform0:\n    colour: red\n", {"error": 'line 2, column 5: unknown key "colour" in Inform0; known: codes, delay_ms, gets, reg_id',
                                     "line": 2, "column": 5, "expected": "one of codes, delay_ms, gets, reg_id"}),
    ("faults:\n  - {do: reset, nth: 1, from: 2}\n", {"error": "line 2, column 5: a fault has nth or from, not both", "line": 2, "column": 5,
                                                    "expected": None}),
    ("replay: /etc/passwd\n", {"error": "line 1, column 9: replay names a file, so it is for a scenario file only", "line": 1, "column": 9,
                               "expected": None}),
])
def test_wrong_scenario_changes_nothing(start, text, error):
    platform = start("Inform0: {codes: [-4]}", console=True)
    before = platform.console.get("/api/scenario")
    assert platform.console.scenario(text) == (400, error)
    assert platform.console.get("/api/scenario") == before
    assert platform.ask(inform0()).messages[0]["Code"] == -4


@pytest.mark.parametrize("text", ["", "a: b: c", "[" * 200_000, "\0", "&a [*a]", "- " * 100_000, "{a: " * 50_000, "? " * 100_000],
                         ids=range(8))
def test_wild_scenario_is_refused(watched, text):
    status, answer = watched.console.scenario(text)
    assert status == 400 and answer["error"]
    watched.ask(inform0())


def test_scenario_of_many_references_is_bounded(watched):
    text = "answers:\n  - &a {to: Report, bytes: \"%s\"}\n" % ("x" * 16_000) + "  - *a\n" * 300
    status, answer = watched.console.scenario(text)
    assert status == 400 and "at most 256 entries" in answer["error"]


def test_hangup_reads_the_file_again(start):
    platform = start("Inform0: {codes: [-1]}", console=True)
    file = platform.journal_file.parent / "scenario.yaml"
    with platform.console.events() as events:
        platform.console.scenario("Inform0: {codes: [-2]}")
        assert events.next("scenario")[2]["source"] == "console"
        file.write_text("Inform0: {codes: [-3]}")
        platform.process.send_signal(signal.SIGHUP)
        assert events.next("scenario")[2]["source"] == "file"
        assert platform.ask(inform0()).messages[0]["Code"] == -3
        file.write_text("Inform0:\n  codes: nothing\n")
        platform.process.send_signal(signal.SIGHUP)
        error = events.next("scenario")[2]["error"]
    assert (error["line"], error["column"], error["expected"]) == (2, 10, "a list of whole numbers")
    assert platform.console.get("/api/scenario")["error"] == error
    assert platform.ask(inform0()).messages[0]["Code"] == -3
    status, _, errors = platform.stop()
    assert status == 0 and errors.endswith("scenario.yaml:2: codes must be a list of whole numbers; the scenario stays as it was\n")


def test_hangup_without_a_scenario_file_does_nothing(platform):
    platform.process.send_signal(signal.SIGHUP)
    platform.ask(inform0())


def test_hangup_without_a_console(start):
    platform = start("Inform0: {codes: [-1]}")
    (platform.journal_file.parent / "scenario.yaml").write_text("Inform0: {codes: [-3]}")
    platform.process.send_signal(signal.SIGHUP)
    wait_for(lambda: platform.ask(inform0()).messages[0]["Code"] == -3, "the other scenario")
