"""Journal, time line and the end of the program."""
import re
import signal
import subprocess

import pytest
from conftest import program
from gateway import UUID, get_response, inform0, report, request, site_speed


def test_journal_holds_the_whole_exchange(platform):
    with platform.connect() as connection:
        port = connection.socket.getsockname()[1]
        answer = connection.ask(inform0())
    (line,) = platform.journal()
    assert re.fullmatch(r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z", line.pop("time"))
    assert line == {
        "peer": "127.0.0.1:%d" % port, "kind": "Inform0", "verdict": "ok", "uuid": UUID, "id": 12345678,
        "path": "NUVEK.DeviceInfo", "code": 0, "outcome": "Inform0Response RegID NUVEK-1 Code 0",
        "request": request(inform0()).decode(), "answer": answer.block.decode()}


def test_journal_line_is_there_when_the_answer_is(platform):
    with platform.connect() as connection:
        for count in range(1, 50):
            connection.ask(inform0())
            assert len(platform.journal()) == count


def test_journal_tells_code_of_each_side(start):
    platform = start("SiteSpeed: {codes: [-3]}\nReport: {gets: [[NUVEK.Unknown]]}")
    platform.ask(site_speed())
    with platform.connect() as connection:
        path, identifier = connection.ask(report()).gets()[0]
        connection.ask(get_response(path, identifier))
    rows = [(line["kind"], line["id"], line["code"]) for line in platform.journal()]
    assert rows == [("SiteSpeed", 23456789, -3), ("Report", None, None), ("GetResponse", identifier, -1)]


def test_journal_keeps_every_byte(platform):
    wild = bytes(range(256))
    with platform.connect() as connection:
        connection.send(wild)
        connection.block()
    assert platform.journal()[0]["request"].encode("latin-1") == wild


def test_journal_is_continued_not_overwritten(tmp_path):
    journal = tmp_path / "journal"
    journal.write_text("before\n")
    process = subprocess.Popen([program(), "--port", "0", "--journal", str(journal)], stdout=subprocess.PIPE)
    process.stdout.readline()
    process.terminate()
    assert process.wait(10) == 0 and journal.read_text() == "before\n"


@pytest.mark.parametrize("option", ["--journal", "--port-file"])
def test_file_that_cannot_be_written_is_refused(tmp_path, option):
    done = subprocess.run([program(), "--port", "0", option, str(tmp_path / "no" / "file")], capture_output=True, text=True, timeout=10)
    assert done.returncode == 1 and "cannot write" in done.stderr


def test_full_disk_is_reported_once_and_the_platform_goes_on(start):
    platform = start(None, "--journal", "/dev/full")
    for _ in range(3):
        platform.ask(inform0())
    status, out, errors = platform.stop()
    assert errors == "nuvek-platform: cannot write the journal /dev/full: No space left on device; it ends here\n"
    assert status == 1 and "Inform0 3" in out


def test_journal_that_fills_up_ends_with_a_whole_line(start, tmp_path):
    limit = 'trap "" XFSZ; ulimit -f 8; exec "$@"'  # in blocks of 512 bytes for dash, of 1,024 for others
    platform = start(None, shell_prefix=["sh", "-c", limit, "sh"])
    for _ in range(20):
        platform.ask(inform0())
    text = platform.journal_file.read_text()
    assert text.endswith("}\n") and 2 <= len(platform.journal()) < 20
    status, out, errors = platform.stop()
    assert status == 1 and "Inform0 20" in out and errors.count("cannot write the journal") == 1


@pytest.mark.parametrize("with_signal", [signal.SIGTERM, signal.SIGINT])
def test_signal_ends_it_with_a_summary(platform, with_signal):
    with platform.connect() as open_connection:
        open_connection.send(b"POST")
        platform.ask(inform0())
        platform.ask(site_speed())
        status, out, errors = platform.stop(with_signal)
    assert (status, errors) == (0, "")
    assert out.splitlines()[-1] == ("Summary: gateways 1, Inform0 1, Report 0, SiteSpeed 1, TraceRoute 0, GetResponse 0, "
                                    "SpeedTest 0, Bad 0; findings 0")


def test_time_line_has_one_line_an_event(start):
    platform = start("Report: {gets: [[NUVEK.Counter]]}")
    platform.ask(inform0())
    with platform.connect() as connection:
        path, identifier = connection.ask(report()).gets()[0]
        connection.ask(get_response(path, identifier))
    platform.findings_of("bad")
    _, out, _ = platform.stop()
    lines = out.split("\n\nSummary")[0].splitlines()[1:]
    told = [re.sub(" +", " ", re.sub(r"^\d\d:\d\d:\d\d\.\d{3} ", "", line)) for line in lines]
    assert told[:3] == [
        " 1e3b7c90 Inform0 12345678 -> Inform0Response RegID NUVEK-1 Code 0",
        " 1e3b7c90 Report -> Get NUVEK.Counter %d" % identifier,
        " 1e3b7c90 GetResponse %d NUVEK.Counter Code 0 -> acknowledged" % identifier]
    assert told[3].startswith(" - Bad -> 400 Bad Request FINDING: body is not JSON: ") and len(told) == 4


def test_strict_ends_with_status_3_after_findings(start):
    clean, dirty = start(None, "--strict"), start(None, "--strict")
    clean.ask(inform0())
    dirty.findings_of("bad")
    assert clean.stop()[0] == 0
    assert dirty.stop()[0] == 3


@pytest.mark.parametrize("options, reason", [
    (["--port", "65536"], "--port"), (["--port", "x"], "--port"), (["--address", "nowhere"], "--address"),
    (["--colour"], "--colour"), (["stray"], "stray"), (["--journal"], "--journal")])
def test_wrong_option_is_refused(options, reason):
    done = subprocess.run([program(), *options], capture_output=True, text=True, timeout=10)
    assert done.returncode == 2 and done.stdout == "" and reason in done.stderr


def test_port_in_use_is_refused(platform):
    done = subprocess.run([program(), "--address", "127.0.0.1", "--port", str(platform.port)], capture_output=True, text=True, timeout=10)
    assert done.returncode == 1
    assert done.stderr == "nuvek-platform: cannot listen on 127.0.0.1 port %d: Address already in use\n" % platform.port


def test_first_line_and_port_file_name_the_port(platform):
    assert platform.out.read_text() == "nuvek-platform listens on 127.0.0.1 port %d\n" % platform.port


def test_help(platform):
    done = subprocess.run([program(), "--help"], capture_output=True, text=True, timeout=10)
    assert done.returncode == 0 and done.stderr == ""
    for word in ("--address", "--port", "--port-file", "--scenario", "--journal", "--strict", "reg_id", "two_pieces", "Examples"):
        assert word in done.stdout
    assert max(len(line) for line in done.stdout.splitlines()) <= 120
