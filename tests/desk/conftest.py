import json
import os
import pathlib
import signal
import subprocess
import sys
import time

import pytest

sys.path.insert(0, os.path.dirname(__file__))
import console_client  # noqa: E402
import gateway  # noqa: E402

WAIT_S = 10


def program():
    folder = os.environ.get("NUVEK_BIN")
    assert folder, "NUVEK_BIN must name the folder of the built programs"
    return str(pathlib.Path(folder) / "nuvek-platform")


class Platform:
    stopped = False

    def __init__(self, folder, scenario=None, *options, shell_prefix=(), console=False, pass_fds=(), path=None):
        self.journal_file = folder / "journal"
        port_file = folder / "port"
        console_port_file = folder / "console-port"
        command = [*shell_prefix, path or program(), "--port", "0", "--port-file", str(port_file), *options]
        if "--journal" not in options:
            command += ["--journal", str(self.journal_file)]
        if scenario is not None:
            (folder / "scenario.yaml").write_text(scenario)
            command += ["--scenario", str(folder / "scenario.yaml")]
        if console:
            command += ["--console", console if isinstance(console, str) else "0"]
            command += ["--console-port-file", str(console_port_file)]
        # Into files: a pipe that nobody reads would stop the platform when it is full.
        self.out, self.err = folder / "out", folder / "err"
        with self.out.open("w") as out, self.err.open("w") as err:
            self.process = subprocess.Popen(command, stdout=out, stderr=err, pass_fds=pass_fds)
        last = console_port_file if console else port_file
        wait_for(lambda: last.exists() or self.process.poll() is not None, "the port file")
        assert last.exists(), self.err.read_text()
        self.port = int(port_file.read_text())
        self.console = console_client.Console(int(console_port_file.read_text())) if console else None

    def connect(self, **kw):
        return gateway.Connection(self.port, **kw)

    def ask(self, text):
        with self.connect() as connection:
            return connection.ask(text)

    def ask_raw(self, text):
        """Sends one message; gives the first bytes that come back, whatever they are."""
        with self.connect() as connection:
            connection.send(gateway.request(text))
            return connection.block()

    def findings_of(self, text):
        """Sends a bad message: it must be refused with 400, and the reason in the answer be the one in the journal."""
        with self.connect() as connection:
            connection.send(gateway.request(text))
            head, _, reason = connection.block().partition(b"\r\n\r\n")
        assert head.startswith(b"HTTP/1.1 400 Bad Request\r\n")
        findings = self.journal()[-1]["verdict"]
        assert reason.decode().splitlines() == findings
        return " | ".join(findings)

    def journal(self, at_least=0):
        def lines():
            return self.journal_file.read_text().splitlines() if self.journal_file.exists() else []

        wait_for(lambda: len(lines()) >= at_least, "%d journal lines" % at_least)
        return [json.loads(line) for line in lines()]

    def stop(self, with_signal=signal.SIGTERM):
        """Ends the platform; gives its status and what it wrote."""
        self.stopped = True
        self.process.send_signal(with_signal)
        return self.process.wait(WAIT_S), self.out.read_text(), self.err.read_text()


def wait_for(condition, what):
    end = time.monotonic() + WAIT_S
    while not condition():
        assert time.monotonic() < end, "waited in vain for " + what
        time.sleep(0.005)


@pytest.fixture
def start(tmp_path):
    """Starts platforms; each must still be alive at the end and leave at once and clean when it is told to."""
    running = []

    def start_one(scenario=None, *options, **kw):
        folder = tmp_path / str(len(running))
        folder.mkdir()
        running.append(Platform(folder, scenario, *options, **kw))
        return running[-1]

    yield start_one
    for platform in running:
        if not platform.stopped:
            assert platform.process.poll() is None, "the platform ended by itself: " + platform.err.read_text()
            assert platform.stop()[::2] == (0, "")


@pytest.fixture
def platform(start):
    return start()


@pytest.fixture
def watched(start):
    """A platform with a console."""
    return start(console=True)


@pytest.fixture
def desk(tmp_path):
    running = console_client.Desk(tmp_path / "desk.socket")
    yield running
    running.close()
