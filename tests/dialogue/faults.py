"""Random dialogues under random faults, each from a seed: whatever failed, once nothing fails any more the gateway is as
it was. Run by script/faults; test_faults.py plays some."""
import json
import pathlib
import random
import re
import shutil
import sys
import tempfile
import time
import traceback

from day import POST, SPEED, STORE, TRACE, UNMATCHED, WEEK_S, YEAR_S, Day
from harness import FAULTS, Gateway, stay_on_one_processor
from messages import (NOW, PRIMARY, REG_ID, SECONDARY, UUID, answer, device_time, get, inform0, inform0_response, period_report,
                      post, result_response, speed_result, trace_result)

DIALOGUES_PER_LIFE = 40
RATES = (200, 1000, 4000, 16000)  # of 65536 calls of each kind, so many fail
JUMPS_S = (1, -1, 30, -30, 3600, -3600, 5 * 3600, -86400, 86400, WEEK_S, YEAR_S, -YEAR_S, 10 * YEAR_S)
LATEST_S = NOW + 12 * YEAR_S  # the gateway's seconds end in 2038
PACKAGES = ("NUVEK.DeviceInfo", "NUVEK.GISInfoA", "NUVEK.GISInfoB", "NUVEK.Interface", "NUVEK.Counter", "NUVEK.Nothing")

# What is told each time that a call of the kind fails, and perhaps more often: the platform closes connections too.
TOLD = {
    "socket": r"nuvek_creatSocket:\d+\]  socket\(\) error$",
    "connect": r"^connect: ",
    "accept": r"^accept\(\) error$",
    "send": r"nuvek_sendPostRequest:\d+\] send error$|^send: ",
    "receive": r"nuvek_serverProcess:\d+\] errno: -1$|nuvek_localProcess:\d+\] recv :-1$",
    "lookup": r"^getaddrinfo: ",
}


class Life(Day):
    """One agent's life, unregistered at first."""

    def __init__(self, folder):
        super().__init__(Gateway(folder, {**STORE, "nuvek_Entry0 alreadyReport": ""}))
        self.registered = False
        self.reg_id = ""
        self.agent.secondary.up()
        self.start()
        self.settle()
        self.held = None

    # --- with faults ---

    def play(self, seed):
        """Plays the dialogue of a seed. Returns how often each kind of fault struck."""
        draw = random.Random(seed)
        before = self.struck()
        self.sends_failed = before["send"]
        self.agent.forget()
        self.agent.set_word("fault_seed", seed & 0xFFFFFFFF)
        self.agent.set_word("fault_rate", draw.choice(RATES))
        steps = [self.report, self.post, self.speed, self.trace, self.move_clock, self.pass_time, self.part_rudely]
        for step in draw.choices(steps, k=draw.randint(2, 6)):
            step(draw)
            self.agent.turns()
            self.react(draw)
        self.agent.set_word("fault_rate", 0)
        struck = {kind: count - before[kind] for kind, count in self.struck().items()}
        self.check_log(struck)
        self.settle()
        self.held = self.holds_no_more(self.held)
        return struck

    def struck(self):
        return {kind: self.agent.word(kind) for kind in FAULTS}

    def report(self, _):
        self.due("LastInformTime", YEAR_S + 1)

    def post(self, _):
        self.agent.edit_store({"nuvek_Entry0 GISInterface": "" if self.registered else "A"})
        received = b""
        try:
            with self.agent.local() as client:
                client.sendall(POST)
                received = client.received_until_closed()
        except ConnectionError:
            pass
        good = (b'{"Result":0,"ID":7}', b'{"Result":-3,"ID":7}')
        assert any(reply.startswith(received) for reply in good), received
        self.agent.edit_store({"nuvek_Entry0 GISInterface": "A"})

    def speed(self, _):
        self.due("LastSpeedTime", WEEK_S)
        self.agent.turns()
        self.agent.uptime += 41

    def trace(self, draw):
        self.agent.write("tmp/app_check.pid", draw.choice(["", "77\n"]))
        self.due("LastTraceTime", WEEK_S)

    def move_clock(self, draw):
        self.step_clock(min(max(self.agent.clock + draw.choice(JUMPS_S), 0), LATEST_S))

    def step_clock(self, seconds):
        """One step in a tick: of two, there and back, the timer service would see none, and a timer added between them
        would wait for the time that was left again."""
        self.agent.clock = seconds
        self.agent.let_pass(0)

    def pass_time(self, draw):
        self.agent.let_pass(draw.randint(1, 100))

    def part_rudely(self, draw):
        for link in self.links:
            draw.choice([link.close, link.reset])()
        self.links = []

    def react(self, draw):
        """The platform's answers to what has come, whole or torn; sensible ones or not."""
        self.links += self.agent.primary.waiting()
        self.links += self.agent.secondary.waiting()
        for link in list(self.links):
            for request in link.take():
                if self.agent.word("send") == self.sends_failed:
                    check_shape(request)
                try:
                    self.answer_one(draw, link, request)
                except ConnectionError:
                    link.agent_closed = True
            if link.agent_closed:
                link.close()
                self.links.remove(link)
        self.agent.turns()

    def answer_one(self, draw, link, request):
        number = re.search(rb'"ID":(\d+)', request)
        number = int(number.group(1)) if number else UNMATCHED
        code = draw.choice([0, 0, -1, -3, -3, 5])
        # An acknowledgement would end the unregistered part of the life: that comes without faults.
        good = [result_response(number, code), get(draw.choice(PACKAGES)),
                inform0_response(0 if self.registered else draw.choice([-1, -3]))]
        link.answer(draw.choice([
            answer(draw.choice(good)), answer(draw.choice(good)), answer(*draw.choices(good, k=2)),
            answer(*[get(path) for path in PACKAGES[:3]]), answer("{}"), answer(good[0])[:-9], b"HTTP/1.1 404 Not Found\r\n\r\n",
            draw.randbytes(40), answer(good[0], length=7)]))

    def check_log(self, struck):
        told = self.agent.output() + self.agent.errors()
        for kind, pattern in TOLD.items():
            count = len(re.findall(pattern, told, re.MULTILINE))
            assert count >= struck[kind], "%s failed %d times, told %d times" % (kind, struck[kind], count)

    # --- without faults ---

    def settle(self):
        """Nothing fails any more: brings the agent to rest, and asks for a report on the way."""
        if not NOW - YEAR_S < self.agent.clock < NOW + YEAR_S:
            self.step_clock(NOW)
        self.agent.turns(2)
        self.links += self.agent.primary.waiting() + self.agent.secondary.waiting()
        self.part()
        if self.registered:
            self.come_to_rest()
        else:
            self.take_in()
            self.registration_is_right()

    def registration_is_right(self):
        requests = self.requests()
        expected = inform0(self.agent.clock, time=device_time(self.agent.clock), reg_id=self.reg_id)
        assert requests and requests == [expected] * len(requests), (expected, requests)
        for link in self.links[:-1]:
            link.close()
        self.links = self.links[-1:]

    def register(self):
        self.answer(inform0_response(0))
        self.registered, self.reg_id, self.held = True, REG_ID, None
        self.come_to_rest()

    def come_to_rest(self):
        """The platform asks for a report and lifts its back-off; every result that is still due must come out right."""
        self.due("LastInformTime", YEAR_S + 1)
        reported = False
        rests = flushes = 0
        while rests < 2:
            self.agent.turns()
            self.agent.uptime += 41
            requests = self.requests()
            rests = 0 if requests else rests + 1
            right = [message(clock) for clock in self.agent.clocks for message in (speed, trace)]
            for request in requests:
                reported = reported or request == period_report()
                assert request == period_report() or request in right, (request, right[-2:])
            if requests:
                self.answer(result_response(UNMATCHED, 0))
                self.part()
            elif self.held and self.agent.word("live") > self.held[1] and self.holds_no_more()[1] > self.held[1]:
                flushes += 1
                assert flushes < 5, "holds %s for good, held %s" % (self.holds(), self.held)
                self.agent.let_pass(5120)  # back-offs that were asked for again meanwhile still wait
                rests = 0
            self.take_in()
        assert reported, "no report came\n" + self.agent.state()

    def take_in(self):
        effects = super().take_in()
        if any("RegId" in line for line in effects):
            self.reg_id = REG_ID
        return effects


def check_shape(request):
    """Whatever failed: a message goes out as one piece or not at all, unless a send itself failed in its middle."""
    body = request.partition(b"\r\n\r\n")[2].decode("latin-1")
    assert request in [post(body, host) for host in (PRIMARY, SECONDARY)], request
    assert json.loads(body)[0] == UUID, request


def speed(clock):
    return speed_result(clock, **SPEED)


def trace(clock):
    return trace_result(clock, **TRACE)


def play_life(folder, first, count, struck):
    """Plays the dialogues of `count` seeds in one life and adds to `struck`. Returns the seed that failed and what went wrong,
    or None."""
    folder.mkdir()
    life = Life(folder)
    seed = first
    registers_at = first + random.Random(first).randint(0, DIALOGUES_PER_LIFE // 4)
    try:
        for seed in range(first, first + count):
            if seed == registers_at:
                life.register()
            for kind, number in life.play(seed).items():
                struck[kind] += number
        life.agent.stop()
    except Exception:  # whatever it is: the seed must be told, and the other lives played
        return seed, traceback.format_exc() + "\n" + life.agent.state()
    finally:
        life.agent.kill()
        shutil.rmtree(folder)
    return None


def shortest(folder, first, failed):
    """The latest seed that a life can begin with and still fail at `failed`, of those 0, 1, 3, 7 ... dialogues ahead of it."""
    ahead = 0
    while failed - ahead > first:
        again = play_life(folder / "again", failed - ahead, ahead + 1, dict.fromkeys(FAULTS, 0))
        if again and again[0] == failed:
            return failed - ahead
        ahead = 2 * ahead + 1
    return first


def play(folder, dialogues, seed):
    """Plays so many dialogues, from a seed on. Returns how often each kind of fault struck, and what went wrong."""
    struck = dict.fromkeys(FAULTS, 0)
    failures = []
    for first in range(seed, seed + dialogues, DIALOGUES_PER_LIFE):
        failure = play_life(folder / str(first), first, min(DIALOGUES_PER_LIFE, seed + dialogues - first), struck)
        if failure:
            failed, why = failure
            begin = shortest(folder, first, failed)
            failures.append("seed %d: %s\nrepeat with: script/faults %d %d" % (failed, why, failed - begin + 1, begin))
            print("faults: " + failures[-1], file=sys.stderr)
    return struck, failures


def main(dialogues, seed):
    stay_on_one_processor()
    print("faults: %d dialogues from seed %d" % (dialogues, seed), flush=True)
    begin = time.monotonic()
    with tempfile.TemporaryDirectory() as folder:
        struck, failures = play(pathlib.Path(folder), dialogues, seed)
    for row in [("dialogues", dialogues), *struck.items(), ("failures", len(failures)), ("seconds", time.monotonic() - begin)]:
        print("%-12s %9d" % row)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main(int(sys.argv[1]), int(sys.argv[2])))
