"""What a fleet of gateways does to its platform: the agent's rules, replayed event by event for a part of the fleet, and the
platform's capacity in the same proportion."""
import collections
import heapq
import random

from bench.chart import write_chart
from bench.gateway import PROJECT, print_table

FLEET = 1_000_000
PART = 10_000  # gateways replayed
SCALE = FLEET // PART
SEED = 1

# The agent's rules.
TURN_S = 1.0  # wait of a turn of the main loop, when nothing arrives
CONNECT_LIMIT_S = 1.0  # for each of the two platform domains
SPEED_TEST_S = 41  # uptime after which a speed test is reported
DAY_S = 86400
FIRST_BACK_OFF_S, LONGEST_STEP = 10, 10

# The world.
ROUND_TRIP_S = 0.02
BOOT_S = (60, 120)  # from power to a synchronised clock


class World:
    """A clock and what is to come."""

    def __init__(self):
        self.now, self.events, self.count = 0.0, [], 0

    def after(self, delay, action, *arguments):
        self.count += 1
        heapq.heappush(self.events, (self.now + delay, self.count, action, arguments))

    def run(self, until):
        while self.events and self.events[0][0] <= until:
            self.now, _, action, arguments = heapq.heappop(self.events)
            action(*arguments)


class Platform:
    """Serves requests one after the other. `answer` says what comes back: "ok", "refused" (any answer that is no
    acknowledgement) or None for silence; it serves no request whose connection has ended when `skips_closed`."""

    def __init__(self, world, per_s, answer="ok", most_connections=None, skips_closed=False):
        self.world, self.per_s, self.answer = world, per_s, answer
        self.most_connections, self.skips_closed = most_connections, skips_closed
        self.queue, self.busy = collections.deque(), False
        self.open = self.most_open = self.wasted = self.served = 0
        self.arrived = collections.Counter()  # by second

    def connect(self):
        """Whether a connection came about: beyond its limit the platform lets attempts time out."""
        if self.most_connections is not None and self.open >= self.most_connections:
            return False
        self.open += 1
        self.most_open = max(self.most_open, self.open)
        return True

    def request(self, gateway, connection):
        self.arrived[int(self.world.now)] += 1
        self.queue.append((gateway, connection))
        if not self.busy:
            self.serve_next()

    def serve_next(self):
        while self.skips_closed and self.queue and self.queue[0][0].connection != self.queue[0][1]:
            self.queue.popleft()
            self.wasted += 1
        self.busy = bool(self.queue)
        if self.busy:
            self.world.after(1 / self.per_s, self.finish)

    def finish(self):
        gateway, connection = self.queue.popleft()
        self.served += 1
        if gateway.connection != connection:
            self.wasted += 1
        elif self.answer is not None:
            self.world.after(ROUND_TRIP_S / 2, gateway.receive, connection, self.answer)
        self.serve_next()


class Registering:
    """A gateway with a location that the platform has not acknowledged: an Inform0 on every turn of its main loop, and a
    turn ends after a second or, at once, with an answer."""

    def __init__(self, world, platform):
        self.world, self.platform = world, platform
        self.connection, self.connections, self.turns = None, 0, 0
        self.sent, self.acknowledged_at = 0, None

    def turn(self, number=0):
        if number != self.turns or self.acknowledged_at is not None:
            return  # that turn has ended by an answer
        if self.connection is None:
            if not self.platform.connect():
                self.turns += 1  # both domains, one after the other, then the wait of the turn
                self.world.after(2 * CONNECT_LIMIT_S + TURN_S, self.turn, self.turns)
                return
            self.connections += 1
            self.connection = self.connections
        self.sent += 1
        self.world.after(1.5 * ROUND_TRIP_S, self.arrive, self.connection)
        self.turns += 1
        self.world.after(TURN_S, self.turn, self.turns)

    def arrive(self, connection):
        self.platform.request(self, connection)

    def receive(self, connection, answer):
        if connection != self.connection:
            return
        self.connection = None  # every handled answer ends the connection
        self.platform.open -= 1
        if answer == "ok":
            self.acknowledged_at = self.world.now
            return
        self.turns += 1
        self.turn(self.turns)


def boot_times(count):
    return [random.uniform(*BOOT_S) for _ in range(count)]


def registration(per_s, **options):
    """All gateways begin to register when the power comes back; returns the row of the table and the load's curve."""
    world = World()
    platform = Platform(world, per_s / SCALE, **options)
    gateways = [Registering(world, platform) for _ in range(PART)]
    for gateway, boot in zip(gateways, boot_times(PART)):
        world.after(boot, gateway.turn)
    limit = BOOT_S[1] + 3 * FLEET / per_s
    world.run(limit)
    done = sorted(gateway.acknowledged_at for gateway in gateways if gateway.acknowledged_at is not None)
    last = done[int(len(done) * 0.99)] if len(done) >= PART * 0.99 else None
    peak = max(platform.arrived.values()) * SCALE
    row = [f"{per_s:,}", f"{sum(gateway.sent for gateway in gateways) / PART:.1f}", f"{peak:,}",
           f"{platform.most_open * SCALE:,}", f"{platform.wasted / sum(platform.arrived.values()) * 100:.0f} %",
           f"{last:.0f} s" if last else f"not in {limit:.0f} s"]
    curve = [(second, platform.arrived[second] * SCALE) for second in range(int(min(limit, 400)))]
    return row, curve


def show_registration():
    rows, curves = [], []
    for name, per_s, options in (
            ("serves all in 30 s", FLEET // 30, {}),
            ("serves all in 120 s", FLEET // 120, {}),
            ("the same, skips ended connections", FLEET // 120, {"skips_closed": True}),
            ("the same, at most 50,000 connections", FLEET // 120,
             {"skips_closed": True, "most_connections": 50_000 // SCALE}),
            ("serves all in 600 s, skips, 50,000 connections", FLEET // 600,
             {"skips_closed": True, "most_connections": 50_000 // SCALE})):
        row, curve = registration(per_s, **options)
        rows.append([name, *row])
        curves.append((name, curve))
    print("A million gateways register after the power came back (booted within a minute):")
    print_table(["platform", "answers/s", "Inform0 each", "Inform0/s at the peak", "connections at the peak",
                 "came to nothing", "99 % registered after"], rows)
    write_chart(PROJECT / "docs/fleet-registration.svg", "A million gateways register after a power cut",
                "seconds after the power came back", "Inform0 a second", curves)


def show_answers():
    """What one unregistered gateway sends while the platform behaves so, in a minute."""
    rows = []
    for name, answer, options in (("acknowledges", "ok", {}), ("says nothing", None, {}),
                                  ("answers, but does not acknowledge (code, 404, 503, garbage, close)", "refused", {}),
                                  ("lets connections time out", "ok", {"most_connections": 0})):
        world = World()
        platform = Platform(world, 1e4, answer=answer, **options)
        gateway = Registering(world, platform)
        gateway.turn()
        world.run(60)
        rows.append([name, gateway.sent, gateway.connections, f"{gateway.sent / 60 * FLEET:,.0f}"])
    print(f"One unregistered gateway in its first minute, {ROUND_TRIP_S * 1000:.0f} ms from the platform:")
    print_table(["the platform", "Inform0", "connections", "Inform0/s of a million"], rows)


def daily_reports(days, first_s, cycles):
    """Reports by minute: each gateway's next report goes out on its first turn that is more than a cycle later."""
    minutes = collections.Counter()
    for first, cycle in zip(first_s, cycles):
        at = first
        while at < days * DAY_S:
            minutes[int(at // 60)] += 1
            at += (int(cycle / TURN_S) + 1) * TURN_S  # strictly more than the cycle, in whole turns
    return minutes


def show_days():
    days = 7
    even = [DAY_S] * PART
    spread = [DAY_S * random.uniform(0.9, 1.1) for _ in range(PART)]
    seeded = [random.uniform(0, DAY_S) for _ in range(PART)]
    rows, curves = [], []
    for name, first, cycles in (("last reports spread over the day", seeded, even),
                                ("after the power came back", boot_times(PART), even),
                                ("the same, cycles of 1296 to 1584 minutes", boot_times(PART), spread)):
        minutes = daily_reports(days, first, cycles)
        by_day = [max(minutes[day * 1440 + k] for k in range(1440)) * SCALE / 60 for day in range(days)]
        rows.append([name, *[f"{peak:,.0f}" for peak in by_day]])
        curves.append((name, [(k / 60, sum(minutes[k + j] for j in range(10)) * SCALE / 600)
                              for k in range(0, days * 1440, 10)]))
    print("Periodic reports a second in the busiest minute of each day (a million gateways, 11.6 a second on average):")
    print_table(["fleet", *[f"day {day + 1}" for day in range(days)]], rows)
    write_chart(PROJECT / "docs/fleet-days.svg", "Periodic reports of a million gateways in a week",
                "hours", "reports a second (mean of ten minutes)", curves)


def back_off_s(retry):
    return FIRST_BACK_OFF_S << (min(retry, LONGEST_STEP) - 1)


def results_of(first_s, refused_until_s, retries_before=0):
    """When one gateway sends its speed result, and how often it was refused by then; the count is never set back."""
    at, retry, sent = first_s, retries_before, []
    while True:
        sent.append(at)
        if at >= refused_until_s:
            return sent, retry
        retry += 1
        at += back_off_s(retry)


def show_back_off():
    hours = 12
    rows, curves = [], []
    for name, before, refused_h in (("refused for 2 hours", 0, 2), ("refused for 6 hours", 0, 6),
                                    ("refused for 2 hours, the second time in a run", 9, 2)):
        minutes, last = collections.Counter(), 0.0
        total = 0
        for boot in boot_times(PART):
            sent, _ = results_of(boot + SPEED_TEST_S, refused_h * 3600, before)
            total += len(sent)
            last = max(last, sent[-1])
            minutes.update(int(at // 60) for at in sent)
        step_s = back_off_s(LONGEST_STEP)
        late = sum(minutes[k] for k in range((refused_h * 3600 - step_s) // 60, refused_h * 60)) * SCALE / step_s
        rows.append([name, f"{total / PART:.1f}", f"{max(minutes.values()) * SCALE / 60:,.0f}", f"{late:,.0f}",
                     f"{(last - refused_h * 3600) / 60:.0f} min"])
        curves.append((name, [(k / 60, sum(minutes[k + j] for j in range(5)) * SCALE / 300)
                              for k in range(0, hours * 60, 5)]))
    print("The platform answers -3 to every speed result:")
    print_table(["platform", "results each", "results/s in the busiest minute", "results/s, mean of the last 5120 s of refusal",
                 "last result after the end"], rows)
    write_chart(PROJECT / "docs/fleet-back-off.svg", "A platform that answers -3 to everybody", "hours",
                "results a second (mean of five minutes)", curves)


def main():
    random.seed(SEED)
    print(f"{PART:,} gateways replayed for {FLEET:,}; seed {SEED}\n")
    show_answers()
    show_registration()
    show_days()
    show_back_off()


if __name__ == "__main__":
    main()
