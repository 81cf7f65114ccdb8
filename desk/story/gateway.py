"""The desk's gateway: its root folder, its store, its helper programs, and the agent."""
import json
import os
import shutil
import signal
import subprocess
import time

from desk.story.clock import BUILD, PROJECT, GatewayClock
from desk.story.console import StoryFailed
from desk.story.network import is_listening
from desk.story.processes import end_group, start

BIN = BUILD / "bin"
HELPERS = PROJECT / "desk" / "gateway_programs"
PAST_S = "1600000000"  # a time stamp of long ago: what counts from it is due


class Gateway:
    def __init__(self, folder, network, clock=None, agent=BIN / "nuvek"):
        self.network = network
        self.agent = agent
        self.clock = clock or GatewayClock()
        self.root = folder / "gateway"
        self.log_path = folder / "agent.log"
        self.store = self.root / "var" / "lib" / "tcapi"
        for sub in ("tmp", "var/lib/tcapi", "usr/osgi"):
            (self.root / sub).mkdir(parents=True)
        shutil.copy(PROJECT / "desk" / "seed" / "flash", self.store / "flash")
        self.process = None
        self.is_stopped = True  # by the desk; else it is to run
        self.since_s = time.time()
        self.status = None
        self.helper_path = f"{HELPERS}:{os.environ['PATH']}"  # where the agent finds its helper programs

    @property
    def environment(self):
        return {**os.environ, "NUVEK_ROOT": str(self.root), "PATH": self.helper_path, **self.network.agent_environment,
                **self.clock.helper_environment}

    def start(self):
        command = [*self.network.inside("gw"), *self.clock.begin(self.agent, self.root.parent), "-v", "on"]
        with self.log_path.open("a") as log:
            self.process = start(command, env=self.environment, stdout=log, stderr=log)
        self.is_stopped, self.since_s, self.status = False, time.time(), None

    def is_alive(self):
        return self.process is not None and self.process.poll() is None

    def stop(self, kill=False):
        """Ends the agent, and the helper programs that it started."""
        self.is_stopped = True
        if self.process is None:
            return
        self.status = end_group(self.process, signal.SIGKILL if kill else signal.SIGTERM)
        self.process, self.since_s = None, time.time()

    def power_cut(self):
        """The agent dies in the middle of what it does, and the store's live level is gone."""
        self.stop(kill=True)
        shutil.rmtree(self.store / "live", ignore_errors=True)

    def tcapi(self, *words):
        done = subprocess.run([BIN / "tcapi", *words], env=self.environment, capture_output=True, text=True, check=False,
                              errors="replace")
        return done.stdout.rstrip("\n") if done.returncode == 0 else None

    def get(self, node, attr):
        return self.tcapi("get", node, attr)

    def set(self, node, attr, value):
        if self.tcapi("set", node, attr, value) is None:
            raise StoryFailed(f"the store refused {node} {attr}")

    def synchronise_clock(self):
        (self.root / "tmp" / "timeSync").touch()

    def log(self):
        return self.log_path.read_text(errors="replace")

    def key_file(self):
        path = self.root / "usr" / "osgi" / "nuvekKeyInfo"
        return path.read_text() if path.exists() else ""

    def counters(self):
        names = ("SuccessTask", "FailTask", "FailInform", "SuccessInform", "FailResult", "SuccessResult")
        return {name: int(self.get("nuvek_Counter", name) or 0) for name in names}

    def post_location(self, **members):
        """Posts a location from the LAN side and returns the agent's answer, a JSON object."""
        client = [*self.network.inside("lan"), "/usr/bin/python3", "-B", "-m", "desk.location_client",
                  "--address", self.network.gateway_address, "--port", str(self.network.local_port)]
        client += [f"{name}={value}" for name, value in members.items()]
        done = subprocess.run(client, cwd=PROJECT, capture_output=True, text=True, check=False)
        if done.returncode != 0:
            raise StoryFailed(f"the location client failed: {done.stderr.strip()}")
        return json.loads(done.stdout)

    def accepts_locations(self):
        return self.process is not None and is_listening(self.process.pid, "tcp", self.network.local_port)
