"""script/agent: agents against a platform, and the check of one."""
import json
import re

import pytest
from project import begin, processes_with, read_until, run

# What the platform does to each report, and the rule that is broken by it.
FAULTS = {"close": "connection", "reset": "connection", "silence": "answer", "not_found": "status", "server_error": "status",
          "garbage": "http", "two_pieces": "one block", "wrong_length": "length", "oversize": "size"}


def check(platform):
    done = run("agent", "--check", "--platform", f"127.0.0.1:{platform.port}")
    found = re.findall(r"^   (kept|broken|not seen) +(.+?)  ", done.stdout, re.MULTILINE)
    states = {name: state for state, name in found}
    assert len(states) == 13, done.stdout + done.stderr
    return done, states


def test_our_own_platform_keeps_every_rule(start):
    scenario = "SiteSpeed: {codes: [-3, -2, 0]}\nReport: {gets: [[NUVEK.DeviceInfo, NUVEK.Counter], []]}\n"
    done, states = check(start(scenario))
    assert set(states.values()) == {"kept"}, done.stdout
    assert done.returncode == 0
    assert "2 of them answers to questions; 2 back-offs" in done.stdout


@pytest.mark.parametrize("fault", FAULTS)
def test_each_fault_breaks_its_rule_and_no_other(start, fault):
    done, states = check(start(f"faults: [{{to: Report, do: {fault}}}]"))
    assert [name for name, state in states.items() if state == "broken"] == [FAULTS[fault]], done.stdout
    assert "so the gateway: " in done.stdout
    assert done.returncode == 1


def literally(kind, body):
    head = f"HTTP/1.1 200 OK\\r\\nContent-Length: {len(body)}\\r\\n\\r\\n"
    return 'answers: [{to: %s, bytes: "%s%s"}]' % (kind, head, body.replace('"', '\\"'))


@pytest.mark.parametrize(("scenario", "rule"), [
    ("SiteSpeed: {codes: [7]}", "codes"),
    ("Inform0: {codes: [-1]}", "registration"),
    (literally("Report", '["u",{"RPCMethod":"Reboot","ID":1}]'), "array"),
    (literally("TraceRoute", "[{}]"), "results"),
    (literally("TraceRoute", '["u",{"RPCMethod":"ResultResponse","ID":1,"Code":0}]'), "identifiers"),
], ids=["unknown code", "refused registration", "unknown message", "no ResultResponse", "another identifier"])
def test_each_wrong_answer_breaks_its_rule_and_no_other(start, scenario, rule):
    done, states = check(start(scenario))
    assert [name for name, state in states.items() if state == "broken"] == [rule], done.stdout
    assert done.returncode == 1


def test_a_platform_that_is_not_there_is_told():
    done = run("agent", "--check", "--platform", "127.0.0.1:1")
    assert "the platform took no connection" in done.stdout, done.stdout + done.stderr
    assert done.returncode == 1


def test_many_agents_register_each_as_itself_and_leave_nothing(start, tmp_path):
    platform = start()
    kept = tmp_path / "kept"
    agents = begin("agent", "-n", "5", "--fast", "--keep", str(kept), "--platform", f"127.0.0.1:{platform.port}")
    read_until(agents, "5 of 5 registered")
    agents.terminate()
    agents.communicate(timeout=20)
    assert agents.returncode == 0
    assert not processes_with(str(kept))
    informed = [json.loads(entry["request"].split("\r\n\r\n")[1]) for entry in platform.journal() if entry["kind"] == "Inform0"]
    assert len({body[0] for body in informed}) == 5
    assert len({body[1]["Params"]["NUVEK"]["DeviceInfo"]["SerialNum"] for body in informed}) == 5
    assert all((kept / str(number) / "agent.log").stat().st_size for number in range(1, 6))
    assert all((kept / str(number) / "var/lib/tcapi/flash").exists() for number in range(1, 6))


@pytest.mark.parametrize("words", [
    [], ["--platform", "127.0.0.1:x"], ["--platform", "127.0.0.1", "-n", "0"], ["--platform", ":80"],
    ["--platform", "127.0.0.1", "--check", "-n", "2"], ["--platform", "127.0.0.1", "--keep", "/proc"],
])
def test_wrong_words_end_with_2_before_any_work(words):
    done = run("agent", *words)
    assert (done.returncode, done.stdout) == (2, "")
