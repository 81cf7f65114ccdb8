"""Random dialogues, each from a seed and each step held to the model. A failure drops its steps, as long as it still fails
without them, before it is told. Run by script/dialogues; test_random.py plays some."""
import pathlib
import random
import sys
import tempfile
import time

from day import POST, SPEED, TRACE
from harness import Gateway, stay_on_one_processor
from messages import ACKNOWLEDGED_STORE, LOCATED_STORE, NOW, answer, get, inform0_response, result_response
from model import DAY_S, WEEK_S, Model

UNMATCHED = 4711  # an identifier that no result has
STEPS = (30, 120)
CLOCK_STEPS_S = (1, 5, 10, 20, 59, 60, 61, -59, -60, -61, DAY_S, -DAY_S, 3600)
WAITS_S = (1, 5, 10, 20, 40, 80)
EARLIEST_S, LATEST_S = NOW - 30 * DAY_S, NOW + 30 * DAY_S
CODES = (0, 0, -3, -3, -2, -1, 5)
KINDS = {
    "block A acknowledged": (ACKNOWLEDGED_STORE, True, False, "A"),
    "block B acknowledged": ({**LOCATED_STORE, "nuvek_Entry0 GISInterface": "", "nuvek_Entry1 alreadyReport": "1",
                              "nuvek_Entry1 GISInterface": "B"}, False, True, ""),
    "both acknowledged": ({**ACKNOWLEDGED_STORE, "nuvek_Entry1 alreadyReport": "1", "nuvek_Entry1 GISInterface": "B"},
                          True, True, "A"),
    "none acknowledged": (LOCATED_STORE, False, False, "A"),
}


def plan(seed):
    """A kind of gateway, and steps: an operation of Dialogue and what it is told. Each can be left out."""
    draw = random.Random(seed)
    steps = []
    for _ in range(draw.randint(*STEPS)):
        name, *choices = draw.choice((
            ("turn",), ("turn",), ("turn",), ("tick",), ("tick",), ("wait", WAITS_S), ("wait", WAITS_S), ("clock", CLOCK_STEPS_S),
            ("result", ("Speed", "Speed", "Trace", None), CODES), ("result", ("Speed", "Speed", "Trace", None), CODES),
            ("result", ("Speed",), (-3,)), ("get", range(100)), ("inform", (0, 0, -1, -3)), ("empty",), ("drop", (False, True)),
            ("due", ("Inform", "Speed", "Speed", "Trace")), ("measured",), ("measured",), ("trace_runs",), ("post",), ("letter", ("", "A"))))
        steps.append((name, *map(draw.choice, choices)))
    return draw.choice(sorted(KINDS)), steps


class Dialogue:
    def __init__(self, folder, kind):
        store, *flags = KINDS[kind]
        self.agent = Gateway(folder, {**store, "nuvek_Common LastInformTime": str(NOW)})
        self.model = Model(NOW, self.agent.uptime, *flags)
        self.link = None
        self.agent.primary.up()
        self.agent.name("trace.test", TRACE["address"])
        for path, text in (("httpSpeed", SPEED["table"]), ("httpURL", SPEED["url"]), ("httpDIP", SPEED["address"])):
            self.agent.write("var/" + path, text)
        self.agent.write("var/speed_ErrorCode", "0")
        self.agent.write("tmp/tracenuvek", " 1 gw (10.0.0.1) 0.5 ms 0.4 ms 0.3 ms\n")
        self.agent.start("-v", "1")
        self.begin = len([line for line in self.agent.records() if line.startswith("set nuvek_DevInfo")]) + 3
        self.model.due_steps()
        self.check(self.begin)
        self.tick()

    def check(self, skipped=0):
        """What was done and sent since the last look is what the model has done and sent."""
        effects = self.agent.effects()[skipped:]
        assert effects == self.model.effects, "calls\n%s\nand not\n%s" % (effects, self.model.effects)
        links = self.agent.primary.waiting()
        assert len(links) == self.model.links, "%d connections and not %d" % (len(links), self.model.links)
        sent = self.link.take() if self.link and self.link.end == 0 else []
        for self.link in links:
            sent += self.link.take()
        assert sent == self.model.sent, "sent\n%s\nand not\n%s" % (sent, self.model.sent)
        self.model.effects, self.model.sent, self.model.links = [], [], 0

    # --- the steps ---

    def turn(self):
        if self.model.dropped and self._is_watched():
            self.model.notice_drop()
        self.agent.turns()
        self.model.due_steps()
        self.check()

    def _is_watched(self):
        """Whether the main thread waits for the latest connection; one of the timer thread's it sees in its next turn."""
        return str(self.link.fd) in self.agent.waits_in().split(" within")[0].split()[2:]

    def tick(self):
        self.agent.tick()
        self.model.tick()
        self.check()

    def clock(self, seconds):
        self.agent.clock = self.model.clock = min(max(self.model.clock + seconds, EARLIEST_S), LATEST_S)

    def wait(self, seconds):
        """Time that passes, as the timer service sees it."""
        self.tick()
        for _ in range(0, seconds, 40):
            self.clock(min(seconds, 40))
            self.tick()

    def answer(self, *objects):
        """Answers on the open connection, if the main thread watches one; it reads that in its next turn."""
        if self.link is None or self.link.end or self.link.agent_closed or not self._is_watched():
            return False
        self.link.answer(answer(*objects))
        return True

    def _after_answer(self):
        self.agent.turns()
        self.model.close_link()
        self.model.due_steps()
        self.check()

    def result(self, name, code):
        identifier = self.model.ids[name] if name else UNMATCHED
        if identifier and self.answer(result_response(identifier, code)):
            self.model.result_came(identifier, code)
            self._after_answer()

    def get(self, number):
        if self.answer(get("NUVEK.Counter", number)):
            self.model.asked_for_counters(number)
            self._after_answer()

    def inform(self, code):
        if not self.model.reported and self.model.letter == "A" and self.answer(inform0_response(code)):
            self.model.registered(code)
            self._after_answer()

    def empty(self):
        if self.answer("{}"):
            self._after_answer()

    def drop(self, rudely):
        """An acknowledgement that is lost: the platform goes without a word."""
        if self.link and self.link.end == 0 and not self.link.agent_closed and self.model.linked:
            (self.link.reset if rudely else self.link.close)()
            self.model.drop(rudely)

    def due(self, name):
        self.model.stamps[name] = self.model.clock - WEEK_S
        self.agent.edit_store({"nuvek_Common Last%sTime" % name: str(self.model.stamps[name])})

    def measured(self):
        self.agent.uptime += 41
        self.model.uptime += 41

    def trace_runs(self):
        self.agent.write("tmp/app_check.pid", "77\n")
        self.model.trace_looks = True

    def post(self):
        if self.model.dropped:
            return
        with self.agent.local() as client:
            client.sendall(POST)
            self.agent.turns()
            expected = self.model.posted()
            assert client.recv_now(1024) == expected
            assert client.recv_now(1) == b""
        self.model.due_steps()
        self.check()

    def letter(self, letter):
        if self.model.reported or self.model.b_reported:
            self.model.letter = letter
            self.agent.edit_store({"nuvek_Entry0 GISInterface": letter})


def play(kind, steps):
    """Plays the steps with an agent of their own. Returns what went wrong, or None."""
    with tempfile.TemporaryDirectory() as folder:
        dialogue = None
        step = "start"
        try:
            dialogue = Dialogue(pathlib.Path(folder), kind)
            for step in steps:
                getattr(dialogue, step[0])(*step[1:])
            dialogue.agent.stop()
            return None
        except Exception as error:  # whatever it is, it is this dialogue's
            return "at %s: %s: %s" % (step, type(error).__name__, error)
        finally:
            if dialogue is not None:
                dialogue.agent.kill()


def shrink(kind, steps):
    """Leaves out whatever can be left out of steps that fail."""
    size = len(steps) // 2
    while size:
        begin = 0
        while begin < len(steps):
            fewer = steps[:begin] + steps[begin + size:]
            if play(kind, fewer):
                steps = fewer
            else:
                begin += size
        size //= 2
    return steps


def play_seeds(count, seed):
    """Plays the dialogues of so many seeds. Returns what went wrong with the first that failed, or None."""
    for number in range(seed, seed + count):
        kind, steps = plan(number)
        if play(kind, steps):
            steps = shrink(kind, steps)
            lines = ["", "seed %d fails, %s:" % (number, kind), *map(str, steps), play(kind, steps) or "not any more, alone",
                     "repeat with: script/dialogues 1 %d" % number]
            return "\n".join(lines)
    return None


def main(count, seed):
    stay_on_one_processor()
    print("dialogues: %d from seed %d, repeat with: script/dialogues %d %d" % (count, seed, count, seed), flush=True)
    begin = time.monotonic()
    failure = play_seeds(count, seed)
    if failure:
        print(failure)
        return 1
    print("dialogues: all right, %.1f in a second" % (count / (time.monotonic() - begin)))
    return 0


if __name__ == "__main__":
    sys.exit(main(int(sys.argv[1]), int(sys.argv[2])))
