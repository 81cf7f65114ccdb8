"""What a person can do to the desk: a table of requests, docs/console.md tells each."""
import re
import time

from desk.story.clock import text_of
from desk.story.console import StoryFailed
from desk.story.control import Refused
from desk.story.gateway import PAST_S

LOG_LIMIT = 65536
VALUE_LIMIT = 1023
START_LIMIT_S = 5
LOCATION_MEMBERS = ("Longitude", "Latitude", "Elevation", "HorizontalError", "AltitudeError", "AreaCode", "GISDigest",
                    "TimeStamp", "ID")
NODE = re.compile(r"[\w.\-]{1,64}")


def wait_quietly(condition, what):
    end = time.monotonic() + START_LIMIT_S
    while not condition():
        if time.monotonic() > end:
            raise Refused(409, f"waited {START_LIMIT_S} s in vain for {what}")
        time.sleep(0.02)


def plain(text):
    return re.sub(r"\\(.)", lambda found: {"n": "\n", "r": "\r"}.get(found[1], found[1]), text)


def parse_store(text):
    """What `tcapi show` tells, as nodes with their attributes."""
    nodes, node = {}, {}
    for line in text.splitlines():
        if line.startswith("[") and line.endswith("]"):
            node = nodes.setdefault(line[1:-1], {})
        elif "=" in line:
            name, value = line.split("=", 1)
            node[name] = plain(value)
    return nodes


def text_member(body, name):
    value = body.get(name)
    if not isinstance(value, str):
        raise Refused(400, f"{name}: expected a text")
    return value


def number(query, name, default):
    if not re.fullmatch(r"\d{1,15}", query.get(name, "0")):
        raise Refused(400, f"{name}: expected a number")
    return int(query[name]) if name in query else default


class Desk:
    def __init__(self, title, network, gateway, platform):
        self.title = title
        self.network, self.gateway, self.platform = network, gateway, platform
        self.is_playing = True  # the story: nobody else then changes anything
        self.table = {
            ("GET", ""): self.overview, ("GET", "/store"): self.read_store, ("PUT", "/store"): self.write_store,
            ("POST", "/store/save"): self.save_store, ("GET", "/log"): self.read_log,
            ("POST", "/location"): self.post_location, ("POST", "/unlock"): self.unlock, ("POST", "/report"): self.report,
            ("POST", "/clock"): self.set_clock, ("POST", "/agent"): self.drive_agent,
            ("POST", "/power-cut"): self.power_cut, ("POST", "/platform"): self.drive_platform,
        }

    def answer(self, method, path, query, body):
        known = [key for key in self.table if f"/api/desk{key[1]}" == path]
        if not known:
            raise Refused(404, f"no {path} on this desk")
        if (method, known[0][1]) not in self.table:
            raise Refused(405, f"{path} takes {', '.join(key[0] for key in known)}")
        if method != "GET" and self.is_playing:
            raise Refused(409, "the story is still being played; nothing can be changed until it has ended")
        try:
            return self.table[method, known[0][1]](query if method == "GET" else body)
        except StoryFailed as failure:
            raise Refused(409, str(failure)) from None

    def agent(self):
        gateway = self.gateway
        state = "stopped" if gateway.is_stopped else "running" if gateway.is_alive() else "ended"
        status = gateway.status if gateway.process is None else gateway.process.poll()
        return {"state": state, "pid": gateway.process.pid if state == "running" else None,
                "since": text_of(gateway.since_s), "status": status}

    def clock_is_open(self):
        return (self.gateway.root / "tmp" / "timeSync").exists()

    def overview(self, _query):
        network, gateway = self.network, self.gateway
        return {
            "story": self.title,
            "network": {"kind": network.kind, "links": network.links,
                        "hosts": [{"name": name, "title": title, "addresses": addresses}
                                  for name, title, addresses in network.hosts]},
            "gateway": {"uuid": gateway.get("nuvek_Common", "UUID") or None, "local_port": network.local_port,
                        "root": str(gateway.root)},
            "agent": self.agent(),
            "platform": {"state": "running" if self.platform.is_alive() else "ended", "since": text_of(self.platform.since_s)},
            "clock": {"open": self.clock_is_open()},
            "time": {"speed": gateway.clock.speed, "now": text_of(gateway.clock.now_s())},
        }

    def read_store(self, _query):
        return {"nodes": parse_store(self.gateway.tcapi("show") or "")}

    def write_store(self, body):
        node, attr, value = (text_member(body, name) for name in ("node", "attr", "value"))
        if not NODE.fullmatch(node) or not NODE.fullmatch(attr):
            raise Refused(400, "node and attr: expected letters, digits and . _ -")
        if len(value.encode()) > VALUE_LIMIT or re.search(r"[\x00-\x1f\x7f]", value):
            raise Refused(400, f"value: expected at most {VALUE_LIMIT} bytes without control characters")
        old = self.gateway.get(node, attr)
        self.gateway.set(node, attr, value)
        return {"done": f"{node} {attr} is {value!r}", "old": old, "value": value}

    def save_store(self, _body):
        if self.gateway.tcapi("save") is None:
            raise Refused(409, "the store could not be written to flash")
        return {"done": "the store's live level is in flash"}

    def read_log(self, query):
        path = self.gateway.log_path
        size = path.stat().st_size if path.exists() else 0
        limit = min(number(query, "limit", LOG_LIMIT), LOG_LIMIT)
        begin = min(number(query, "after", max(0, size - limit)), size)
        text = b""
        if size:
            with path.open("rb") as log:
                log.seek(begin)
                text = log.read(limit)
        return {"text": text.decode("utf-8", "replace"), "from": begin, "next": begin + len(text), "size": size}

    def post_location(self, body):
        unknown = [name for name in body if name not in LOCATION_MEMBERS]
        if unknown or not body:
            raise Refused(400, f"{', '.join(unknown) or 'nothing posted'}: expected any of {', '.join(LOCATION_MEMBERS)}")
        if any(not isinstance(value, (str, int, float)) or isinstance(value, bool) for value in body.values()):
            raise Refused(400, "expected numbers and texts")
        self.need_agent()
        answer = self.gateway.post_location(**body)
        taken = answer.get("Result") == 0
        return {"done": "the gateway took it" if taken else "the gateway did not take it: its location is locked; unlock first",
                "answer": answer}

    def need_agent(self):
        if not self.gateway.is_alive():
            raise Refused(409, "the agent is not running")

    def unlock(self, _body):
        """The agent takes what the platform acknowledged from the store only when it starts."""
        for attr, value in (("GISInterface", ""), ("alreadyReport", "0")):
            self.gateway.set("nuvek_Entry0", attr, value)
        self.gateway.tcapi("save")
        done = "the location is unlocked, and counts as not yet acknowledged"
        if self.gateway.is_alive():
            self.restart_agent()
            done += "; the agent was restarted, for it reads that only when it starts"
        return {"done": done}

    def report(self, _body):
        self.need_agent()
        self.gateway.set("nuvek_Common", "LastInformTime", PAST_S)
        gate = "" if self.clock_is_open() else ", but the clock gate is closed"
        return {"done": f"the periodic report is due at the agent's next turn{gate}"}

    def set_clock(self, body):
        if not isinstance(body.get("open"), bool):
            raise Refused(400, "open: expected true or false")
        if body["open"]:
            self.gateway.synchronise_clock()
        else:
            (self.gateway.root / "tmp" / "timeSync").unlink(missing_ok=True)
        return {"done": f"the clock gate is {'open' if body['open'] else 'closed'}", "open": body["open"]}

    def start_agent(self):
        self.gateway.start()
        wait_quietly(lambda: self.gateway.accepts_locations() or not self.gateway.is_alive(), "the agent's location port")
        self.need_agent()

    def restart_agent(self):
        self.gateway.stop()
        self.start_agent()

    def drive_agent(self, body):
        wanted = body.get("do")
        if wanted not in ("start", "stop", "restart"):
            raise Refused(400, "do: expected start, stop or restart")
        if wanted == "start" and self.gateway.is_alive():
            raise Refused(409, "the agent is running already")
        if wanted == "stop":
            self.need_agent()
            self.gateway.stop()
        else:
            self.restart_agent()
        words = {"start": "started", "stop": "stopped", "restart": "restarted"}
        return {"done": f"the agent was {words[wanted]}", "agent": self.agent()}

    def power_cut(self, _body):
        self.gateway.power_cut()
        self.start_agent()
        return {"done": "the agent was killed, the store's live level is lost, and the agent began again from flash",
                "agent": self.agent()}

    def drive_platform(self, body):
        if body.get("do") != "restart":
            raise Refused(400, "do: expected restart")
        self.restart_platform()
        return {"done": "the platform server was restarted"}

    def restart_platform(self):
        self.platform.stop()
        self.platform.start()
        wait_quietly(self.platform.is_up, "the platform's port")
