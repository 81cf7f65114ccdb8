"""A scenario of one's own: a gateway with a location meets the platform's answers until there is nothing more to come."""
from desk.story import tale
from desk.story.console import step, tell, wait_for

QUIET_LIMIT_S = 900  # of the gateway's time
MEASUREMENTS = ("SiteSpeed", "TraceRoute")


class TimeLine:
    """Prints what the platform tells, as it comes, until both measurements have been taken."""

    def __init__(self, platform):
        self.platform = platform
        self.printed = 0

    def has_ended(self):
        lines = self.platform.time_line_path.read_text(errors="replace").splitlines(keepends=True)
        for line in lines[self.printed:]:
            if not line.endswith("\n"):
                break
            tell(line.rstrip())
            self.printed += 1
        last = [(self.platform.exchanges(kind) or [{"code": None}])[-1]["code"] for kind in MEASUREMENTS]
        return last == [0, 0]


def play(network, gateway, platform):
    tale.name_platform(network, gateway)
    tale.start_platform(platform)
    tale.start_agent(gateway)
    tale.post_location(gateway)
    step("The clock is synchronised, and the gateway meets the scenario until both measurements are taken")
    gateway.synchronise_clock()
    wait_for("the last result's answer to have code 0", TimeLine(platform).has_ended,
             max(15, gateway.clock.scaled(QUIET_LIMIT_S)))
