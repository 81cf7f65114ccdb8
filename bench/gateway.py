"""Gateways for measuring: agents on loopback, each with a root folder of its own, against one platform server."""
import os
import pathlib
import re
import shutil
import signal
import socket
import subprocess
import tempfile
import time

PROJECT = pathlib.Path(__file__).resolve().parent.parent
BUILD = pathlib.Path(os.environ.get("NUVEK_BENCH_BUILD", PROJECT / "build" / "bench"))
BIN = BUILD / "bin"
LIB = BUILD / "lib"
SEED = PROJECT / "desk" / "seed" / "flash"
HELPERS = PROJECT / "desk" / "gateway_programs"
PAST_S = "1600000000"  # a time stamp of long ago: what counts from it is due
LOCATION = ("Long=116.39713", "Lat=39.91653", "Altitudes=44.2", "HorizontalError=8.5", "VerticalError=3.0",
            "AreaCode=110101", "GISLockTime=1700000000", "GISInterface=A")


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def wait_for(what, ready, limit_s):
    end = time.monotonic() + limit_s
    while not ready():
        if time.monotonic() > end:
            raise SystemExit(f"bench: waited {limit_s} s in vain for {what}")
        time.sleep(0.02)


def print_table(columns, rows):
    """A table for people that is Markdown as well."""
    lines = [columns, *[[str(cell) for cell in row] for row in rows]]
    widths = [max(len(line[k]) for line in lines) for k in range(len(columns))]
    for number, line in enumerate(lines):
        cells = [cell.ljust(width) if k == 0 else cell.rjust(width) for k, (cell, width) in enumerate(zip(line, widths))]
        print("| " + " | ".join(cells) + " |")
        if number == 0:
            print("|" + "|".join("-" * (width + 2) if k == 0 else "-" * (width + 1) + ":"
                                 for k, width in enumerate(widths)) + "|")
    print(flush=True)


class Platform:
    """The desk's platform server, by default on a port of its own."""

    def __init__(self, folder, scenario=None, address="127.0.0.1", port=0):
        self.journal = folder / "exchanges.jsonl"
        port_file = folder / "platform.port"
        port_file.unlink(missing_ok=True)
        command = [BIN / "nuvek-platform", "--address", address, "--port", str(port), "--port-file", port_file,
                   "--journal", self.journal]
        if scenario is not None:
            path = folder / "scenario.yaml"
            path.write_text(scenario)
            command += ["--scenario", path]
        self.process = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        wait_for("the platform's port", lambda: port_file.exists() and port_file.read_text().strip(), 10)
        self.port = int(port_file.read_text())
        self.read = 0
        self.counts = {}

    def lines(self, kind):
        """How many exchanges of this kind there were so far."""
        if self.journal.exists():
            with self.journal.open() as journal:
                journal.seek(self.read)
                text = journal.read()
            text = text[:text.rfind("\n") + 1]
            self.read += len(text.encode())
            for found in re.findall(r'"kind":"(\w+)"', text):
                self.counts[found] = self.counts.get(found, 0) + 1
        return self.counts.get(kind, 0)

    def stop(self):
        self.process.terminate()
        self.process.wait()


class Gateway:
    """One agent's root folder with a provisioned store, and the agent in it."""

    def __init__(self, folder, platform_port, with_location=True, clock_is_set=True):
        self.root = folder
        for sub in ("tmp", "var/lib/tcapi", "usr/osgi"):
            (self.root / sub).mkdir(parents=True)
        seed = SEED.read_text()
        node = "\n".join(("[nuvek_Entry0]", *LOCATION, "")) if with_location else ""
        seed = seed.replace("[nuvek_Server]\n", f"{node}[nuvek_Server]\nPlatDomain1=127.0.0.1\n", 1)
        (self.root / "var/lib/tcapi/flash").write_text(seed)
        if clock_is_set:
            self.set_clock()
        self.environment = {"NUVEK_ROOT": str(self.root), "NUVEK_PLATFORM_PORT": str(platform_port),
                            "NUVEK_LOCAL_PORT": str(free_port()), "DESK_PLATFORM": f"127.0.0.1:{platform_port}",
                            "PATH": f"{HELPERS}:{os.environ['PATH']}"}
        self.process = None

    def set_clock(self):
        (self.root / "tmp/timeSync").touch()

    def start(self, *prefix):
        self.process = subprocess.Popen([*prefix, BIN / "nuvek"], env=self.environment, stdout=subprocess.DEVNULL,
                                        stderr=subprocess.DEVNULL, start_new_session=True)
        return self.process

    def tcapi(self, *words):
        done = subprocess.run([BIN / "tcapi", *words], env=self.environment, capture_output=True, text=True, check=False)
        return done.stdout.rstrip("\n") if done.returncode == 0 else ""

    def stop(self):
        """Ends the agent, and its helper programs and whatever watches it: they are one group."""
        os.killpg(self.process.pid, signal.SIGTERM)
        self.process.wait()


def scratch():
    """A folder that goes away with the measurement; the keeper's are in memory, so that a slow disk does not measure itself."""
    return tempfile.TemporaryDirectory(prefix="nuvek-bench-")


def require(program):
    if shutil.which(program) is None:
        raise SystemExit(f"bench: {program} is missing: script/bootstrap bench")
