"""The project's scripts as a user runs them, with the build that is tested."""
import os
import pathlib
import re
import subprocess
import threading

PROJECT = pathlib.Path(__file__).resolve().parents[2]
LIMIT_S = 60


def environment():
    return {**os.environ, "NUVEK_BUILD": str(pathlib.Path(os.environ["NUVEK_BIN"]).parent)}


def run(*words, folder="/"):
    """Ended: status, and both outputs."""
    return subprocess.run([PROJECT / "script" / words[0], *words[1:]], cwd=folder, env=environment(), capture_output=True,
                          text=True, timeout=LIMIT_S, check=False, stdin=subprocess.DEVNULL)


def begin(*words):
    """Runs on; its output can be read line by line. A session of its own, as a terminal's."""
    return subprocess.Popen([PROJECT / "script" / words[0], *words[1:]], cwd="/", env=environment(), text=True,
                            stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, start_new_session=True)


def read_until(process, pattern):
    """The lines up to the one with the pattern, and what it found."""
    lines = []
    watchdog = threading.Timer(LIMIT_S, process.kill)
    watchdog.start()
    try:
        for line in process.stdout:
            lines.append(line)
            if found := re.search(pattern, line):
                return lines, found
    finally:
        watchdog.cancel()
    raise AssertionError(f"{pattern} never came:\n{''.join(lines)}")


def processes_with(text):
    """Those that have the text among their words or in their environment."""
    found = []
    for folder in pathlib.Path("/proc").glob("[0-9]*"):
        try:
            words = (folder / "cmdline").read_bytes() + (folder / "environ").read_bytes()
        except OSError:
            continue
        if text.encode() in words:
            found.append(words.replace(b"\0", b" ")[:200])
    return found
