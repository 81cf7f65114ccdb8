"""script/run, script/desk and script/agent: fast stories, and words that are understood before any work."""
import os
import re
import subprocess

import pytest
from project import PROJECT, environment, run

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
