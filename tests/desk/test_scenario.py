"""Scenario files: a wrong one is refused with file, line and reason; the samples are right."""
import pathlib
import subprocess

import pytest
from conftest import program
from gateway import inform0, report, site_speed

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
