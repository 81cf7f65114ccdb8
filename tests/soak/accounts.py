"""What the agent says it did against what the platform's journal and the clock's witness say."""
import collections
import json
import re

from world import COUNTERS, STEP_S

KINDS = ("Inform0", "Report", "SiteSpeed", "TraceRoute", "GetResponse")
MOST_LOST_AT_A_POWER_CUT = 19  # the counters are saved at every twentieth change
FIRST_BACK_OFF_S = 10
LONGEST_BACK_OFF_STEP = 10
RETRY = (-3, -2)


class Accounts:
    def __init__(self, world, lost):
        self.world = world
        self.lost = lost  # counter changes that power cuts took, by counter
        self.journal = world.journal()
        self.requests = world.requests()
        self.arrived = [entry for entry in self.journal if entry["request"]]
        self.by_kind = collections.Counter(entry["kind"] for entry in self.arrived)
        self._put_turns_into_the_journal()

    def _put_turns_into_the_journal(self):
        """Requests arrive in the order in which they were sent, one connection after the other; some may be lost."""
        self.not_arrived = []
        sent = enumerate(self.requests)
        for entry in self.arrived:
            for number, (turn, uptime, identifier) in sent:
                if identifier == (entry["id"] or 0):
                    entry.update(turn=turn, uptime=uptime, life=sum(start <= number for start in self.world.starts))
                    break
                self.not_arrived.append(identifier)
            else:
                raise SystemExit(f"soak: the platform received what the agent did not send: {entry}")
        self.not_arrived += [identifier for _, (_, _, identifier) in sent]
        own = [entry for entry in self.arrived if entry["kind"] != "GetResponse"]
        at = collections.Counter(entry["turn"] for entry in own)
        self.in_company = [entry for entry in own if at[entry["turn"]] > 1]

    def lost_without_reason(self):
        """When the agent closes with the answer to a second message unread, the platform's system throws away what it has
        not yet read: responses to the Gets of the first answer. Nothing else may be lost."""
        gets = " ".join(entry["outcome"] for entry in self.in_company)
        return [identifier for identifier in self.not_arrived if str(identifier) not in gets]

    def of_kind(self, kind):
        return [entry for entry in self.arrived if entry["kind"] == kind]

    # --- counters ---

    def read_results(self):
        """The codes of results whose answer left whole and was read, and the results whose answer was not read. What a
        fault spoiled brings the agent nothing to count."""
        codes, unread, read = [], [], collections.Counter(self.world.answers())
        for entry in self.of_kind("SiteSpeed") + self.of_kind("TraceRoute"):
            if not entry["outcome"].startswith("ResultResponse "):
                continue
            if read[entry["id"]]:
                read[entry["id"]] -= 1
                codes.append(entry["code"])
            else:
                unread.append(entry)
        return codes, unread

    def expected_counters(self):
        witness, (codes, _) = self.world.control.get, self.read_results()
        counts = {
            "SuccessTask": witness("full_speed_tables") + witness("trace_ends"),
            "FailTask": witness("empty_speed_tables"),
            "FailInform": witness("reports") - self.by_kind["Report"],
            "SuccessInform": self.by_kind["Report"],
            "FailResult": sum(code != 0 for code in codes),
            "SuccessResult": codes.count(0),
        }
        return {name: counts[name] - self.lost[name] for name in COUNTERS}

    def counters_by_get(self):
        """As the platform was last told."""
        asked = [entry for entry in self.of_kind("GetResponse") if entry["path"] == "NUVEK.Counter"]
        body = json.loads(asked[-1]["request"].split("\r\n\r\n", 1)[1])
        return body[1]["Result"]["NUVEK"]["Counter"]

    # --- messages ---

    def unanswered_gets(self):
        """The Gets that reached the agent whole, and those of them that it did not answer."""
        asked, unread = collections.Counter(), collections.Counter()
        for entry in self.arrived:
            if re.match("(Get|ResultResponse|Inform0Response) ", entry["outcome"]):
                gets = re.findall(r"Get \S+ (\d+)", entry["outcome"])
                (unread if entry in self.in_company else asked).update(gets)
        answered = collections.Counter(str(entry["id"]) for entry in self.of_kind("GetResponse"))
        return asked, asked - answered

    def findings(self):
        """All that the platform did not like, but the Gets that may have remained unread."""
        company = " ".join(entry["outcome"] for entry in self.in_company)
        found = [finding for entry in self.journal if entry["verdict"] != "ok" for finding in entry["verdict"]]
        return [finding for finding in found
                if not (match := re.match(r"Get (\d+) was not answered", finding)) or match[1] not in company]

    def back_offs(self):
        """(delay that is due, delay seen) of each speed result that was put off; an agent that is started again in the
        meantime has forgotten it."""
        speed = self.of_kind("SiteSpeed")
        _, unread = self.read_results()
        found, retries = [], collections.Counter()
        for entry, following in zip(speed, [*speed[1:], None]):
            if entry["code"] not in RETRY or not entry["outcome"].startswith("ResultResponse") or entry in unread:
                continue
            if (following or {"life": len(self.world.starts)})["life"] != entry["life"]:
                continue
            due_s = FIRST_BACK_OFF_S << min(retries[entry["life"]], LONGEST_BACK_OFF_STEP - 1)
            seen_s = following and following["uptime"] - entry["uptime"]
            retries[entry["life"]] += 1
            found.append((due_s, seen_s))
        return found


def is_on_time(due_s, seen_s):
    """A corrected clock costs a pending timer one step more."""
    return seen_s is not None and due_s <= seen_s <= due_s + 2 * STEP_S
