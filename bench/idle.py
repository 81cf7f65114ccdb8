"""What an idle agent costs: system calls by thread for a turn and for a tick, counted by strace, and instructions, counted
by callgrind in script/bench's own table."""
import collections
import pathlib
import re
import time

from bench.gateway import Gateway, Platform, print_table, require, scratch, wait_for

WATCH_S = 10.5
TURN_ENDS = "pselect6"  # one a turn
TICK_ENDS = "clock_nanosleep"  # one a tick


def calls_of_threads(folder):
    """System calls in order, a list for each thread, of the time after the agent came to rest."""
    threads = []
    for path in sorted(folder.glob("calls.*"), key=lambda path: int(path.suffix[1:])):
        lines = [re.match(r"(\d+\.\d+) (\w+)\(", line) for line in path.read_text().splitlines()]
        threads.append([(float(line[1]), line[2]) for line in lines if line])
    return threads


def print_thread(name, end_call, calls, least):
    rounds = sum(call == end_call for call in calls)
    counts = collections.Counter(calls)
    rows = [[call, f"{count / rounds:.2f}", least.get(call, 0)] for call, count in sorted(counts.items())]
    print(f"{name}: {rounds} rounds in {WATCH_S} s")
    print_table(["system call", "each round", "the least"], rows)


def main():
    require("strace")
    with scratch() as name:
        folder = pathlib.Path(name)
        platform = Platform(folder)
        gateway = Gateway(folder / "gateway", platform.port)
        gateway.start("strace", "-ff", "-ttt", "-o", str(folder / "calls"))
        try:
            wait_for("the registration", lambda: gateway.tcapi("get", "nuvek_Common", "RegId"), 20)
            wait_for("both measurements' results", lambda: platform.lines("SiteSpeed") and platform.lines("TraceRoute"), 90)
            time.sleep(2)
            begin = time.time()
            time.sleep(WATCH_S)
            end = time.time()
        finally:
            gateway.stop()
            platform.stop()
        watched = [[call for at, call in thread if begin <= at < end] for thread in calls_of_threads(folder)]
    main_thread, timer = [thread for thread in watched if thread]
    # The marker of the clock, twice; the switch file of the tasks, once for each; and the wait.
    print_thread("turn of the main loop", TURN_ENDS, main_thread, {"access": 4, "pselect6": 1})
    print_thread("tick of the timer thread", TICK_ENDS, timer, {"clock_nanosleep": 1})


if __name__ == "__main__":
    main()
