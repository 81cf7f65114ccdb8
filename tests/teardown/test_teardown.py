"""Whatever ends a run, and whenever: nothing of it is left."""
import os
import pathlib
import signal
import subprocess
import sys

import pytest

PROJECT = pathlib.Path(__file__).resolve().parents[2]
KEEPER = [sys.executable, "-B", "-m", "desk.keeper"]
MARK = "NUVEK_TEARDOWN_TEST"

# Ignores whatever asks it to end, and so does what it starts, which leaves its group and its parent.
STUBBORN = """
trap '' TERM INT HUP
setsid sh -c "trap '' TERM INT HUP; sleep 1000" &
mkdir "$TMPDIR/folder"
(sleep 1000 & sleep 1000) &
echo ready
sleep 1000
"""


def left(mark):
    """The processes that have the mark in their environment."""
    found = []
    for folder in pathlib.Path("/proc").glob("[0-9]*"):
        try:
            if mark in (folder / "environ").read_bytes():
                found.append((folder / "cmdline").read_bytes().replace(b"\\0", b" "))
        except (FileNotFoundError, ProcessLookupError, PermissionError):
            pass
    return found


class Run:
    def __init__(self, tmp_path, *command, keeper=KEEPER, **environment):
        self.folder = tmp_path / "tmp"
        self.folder.mkdir()
        self.program = None
        self.mark = ("%s=%s" % (MARK, tmp_path)).encode()
        self.process = subprocess.Popen([*keeper, *command], cwd=PROJECT, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                                        env={**os.environ, MARK: str(tmp_path), "TMPDIR": str(self.folder), **environment})

    def lines(self, count):
        """The first lines that the program says, and who it is."""
        lines = [self.process.stdout.readline() for _ in range(count)]
        self.program = self.children()[0]
        return lines

    def children(self):
        path = pathlib.Path("/proc/%d/task/%d/children" % (self.process.pid, self.process.pid))
        return [int(number) for number in path.read_text().split()]

    def leaves_nothing(self):
        self.process.stdout.read()
        status = self.process.wait()
        assert left(self.mark) == [] and list(self.folder.iterdir()) == []
        for place in ("/run/netns", "/etc/netns"):
            assert list(pathlib.Path(place).glob("nuvek%s-*" % self.program)) == []
        return status


@pytest.mark.parametrize("number", [signal.SIGTERM, signal.SIGINT, signal.SIGHUP])
def test_what_ignores_every_request_to_end(tmp_path, number):
    run = Run(tmp_path, "sh", "-c", STUBBORN)
    assert run.lines(1) == [b"ready\n"] and left(run.mark)
    run.process.send_signal(number)
    run.process.send_signal(signal.SIGQUIT)  # asked twice: no grace
    assert run.leaves_nothing() != 0


def test_a_program_that_is_killed_and_one_that_ends_by_itself(tmp_path):
    for name, script, status in (("killed", STUBBORN.replace("echo ready", "kill -9 $$"), 128 + signal.SIGKILL),
                                 ("ended", STUBBORN.replace("echo ready", "exit 3"), 3)):
        (tmp_path / name).mkdir()
        assert Run(tmp_path / name, "sh", "-c", script).leaves_nothing() == status


DIALOGUE = """
import os, signal, sys
sys.path.insert(0, "tests/dialogue")
from harness import Gateway
import pathlib, tempfile
gateway = Gateway(pathlib.Path(tempfile.mkdtemp()))
gateway.program("insmod", "trap '' TERM INT HUP; echo running; sleep 1000")
%s
print("ready", flush=True)
gateway.start()
"""


@pytest.mark.parametrize("way", ["interrupt", "exception", "kill"])
def test_a_dialogue_in_the_middle_of_a_helper_program_that_hangs(tmp_path, way):
    ending = "import threading; threading.Timer(0.2, os._exit, [1]).start()" if way == "exception" else ""
    run = Run(tmp_path, sys.executable, "-B", "-c", DIALOGUE % ending)
    assert run.lines(1) == [b"ready\n"]
    if way == "interrupt":
        run.process.send_signal(signal.SIGHUP)
    if way == "kill":
        for pid in run.children():
            os.kill(pid, signal.SIGKILL)
    assert run.leaves_nothing() != 0


STORY_OF_ITS_OWN = """
import os, signal, sys
from desk.story.processes import guarded

class Ended:
    def __del__(self):
        os.kill(os.getpid(), signal.SIGTERM)  # whatever that raises is ignored here

def story(folder):
    Ended()
    while True:
        signal.pause()

sys.exit(guarded(story, "nuvek-desk-"))
"""


def test_a_story_that_is_interrupted_where_exceptions_are_ignored(tmp_path):
    assert Run(tmp_path, sys.executable, "-B", "-c", STORY_OF_ITS_OWN, keeper=[]).leaves_nothing() == 130


# Of the long story: as its network is made, and in the middle of a name server's lies.
LINES = [*((place, line, signal.SIGHUP) for place in ("--loopback", "") for line in range(1, 12)),
         *(("--foreign", line, signal.SIGHUP) for line in (1, 2, 20)),
         *((place, line, signal.SIGKILL) for place in ("--loopback", "") for line in (1, 5, 11))]


@pytest.mark.parametrize("place, line, number", LINES)
def test_a_story_that_is_hung_up_or_killed_after_any_of_its_lines(tmp_path, place, line, number):
    words = [place] if place else []
    run = Run(tmp_path, sys.executable, "-B", "-m", "desk.story", *words, keeper=[])
    run.lines(line)
    assert left(run.mark)
    run.process.send_signal(number)
    run.leaves_nothing()
