"""script/run, script/desk and script/agent: fast stories, and words that are understood before any work."""
import os
import re
import subprocess
import sys

import pytest
from project import PROJECT, environment, run

sys.path.insert(0, str(PROJECT))
from desk.story.clock import WORLD, GatewayClock  # noqa: E402

BACK_OFFS = str(PROJECT / "desk" / "platform_server" / "scenarios" / "back_offs.yaml")


@pytest.mark.parametrize("words", [[], ["--loopback"], ["--faults"]],
                         ids=["happy", "on loopback", "unhappy"])
def test_a_story_comes_true_with_the_clock_running_fast(words):
    done = run("run", "--fast", *words)
    assert done.returncode == 0, done.stdout + done.stderr
    assert "The story came true" in done.stdout


def test_an_ordinary_user_gets_the_operator_network_where_the_system_allows_it():
    # Root plays nobody; what it is for everyone else is decided by the system's own tool.
    as_user = ["setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"] if os.geteuid() == 0 else []
    allowed = subprocess.run([*as_user, "unshare", "-Urnm", "mount", "-t", "tmpfs", "none", "/mnt"], check=False,
                             stderr=subprocess.DEVNULL).returncode == 0
    done = subprocess.run([*as_user, PROJECT / "script" / "run", "--fast"], cwd="/", env=environment(), capture_output=True,
                          text=True, timeout=60, check=False)
    assert done.returncode == 0, done.stdout + done.stderr
    assert ("(in a user namespace)" in done.stdout) == allowed
    assert "The story came true" in done.stdout


def test_five_back_offs_pass_in_seconds():
    done = run("run", "--fast", "--loopback", "--scenario", BACK_OFFS)
    assert done.returncode == 0, done.stdout + done.stderr
    codes = re.findall(r" SiteSpeed .*-> ResultResponse Code (-?\d)", done.stdout)
    assert codes == ["-3", "-3", "-2", "-3", "-3", "0"]


# Started in the background or not: it needs the machine's time, of which a busy machine has little.
def test_the_fast_clock_stands_still_while_a_program_runs(tmp_path):
    held_file = tmp_path / "held"
    told = subprocess.run([sys.executable, "-c", """
import ctypes, time
libc = ctypes.CDLL(None)
begin_s, gateway_begin_s = time.monotonic(), libc.time(None)
libc.system(b"sleep 0.2 & sleep 0.1")
print(libc.time(None) - gateway_begin_s, time.monotonic() - begin_s)
"""], env={**os.environ, "LD_PRELOAD": str(WORLD), "NUVEK_WORLD": "fast", "NUVEK_WORLD_SPEED": "1000",
           "NUVEK_WORLD_HELD": str(held_file)}, capture_output=True, text=True, timeout=60, check=True).stdout.split()
    gateway_s, machine_s = int(told[0]), float(told[1])
    held_s = int(held_file.read_text()) / 1e6
    assert held_s >= 0.2
    assert gateway_s <= (machine_s - held_s) * 1000 + 1


def test_the_desk_shows_the_time_of_a_clock_that_stood_still(tmp_path, monkeypatch):
    clock = GatewayClock(40)
    now_s = [1000.0]
    monkeypatch.setattr("desk.story.clock.time.time", lambda: now_s[0])
    clock.begin("agent", tmp_path)
    now_s[0] += 3
    assert clock.now_s() == 1120
    (tmp_path / "clock.held").write_text("2000000\n")
    assert clock.now_s() == 1040
    (tmp_path / "clock.held").write_text("")  # it is about to be written anew
    assert clock.now_s() == 1120
    clock.begin("agent", tmp_path)
    assert clock.now_s() == 1003


@pytest.mark.parametrize("words", [["run", "--wrong"], ["run", "--faults", "--scenario", BACK_OFFS], ["run", "--scenario", "none"],
                                   ["run", "--agent", "none"],
                                   ["desk"], ["desk", "wrong"], ["desk", "answer", "Foo", "0"], ["desk", "post", "x"],
                                   ["desk", "--console", "x", "gateways"], ["desk", "answer", "Report", "close", "0"]],
                         ids=" ".join)
def test_wrong_words_end_with_2_before_any_work(words):
    done = run(*words)
    assert (done.returncode, done.stdout) == (2, "")
    assert "usage: " in done.stderr


@pytest.mark.parametrize("words", [["run"], ["agent"], ["desk"], ["desk", "answer"]], ids=" ".join)
def test_help_starts_nothing(words):
    done = run(*words, "--help")
    assert (done.returncode, done.stderr) == (0, "")
    assert done.stdout.startswith("usage: ")
