"""How fast the gateway's time runs. Everything around it, the platform too, keeps this machine's."""
import datetime
import os
import pathlib
import time

from desk.story.console import StoryFailed

# Five back-offs, 310 s of the gateway's time, pass in eight.
FAST = 40
PROJECT = pathlib.Path(__file__).resolve().parent.parent.parent
BUILD = pathlib.Path(os.environ.get("NUVEK_BUILD", PROJECT / "build" / "release"))
WORLD = BUILD / "tests" / "libgateway_world.so"


def text_of(seconds):
    return datetime.datetime.fromtimestamp(seconds, datetime.timezone.utc).isoformat(timespec="milliseconds")[:-6] + "Z"


class GatewayClock:
    """Begins at the machine's time with each start of the agent. A fast one stands still while a helper program runs."""

    def __init__(self, speed=1):
        if speed != 1 and not WORLD.exists():
            raise StoryFailed(f"the fast clock is not built: {WORLD}")
        self.speed = speed
        self.begin_s = time.time()
        self.held_file = None  # how long a fast one has stood still, in microseconds

    def now_s(self):
        held = self.held_file.read_text() if self.held_file and self.held_file.exists() else ""
        held_s = int(held) / 1e6 if held.endswith("\n") else 0
        return self.begin_s + (time.time() - self.begin_s - held_s) * self.speed

    def scaled(self, gateway_s):
        """So long on this machine's clock."""
        return gateway_s / self.speed

    def begin(self, program, folder):
        """Begins anew. Returns the words that run the program by this clock, which keeps a file in the folder. They belong
        behind all others: what comes ahead keeps its time."""
        self.begin_s = time.time()
        if self.speed == 1:
            return [program]
        self.held_file = folder / "clock.held"
        self.held_file.unlink(missing_ok=True)
        return ["/usr/bin/env", f"LD_PRELOAD={WORLD}", "NUVEK_WORLD=fast", f"NUVEK_WORLD_SPEED={self.speed}",
                f"NUVEK_WORLD_HELD={self.held_file}", program]

    @property
    def helper_environment(self):
        return {} if self.speed == 1 else {"DESK_SPEED": str(self.speed)}
