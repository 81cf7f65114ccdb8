"""Systematic failure: two dialogues are played over and over, each time with one call more that goes well before one fails; once
with each error that the call can give, or from there on for ever. Run by script/walk; test_walk.py plays some of it."""
import json
import pathlib
import re
import sys
import tempfile
import time
import traceback

from day import POST, SPEED, TRACE, WEEK_S, Day
from harness import MAIN, Gateway, stay_on_one_processor
from messages import (ACKNOWLEDGED_STORE, BLOCK_A, INTERFACES, LOCATED_STORE, NO_BLOCK, PRIMARY, REG_ID, SECONDARY, TABLES, UUID,
                      answer, device_info, device_time, get, get_response, inform0, inform0_response, location, message_id,
                      period_report, result_response, speed_result, trace_result)

GROUPS = {"reads": 1, "writes": 2, "files": 4, "network": 8, "programs": 16, "waits": 32}  # as tests/gateway_world/walk.h has them
GROUP_OF = {"tcapi": "store", "system": "programs", "select": "waits", **dict.fromkeys(
    ("socket", "bind", "listen", "setsockopt", "connect", "accept", "send", "recv", "getaddrinfo"), "network")}
CYCLE_S = 600
TURNS_A_SECOND = 20  # of turns that do not wait, since something is always ready: the clock goes on all the same
MINUTE_S = 60
SECOND_US = 1000000
HOSTS = (PRIMARY, SECONDARY, "nuvek-p1.test", "nuvek-p2.test")
PACKAGES = {
    "NUVEK.DeviceInfo": None, "NUVEK.GISInfoA": location("A", BLOCK_A), "NUVEK.GISInfoB": location("B", NO_BLOCK),
    "NUVEK.Interface": INTERFACES, "NUVEK.Counter": None,
}
ROWS = {  # what fails: which groups, and whether for ever
    "one call": (tuple(GROUPS), False),
    "the store": (("reads", "writes"), True),
    "the store's reads": (("reads",), True),
    "the store's writes": (("writes",), True),
    "the files": (("files",), True),
    "the network": (("network",), True),
    "programs": (("programs",), True),
    "`select`": (("waits",), True),
}
COUNTED = ("messages", "connects", "forks", "saves")
MOST = {"messages": 14, "connects": 125, "forks": 6, "saves": 8}  # in any minute of any play
MOST_WITHOUT_A_WAIT = {**MOST, "messages": 125}  # an unacknowledged registration in each turn, two turns a second

# What may be missing of a message, by what failed: all that comes from there.
FROM_FILES = {"DestUrl", "DestIP", "SpeedTable", "PathTable", "Error"}
MISSING = {"files": FROM_FILES, "network": {"DestIP"}, "programs": set(), "waits": set(), None: set()}


class Watched(Gateway):
    """A gateway that notes the second of whatever costs others something."""

    def __init__(self, folder, store):
        super().__init__(folder, {**store, **TABLES, "nuvek_Server ReportCycle": str(CYCLE_S // 60)})
        self.noted = []
        self.paused_us = 0  # by the main thread, since its wait failed
        self.failed = None  # the call that failed first, and its error

    def note(self, what):
        self.noted.append((self.clock, what))

    def _go(self, thread, answer="go", until=""):
        if self.waits_in(thread).startswith("connect "):
            self.note("connects")
        if thread == MAIN and self.waits_in(thread).startswith("sleep "):
            self.paused_us += int(self.waits_in(thread).split()[1])
        super()._go(thread, answer, until)

    def _take_in(self):
        lines = super()._take_in()
        for line in lines:
            if line.startswith("system ") or line == "save":
                self.note("saves" if line == "save" else "forks")
            elif line.startswith("fails "):
                self.failed = line[len("fails "):]
        return lines

    def most_in_a_minute(self):
        most = dict.fromkeys(COUNTED, 0)
        for what in COUNTED:
            seconds = [second for second, noted in self.noted if noted == what]
            for first, second in enumerate(seconds):
                within = sum(one < second + MINUTE_S for one in seconds[first:])
                most[what] = max(most[what], within)
        return most

    def is_ready(self):
        """Whether the main loop's wait would not last."""
        fds = [int(word) for word in self.waits_in(MAIN).partition(" within ")[0].split()[1:]]
        clients = self._clients and self._listener in fds
        return bool(clients) or any(fd in self._peers and self._peers[fd].has_something() for fd in fds)


class Story(Day):
    """A life with a platform that answers within the second, as it should; what it gets must be right."""

    def __init__(self, folder, store):
        super().__init__(Watched(folder, store))
        self.agent.secondary.up()
        for host in HOSTS[2:]:
            self.agent.name(host, PRIMARY)
        self.agent.write("tmp/app_check.pid", "")
        self.refuse = False  # whether the next speed result is put off
        self.uuid = store.get("nuvek_Common UUID")  # None while the gateway has none
        self.reports = 0
        self.spun = 0  # seconds that were never waited out

    def second(self):
        self.agent.paused_us = 0
        for _ in range(TURNS_A_SECOND):
            waits = not self.agent.is_ready() and not self.wait_fails()
            self.agent.tick()
            self.agent.turns()
            self.serve()
            if waits or self.agent.paused_us >= SECOND_US:
                break
        else:
            self.spun += 1
        self.agent.clock += 1
        self.agent.uptime += 1

    def wait_fails(self):
        """Whether the turn's `select` is one that fails."""
        return self.agent.word("walk_call") == 1 and self.agent.word("walk_groups") == GROUPS["waits"]

    def seconds(self, count):
        for _ in range(count):
            self.second()

    # --- the platform ---

    def serve(self):
        self.links += self.agent.primary.waiting() + self.agent.secondary.waiting()
        for link in list(self.links):
            for request in link.take():
                self.agent.note("messages")
                self.check(request)
                try:
                    link.answer(answer(*self.reply(request)))
                except ConnectionError:
                    link.agent_closed = True
            if link.agent_closed:
                link.close()
                self.links.remove(link)

    def reply(self, request):
        if b'"Inform0"' in request:
            return [inform0_response(0)]
        if b'"Result"' in request:
            put_off, self.refuse = self.refuse and b"NUVEK.SiteSpeed" in request, False
            return [result_response(message_id(self.agent.clock), -3 if put_off else 0)]
        if b'"GetResponse"' in request:
            return [result_response(4711, 0)]
        self.reports += 1
        return [get(path, number) for number, path in enumerate(PACKAGES)]

    def check(self, request):
        """It is one of those that an undisturbed gateway sends now, but for what could not be read."""
        head, _, body = request.partition(b"\r\n\r\n")
        host = re.search(rb"\r\nHost: ([^\r]*)\r\n", head).group(1).decode()
        sent = json.loads(body)
        if sent[0] != self.uuid:  # the store did not tell it: a registration makes one, a report goes out without
            assert self.uuid is None or (self.uuid in (UUID, "") and self.failed_group() == "store"), request
            assert sent[0] == "" or re.fullmatch(r"[0-9a-f]{8}-[0-9a-f]{4}-1[0-9a-f]{3}-[0-9a-f]{4}-[0-9a-f]{12}", sent[0]), request
            self.uuid = sent[0]
        assert host in HOSTS, request
        good = [message.replace(UUID.encode(), self.uuid.encode()) for message in self.expected(host)]
        if request in good:
            return
        group = self.failed_group()
        shapes = [json.loads(message.partition(b"\r\n\r\n")[2]) for message in good]
        assert any(is_alike(sent, shape, group) for shape in shapes), (self.agent.failed, request)
        length = int(re.search(rb"Content-Length: (\d+)", head).group(1))
        assert length == len(body), request

    def failed_group(self):
        if self.agent.failed is None:
            return None
        return GROUP_OF.get(self.agent.failed.split()[0].partition("_")[0], "files")

    def expected(self, host):
        clock = self.agent.clock
        device = [device_info(time=device_time(clock), reg_id=reg_id) for reg_id in ("", REG_ID)]
        packages = {**PACKAGES, "NUVEK.Counter": None, "NUVEK.DeviceInfo": None}
        yield period_report(host=host)
        for reg_id in ("", REG_ID):
            yield inform0(clock, host=host, time=device_time(clock), reg_id=reg_id)
        yield speed_result(clock, host=host, **SPEED)
        yield trace_result(clock, host=host, **TRACE)
        for number, (path, package) in enumerate(packages.items()):
            options = [package] if package else device if path.endswith("Info") else [self.counters()]
            for option in options:
                yield get_response(path, option, number, host=host)

    def counters(self):
        return '{"NUVEK":{"Counter":{%s}}}' % ",".join('"%s":0' % name for name in self.counted)

    # --- the end ---

    def settle(self):
        """Nothing fails any more. The next report, and the answers to its questions, must be there."""
        self.agent.set_word("walk_groups", 0)
        self.seconds(15)  # the first back-off is 10 s long
        self.part()
        self.agent.let_pass(CYCLE_S + 1)
        self.reports = 0
        self.agent.noted, noted = [], self.agent.noted
        self.seconds(3)
        sent = [what for _, what in self.agent.noted].count("messages")
        self.agent.noted = noted
        assert self.reports == 1 and sent >= 1 + len(PACKAGES), "%d reports, %d messages\n%s" % (
            self.reports, sent, self.agent.state())
        self.agent.let_pass(60)
        self.seconds(1)
        self.part()
        return self.holds()


def is_alike(sent, shape, group, name=""):
    """The same message, but that a value may be missing where the group that failed gives it."""
    if isinstance(shape, dict):
        return isinstance(sent, dict) and list(sent) == list(shape) and all(
            is_alike(sent[key], shape[key], group, key) for key in shape)
    if sent == shape:
        return True
    if name.startswith(("Fail", "Success")):
        return isinstance(sent, int) and 0 <= sent < 100
    if isinstance(shape, list) and isinstance(sent, list) and len(sent) == len(shape):
        return all(is_alike(one, other, group, name) for one, other in zip(sent, shape))
    is_theirs = name in MISSING[group] if group in MISSING else name not in FROM_FILES
    return is_theirs and sent in ("", 0, [], "null")


# --- the dialogues: what comes of each is the same seconds, whatever fails ---

def registration(story):
    """A located gateway from its start to both measurements' results."""
    story.start()
    story.seconds(70)


def day(story):
    """A registered gateway: a report with questions, a location posted, a result put off and sent again, a trace."""
    story.agent.store["nuvek_Entry0 GISInterface"] = "A"
    story.start()
    story.agent.edit_store({"nuvek_Common LastInformTime": str(story.agent.clock - CYCLE_S - 1)})
    story.seconds(2)
    post_location(story)
    story.refuse = True
    story.due("LastSpeedTime", WEEK_S)
    story.seconds(60)
    story.due("LastTraceTime", WEEK_S)
    story.seconds(8)


def post_location(story):
    story.agent.edit_store({"nuvek_Entry0 GISInterface": ""})
    client = story.agent.local() if story.agent._listener is not None else None
    if client:
        client.sendall(POST)
    story.seconds(2)
    if client:
        replied = received(client) if client.agent_closed else b""
        assert replied in (b"", b'{"Result":0,"ID":7}', b'{"Result":-3,"ID":7}'), replied
        client.close()  # it has waited long enough
    story.agent.edit_store({"nuvek_Entry0 GISInterface": "A"})
    story.second()


def received(client):
    try:
        return client.received_until_closed()
    except ConnectionResetError:  # closed ahead of its message
        return b""


DIALOGUES = {
    "registration": (registration, {name: value for name, value in LOCATED_STORE.items() if name != "nuvek_Common UUID"}),
    "day": (day, ACKNOWLEDGED_STORE),
}


class Outcome:
    """What came of one play."""

    def __init__(self, story, held):
        agent = story.agent
        self.calls, self.struck, self.errors = (agent.word(word) for word in ("walk_calls", "walk_struck", "walk_errors"))
        self.failed = agent.failed
        self.held = held
        self.most = agent.most_in_a_minute()
        self.spun = story.spun


def play(folder, dialogue, groups, call=0, error=0, for_ever=False):
    """Plays a dialogue in which the call of that number, counted among those of the groups, fails."""
    steps, store = DIALOGUES[dialogue]
    with tempfile.TemporaryDirectory(dir=folder) as place:
        story = Story(pathlib.Path(place), store)
        try:
            words = {"walk_groups": sum(GROUPS[group] for group in groups), "walk_call": call, "walk_error": error,
                     "walk_then": int(for_ever)}
            for word, value in words.items():
                story.agent.set_word(word, value)
            steps(story)
            outcome = Outcome(story, None)
            outcome.held = story.settle()
            story.agent.stop()
            return outcome
        except Exception as error_:
            raise AssertionError("%s, %s: call %d fails%s (%s), error %d\n%s" % (
                dialogue, "+".join(groups), call, " for ever" if for_ever else "", story.agent.failed, error, error_)) from error_
        finally:
            story.agent.kill()


def check(outcome, clean):
    bounds = MOST_WITHOUT_A_WAIT if outcome.failed and outcome.failed.startswith("select") else MOST
    for what, most in bounds.items():
        assert outcome.most[what] <= most, "%d %s a minute once %s failed" % (outcome.most[what], what, outcome.failed)
    assert all(now <= before for now, before in zip(outcome.held, clean.held)), (
        "%s failed: it holds %s, undisturbed %s" % (outcome.failed, outcome.held, clean.held))


def plays(dialogue, folder):
    """All plays of a dialogue: pairs of a row of the table and what play() is to be told."""
    for row, (groups, for_ever) in ROWS.items():
        clean = play(folder, dialogue, groups)
        for call in range(1, clean.calls + 1):
            yield (dialogue, row), clean, dict(groups=groups, call=call, for_ever=for_ever)


def walk(folder, step=1, first=0):
    """Makes every step-th of the plays. Returns the table, the calls that failed, how many plays, and what went wrong."""
    table, struck, failures, number, made = {}, {}, [], 0, 0
    for dialogue in DIALOGUES:
        for row, clean, words in plays(dialogue, folder):
            number += 1
            if number % step != first % step:
                continue
            error, errors = 0, 1
            while error < errors:
                made += 1
                try:
                    outcome = play(folder, dialogue, error=error, **words)
                    check(outcome, clean)
                except AssertionError:
                    failures.append("%s %s error %d: %s" % (row, words, error, traceback.format_exc()))
                    print("walk: " + failures[-1], file=sys.stderr, flush=True)
                    break
                errors = 1 if words["for_ever"] else outcome.errors
                name = (outcome.failed or "nothing").split()[0]
                struck[name] = struck.get(name, 0) + 1
                most = table.setdefault(row, {**dict.fromkeys(COUNTED, 0), "spun": 0, "plays": 0})
                for what in COUNTED:
                    most[what] = max(most[what], outcome.most[what])
                most["spun"] = max(most["spun"], outcome.spun)
                most["plays"] += 1
                error += 1
    return table, struck, made, failures


def main(step, first):
    stay_on_one_processor()
    begin = time.monotonic()
    with tempfile.TemporaryDirectory() as folder:
        table, struck, made, failures = walk(pathlib.Path(folder), step, first)
    print("| dialogue | what fails | plays | %s | busy seconds |" % " | ".join(COUNTED))
    print("|---|---" + "|--:" * (len(COUNTED) + 2) + "|")
    for (dialogue, what), most in table.items():
        print("| %s | %s | %d | %s | %d |" % (
            dialogue, what, most["plays"], " | ".join(str(most[name]) for name in COUNTED), most["spun"]))
    print("calls that failed first: " + ", ".join("%s %d" % item for item in sorted(struck.items())))
    print("walk: %d plays, %d failures, %.0f s" % (made, len(failures), time.monotonic() - begin))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main(int(sys.argv[1]), int(sys.argv[2])))
