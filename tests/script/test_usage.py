"""Every script and program says what it does, and refuses what it does not know, ahead of any work."""
import os
import pathlib
import subprocess

import pytest

PROJECT = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(os.environ["NUVEK_BUILD"])
SCRIPTS = sorted(path for path in [*(PROJECT / "script").iterdir(), PROJECT / ".ci/run", PROJECT / "tests/package/run", PROJECT / "tests/package/porting_walk",
                                   *(PROJECT / "package/helpers").iterdir()] if os.access(path, os.X_OK))
PROGRAMS = [BUILD / "generated/nuvek-status", BUILD / "bin/tcapi", BUILD / "bin/nuvek-platform"]
LIMIT_S = 20  # far less than any of them works


def call(path, word, folder):
    # Without a PATH to speak of nothing can be built or installed.
    return subprocess.run([path, word], cwd=folder, capture_output=True, text=True, timeout=LIMIT_S, check=False,
                          env={"PATH": "/usr/bin:/bin", "TCAPI_STORE": str(folder / "store")})


@pytest.mark.parametrize("path", [*SCRIPTS, *PROGRAMS], ids=lambda path: path.name)
def test_help_is_told_and_a_wrong_word_refused(path, tmp_path):
    if not path.exists():
        pytest.skip("NOT TESTED: not built here")
    told = call(path, "--help", tmp_path)
    assert (told.returncode, told.stderr) == (0, "")
    assert len(told.stdout.splitlines()) > 2
    refused = call(path, "--no-such-option", tmp_path)
    assert (refused.returncode, refused.stdout) == (2, "")
    assert refused.stderr
    assert not list(tmp_path.iterdir())


def test_the_agent_answers_and_starts_nothing(tmp_path):
    for word, answer in (("--version", "nuvek "), ("--help", "Usage: nuvek ")):
        told = call(BUILD / "bin/nuvek", word, tmp_path)
        assert (told.returncode, told.stderr) == (0, "") and told.stdout.startswith(answer)
    assert not list(tmp_path.iterdir())


def test_the_story_refuses_and_tells_by_itself_too(tmp_path):
    for word, status in (("--help", 0), ("--no-such-option", 2)):
        done = subprocess.run(["/usr/bin/python3", "-B", "-m", "desk.story", word], cwd=PROJECT, capture_output=True,
                              timeout=LIMIT_S, check=False)
        assert done.returncode == status
