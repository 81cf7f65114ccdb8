"""script/run --stay and script/desk: a desk is seen and driven from any folder, and leaves nothing behind."""
import os
import pathlib
import re
import shlex
import signal
import subprocess
import sys

import pytest
from project import PROJECT, begin, environment, processes_with, read_until, run

sys.path.insert(0, str(PROJECT))
from desk.line import shown  # noqa: E402
from desk.line.client import address_of  # noqa: E402
from desk.story.actions import Desk, parse_store  # noqa: E402
from desk.story.control import Refused  # noqa: E402


class StayingDesk:
    def __init__(self):
        self.process = begin("run", "--fast", "--stay", "--loopback")
        lines, found = read_until(self.process, r"all of it is in (\S+) ")
        self.folder = pathlib.Path(found[1])
        self.port = int(re.search(r"in a browser: +http://127\.0\.0\.1:(\d+)/", "".join(lines))[1])
        self.hints = dict(re.findall(r"^   ([a-z ,]+): +(\S*script/desk .*)$", "".join(lines), re.MULTILINE))

    def command(self, words):
        done = subprocess.run(words, cwd="/", env=environment(), capture_output=True, text=True, timeout=60, check=False)
        assert done.returncode == 0, done.stdout + done.stderr
        return done.stdout

    def hint(self, what):
        return self.command(shlex.split(self.hints[what]))

    def line(self, *words):
        return self.command([PROJECT / "script" / "desk", "--console", str(self.port), *words])

    def watch(self):
        watching = begin("desk", "--console", str(self.port), "watch")
        read_until(watching, "^-- platform ")
        return watching

    def pid(self, program):
        return next(int(folder.name) for folder in pathlib.Path("/proc").glob("[0-9]*")
                    if (folder / "cmdline").exists() and (words := (folder / "cmdline").read_bytes().split(b"\0"))
                    and words[0].endswith(b"/" + program) and str(self.folder).encode() in (folder / "environ").read_bytes()
                    + b"\0".join(words))


@pytest.fixture(scope="module")
def desk():
    staying = StayingDesk()
    yield staying
    staying.process.terminate()
    staying.process.communicate(timeout=20)


@pytest.fixture
def watch(desk):
    watching = desk.watch()
    yield watching
    watching.terminate()
    watching.communicate(timeout=20)


def test_a_location_unlocked_and_posted_again_reaches_the_platform(desk, watch):
    assert "unlocked" in desk.hint("unlock the location")
    assert "'Result': 0" in desk.hint("post another one")
    read_until(watch, "Inform0 .*-> Inform0Response")
    told = desk.hint("one of them, whole")
    assert "longitude 2.35°, latitude 48.85°" in told
    assert "locked" in told


def test_a_locked_location_is_told(desk):
    desk.line("unlock")
    desk.line("post", "Longitude=1", "Latitude=2")
    assert "unlock first" in desk.line("post", "Longitude=3", "Latitude=4")


def test_a_question_is_asked_at_the_next_report(desk, watch):
    desk.hint("ask a question")
    desk.hint("a report now")
    read_until(watch, "-> .*Get NUVEK.Counter")
    read_until(watch, "GetResponse +NUVEK.Counter")


def test_refused_results_are_backed_off(desk, watch):
    desk.line("agent", "restart")
    desk.hint("refuse two results")
    desk.hint("and measure now")
    for code in (-3, -3, 0):
        read_until(watch, f"SiteSpeed .*-> ResultResponse Code {code}\\b")
    waits = re.findall(r"code -3, (\d+) s, came after", desk.line("show"))
    assert waits[-1] == str(2 * int(waits[-2]))


def test_a_broken_answer_is_ordered_and_taken_back(desk):
    assert "two_pieces" in desk.hint("break an answer")
    assert desk.line("answers", "--clear") == "no ordered answer waits\n"


def test_a_power_cut_loses_what_was_not_saved(desk):
    desk.line("store", "nuvek_Server", "ReportCycle", "60")
    desk.line("save")
    desk.hint("and write it")
    desk.line("store", "nuvek_Server", "ReportCycle", "77")
    assert desk.line("store", "nuvek_Server", "ReportCycle") == "77\n"
    desk.hint("cut the power")
    assert desk.line("store", "nuvek_Server", "ReportCycle") == "60\n"


def test_every_other_hint_does_what_it_says(desk):
    assert "NUVEK-1" in desk.hint("what there is")
    assert "[nuvek_Common]\n" in desk.hint("read the store")
    assert "restarted" in desk.hint("restart the agent")
    assert "NUVEK DEBUG" in desk.hint("its log")


def test_the_clock_gate_and_the_agent_obey(desk):
    assert "closed" in desk.line("clock", "close")
    assert "clock gate closed" in desk.line("show")
    desk.line("clock", "open")
    desk.line("agent", "stop")
    refused = run("desk", "--console", str(desk.port), "report")
    assert (refused.returncode, refused.stderr) == (1, "desk: the agent is not running\n")
    desk.line("agent", "start")
    assert "the agent: running" in desk.line("show")


def test_a_scenario_is_replaced_and_a_bad_one_refused(desk, tmp_path):
    before = desk.line("scenario")
    (tmp_path / "bad.yaml").write_text("Inform0: {codes: x}")
    refused = run("desk", "--console", str(desk.port), "scenario", str(tmp_path / "bad.yaml"))
    assert refused.returncode == 1
    assert "line 1" in refused.stderr
    assert desk.line("scenario") == before
    (tmp_path / "good.yaml").write_text("Report: {gets: [[NUVEK.Interface]]}\n")
    desk.line("scenario", str(tmp_path / "good.yaml"))
    assert desk.line("scenario") == "Report: {gets: [[NUVEK.Interface]]}\n"


@pytest.mark.parametrize(("program", "what"), [(b"nuvek", "the agent"), (b"nuvek-platform", "the platform server")])
def test_a_program_that_dies_is_told_and_started_again_on_request(desk, program, what):
    os.kill(desk.pid(program), signal.SIGKILL)
    read_until(desk.process, f"{what} has ended by itself, with status -9. To start it again: r and Enter")
    desk.process.stdin.write("r\n")
    desk.process.stdin.flush()
    read_until(desk.process, f"{what} runs again")
    assert "the agent: running" in desk.line("store") + shown_state(desk)


def shown_state(desk):
    """What `show` says of the desk; a platform that began anew knows no gateway until the next report."""
    watching = desk.watch()
    desk.line("report")
    read_until(watching, " Report ")
    watching.terminate()
    watching.communicate(timeout=20)
    return desk.line("show")


@pytest.mark.parametrize("how", ["SIGTERM", "SIGINT", "SIGHUP", "SIGKILL"])
def test_nothing_is_left_however_it_ends(how):
    staying = StayingDesk()
    os.kill(staying.process.pid, getattr(signal, how))
    staying.process.communicate(timeout=20)  # until the last one that holds its output has ended
    assert not processes_with(str(staying.folder))
    assert not staying.folder.exists()


def test_nothing_is_changed_while_the_story_plays():
    with pytest.raises(Refused) as refused:
        Desk("a story", None, None, None).answer("POST", "/api/desk/unlock", {}, {})
    assert refused.value.status == 409


@pytest.mark.parametrize(("method", "path", "status"), [("GET", "/api/desk/nothing", 404), ("DELETE", "/api/desk/store", 405)])
def test_what_the_desk_does_not_know_is_refused(method, path, status):
    with pytest.raises(Refused) as refused:
        Desk("a story", None, None, None).answer(method, path, {}, {})
    assert refused.value.status == status


def test_the_store_is_read_back_from_its_text():
    assert parse_store("[a]\nx=1\ny=a=b\\nc\\\\n\n[b]\n") == {"a": {"x": "1", "y": "a=b\nc\\n"}, "b": {}}


def test_a_console_is_named_in_three_ways():
    assert address_of("8081") == address_of("127.0.0.1:8081") == address_of("http://127.0.0.1:8081/") == ("127.0.0.1", 8081)


def test_a_table_has_a_dash_for_what_is_not_there():
    assert shown.table(("a", "bb"), [[None, 1]]) == ["a  bb", "-  1"]


def test_without_a_console_it_is_told():
    done = run("desk", "--console", "1", "gateways")
    assert done.returncode == 1
    assert "no console at 127.0.0.1:1" in done.stderr
