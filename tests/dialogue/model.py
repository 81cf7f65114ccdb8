"""What the agent must do at each step of a dialogue, told a second time and in few words: its timers with their oddities, its
counters, its back-off, when it reports and what it sends. The random dialogues hold the agent to it, call by call."""
import hashlib

from day import POSTED, SPEED, STORED, TRACE
from messages import (BLOCK_A, REG_ID, UUID, acknowledged, counters, device_time, get_response, inform0, message_id,
                      period_report, registered, speed_result, trace_result)

DAY_S, WEEK_S = 86400, 604800
TIMERS = 16
WORD = 0xFFFFFFFF
SPEED_COMMAND = "system httpSpeed -u http://nuvek-p1.test/speedtest/%s -t 30 -n 6 -e &" % hashlib.md5(UUID.encode()).hexdigest()
TRACE_COMMAND = "system traceroute  -i trace.test > ROOT/tmp/tracenuvek &"
PIDOF_COMMAND = "system pidof traceroute > ROOT/tmp/app_check.pid"
IDLE, STARTED, REPORTED = range(3)


class Timers:
    """At most sixteen, earliest first; a step of the clock of a minute or more between two ticks moves them all."""

    def __init__(self, clock):
        self.pending = []  # (expiry, identifier)
        self.used = [False] * TIMERS
        self.last = clock

    def add(self, expiry):
        if len(self.pending) >= TIMERS:
            return -1
        identifier = 0
        if False in self.used:
            identifier = self.used.index(False) + 1
            self.used[identifier - 1] = True
        place = sum(1 for other, _ in self.pending if other <= expiry)
        self.pending.insert(place, (expiry, identifier))
        return identifier

    def remove(self, identifier):
        if identifier > 0 and any(other == identifier for _, other in self.pending):
            self.pending = [timer for timer in self.pending if timer[1] != identifier]
            self.used[identifier - 1] = False

    def tick(self, clock, fire):
        step, self.last = clock - self.last, clock
        if not self.pending:
            return
        if abs(step) >= 60:
            self.pending = [(expiry + step, identifier) for expiry, identifier in self.pending]
        if clock < self.pending[0][0]:
            return
        _, identifier = self.pending[0]
        fire()
        del self.pending[0]
        if identifier < TIMERS:
            self.used[identifier] = False  # the next one's mark, as it has always been


class Model:
    def __init__(self, clock, uptime, a_reported, b_reported, letter):
        self.clock, self.uptime = clock, uptime
        self.reported, self.b_reported, self.letter = a_reported, b_reported, letter
        self.known_letter = letter  # as the agent last read it
        self.stamps = {"Inform": clock, "Speed": 0, "Trace": 0}
        self.block, self.reg_id = BLOCK_A, ""
        self.counted = dict.fromkeys(("fail_inform", "fail_result", "fail_task", "success_inform", "success_result",
                                      "success_task"), 0)
        self.changes = 0
        self.timers = Timers(clock)
        self.timer = self.code = self.retries = 0
        self.state = {"Speed": IDLE, "Trace": IDLE}
        self.trigger = {"Speed": False, "Trace": False}
        self.ids = {"Speed": 0, "Trace": 0}
        self.speed_began = 0
        self.trace_looks = False  # the next look finds the trace running
        self.default_from, self.default_done = 0, False
        self.linked = False
        self.dropped = 0  # the platform has closed: 1; nothing can be sent any more: 2
        self.was_reset = False  # and a reset is told once, to whoever asks first
        self.effects, self.sent, self.links = [], [], 0

    # --- what it does ---

    def count(self, name):
        self.counted[name] += 1
        attribute = "".join(part.capitalize() for part in name.split("_"))
        self.effects.append("set nuvek_Counter %s=%d" % (attribute, self.counted[name]))
        self.changes += 1
        if self.changes == 20:
            self.effects.append("save")
            self.changes = 0

    def open_link(self):
        if not self.linked:
            self.linked = True
            self.links += 1

    def send(self, request):
        if self.dropped == 2:
            self.was_reset = False
            return False
        if self.dropped:
            self.dropped = 2  # taken by this side, and lost
        else:
            self.sent.append(request)
        return True

    def close_link(self):
        self.linked, self.dropped, self.was_reset = False, 0, False

    def drop(self, rudely):
        self.dropped, self.was_reset = (2, True) if rudely else (1, False)

    def notice_drop(self):
        """The main thread reads from what the platform has closed."""
        if self.was_reset:
            self.was_reset = False  # an error is no end: that is read in the next turn
        else:
            self.close_link()

    def stamp(self, name):
        self.stamps[name] = self.clock
        self.effects.append("set nuvek_Common Last%sTime=%d" % (name, self.clock))

    def inform0(self):
        self.open_link()
        self.send(inform0(self.clock, time=device_time(self.clock), reg_id=self.reg_id, block=self.block))

    # --- one look of the timer thread, one turn of the main thread ---

    def tick(self):
        self.timers.tick(self.clock, self.report_ended)

    def due_steps(self):
        if self.letter.startswith("A") and not self.reported:
            self.known_letter = self.letter
            self.inform0()
        self.default_report()
        if self.reported and (self.clock - self.stamps["Inform"]) & WORD > DAY_S:
            self.stamp("Inform")
            self.open_link()
            self.count("success_inform" if self.send(period_report()) else "fail_inform")
        if self.code == 0:
            self.timers.remove(self.timer)
            self.report_ended()
            self.start_tests()

    def default_report(self):
        if self.default_done:
            return
        self.default_from = self.default_from or self.clock
        if not self.reported and not self.b_reported and self.clock - self.default_from > 1800:
            self.default_done = True
            self.inform0()

    def report_ended(self):
        over = self.speed_began != 0 and self.uptime > self.speed_began + 40
        if over:
            self.speed_began = 0
        if over or self.code != 0:
            self.report("Speed", speed_result(self.clock, **SPEED))
        if self.state["Trace"] != STARTED:
            return
        self.effects.append(PIDOF_COMMAND)
        if self.trace_looks:
            self.trace_looks = False
        elif self.code == 0:
            self.report("Trace", trace_result(self.clock, **TRACE))
        else:
            self.count("success_task")

    def report(self, name, request):
        self.open_link()
        self.count("success_task")
        self.ids[name] = message_id(self.clock)
        self.send(request)
        self.state[name], self.trigger[name] = REPORTED, False

    def start_tests(self):
        for name, command in (("Speed", SPEED_COMMAND), ("Trace", TRACE_COMMAND)):
            last = self.stamps[name]
            arrived = (self.reported or self.b_reported) and last != 0 and (self.clock - last) & WORD >= WEEK_S
            if (self.trigger[name] or arrived) and self.state[name] != STARTED:
                self.state[name] = STARTED
                self.stamp(name)
                self.effects.append(command)
                if name == "Speed":
                    self.speed_began = self.uptime

    # --- what the platform says ---

    def result_came(self, identifier, code):
        self.code = code
        found = [name for name in ("Speed", "Trace") if self.ids[name] == identifier]
        if found:
            self.state[found[-1]], self.trigger[found[-1]] = REPORTED, False
            if found[-1] == "Speed" and code in (-2, -3):
                self.retries += 1
                self.timer = self.timers.add(self.clock + (10 << (min(self.retries, 10) - 1)))
        self.count("success_result" if code == 0 else "fail_result")

    def registered(self, code):
        if code == 0 and self.known_letter:
            self.reported = True
            self.trigger = {"Speed": True, "Trace": True}
            self.effects += acknowledged()
        else:
            self.effects += registered(code)
        self.reg_id = REG_ID

    def asked_for_counters(self, number):
        self.send(get_response("NUVEK.Counter", counters(**self.counted), number))

    # --- what a client posts ---

    def posted(self):
        if self.letter:
            return b'{"Result":-3,"ID":7}'
        self.letter, self.block = "A", POSTED
        self.effects += STORED
        return b'{"Result":0,"ID":7}'


