"""The unhappy story: what a gateway meets in the field, and that it comes back each time."""
import os

from desk.story.console import check, step, tell, wait_for
from desk.story.gateway import PAST_S
from desk.story.tale import LOCATION, start_agent


def platform_down(gateway):
    step("The platform is down: primary and secondary refuse")
    gateway.synchronise_clock()
    check("the location is taken all the same", {"Result": 0, "ID": 7}, gateway.post_location(**LOCATION))
    wait_for("two vain attempts in the log",
             lambda: gateway.log().count("connect remote server error") >= 2, 20)
    check("the agent is alive", True, gateway.is_alive())


def garbled_answers(gateway, platform):
    step("The secondary comes up, and its first answers are garbage, cut, too long, or none")
    platform.start()
    wait_for("the platform's port", platform.is_up, 5)
    wait_for("an Inform0 that is answered well",
             lambda: any(entry["outcome"].startswith("Inform0Response") for entry in platform.exchanges("Inform0")), 30)
    for entry in platform.exchanges("Inform0"):
        tell(f"Inform0: {entry['outcome']}")
    wait_for("the registration in the store", lambda: gateway.get("nuvek_Common", "RegId"), 5)
    check("the agent is alive", True, gateway.is_alive())


def helpers_missing(platform):
    step("The helper programs are missing: the measurements are reported empty")
    wait_for("the trace-route result", lambda: platform.exchanges("TraceRoute"), 20)
    check("hops", [], platform.messages("TraceRoute")[0]["Params"]["NUVEK"]["TraceRouteResult"]["PathTable"])
    wait_for("the speed-test result (41 s of uptime after the start)", lambda: platform.exchanges("SiteSpeed"), 60)
    check("figures", [], platform.messages("SiteSpeed")[0]["Params"]["NUVEK"]["SiteSpeedResult"]["SpeedTable"])


def power_cut(gateway, platform):
    step("Power cut: the agent dies, the live level is gone, flash is what is left")
    before = gateway.counters()
    reg_id = gateway.get("nuvek_Common", "RegId")
    gateway.power_cut()
    tell(f"counters before: {before}")
    tell(f"counters after:  {gateway.counters()}  (flash is written at every 20th change)")
    check("the registration survived", reg_id, gateway.get("nuvek_Common", "RegId"))
    check("so did the location's acknowledgement", "1", gateway.get("nuvek_Entry0", "alreadyReport"))
    return len(platform.exchanges("Inform0"))


def comes_back(gateway, platform, registrations):
    step("Power is back: the gateway reports as the one it was")
    reports = len(platform.exchanges("Report"))
    gateway.set("nuvek_Common", "LastInformTime", PAST_S)
    start_agent(gateway)
    wait_for("its periodic report", lambda: len(platform.exchanges("Report")) > reports, 20)
    uuids = {entry["uuid"] for entry in platform.exchanges() if entry["uuid"]}
    check("identities that the platform has seen", 1, len(uuids))
    check("registrations since the power cut", 0, len(platform.exchanges("Inform0")) - registrations)


def play(network, gateway, platform):
    only_pidof = gateway.root / "bin"
    only_pidof.mkdir()
    os.symlink("/usr/bin/pidof", only_pidof / "pidof")
    gateway.helper_path = str(only_pidof)
    gateway.set("nuvek_Server", "PlatDomain1", network.dead_address)
    gateway.set("nuvek_Server", "PlatDomain2", network.platform_address)
    gateway.tcapi("save")
    start_agent(gateway)
    platform_down(gateway)
    garbled_answers(gateway, platform)
    helpers_missing(platform)
    registrations = power_cut(gateway, platform)
    comes_back(gateway, platform, registrations)
