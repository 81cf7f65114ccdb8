"""The desk stays up: how to drive it is printed, and a program that ends is told, with an offer to start it again."""
import os
import select
import shlex
import socket
import sys

from desk.story.clock import PROJECT
from desk.story.console import StoryFailed, step, tell
from desk.story.control import Refused

CONSOLE_PORT = 8081  # where script/desk looks by itself
LOOK_EVERY_S = 0.2
HINTS = (
    ("what there is", "gateways"), ("one of them, whole", "show"), ("what happens, live", "watch"),
    ("ask a question", "get NUVEK.Counter"), ("a report now", "report"),
    ("refuse two results", "answer SiteSpeed -3 2"), ("and measure now", "store nuvek_Common LastSpeedTime 1"),
    ("break an answer", "answer Report two_pieces"),
    ("unlock the location", "unlock"), ("post another one", "post Longitude=2.35 Latitude=48.85 ID=9"),
    ("read the store", "store nuvek_Common"), ("and write it", "store nuvek_Server ReportCycle 60"),
    ("restart the agent", "agent restart"), ("its log", "agent log"), ("cut the power", "power-cut"),
)


def listen():
    """A socket in the network of the user's browser; the platform server, which may live in another one, takes it over."""
    for port in (CONSOLE_PORT, 0):
        listener = socket.socket()
        listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        try:
            listener.bind(("127.0.0.1", port))
            break
        except OSError:
            listener.close()
    listener.listen(64)
    return listener


def console_options(listener, control_path):
    options = ["--console", f"fd:{listener.fileno()}", "--desk-control", str(control_path)]
    return options, (listener.fileno(),)


def print_hints(listener, desk):
    port = listener.getsockname()[1]
    step("The desk stays up until Ctrl-C")
    tell(f"in a browser:         http://127.0.0.1:{port}/")
    command = shlex.quote(str(PROJECT / "script" / "desk"))
    if port != CONSOLE_PORT:
        command += f" --console {port}"
    for what, words in HINTS:
        tell(f"{what + ':':<21} {command} {words}")
    tell(f"every byte:           {desk.platform.journal_path}")
    tell(f"all of it is in {desk.gateway.root.parent} and goes when the desk ends")


class Watch:
    """Tells once what has ended by itself. "r" and Enter, or an order from elsewhere, starts it again."""

    def __init__(self, desk):
        self.desk = desk
        self.told = set()
        self.input = sys.stdin if sys.stdin is not None and not sys.stdin.closed else None

    def ended(self):
        """What is to run and does not: its name, how it ended, and what starts it again."""
        gateway, platform = self.desk.gateway, self.desk.platform
        if not gateway.is_stopped and not gateway.is_alive():
            yield "the agent", gateway.process.returncode, self.desk.restart_agent
        if platform.process is not None and not platform.is_alive():
            yield "the platform server", platform.process.returncode, self.desk.restart_platform

    def look(self):
        ended = {name: status for name, status, _ in self.ended()}
        for name in sorted(set(ended) - self.told):
            tell(f"{name} has ended by itself, with status {ended[name]}. To start it again: r and Enter")
        for name in sorted(self.told - set(ended)):
            tell(f"{name} runs again")
        self.told = set(ended)

    def restart(self):
        for name, _, again in list(self.ended()):
            try:
                again()
            except (Refused, StoryFailed) as failure:
                tell(f"{name} does not come up: {failure}")

    def is_in_front(self):
        """Whoever reads from a terminal in the background is stopped."""
        terminal = self.input.fileno()
        return not os.isatty(terminal) or os.tcgetpgrp(terminal) == os.getpgrp()

    def read_input(self):
        if self.input is None or not self.is_in_front() or not select.select([self.input], [], [], 0)[0]:
            return
        text = os.read(self.input.fileno(), 1024)
        if not text:
            self.input = None
        elif b"r" in text:
            self.restart()


def stay(listener, desk, serve_for):
    desk.is_playing = False
    print_hints(listener, desk)
    watch = Watch(desk)
    while True:
        serve_for(LOOK_EVERY_S)
        watch.look()
        watch.read_input()
