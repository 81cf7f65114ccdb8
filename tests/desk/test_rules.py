"""What the check of a platform finds in an answer: the right rule, and no other."""
import json
import pathlib
import sys

import pytest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2]))
from desk.agents.relay import Exchange, whole_message  # noqa: E402
from desk.agents.rules import RULES, Break, break_of, verdicts  # noqa: E402

UUID = "1e3b7c90-8d2a-11ee-8a3b-001122334455"
INFORM = {"RPCMethod": "Inform0Response", "ObjectPath": "NUVEK.DeviceInfo", "RegID": "R-1", "ID": 12345678, "Code": 0}
RESULT = {"RPCMethod": "ResultResponse", "ID": 12345678, "Code": -3}
GET = {"RPCMethod": "Get", "ObjectPath": "NUVEK.Counter", "ID": 7}


def request(kind="Inform0"):
    inner = {"Report": "", "Inform0": ',{"RPCMethod":"Inform0","ID":12345678}',
             "SiteSpeed": ',{"RPCMethod":"Result","ID":12345678,"ObjectPath":"NUVEK.SiteSpeed"}'}[kind]
    body = f'["{UUID}"{inner}]'
    return f"POST /reg/ HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Length: {len(body)}\r\n\r\n{body}".encode()


def block(*messages, body=None, length=None, status="200 OK", head=""):
    body = json.dumps([UUID, *messages], separators=(",", ":")) if body is None else body
    return (f"HTTP/1.1 {status}\r\n{head}Content-Length: {len(body) if length is None else length}\r\n\r\n{body}").encode()


def exchange(*pieces, kind="Inform0", end=None):
    made = Exchange(request(kind))
    made.pieces, made.end = list(pieces), end
    return made


GOOD = block(INFORM, GET)

BROKEN = {
    "silence": ("answer", exchange(end="silence")),
    "closed": ("connection", exchange(end="closed")),
    "reset": ("connection", exchange(end="reset")),
    "refused": ("connection", exchange(end="refused")),
    "two pieces": ("one block", exchange(GOOD[:60], GOOD[60:])),
    "garbage": ("http", exchange(b"\x00\xff garbage")),
    "no end of the head": ("http", exchange(b"HTTP/1.1 200 OK\r\nContent-Length: 2")),
    "404": ("status", exchange(block(body="", status="404 Not Found"))),
    "another phrase": ("status", exchange(block(INFORM, status="200 Fine"))),
    "1025 bytes": ("size", exchange(block(INFORM, head="X: " + "." * (1025 - len(block(INFORM)) - 5) + "\r\n"))),
    "ten times the length": ("length", exchange(block(INFORM, length=1000))),
    "no length": ("length", exchange(GOOD.replace(b"Content-Length", b"X"))),
    "length twice": ("length", exchange(block(INFORM, head="Content-Length: 3\r\n"))),
    "bracket in the head": ("array", exchange(block(INFORM, head="X: [\r\n"))),
    "no array": ("array", exchange(block(body="{}"))),
    "bracket inside": ("array", exchange(block({**INFORM, "RegID": "R]1"}))),
    "not JSON": ("array", exchange(block(body='["u",{"RPCMethod":}]'))),
    "nested": ("array", exchange(block({**INFORM, "Extra": {}}))),
    "long RegID": ("array", exchange(block({**INFORM, "RegID": "R" * 128}))),
    "unknown method": ("array", exchange(block({**INFORM, "RPCMethod": "Reboot"}))),
    "message in the UUID's place": ("array", exchange(block(body=json.dumps([INFORM])))),
    "another ID": ("identifiers", exchange(block({**INFORM, "ID": 12345679}))),
    "ID as a text": ("identifiers", exchange(block({**INFORM, "ID": "12345678"}))),
    "two questions with one ID": ("identifiers", exchange(block(INFORM, GET, GET))),
    "no such code": ("codes", exchange(block({**INFORM, "Code": 7}))),
    "no such result code": ("codes", exchange(block({**RESULT, "Code": -5}), kind="SiteSpeed")),
    "result without a response": ("results", exchange(block(GET), kind="SiteSpeed")),
    "registration without a response": ("registration", exchange(block(GET))),
    "registration without a RegID": ("registration", exchange(block({**INFORM, "RegID": ""}))),
}


def broken_rules(exchanges, bad_moments=False):
    return [name for name, state, _ in verdicts(exchanges, bad_moments) if state == "broken"]


@pytest.mark.parametrize("name", BROKEN)
def test_each_fault_breaks_its_rule_and_no_other(name):
    rule, made = BROKEN[name]
    assert break_of(made).rule == rule
    assert broken_rules([exchange(GOOD), exchange(block(RESULT), kind="SiteSpeed"), made]) == [rule]


@pytest.mark.parametrize("good", [
    exchange(GOOD), exchange(block(RESULT), kind="SiteSpeed"), exchange(block(GET), kind="Report"),
    exchange(block(body="[{}]"), kind="Report"), exchange(block(body=f'["{UUID}"]'), kind="Report"),
    exchange(block(INFORM, head="X: " + "." * (1024 - len(block(INFORM)) - 5) + "\r\n")),
    exchange(block({**INFORM, "RegID": "R" * 127})),
], ids=["registration", "refused result", "question", "empty object", "nothing to say", "1024 bytes", "longest RegID"])
def test_what_a_gateway_reads_breaks_nothing(good):
    assert break_of(good) is None


def test_a_registration_refused_again_and_again_is_a_storm():
    refused = exchange(block({**INFORM, "Code": -1}))
    assert broken_rules([refused] * 2 + [exchange(GOOD)]) == []
    assert broken_rules([refused] * 3) == ["registration"]


def test_what_was_not_played_is_not_kept():
    states = {name: state for name, state, _ in verdicts([exchange(block(GET), kind="Report")], None)}
    assert {name for name, state in states.items() if state == "not seen"} == {"results", "registration", "bad moments"}
    assert {state for state in states.values()} == {"kept", "not seen"}
    assert {state for _, state, _ in verdicts([], None)} == {"not seen"}


def test_bad_moments_have_a_rule_of_their_own():
    assert broken_rules([exchange(GOOD)], Break("bad moments", "no answer")) == ["bad moments"]


def test_every_rule_says_what_the_gateway_does():
    assert all(len(rule) == 3 and all(rule) for rule in RULES)


def test_a_request_is_whole_with_its_last_byte():
    whole = request("Report")
    assert [whole_message(whole[:-1]), whole_message(whole), whole_message(whole + b"POST")] == [None, len(whole), len(whole)]
