"""Memory: private dirty pages, stacks and heap of the agent over a day's traffic, beside a program that only sleeps."""
import os
import pathlib
import re
import subprocess
import sys
import time

from bench.gateway import BIN, PAST_S, Gateway, Platform, print_table, require, scratch, wait_for

REPORTS_A_DAY = 24
FURTHER_REPORTS = 60
GETS = 5
SCENARIO = """
Report:
  gets: [[NUVEK.DeviceInfo, NUVEK.GISInfoA, NUVEK.GISInfoB, NUVEK.Interface, NUVEK.Counter]]
SpeedTest: {bytes: 1000000}
"""
BUDGET_KB = 32  # private dirty memory after a day, beyond a sleeper with two threads
SHORTEST_THREAD_STACK = 1 << 17  # bytes; no other anonymous mapping behind a guard is as long


def mappings(pid):
    """Start, end, rights, name and private dirty kB of each mapping; a thread's stack, behind its guard, is named so."""
    found = []
    for line in pathlib.Path(f"/proc/{pid}/smaps").read_text().splitlines():
        head = re.match(r"([0-9a-f]+)-([0-9a-f]+) (\S+) \S+ \S+ \S+\s*(.*)", line)
        if head:
            start, end, rights, name = int(head[1], 16), int(head[2], 16), head[3], head[4]
            behind_guard = bool(found) and found[-1][2].startswith("---")
            if behind_guard and not name and end - start >= SHORTEST_THREAD_STACK:
                name = "[thread stack]"
            found.append([start, end, rights, name, 0])
        elif line.startswith("Private_Dirty:"):
            found[-1][4] = int(line.split()[1])
    return found


def group_of(name, program):
    if not name:
        return "anonymous"
    base = pathlib.Path(name).name.strip("[]")
    return {program: "program", "lock": "store's shared word"}.get(base, base.split(".so")[0])


def dirty_by_group(pid):
    sums = {}
    program = pathlib.Path(os.readlink(f"/proc/{pid}/exe")).name
    for *_, name, dirty in mappings(pid):
        if dirty:
            group = group_of(name, program)
            sums[group] = sums.get(group, 0) + dirty
    return sums


def lowest_used(pid, start, end):
    """The lowest byte of a stack that was written and not given back: below it everything is zero."""
    with open(f"/proc/{pid}/mem", "rb") as memory:
        memory.seek(start)
        data = memory.read(end - start)
    return start + len(data) - len(data.lstrip(b"\0"))


def stack_depths(pid):
    """Bytes of the main thread's and the other thread's stack that are held, the latter with its thread record."""
    stat = pathlib.Path(f"/proc/{pid}/stat").read_text().rsplit(")", 1)[1].split()
    main_begins = int(stat[25])  # below the environment
    depths = {"[stack]": 0, "[thread stack]": 0}
    for start, end, _, name, _ in mappings(pid):
        if name in depths:
            begins = main_begins if name == "[stack]" else end
            depths[name] = begins - lowest_used(pid, start, end)
    return depths


def make_reports(gateway, platform, count):
    """Makes that many periodic reports due, one after the other; each is answered with five Gets."""
    for _ in range(count):
        before = platform.lines("GetResponse")
        gateway.tcapi("set", "nuvek_Common", "LastInformTime", PAST_S)
        wait_for("the Gets' answers", lambda: platform.lines("GetResponse") >= before + GETS, 60)


def play_day(gateway, platform, reports):
    gateway.set_clock()
    wait_for("the registration", lambda: gateway.tcapi("get", "nuvek_Common", "RegId"), 30)
    make_reports(gateway, platform, reports)
    wait_for("both measurements' results", lambda: platform.lines("SiteSpeed") and platform.lines("TraceRoute"), 90)
    time.sleep(2)  # until the agent is idle


def state_of(name, process):
    return name, dirty_by_group(process.pid), stack_depths(process.pid)


def measure_sleeper(name, *arguments):
    process = subprocess.Popen([BIN / "sleeper", *arguments])
    time.sleep(0.5)
    state = state_of(name, process)
    process.terminate()
    process.wait()
    return state


def measure_agent(folder):
    platform = Platform(folder, SCENARIO)
    gateway = Gateway(folder / "gateway", platform.port, clock_is_set=False)
    process = gateway.start()
    try:
        time.sleep(2.5)
        yield state_of("agent, clock not set", process)
        play_day(gateway, platform, REPORTS_A_DAY)
        yield state_of("after a day's traffic", process)
        make_reports(gateway, platform, FURTHER_REPORTS)
        time.sleep(2)
        yield state_of(f"and {FURTHER_REPORTS} reports more", process)
    finally:
        gateway.stop()
        platform.stop()


def measure_heap(folder):
    """Heap bytes asked for, at the highest and when the agent is idle again, by valgrind's massif."""
    platform = Platform(folder, SCENARIO)
    gateway = Gateway(folder / "gateway", platform.port, clock_is_set=False)
    result = folder / "massif.out"
    gateway.start("valgrind", "--tool=massif", "--time-unit=B", "--max-snapshots=1000", "--detailed-freq=1",
                  f"--massif-out-file={result}")
    try:
        play_day(gateway, platform, 3)
    finally:
        gateway.stop()
        platform.stop()
    snapshots = result.read_text().split("snapshot=")[1:]
    heights = [int(re.search(r"mem_heap_B=(\d+)", snapshot)[1]) for snapshot in snapshots]
    detailed = [snapshot for snapshot in snapshots if "heap_tree=empty" not in snapshot]
    holders = re.findall(r"^ n\d+: (\d+) (?:0x\w+: )?(.*)$", detailed[-1], re.MULTILINE)
    print_table(["heap", "bytes"], [["highest", max(heights)], ["idle again", heights[-1]],
                                    *[[f"- {holder.split(' (in /')[0][:70]}", size] for size, holder in holders]])


def main():
    require("valgrind")
    os.sync()  # a page of a file just built counts as dirty until it is on the disk
    states = [measure_sleeper("sleeper"), measure_sleeper("sleeper with two threads", "two")]
    with scratch() as folder:
        states += measure_agent(pathlib.Path(folder))
    names = [name for name, _, _ in states]
    groups = sorted({group for _, sums, _ in states for group in sums})
    print("Private dirty memory, kB:")
    print_table(["where", *names], [*[[group, *[sums.get(group, 0) for _, sums, _ in states]] for group in groups],
                                    ["all", *[sum(sums.values()) for _, sums, _ in states]]])
    print("Stack held, bytes:")
    print_table(["thread", *names], [["main", *[depths["[stack]"] for _, _, depths in states]],
                                     ["timer", *[depths["[thread stack]"] or "-" for _, _, depths in states]]])
    with scratch() as folder:
        measure_heap(pathlib.Path(folder))
    least, day = (sum(sums.values()) for _, sums, _ in (states[1], states[3]))
    if day > least + BUDGET_KB:
        sys.exit(f"bench: budget broken: {day} kB after a day, {day - least} beyond the sleeper with two threads; {BUDGET_KB} are allowed")


if __name__ == "__main__":
    main()
