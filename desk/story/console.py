"""What a person sees: steps, waits with their progress, and why a story did not come true."""
import sys
import time

POLL_S = 0.05
PROGRESS_EVERY_S = 5
passing_time = [time.sleep]  # how a wait passes its time: a desk that can be asked serves meanwhile


class StoryFailed(Exception):
    """The story did not come true; the message says what was waited for or found."""


def step(text):
    print(f"\n== {text}", flush=True)


def tell(text):
    print(f"   {text}", flush=True)


def wait_for(what, condition, limit_s):
    """Waits until condition() is true and returns its value. Tells what is waited for, and how long that can take."""
    begin = time.monotonic()
    print(f"   waiting for {what} (at most {limit_s} s) ", end="", flush=True)
    told = 0
    while True:
        value = condition()
        passed = time.monotonic() - begin
        if value:
            print(f"{passed:.1f} s", flush=True)
            return value
        if passed > limit_s:
            print(flush=True)
            raise StoryFailed(f"waited {limit_s} s in vain for {what}")
        if passed - told >= PROGRESS_EVERY_S:
            told = passed
            print(f"{passed:.0f} .. " if sys.stdout.isatty() else ".", end="", flush=True)
        passing_time[0](POLL_S)


def check(what, expected, found):
    if expected != found:
        raise StoryFailed(f"{what}: expected {expected!r}, found {found!r}")
    tell(f"{what}: {found}")
