"""How fast the gateway's time runs. Everything around it, the platform too, keeps this machine's."""
import datetime
import os
import pathlib
import time

from desk.story.console import StoryFailed

# Five back-offs, 310 s of the gateway's time, pass in eight; a measurement of 41 s still leaves its program a second.
FAST = 40
PROJECT = pathlib.Path(__file__).resolve().parent.parent.parent
BUILD = pathlib.Path(os.environ.get("NUVEK_BUILD", PROJECT / "build" / "release"))
WORLD = BUILD / "tests" / "libgateway_world.so"


def text_of(seconds):
    return datetime.datetime.fromtimestamp(seconds, datetime.timezone.utc).isoformat(timespec="milliseconds")[:-6] + "Z"


class GatewayClock:
    """Begins at the machine's time with each start of the agent."""

    def __init__(self, speed=1):
        if speed != 1 and not WORLD.exists():
            raise StoryFailed(f"the fast clock is not built: {WORLD}")
        self.speed = speed
        self.begin_s = time.time()

    def begin(self):
        self.begin_s = time.time()

    def now_s(self):
        return self.begin_s + (time.time() - self.begin_s) * self.speed

    def scaled(self, gateway_s):
        """So long on this machine's clock."""
        return gateway_s / self.speed

    def command(self, program):
        """The words that run the program by this clock. They belong behind all others: what comes ahead keeps its time."""
        if self.speed == 1:
            return [program]
        return ["/usr/bin/env", f"LD_PRELOAD={WORLD}", "NUVEK_WORLD=fast", f"NUVEK_WORLD_SPEED={self.speed}", program]

    @property
    def helper_environment(self):
        return {} if self.speed == 1 else {"DESK_SPEED": str(self.speed)}
