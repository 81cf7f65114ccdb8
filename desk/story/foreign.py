"""The story of a foreign network: name servers that lie, packets that are lost, late or overtaken, and the dark. It ends well when
the gateway lives, its turns stay as short as they must, and what both sides counted agrees."""
import os
import pathlib
import re
import time

from desk.story import lying_names
from desk.story.clock import PROJECT
from desk.story.console import POLL_S, StoryFailed, check, step, tell, wait_for
from desk.story.gateway import PAST_S
from desk.story.lying_names import LyingNames
from desk.story.network import PLATFORM_NAMES, ForeignNetwork
from desk.story.pulse import Pulse
from desk.story.tale import post_location, start_agent, start_platform
from desk.story.weather import CLEAR, DARK, Weather

EXCHANGES = 10  # in each weather
PATIENCE = 10  # more of them, where the weather has not yet struck
LOOK_UP_S, CONNECT_S = 1, 1  # resolv.conf of the desk; the agent's own
LINK_S = 2 * (LOOK_UP_S + CONNECT_S)  # a message's: primary, secondary
LONGEST_TURN_S = LINK_S + LOOK_UP_S  # with the one more look-up of a trace's result
LATE_S = 3  # for a busy machine
EXCHANGE_LIMIT_S = 60  # TCP sends again what was lost, after ever longer pauses
DARK_S = 2
TABLE_ROWS = 8  # of interfaces: more than a packet holds
LIES = (
    ("is silent", lying_names.is_silent), ("says that there is no such name", lying_names.denies),
    ("tells a wrong address", lying_names.address), ("answers with garbage", lying_names.says_garbage),
    ("says that its answer is cut, and that TCP has it whole", lying_names.truncates),
    ("stops in the middle of its answer", lying_names.stops_in_a_record),
)
WEATHERS = (
    ("Every fifth packet is lost", Weather(loss=0.2), "lost"),
    ("Packets take 50 to 250 ms each way", Weather(delay_ms=150, jitter_ms=100), "passed"),
    ("Every third packet overtakes others", Weather(delay_ms=60, ahead=0.33), "overtaken"),
    ("All of this at once", Weather(loss=0.1, delay_ms=80, jitter_ms=60, ahead=0.25), "lost"),
)
OPEN_STATES = ("01", "02", "08")  # established, being connected, left by the other side


class Account:
    """What both sides have counted since it was opened."""

    def __init__(self, gateway, platform):
        self.gateway, self.platform = gateway, platform
        self.begin = self.all_figures()

    def all_figures(self):
        log = self.gateway.log()
        figures = {kind: len(self.platform.exchanges(kind)) for kind in ("Report", "TraceRoute", "GetResponse")}
        begun = re.findall(r"(nuvek_period_report|nuvek_trace_test_Report):\d+\] Enter", log)
        return {**figures, **self.gateway.counters(), "failed links": log.count("connect remote server error"),
                "begun reports": begun.count("nuvek_period_report"), "begun results": begun.count("nuvek_trace_test_Report")}

    def figures(self):
        return {name: figure - self.begin[name] for name, figure in self.all_figures().items()}

    def has_all_arrived(self):
        now = self.figures()
        return now["SuccessInform"] == now["Report"] == now["GetResponse"] and now["TraceRoute"] == now["SuccessResult"]

    def settle(self):
        """TCP brings whatever was taken for sent, once it can; the agent does not wait for it."""
        end = time.monotonic() + EXCHANGE_LIMIT_S
        while not self.has_all_arrived() and time.monotonic() < end:
            time.sleep(POLL_S)
        now = self.figures()
        check("reports begun, and counted", now["begun reports"], now["SuccessInform"] + now["FailInform"])
        check("reports counted as sent, and arrived", now["SuccessInform"], now["Report"])
        check("questions asked with them, and answered once each", now["Report"], now["GetResponse"])
        check("traces counted, and begun to be told", now["SuccessTask"], now["begun results"])
        check("results that arrived, and whose answer was counted", now["TraceRoute"], now["SuccessResult"])
        lost = now["FailInform"] + now["begun results"] - now["TraceRoute"]
        check("messages that did not go out, and links that failed", lost, now["failed links"])
        check("counted otherwise", (0, 0), (now["FailTask"], now["FailResult"]))
        check("what the strict platform found", [], [entry["verdict"] for entry in self.platform.findings()])


class Gateway:
    """The story's, with what this story does to it."""

    def __init__(self, gateway, platform):
        self.gateway, self.platform = gateway, platform
        self.pulse = self.account = None

    def is_quiet(self):
        """No connection to the platform is open: the last message of the exchange has come, or is in TCP's hands."""
        lines = pathlib.Path(f"/proc/{self.gateway.process.pid}/net/tcp").read_text().splitlines()[1:]
        return not any(fields[2].endswith(":0050") and fields[3] in OPEN_STATES for fields in map(str.split, lines))

    def make_due(self, stamp, counted):
        """Returns once it was counted and nothing is on its way any more."""
        before = self.account.figures()
        self.gateway.set("nuvek_Common", stamp, PAST_S)

        def is_over():
            now = self.account.figures()
            return any(now[name] > before[name] for name in counted) and self.is_quiet()

        wait_for(f"{counted[0]} or the like", is_over, EXCHANGE_LIMIT_S)

    def report(self):
        self.make_due("LastInformTime", ("SuccessInform", "FailInform"))

    def trace(self):
        self.make_due("LastTraceTime", ("TraceRoute", "failed links"))

    def begin_pulse(self, network):
        self.pulse = Pulse(network)

    def check_pulse(self):
        check("the agent is alive", True, self.gateway.is_alive())
        longest_s = self.pulse.longest_s()
        if longest_s > LONGEST_TURN_S + LATE_S:
            raise StoryFailed(f"a client of the local port waited {longest_s:.1f} s")
        tell(f"a client of the local port waited {longest_s:.1f} s at most (bound {LONGEST_TURN_S} s)")


def lies(network, gateway, platform):
    names = LyingNames(network.namespaces, "dns", network.name_server_address)
    for words, answer in LIES:
        step(f"The name server {words}")
        names.answer = answer
        asked, failed = names.asked, gateway.gateway.log().count("connect remote server error")
        wait_for("a link that fails", lambda: names.asked >= asked + len(PLATFORM_NAMES) and
                 gateway.gateway.log().count("connect remote server error") > failed, 3 * LINK_S + LATE_S)
        check("messages at the platform", 0, len(platform.exchanges()))
        gateway.check_pulse()
    names.end()


def comes_back(network, gateway, platform):
    step("An honest name server comes back: the gateway registers")
    network.start_name_server()
    wait_for("the Inform0", lambda: platform.exchanges("Inform0"), LINK_S + 10)
    wait_for("the key file", lambda: "RegId=" in gateway.gateway.key_file(), 5)
    wait_for("its first report, the answer to the question, and a trace",
             lambda: all(map(platform.exchanges, ("Report", "GetResponse", "TraceRoute"))), 20)
    wait_for("their answers", gateway.is_quiet, 10)
    gateway.check_pulse()


def weather(network, gateway, exchanges, words, kind, figure):
    step(words)
    struck = getattr(network.cable, figure)
    network.cable.weather = kind
    for number in range(exchanges + PATIENCE):
        if number >= exchanges and getattr(network.cable, figure) > struck:
            break
        gateway.report()
        gateway.trace()
    else:
        raise StoryFailed("the weather did not strike")
    network.cable.weather = CLEAR
    tell(f"{number} reports and traces; packets so far: {network.cable.told()}")
    gateway.account.settle()
    gateway.check_pulse()


def dark(network, gateway):
    step("The network is dark: a report finds no name, and another no address")
    network.cable.weather = DARK
    failed = gateway.account.figures()["FailInform"]
    gateway.report()
    for attr in ("PlatDomain1", "PlatDomain2"):
        gateway.gateway.set("nuvek_Server", attr, network.platform_address)
    gateway.report()
    check("counted as failed", failed + 2, gateway.account.figures()["FailInform"])
    network.cable.weather = CLEAR
    gateway.report()
    gateway.account.settle()
    gateway.check_pulse()


def dark_in_the_middle(network, gateway):
    for words, arrives in (("behind a report, ahead of its answer", True),
                           ("ahead of a report, with the connection open", False)):
        step(f"The network goes dark for {DARK_S} s {words}")
        reports = gateway.account.figures()["Report"]
        network.cable.dark_from = (b"POST /reg/", arrives)
        gateway.gateway.set("nuvek_Common", "LastInformTime", PAST_S)
        wait_for("the dark", lambda: network.cable.weather == DARK, LINK_S + LATE_S)
        time.sleep(DARK_S)
        check("sent, and its answer not there", False, gateway.is_quiet())
        check("reports arrived", reports + arrives, gateway.account.figures()["Report"])
        network.cable.weather = CLEAR
        wait_for("what TCP sends again", lambda: gateway.account.figures()["Report"] > reports and gateway.is_quiet(),
                 EXCHANGE_LIMIT_S)
        gateway.account.settle()
        gateway.check_pulse()


def wrong_primary(network, gateway):
    step("The first of the platform's names has a wrong address: the second serves")
    for attr in ("PlatDomain1", "PlatDomain2"):
        gateway.gateway.set("nuvek_Server", attr, "")
    network.stop_name_server()

    def answer(query):
        is_first = lying_names.asked_name(query) == PLATFORM_NAMES[0]
        return lying_names.address(query, lying_names.WRONG_ADDRESS if is_first else network.platform_address)

    names = LyingNames(network.namespaces, "dns", network.name_server_address, answer)
    arrived = gateway.account.figures()["Report"]
    gateway.report()
    check("reports arrived", arrived + 1, gateway.account.figures()["Report"])
    gateway.account.settle()
    gateway.check_pulse()
    names.end()


def restart(network, gateway, platform):
    """So that the speed test that the registration began does not end in the middle of what is to come."""
    step("The gateway is started again; from here on both sides are held to each other")
    gateway.pulse.end()
    gateway.gateway.stop()
    start_agent(gateway.gateway)
    gateway.account = Account(gateway.gateway, platform)
    gateway.begin_pulse(network)


def play(exchanges, network, gateway, platform):
    if not isinstance(network, ForeignNetwork):
        raise StoryFailed("a foreign network is made of network namespaces")
    gateway.helper_path = f"{PROJECT / 'desk' / 'quick_programs'}:{os.environ['PATH']}"
    foreign = Gateway(gateway, platform)
    network.stop_name_server()
    start_platform(platform)
    fill_interface_table(gateway)
    start_agent(gateway)
    post_location(gateway)
    gateway.synchronise_clock()
    foreign.begin_pulse(network)
    lies(network, foreign, platform)
    comes_back(network, foreign, platform)
    restart(network, foreign, platform)
    for words, kind, figure in WEATHERS:
        weather(network, foreign, exchanges, words, kind, figure)
    dark(network, foreign)
    dark_in_the_middle(network, foreign)
    wrong_primary(network, foreign)
    foreign.pulse.end()


def fill_interface_table(gateway):
    gateway.set("nuvekInterfaceInfo_Common", "Count", str(TABLE_ROWS))
    for row in range(2, TABLE_ROWS):
        for attr in ("IFName", "PhyAddr", "Mask", "LocalIP", "RemoteIP", "MTU"):
            gateway.set(f"nuvekInterfaceInfo_Entry{row}", attr, gateway.get("nuvekInterfaceInfo_Entry1", attr))
    gateway.tcapi("save")
