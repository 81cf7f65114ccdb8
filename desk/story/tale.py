"""The happy story: a gateway's first day."""
import time

from desk.story.console import check, step, tell, wait_for
from desk.story.gateway import PAST_S

PACKAGES = ["NUVEK.DeviceInfo", "NUVEK.GISInfoA", "NUVEK.GISInfoB", "NUVEK.Interface", "NUVEK.Counter"]
UNKNOWN_PACKAGE = "NUVEK.Unknown"
LOCATION = {"Longitude": "116.397128", "Latitude": "39.916527", "Elevation": "44.2", "HorizontalError": "8.5",
            "AltitudeError": "3.0", "AreaCode": "110101", "TimeStamp": "1700000000", "ID": "7"}
GATE_WATCH_S = 2.5  # more than two turns of the agent's main loop
SPEED_RESULT_LIMIT_S = 60
BACK_OFF_LIMIT_S = 20


def start_platform(platform):
    step("The platform server starts")
    platform.start()
    wait_for("the platform's port", platform.is_up, 5)


def start_agent(gateway):
    step("The agent starts")
    gateway.start()
    wait_for("its location port to listen", gateway.accepts_locations, 5)


def show_closed_gate(gateway, platform):
    step("The clock is not synchronised yet: the gate is closed")
    time.sleep(gateway.clock.scaled(GATE_WATCH_S))  # nothing to see is what is to be seen
    check(f"messages within {GATE_WATCH_S} s", 0, len(platform.exchanges()))


def post_location(gateway):
    step("A client on the LAN posts the gateway's location; a second one meets the lock")
    check("answer to the first", {"Result": 0, "ID": 7}, gateway.post_location(**LOCATION))
    check("answer to the second", {"Result": -3, "ID": 8}, gateway.post_location(**{**LOCATION, "ID": "8"}))
    check("longitude as stored", "116.39713", gateway.get("nuvek_Entry0", "Long"))


def register(gateway, platform):
    step("The clock is synchronised: the gate opens, the gateway registers")
    gateway.synchronise_clock()
    wait_for("the Inform0", lambda: platform.exchanges("Inform0"), 10)
    info = platform.messages("Inform0")[0]["Params"]["NUVEK"]["DeviceInfo"]
    check("its location", ("A", 116.39713, 39.91653), (info["GISInterface"], info["Long"], info["Lat"]))
    wait_for("the answer in the store", lambda: gateway.get("nuvek_Common", "RegId"), 5)
    wait_for("the key file", lambda: "RegId=" in gateway.key_file(), 5)
    tell(f"RegId {gateway.get('nuvek_Common', 'RegId')}, status {gateway.get('nuvek_Common', 'ReportStatus')}; key file:")
    for line in gateway.key_file().splitlines():
        tell(f"    {line}")


def answer_gets(platform):
    step("A periodic report is due; the platform answers with six Gets")
    wait_for("the report", lambda: platform.exchanges("Report"), 10)
    wait_for("six GetResponses", lambda: len(platform.exchanges("GetResponse")) >= 6, 10)
    answers = {message["ObjectPath"]: message for message in platform.messages("GetResponse")}
    for name in PACKAGES:
        check(f"{name}, code", 0, answers[name]["Code"])
    check(f"{UNKNOWN_PACKAGE}, code and result", (-1, {}),
          (answers[UNKNOWN_PACKAGE]["Code"], answers[UNKNOWN_PACKAGE]["Result"]))


def trace_route(network, platform):
    step("The acknowledged location starts both measurements; the trace-route is the shorter one")
    wait_for("the trace-route result", lambda: platform.exchanges("TraceRoute"), 40)
    result = platform.messages("TraceRoute")[0]["Params"]["NUVEK"]["TraceRouteResult"]
    tell(f"target {result['DestIP'] or '(no name server here)'}, hops:")
    for row in result["PathTable"]:
        tell(f"    {row[0]:<16} " + ", ".join(str(time_ms) for time_ms in row[1::2]))
    check("hops", 3 if network.has_names else 1, len(result["PathTable"]))


def speed_test(gateway, platform):
    step("The speed test counts as finished 41 s of uptime after its start")
    wait_for("the speed-test result", lambda: platform.exchanges("SiteSpeed"), SPEED_RESULT_LIMIT_S)
    result = platform.messages("SiteSpeed")[0]["Params"]["NUVEK"]["SiteSpeedResult"]
    figures = result["SpeedTable"]
    tell(f"{len(figures)} figures from {result['DestIP']}, {min(figures)} to {max(figures)} Mbit/s")
    check("the platform refuses it, code", -3, platform.exchanges("SiteSpeed")[0]["code"])
    step("The gateway backs off 10 s and sends the result again from its timer thread")
    wait_for("the second result", lambda: len(platform.exchanges("SiteSpeed")) >= 2, BACK_OFF_LIMIT_S)
    check("the platform takes it, code", 0, platform.exchanges("SiteSpeed")[1]["code"])
    # A report that goes out ahead of this answer's arrival would share its connection, which the answer ends.
    wait_for("the answer to be counted", lambda: gateway.counters()["SuccessResult"] == 2, 5)


def read_back_counters(gateway, platform):
    step("One more report, and the counters are read back")
    reports = len(platform.exchanges("Report"))
    responses = len(platform.exchanges("GetResponse"))
    gateway.set("nuvek_Common", "LastInformTime", PAST_S)
    wait_for("the report", lambda: len(platform.exchanges("Report")) > reports, 10)
    wait_for("the GetResponse", lambda: len(platform.exchanges("GetResponse")) > responses, 10)
    told = platform.messages("GetResponse")[-1]["Result"]["NUVEK"]["Counter"]
    expected = expected_counters(platform)
    check("the gateway's counters are what was exchanged", expected, dict(sorted(told.items())))
    check("and so are the store's", expected, dict(sorted(gateway.counters().items())))


def expected_counters(platform):
    codes = [entry["code"] for kind in ("SiteSpeed", "TraceRoute") for entry in platform.exchanges(kind)]
    tables = [message["Params"]["NUVEK"]["SiteSpeedResult"]["SpeedTable"] for message in platform.messages("SiteSpeed")]
    return {
        "FailInform": 0,
        "FailResult": sum(code != 0 for code in codes),
        "FailTask": sum(not table for table in tables),
        "SuccessInform": len(platform.exchanges("Report")),
        "SuccessResult": sum(code == 0 for code in codes),
        "SuccessTask": sum(bool(table) for table in tables) + len(platform.exchanges("TraceRoute")),
    }


def name_platform(network, gateway):
    if not network.has_names:
        gateway.set("nuvek_Server", "PlatDomain1", network.platform_address)
        gateway.tcapi("save")


def play(network, gateway, platform):
    name_platform(network, gateway)
    start_platform(platform)
    start_agent(gateway)
    show_closed_gate(gateway, platform)
    post_location(gateway)
    register(gateway, platform)
    answer_gets(platform)
    trace_route(network, platform)
    speed_test(gateway, platform)
    read_back_counters(gateway, platform)
    check("findings of the strict platform", [], [entry["verdict"] for entry in platform.findings()])
