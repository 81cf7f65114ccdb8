"""Scenario files: a wrong one is refused with file, line and reason; the samples are right."""
import json
import pathlib
import subprocess

import pytest
from conftest import program
from gateway import UUID, Answer, get_response, inform0, report, site_speed, trace_route

OTHER = "2" + UUID[1:]
KINDS = ("Inform0", "Report", "SiteSpeed", "TraceRoute", "GetResponse", "SpeedTest", "Bad")

SAMPLES = pathlib.Path(__file__).resolve().parents[2] / "desk/platform_server/scenarios"


def refusal(path):
    done = subprocess.run([program(), "--port", "0", "--scenario", str(path)], capture_output=True, text=True, timeout=10)
    assert done.returncode == 1 and done.stdout == ""
    return done.stderr


@pytest.mark.parametrize("text, line, reason", [
    ("Inform0:\n  colour: red\n", 2, 'unknown key "colour" in Inform0; known: codes, delay_ms, gets, reg_id'),
    ("\n\nRegister: {}\n", 3, 'unknown key "Register" in the scenario'),
    ("Report: {codes: [0]}", 1, 'unknown key "codes" in Report'),
    ("GetResponse: {gets: [[A]]}", 1, 'unknown key "gets" in GetResponse'),
    ("Report:\n  delay_ms: 1\n  delay_ms: 2\n", 3, 'key "delay_ms" stands twice'),
    ("Report:\n  delay_ms: soon\n", 2, "expected a whole number from 0 to 3600000"),
    ("Report:\n  delay_ms: '5'\n", 2, "expected a whole number"),
    ("Report:\n  delay_ms: 1.5\n", 2, "expected a whole number"),
    ("Report:\n  delay_ms: -1\n", 2, "expected a whole number"),
    ("Report:\n  delay_ms: 3600001\n", 2, "expected a whole number"),
    ("Report:\n  delay_ms: 99999999999999999999\n", 2, "expected a whole number"),
    ("Report:\n  delay_ms: [1]\n", 2, "expected a whole number"),
    ("Report:\n  delay_ms:\n", 2, 'key "delay_ms" has no value'),
    ("Report: 5", 1, "Report must be a map of: delay_ms, gets"),
    ("SiteSpeed:\n  codes: 0\n", 2, "codes must be a list"),
    ("SiteSpeed:\n  codes: []\n", 2, "codes must hold at least one code"),
    ("SiteSpeed:\n  codes:\n    - 0\n    - 2147483648\n", 4, "expected a whole number from -2147483648 to 2147483647"),
    ("Report:\n  gets: [NUVEK.Counter]\n", 2, "gets must be a list of lists"),
    ("Report:\n  gets:\n    - [A]\n    - ['a b']\n", 4, "an object path has 1 to 31 letters"),
    ("Report:\n  gets:\n    - [%s]\n" % ("x" * 32), 3, "an object path has 1 to 31 letters"),
    ("Report:\n  gets:\n    - [A,A,A,A,A,A,A,A,A]\n", 3, "more than 8 Gets"),
    ("Inform0:\n  reg_id: 'a]b'\n", 2, "reg_id may hold printable ASCII"),
    ("Inform0:\n  reg_id: '{x}'\n", 2, "reg_id may hold printable ASCII"),
    ("Inform0:\n  reg_id: ''\n", 2, "reg_id must be a text"),
    ("Inform0:\n  reg_id: '%s{n}'\n" % ("r" * 89), 2, "reg_id can get longer than 95 bytes"),
    ("faults:\n  - {to: Nobody, do: reset}\n", 2, 'unknown kind "Nobody"; known: Bad, GetResponse'),
    ("faults:\n  - {do: explode}\n", 2, 'unknown fault "explode"; known: close, garbage'),
    ("faults:\n  - {to: Report}\n", 2, 'a fault needs "do"'),
    ("faults:\n  - {do: reset,\n     nth: 0}\n", 3, "expected a whole number from 1"),
    ("faults:\n  - {do: reset, nth: 1, from: 2}\n", 2, "nth or from, not both"),
    ("faults: reset", 1, "faults must be a list"),
    ("faults:\n  - {do: reset, uuid: x}\n", 2, "uuid must be 8-4-4-4-12 hex digits in lower case"),
    ("faults:\n  - {do: reset, code: 0}\n", 2, 'unknown key "code" in a fault; known: do, from, gap_ms, nth, to, uuid'),
    ("answers:\n  - {to: Report, do: reset}\n", 2, 'unknown key "do" in an answer; known: bytes, code, from, nth, to, uuid'),
    ("answers:\n  - {to: Inform0}\n", 2, "an answer needs code or bytes, and not both"),
    ("answers:\n  - {to: Inform0, code: 0, bytes: x}\n", 2, "an answer needs code or bytes, and not both"),
    ("answers:\n  - {to: Report, code: 0}\n", 2, "only answers to Inform0, SiteSpeed and TraceRoute have a code"),
    ("answers:\n  - {code: 0}\n", 2, "only answers to Inform0"),
    ('answers:\n  - {bytes: "\\u0100"}\n', 2, "bytes must be 1 to 16384 characters up to U+00FF, one a byte"),
    ("answers:\n  - {bytes: %s}\n" % ("x" * 16385), 2, "bytes must be 1 to 16384 characters"),
    ("answers:\n  - {to: Report, bytes: ''}\n", 2, "bytes must be a text"),
    ("answers: {}", 1, "answers must be a list"),
    ("Report:\n  gets: [%s]\n" % ("[]," * 10_001), 2, "gets must have at most 10000 entries"),
    ("replay: /nowhere/journal", 1, "replay: /nowhere/journal: cannot be read: No such file or directory"),
    ("replay: /dev/zero", 1, "replay: /dev/zero: "),
    ("replay: .", 1, ""),
    ("SpeedTest:\n  bytes: 5\n  duration_s: 5\n", 3, "bytes or duration_s, not both"),
    ("on_finding: shrug", 1, 'unknown on_finding "shrug"; known: answer, refuse'),
    ("Report:\n  gets: [[A]\nInform0: {}\n", 3, ""),
    ("Report: &a [*b]", 1, ""),
    ("a: b: c", 1, ""),
    ("\tReport: {}", 1, ""),
    ("--- {}\n--- {}\n", 1, "expected one YAML document"),
    (",Inform0: {}\n", 1, "expected one YAML document"),
    ("", 1, "expected one YAML document, found none"),
    ("# nothing\n", 1, ""),
    ("- a\n", 1, "the scenario must be a map"),
    ("[" * 100_000, 1, ""),
    ("\0\x01\xff", 1, ""),
])
def test_wrong_scenario_is_refused_with_line_and_reason(tmp_path, text, line, reason):
    file = tmp_path / "wrong.yaml"
    file.write_bytes(text.encode("latin-1"))
    message = refusal(file)
    assert message.startswith("nuvek-platform: %s:%d: " % (file, line)), message
    assert reason in message and message.count("\n") == 1


@pytest.mark.parametrize("name", ["absent.yaml", "."])
def test_scenario_that_cannot_be_read_is_refused(tmp_path, name):
    assert "cannot be read: " in refusal(tmp_path / name)


def test_story_sample(start):
    platform = start((SAMPLES / "story.yaml").read_text())
    assert platform.ask(inform0()).messages[0]["Code"] == 0
    assert [len(platform.ask(report()).gets()) for _ in range(3)] == [6, 1, 0]
    assert [platform.ask(site_speed()).messages[0]["Code"] for _ in range(2)] == [-3, 0]


def test_every_sample_is_accepted(start):
    samples = sorted(SAMPLES.glob("*.yaml"))
    assert samples
    for sample in samples:
        start(sample.read_text())


def test_the_defaults_told_by_the_help_are_a_right_scenario(start):
    text = subprocess.run([program(), "--help"], capture_output=True, text=True).stdout
    block = text.split("shown with its default):\n")[1].split("\n\n")[0]
    assert "duration_s: 10" in block
    start("\n".join(line[2:] for line in block.splitlines() if "duration_s" not in line))  # the one key besides bytes


def test_fault_for_one_gateway(start):
    platform = start("faults: [{to: Inform0, uuid: %s, do: not_found}]" % OTHER)
    platform.ask(inform0())
    assert platform.ask_raw(inform0(uuid=OTHER)).startswith(b"HTTP/1.1 404")


def test_code_for_one_gateway_and_turn(start):
    platform = start("answers: [{to: SiteSpeed, uuid: %s, nth: 2, code: -2}]" % OTHER)
    assert [platform.ask(site_speed()).messages[0]["Code"] for _ in range(2)] == [0, 0]
    assert [platform.ask(site_speed(uuid=OTHER)).messages[0]["Code"] for _ in range(3)] == [0, -2, 0]


def test_literal_answer(start):
    platform = start(r'''answers: [{to: Report, from: 2, bytes: "HTTP/1.1 200 OK\r\nX: \xff\0\r\n\r\n"}]''')
    platform.ask(report())
    for _ in range(2):
        assert platform.ask_raw(report()) == b"HTTP/1.1 200 OK\r\nX: \xff\0\r\n\r\n"
    assert platform.journal(at_least=2)[-1]["outcome"] == "26 literal bytes"


def test_first_rule_that_fits_is_played(start):
    platform = start("faults: [{to: Inform0, nth: 1, do: not_found}]\nanswers: [{to: Inform0, bytes: x}]")
    assert platform.ask_raw(inform0()).startswith(b"HTTP/1.1 404") and platform.ask_raw(inform0()) == b"x"


def record(start):
    """A journal: a refused registration and its repetition, a report with Gets, a fault, a literal answer."""
    platform = start("Inform0: {codes: [-3, 0], reg_id: 'OLD-{n}'}\nReport: {gets: [[NUVEK.Counter], []]}\n"
                     "faults: [{to: SiteSpeed, nth: 1, do: reset}]\nanswers: [{to: TraceRoute, bytes: literal}]")
    play(platform, UUID)
    return platform.journal()


def play(platform, uuid, first="12345678", second="87654321"):
    """The same messages as another gateway, with identifiers of its own; gives what came back."""
    answers = [platform.ask(inform0(first, uuid=uuid)).block, platform.ask(inform0(second, uuid=uuid)).block]
    with platform.connect() as connection:
        answers.append(connection.ask(report(uuid=uuid)).block)
        (get,) = Answer(answers[-1]).gets()
        answers.append(connection.ask(get_response("NUVEK.Counter", get[1], uuid=uuid)).block)
    try:
        answers.append(platform.ask_raw(site_speed(uuid=uuid)))
    except ConnectionResetError:
        answers.append("reset")
    answers.append(platform.ask_raw(trace_route(uuid=uuid)))
    return answers


def test_journal_is_replayed_to_another_gateway(start, tmp_path):
    recorded = record(start)
    (tmp_path / "exchanges.jsonl").write_text("".join(json.dumps(line) + "\n" for line in recorded))
    (tmp_path / "replay.yaml").write_text("replay: exchanges.jsonl\nInform0: {codes: [-1]}")
    platform = start(None, "--scenario", str(tmp_path / "replay.yaml"))
    answers = play(platform, OTHER, "13572468", "24681357")
    first, second = Answer(answers[0]), Answer(answers[1])
    assert (first.uuid, first.messages[0]["RegID"], first.messages[0]["ID"], first.messages[0]["Code"]) == (OTHER, "OLD-1", 13572468, -3)
    assert (second.messages[0]["ID"], second.messages[0]["Code"]) == (24681357, 0)
    assert answers[4:] == ["reset", b"literal"]
    assert [line["verdict"] for line in platform.journal()] == ["ok"] * 6
    assert platform.ask(inform0(uuid=OTHER)).messages[0]["Code"] == -1, "used up: the scenario goes on"


def test_each_gateway_gets_what_it_got(start, tmp_path):
    platform = start("Inform0: {reg_id: 'R{n}'}")
    platform.ask(inform0())
    platform.ask(inform0(uuid=OTHER))
    platform.stop()
    (tmp_path / "replay.yaml").write_text("replay: %s" % platform.journal_file)
    again = start(None, "--scenario", str(tmp_path / "replay.yaml"), console=True)
    assert again.ask(inform0(uuid=OTHER)).messages[0]["RegID"] == "R2"
    assert again.ask(inform0()).messages[0]["RegID"] == "R1"
    assert again.console.get("/api/exchanges/1")["by"] == "replay"
    assert again.console.get("/api/gateways/" + OTHER)["reg_id"] == "R2"


@pytest.mark.parametrize("text, reason", [
    ("", "holds no exchange of a gateway"), ("{}\n", ":1: no line of a journal"), ("[]\n", ":1: no line"), ("x\n", ":1: no line"),
    ('{"kind":"Report","answer":"","uuid":"","id":null,"outcome":"","request":""}\n{"kind":"Nothing"}\n', ":2: no line of a journal"),
    ('{"kind":"Report","answer":"\\u0100","uuid":"","id":null,"outcome":"","request":""}\n', ":1: no line of a journal"),
], ids=range(6))
def test_wrong_journal_is_refused(tmp_path, text, reason):
    (tmp_path / "journal").write_text(text)
    (tmp_path / "replay.yaml").write_text("Report: {}\nreplay: journal\n")
    message = refusal(tmp_path / "replay.yaml")
    assert message.startswith("nuvek-platform: %s:2: replay: %s" % (tmp_path / "replay.yaml", tmp_path / "journal")) and reason in message


def test_the_manual_page_sample_and_its_keys(start):
    """The sample is a right scenario, and the tables explain each key that the reader knows."""
    page = (SAMPLES.parents[2] / "man/nuvek-platform.1.in").read_text()
    sample = page.split(".\\\" sample begins\n.Bd -literal\n")[1].split(".Ed")[0].replace("\\e", "\\")
    platform = start(sample)
    known = set()
    for text in ("x: 1", *("%s: {x: 1}" % kind for kind in KINDS), "faults: [{x: 1}]", "answers: [{x: 1}]"):
        file = platform.journal_file.parent / "probe.yaml"
        file.write_text(text)
        known |= set(refusal(file).strip().split("known: ")[1].split(", "))
    explained = {line.split()[2] for line in page.splitlines() if line.startswith(".It Va ")}
    assert known == explained
