"""A registered gateway's day in pieces that can happen again and again, each from the same quiet to the same quiet."""
import re

from messages import (ACKNOWLEDGED_STORE, BLOCK_A, INTERFACES, NO_BLOCK, TABLES, acknowledged, answer, device_info,
                      device_time, get, get_response, location, message_id, period_report, registered, result_response, speed_result,
                      start_commands, trace_result)

STORE = {**ACKNOWLEDGED_STORE, **TABLES, "nuvek_Server ReportCycle": "525600"}
WEEK_S = 604800
YEAR_S = 31536000
UNMATCHED = 4711  # an identifier that no result has

POST = b'{"Longitude":"116.397128","Latitude":"39.916527","ID":"7","AreaCode":"110101"}'
POSTED = {**NO_BLOCK, "Long": "116.39713", "Lat": "39.91653", "AreaCode": "110101"}
STORED = (["set nuvek_Entry0 %s=%s" % (name, POSTED[name]) for name in (
    "Long", "Lat", "Altitudes", "HorizontalError", "VerticalError", "AreaCode", "GISLockTime", "GISDigest")]
          + ["set nuvek_Entry0 GISInterface=A", "commit nuvek_Entry0", "save"])
SPEED = {"table": "1.5,2.25", "url": "http://a/b", "address": "192.0.2.1"}
TRACE = {"path": '["gw", 0.5, "gw", 0.4, "gw", 0.3]', "address": "192.0.2.9"}

MEANT = {*STORED, *acknowledged(), *registered(-1), *registered(-3), *start_commands(),
         "system pidof traceroute > ROOT/tmp/app_check.pid"}

LOST = "ERROR nuvek_sendPostRequest: send buffer is null"
NO_MEMORY = ("Memory allocation failure", "Out of memory")  # as C libraries say it of a look-up
UNREAD = "DEBUG nuvek_handle_message: recvdata->RPCMethod:"


class Day:
    """What happens comes with what may come of it: pairs of an outcome and a line that is then in the log (or None); the
    first is what comes of it when nothing fails."""

    def __init__(self, agent):
        self.agent = agent
        self.links = []
        self.counted = dict.fromkeys(
            ("FailInform", "FailResult", "FailTask", "SuccessInform", "SuccessResult", "SuccessTask"), 0)
        agent.primary.up()
        agent.name("trace.test", TRACE["address"])
        for path, text in (("httpSpeed", SPEED["table"]), ("httpURL", SPEED["url"]), ("httpDIP", SPEED["address"])):
            agent.write("var/" + path, text)
        agent.write("var/speed_ErrorCode", "0")
        agent.write("tmp/tracenuvek", "traceroute to trace.test\n 1 gw (10.0.0.1) 0.5 ms 0.4 ms 0.3 ms\n")

    def start(self):
        self.agent.start("-v", "1")
        self.agent.tick()  # both threads run
        self.agent.effects()
        return self

    # --- the platform ---

    def requests(self):
        """What the agent has sent in whole turns."""
        self.agent.turns()
        self.links += self.agent.primary.waiting()
        return [request for link in self.links for request in link.take()]

    def answer(self, *objects):
        """Answers the latest request and lets the agent take that in. Returns what it has sent since."""
        self.links[-1].answer(answer(*objects))
        return self.requests()

    def part(self):
        """The agent has closed the connection, or does so when the platform has."""
        for link in self.links:
            link.close()
        self.links = []
        self.agent.turns(2)

    def due(self, attribute, seconds):
        self.agent.edit_store({"nuvek_Common " + attribute: str(self.agent.clock - seconds)})

    # --- what happens ---

    def report_and_gets(self):
        self.due("LastInformTime", YEAR_S + 1)
        assert self.requests() == [period_report()]
        self.take_in()
        packages = {
            "NUVEK.DeviceInfo": device_info(time=device_time(self.agent.clock)),
            "NUVEK.GISInfoA": location("A", BLOCK_A), "NUVEK.GISInfoB": location("B", NO_BLOCK),
            "NUVEK.Interface": INTERFACES,
            "NUVEK.Counter": '{"NUVEK":{"Counter":{%s}}}' % ",".join('"%s":%d' % item for item in self.counted.items()),
        }
        replies = self.answer(*[get(path, number) for number, path in enumerate(packages)])
        self.part()
        good = [get_response(path, package, number) for number, (path, package) in enumerate(packages.items())]
        missing = [good[:k] + good[k + 1:] for k in range(len(good))]
        return replies, [(good, None)] + [(some, line) for some in missing for line in (LOST, UNREAD)]

    def posted_location(self):
        self.agent.edit_store({"nuvek_Entry0 GISInterface": ""})
        self.agent.turns()
        self.take_in()
        with self.agent.local() as client:
            client.sendall(POST)
            reply = client.received_until_closed()
        effects = self.take_in()
        self.agent.edit_store({"nuvek_Entry0 GISInterface": "A"})
        return (reply, effects), [((b'{"Result":0,"ID":7}', STORED), None), ((b"", STORED), None),
                                   ((b"", []), "ERROR nuvek_save_node: no memory")]

    def speed_result(self, code=0):
        self.due("LastSpeedTime", WEEK_S)
        self.agent.turns()
        self.agent.uptime += 41
        results = self.requests()
        if results:
            self.answer(result_response(message_id(self.agent.clock), code))
        self.part()
        return results, self.speed_results()

    def speed_results(self):
        """Whole, none, or without the one file that could not be read."""
        return [([speed_result(self.agent.clock, **SPEED)], None), ([], LOST),
                *[([speed_result(self.agent.clock, **{**SPEED, name: ""})], None) for name in SPEED]]

    def trace_result(self):
        self.agent.write("tmp/app_check.pid", "")
        self.due("LastTraceTime", WEEK_S)
        self.agent.turns()
        results = self.requests()
        if results:
            self.answer(result_response(message_id(self.agent.clock), 0))
        self.part()
        return results, [([trace_result(self.agent.clock, **TRACE)], None), ([], LOST),
                         ([trace_result(self.agent.clock, **{**TRACE, "path": ""})], "can't open ROOT/tmp/tracenuvek"),
                         ([trace_result(self.agent.clock, **{**TRACE, "path": ""})], None),  # opened, not read
                         *(([trace_result(self.agent.clock, **{**TRACE, "address": ""})], "getaddrinfo: " + reason)
                           for reason in NO_MEMORY)]

    def delayed_speed_result(self):
        """The platform asks to wait; the timer thread sends the result again."""
        self.speed_result(-3)
        self.take_in()
        delays = [line for line in self.agent.log() if "delay session time:" in line]
        if delays:
            self.agent.let_pass(int(delays[-1].rsplit(":", 1)[1]))
        second = self.requests()
        if second:
            self.answer(result_response(message_id(self.agent.clock), 0))
        self.part()
        told = [(outcome, line) for outcome, line in self.speed_results()]
        return second, told if delays else [(None, None), ([], LOST), ([], UNREAD)]

    PIECES = (report_and_gets, posted_location, speed_result, trace_result, delayed_speed_result)

    # --- what must be true whatever failed ---

    def next_report_is_right(self):
        """It is also the way out of a back-off whose result was lost: the platform accepts whatever there was."""
        self.due("LastInformTime", YEAR_S + 1)
        assert self.requests() == [period_report()]
        assert self.answer(result_response(UNMATCHED, 0)) == []
        self.part()

    def take_in(self):
        """The changes to the store since the last look, each of which must be one that was meant."""
        effects = self.agent.effects()
        for line in effects:
            if counted := re.fullmatch(r"set nuvek_Counter (\w+)=(\d+)", line):
                name, value = counted.groups()
                self.counted[name] += 1
                assert int(value) == self.counted[name], line
            elif stamped := re.fullmatch(r"set nuvek_Common Last(Inform|Speed|Trace)Time=(\d+)", line):
                assert int(stamped.group(2)) in self.agent.clocks, line
            else:
                assert line in MEANT, line
        places = [line for line in effects if "nuvek_Entry0" in line]
        while places:  # a location is stored whole or not at all
            assert places[:len(STORED) - 1] == STORED[:-1] or places[:2] == acknowledged()[:2], places
            del places[:2 if "alreadyReport" in places[0] else len(STORED) - 1]
        del self.agent.clocks[:-1]
        return effects

    def holds(self):
        return self.agent.descriptors(), self.agent.word("live")

    def holds_no_more(self, held=None, where="at rest"):
        """The agent holds no more descriptors and memory than `held`. Returns the least that was seen: the next `held`."""
        now = self.holds()
        assert held is None or all(one <= before for one, before in zip(now, held)), (where, now, held)
        return tuple(map(min, now, held or now))

    def told(self, line):
        """Whether the agent has said so since all that was known of it began anew."""
        return line in self.agent.log() or line in self.agent.output().split("\n") or line in self.agent.errors().split("\n")
