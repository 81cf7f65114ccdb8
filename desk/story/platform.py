"""The desk's platform server as the story sees it: started with a scenario, followed through its journal."""
import json
import time

from desk.story.clock import PROJECT
from desk.story.console import StoryFailed
from desk.story.gateway import BIN
from desk.story.processes import end_group, start

SCENARIOS = PROJECT / "desk" / "platform_server" / "scenarios"


class Platform:
    def __init__(self, folder, network, scenario, console=()):
        """`console`: further options of the server, and the descriptor that they name."""
        self.journal_path = folder / "exchanges.jsonl"
        self.time_line_path = folder / "platform.log"
        self.port_path = folder / "platform.port"
        self.network = network
        self.scenario = SCENARIOS / scenario  # a path of its own stays one
        self.console_options, self.console_descriptors = console or ((), ())
        self.since_s = time.time()
        self.process = None
        self.status = None

    def start(self):
        self.port_path.unlink(missing_ok=True)
        command = [*self.network.inside("plat"), BIN / "nuvek-platform",
                   "--address", self.network.platform_address, "--port", str(self.network.platform_port),
                   "--port-file", self.port_path, "--scenario", self.scenario, "--journal", self.journal_path,
                   *self.console_options]
        with self.time_line_path.open("a") as time_line:
            self.process = start(command, stdout=time_line, stderr=time_line, pass_fds=self.console_descriptors)
        self.since_s = time.time()

    def is_alive(self):
        return self.process is not None and self.process.poll() is None

    def is_up(self):
        if self.process.poll() is not None:
            raise StoryFailed(f"the platform server ended: {self.time_line_path.read_text()[-400:]}")
        return self.port_path.exists() and self.port_path.read_text().strip() != ""

    def stop(self):
        if self.process is None:
            return None
        self.status = end_group(self.process)
        self.process = None
        return self.status

    def exchanges(self, kind=None):
        """All exchanges so far, or those of one kind, in their order."""
        if not self.journal_path.exists():
            return []
        lines = self.journal_path.read_text().splitlines()
        entries = [json.loads(line) for line in lines if line.endswith("}")]
        return [entry for entry in entries if kind in (None, entry["kind"])]

    def messages(self, kind):
        """The message objects that came with one kind of request."""
        bodies = [json.loads(entry["request"].split("\r\n\r\n", 1)[1]) for entry in self.exchanges(kind)
                  if entry["request"]]
        return [body[1] for body in bodies if len(body) > 1]

    def findings(self):
        return [entry for entry in self.exchanges() if entry["verdict"] != "ok"]
