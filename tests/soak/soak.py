"""A gateway's year in minutes: soak.py [DAYS] [SEED] [DATE] [MINUTES]. Plays it, accounts for it, ends with 1 when anything is
off."""
import collections
import datetime
import heapq
import itertools
import pathlib
import random
import signal
import sys
import time

from accounts import MOST_LOST_AT_A_POWER_CUT, Accounts, KINDS, is_on_time
from bench.chart import write_chart
from bench.gateway import PROJECT, print_table, scratch
from world import COUNTERS, PRIMARY, SECONDARY, STEP_S, World

DAY_S = 86400
WEEK_S = 7 * DAY_S
MONTH_DAYS = 30
YEAR_DAYS = 366
DRAWN_DAYS = 3652  # ten years
FIRST_DAY = "2024-01-01"
REPORT_CYCLE_MIN = 1440
UNSET_S = DAY_S  # without a time at the beginning, half of it before 1970
TEST_SLACK_S = 4 * 5120  # a test waits while the result of the one before is being put off
LOCAL_WAIT_S = 10  # that a client of the local port may keep the main loop waiting
LONGEST_TURN_S = 6  # of work: three messages, each two attempts to connect of a second each
LARGEST_CORRECTION_S = 7200
LAST_REPORTS = 6
SAMPLE_DAYS = 6

# What is sampled, and by how much it may grow within one life of the agent.
FIGURES = (
    ("resident, kB", 256),  # code that is used for the first time, with some pages around it
    ("private, kB", 64),  # the same for data and stack
    ("heap in use, bytes", 8192),  # what the C library keeps for things done for the first time
    ("descriptors", 1),  # a connection that the platform left open
)
FAULTS = ("not_found", "server_error", "close", "reset", "silence", "garbage", "two_pieces", "wrong_length", "oversize")
PACKAGES = ("DeviceInfo", "GISInfoA", "GISInfoB", "Interface", "Counter", "Unknown")


class Soak:
    def __init__(self, world, days, seed, first_s, report_cycle_s):
        self.world, self.days, self.random = world, days, random.Random(seed)
        self.first_s, self.report_cycle_s = first_s, report_cycle_s
        self.wrong = []
        self.lost = collections.Counter()
        self.happened = collections.Counter()
        self.samples = []  # (day, number of the agent's start, figures)
        self.elapsed_s = 0
        self.number = itertools.count()
        self.events = []
        self.started_s, self.done_at_start = 0, (0, 0, 0)

    def require(self, condition, what):
        if not condition:
            self.wrong.append(f"day {self.elapsed_s // DAY_S}: {what}")
            print(f"soak: WRONG, {self.wrong[-1]}", flush=True)

    # --- the plan ---

    def at(self, day, action):
        heapq.heappush(self.events, (int(day * DAY_S), next(self.number), action))

    def again(self, least_days, most_days, action):
        self.at(self.elapsed_s / DAY_S + self.random.uniform(least_days, most_days), action)

    def plan(self):
        for day in range(1, self.days):
            self.at(day, self.end_of_day)
        for day in range(1, self.days, max(1, min(SAMPLE_DAYS, self.days // 12))):
            self.at(day, self.take_sample)
        for least_days, most_days, action in (
                (2, 4, self.storm), (5, 8, self.restart), (12, 16, self.cut_power), (3, 9, self.correct_clock),
                (2, 9, self.post), (2, 9, self.silent_clients)):
            self.again(least_days, most_days, action)

    def play(self):
        self.pass_time_unset()
        self.begin()
        self.plan()
        while self.events and self.events[0][0] <= self.days * DAY_S:
            at_s, _, action = heapq.heappop(self.events)
            self.pass_to(at_s)
            action()
        self.pass_to(self.days * DAY_S)
        self.finish()

    def pass_to(self, at_s):
        if at_s > self.elapsed_s:
            self.world.advance(at_s - self.elapsed_s)
            self.elapsed_s = at_s

    # --- what happens ---

    def fair(self):
        refused = [self.random.choice((-3, -2)) for _ in range(self.random.randint(0, 3))]
        gets = [["NUVEK." + package for package in self.random.sample(PACKAGES, self.random.randint(0, len(PACKAGES)))]
                for _ in range(12 * DAY_S // self.report_cycle_s)]
        self.world.set_platform(PRIMARY, f"Report: {{gets: {gets}}}\nSiteSpeed: {{codes: {[*refused, 0]}}}\n"
                                         "TraceRoute: {gets: [[NUVEK.Counter]]}\n")

    def storm(self):
        """An outage, put off while a result is: what is put off when the platform is lost is lost, and the measurements
        with it until the agent is started again."""
        codes = [entry["code"] for entry in self.world.journal() if entry["kind"] == "SiteSpeed"]
        if codes and codes[-1] not in (0, None):
            self.again(0.1, 0.2, self.storm)
            return
        kind = self.random.choice(("primary down", "both down", "answers garbled"))
        if kind == "primary down":
            self.world.set_platform(SECONDARY, "SiteSpeed: {codes: [0]}\n")
        elif kind == "both down":
            self.world.set_platform(None)
        else:
            faults = [f"{{to: {to}, do: {self.random.choice(FAULTS)}}}" for to in ("Report", "SiteSpeed", "TraceRoute")]
            self.world.set_platform(PRIMARY, f"faults: [{', '.join(faults)}]\n")
        self.happened["outages, " + kind] += 1
        self.again(0.3, 2.5, self.calm)

    def calm(self):
        self.fair()
        self.again(2, 8, self.storm)

    def restart(self):
        self.world.restart()
        self.note_start()
        self.happened["restarts of the agent"] += 1
        self.again(90, 150, self.restart)

    def cut_power(self):
        """Not before the first test is in flash: a gateway that forgets it ever measured does not measure again."""
        if not self.world.is_in_flash("LastSpeedTime"):
            self.again(1, 2, self.cut_power)
            return
        before, after = self.world.cut_power()
        self.note_start()
        lost = {name: before[name] - after[name] for name in COUNTERS}
        self.require(min(lost.values()) >= 0 and sum(lost.values()) <= MOST_LOST_AT_A_POWER_CUT,
                     f"a power cut took {lost} from the counters")
        self.lost.update(lost)
        self.happened["power cuts"] += 1
        self.again(80, 130, self.cut_power)

    def correct_clock(self):
        self.world.correct_clock(self.random.choice((-1, 1)) * self.random.randint(120, LARGEST_CORRECTION_S))
        self.pass_to(self.elapsed_s + STEP_S)
        self.happened["corrections of the clock"] += 1
        self.again(20, 60, self.correct_clock)

    def post(self):
        self.require(self.world.post_location() == -3, "a second location was not refused")
        self.happened["locations posted again"] += 1
        self.again(10, 30, self.post)

    def silent_clients(self):
        """Three at once: each is dropped after its ten seconds, one after the other."""
        clients = [self.world.local_client() for _ in range(3)]
        self.pass_to(self.elapsed_s + len(clients) * (LOCAL_WAIT_S + STEP_S))
        for client in clients:
            client.settimeout(1)
            self.require(client.recv(1) == b"", "a silent client was not dropped")
            client.close()
        self.happened["silent local clients"] += len(clients)
        self.again(30, 60, self.silent_clients)

    def pass_time_unset(self):
        """A clock that ran on from before 1970 and yet is marked as right: it does not open the gate."""
        self.world.set_platform(None)
        self.world.gateway.set_clock()
        self.world.turn_on(-UNSET_S // 2)
        self.require(self.world.post_location() == 0, "the location was not taken")
        self.world.advance(UNSET_S)
        seen = self.world.control.get
        self.require(self.world.now == UNSET_S // 2 and seen("turns") > UNSET_S // STEP_S - 2, "the clock did not run")
        self.require(not seen("reports") and not seen("refused_connects"), "it reported by a clock that nobody had set")

    def begin(self):
        """The clock is right while the platform is down; registered once it is up."""
        self.world.synchronise(self.first_s)
        self.pass_to(3600)
        self.fair()
        self.pass_to(7200)
        self.require(self.world.gateway.tcapi("get", "nuvek_Entry0", "alreadyReport") == "1", "not registered")

    def end_of_day(self):
        now = self.world.now
        reported_s = now - self.world.stamp("LastInformTime")
        measured_s = now - self.world.stamp("LastSpeedTime")
        self.require(0 <= reported_s <= self.report_cycle_s + STEP_S, f"the last report is {reported_s} s old")
        self.require(-LARGEST_CORRECTION_S <= measured_s <= WEEK_S + TEST_SLACK_S, f"the last speed test is {measured_s} s old")
        self.world.set_line(self.random.random() > 0.2)
        self.world.set_trace(self.random.randint(0, 2))

    def work_done(self):
        seen = self.world.control.get
        return seen("reports"), seen("full_speed_tables") + seen("empty_speed_tables"), seen("trace_ends")

    def note_start(self):
        self.started_s, self.done_at_start = self.elapsed_s, self.work_done()

    def take_sample(self):
        """From a day after the agent's start, once it has done each kind of work."""
        if self.elapsed_s < self.started_s + DAY_S:
            return
        if any(now == then for now, then in zip(self.work_done(), self.done_at_start)):
            return
        self.samples.append((self.elapsed_s // DAY_S, len(self.world.starts), self.world.sample()))

    def finish(self):
        """A last day, and then one more report, at which the platform asks for the counters: again when a result was counted
        after it."""
        self.world.set_platform(PRIMARY, "Report: {gets: [[NUVEK.Counter]]}\n")
        self.pass_to(self.elapsed_s + DAY_S)
        for _ in range(LAST_REPORTS):
            self.world.gateway.tcapi("set", "nuvek_Common", "LastInformTime", "1")
            self.pass_to(self.elapsed_s + 6 * STEP_S)  # longer than a speed test
            if Accounts(self.world, self.lost).counters_by_get() == self.world.counters():
                return


def show_and_check(soak, world, real_s):
    accounts = Accounts(world, soak.lost)
    soak.require(not accounts.findings(), f"the platform found fault: {accounts.findings()[:3]}")

    lost = accounts.lost_without_reason()
    soak.require(not lost, f"messages sent that did not arrive: {lost}")
    gets, unanswered = accounts.unanswered_gets()
    soak.require(not unanswered, f"Gets without an answer: {unanswered}")
    soak.require(soak.days < MONTH_DAYS or accounts.by_kind["Report"] > soak.days / 2, "hardly any report arrived")
    print_table(["message", "arrived"], [[kind, accounts.by_kind[kind]] for kind in KINDS] +
                [["all", len(accounts.arrived)], ["sent by the agent", len(accounts.requests)],
                 ["closed away by the agent", len(accounts.not_arrived)],
                 ["Gets that it must have read", gets.total()]])

    print_table(["event", "times"], sorted(soak.happened.items()))

    expected, store, told = accounts.expected_counters(), world.counters(), accounts.counters_by_get()
    rows = [[name, expected[name], store[name], told[name], soak.lost[name]] for name in COUNTERS]
    print_table(["counter", "journal and witness", "store", "by a Get", "lost at power cuts"], rows)
    for name, right, *others, _ in rows:
        soak.require(set(others) == {right}, f"{name} is {others}, not {right}")
    _, unread = accounts.read_results()
    soak.require(all(entry in accounts.in_company for entry in unread), f"results whose answer was not read: {unread}")

    back_offs = accounts.back_offs()
    late = [pair for pair in back_offs if not is_on_time(*pair)]
    soak.require(not late, f"results put off, but not sent again in time (due, seen): {late}")

    print_table(["day", *[name for name, _ in FIGURES], "agent's start no."],
                [[day, *figures, life] for day, life, figures in soak.samples[::max(1, len(soak.samples) // 12)]])
    check_flat(soak)

    turn_us, turn_s = world.control.get("longest_turn_us"), world.control.get("longest_turn_s")
    soak.require(turn_us <= LONGEST_TURN_S * 1e6, f"a turn worked for {turn_us} us")
    soak.require(turn_s <= LOCAL_WAIT_S, f"a turn waited {turn_s} s")
    print_table(["figure", "value", "bound"], [
        ["turns of the main loop", world.control.get("turns"), ""],
        ["longest turn, work, real ms", f"{turn_us / 1000:.1f}", LONGEST_TURN_S * 1000],
        ["longest turn, waiting, simulated s", turn_s, LOCAL_WAIT_S],
        ["connections refused", world.control.get("refused_connects"), ""],
        ["messages sent in one turn with another", len(accounts.in_company), ""],
        ["results of these whose answer was not read", len(unread), ""],
        ["results put off and sent again", len(back_offs), ""],
        ["longest back-off, s", max((due for due, _ in back_offs), default=0), 5120],
        ["real time, s", f"{real_s:.0f}", ""]])


def check_flat(soak):
    for life in {sample[1] for sample in soak.samples}:
        for column, (name, room) in enumerate(FIGURES):
            values = [figures[column] for _, start, figures in soak.samples if start == life]
            grown = max(later - earlier for k, earlier in enumerate(values) for later in values[k:])
            soak.require(grown <= room, f"{name} after start {life}: {values}")


def draw(samples):
    """Each figure in percent of its first sample, so that one chart shows them all."""
    firsts = samples[0][2]
    curves = [(f"{name}, 100 % = {firsts[column]}", [(day, 100 * figures[column] / firsts[column])
                                                     for day, _, figures in samples])
              for column, (name, _) in enumerate(FIGURES)]
    write_chart(PROJECT / "docs" / "soak.svg", "Ten years of one gateway", "day", "% of the first sample", curves)


def main():
    words = dict(enumerate(sys.argv))
    days = int(words.get(1, YEAR_DAYS))
    seed = int(words.get(2, random.SystemRandom().randrange(1 << 31)))
    date = words.get(3, FIRST_DAY)
    report_cycle_min = int(words.get(4, REPORT_CYCLE_MIN))
    first_s = int(datetime.datetime.fromisoformat(date + "T00:00+00:00").timestamp())
    print(f"soak: {days} days from {date}, seed {seed}, a report every {report_cycle_min} minutes\n", flush=True)
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))  # the agent and the platform server end with us
    begin = time.monotonic()
    with scratch() as name:
        world = World(pathlib.Path(name), report_cycle_min)
        soak = Soak(world, days, seed, first_s, report_cycle_min * 60)
        try:
            soak.play()
            show_and_check(soak, world, time.monotonic() - begin)
        finally:
            world.end()
    if days >= DRAWN_DAYS:
        draw(soak.samples)
    for line in soak.wrong:
        print(f"soak: WRONG, {line}")
    print(f"soak: {'NOT all right' if soak.wrong else 'all right'}, repeat with: "
          f"script/soak {days} {seed} {date} {report_cycle_min}")
    return 1 if soak.wrong else 0


if __name__ == "__main__":
    sys.exit(main())
