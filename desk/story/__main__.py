"""Plays a story on the desk: see script/run."""
import argparse
import functools
import os
import pathlib
import sys
import time

from desk.story import console, faults, foreign, scenario, stay, tale
from desk.story.actions import Desk
from desk.story.build import prepare
from desk.story.clock import FAST, GatewayClock
from desk.story.console import StoryFailed, step, tell
from desk.story.control import Control
from desk.story.gateway import BIN, Gateway
from desk.story.network import ForeignNetwork, OperatorNetwork, build_network
from desk.story.platform import Platform
from desk.story.processes import guarded

NODES_TO_SHOW = ("nuvek_Common", "nuvek_Entry0", "nuvek_Counter")


def read_arguments():
    parser = argparse.ArgumentParser(
        prog="script/run", description="Builds everything and plays a gateway's story on this machine, in a minute or less.")
    parser.add_argument("--faults", action="store_true", help="the unhappy story: platform down, garbled answers, "
                                                              "missing helper programs, power cut")
    parser.add_argument("--scenario", type=pathlib.Path, metavar="FILE",
                        help="a gateway that meets the answers of this scenario (nuvek-platform(1)) until both its results "
                             "are taken")
    parser.add_argument("--foreign", type=int, nargs="?", const=foreign.EXCHANGES, metavar="N",
                        help="a network that loses, delays and reorders, goes dark, and has name servers that are silent or "
                             f"lie; N exchanges in each weather, {foreign.EXCHANGES} by default: two and a half minutes")
    parser.add_argument("--fast", action="store_true", help=f"the gateway's clock runs {FAST} times fast: a story in at most "
                                                            "15 s")
    parser.add_argument("--stay", action="store_true", help="keep the desk up afterwards, for driving it with a browser and "
                                                            "script/desk")
    parser.add_argument("--loopback", action="store_true", help="no network namespaces, also where they are allowed")
    parser.add_argument("--agent", type=pathlib.Path, metavar="PROGRAM", default=BIN / "nuvek", help="another build's agent")
    arguments = parser.parse_args()
    stories = [f"--{name}" for name in ("faults", "scenario", "foreign") if getattr(arguments, name)]
    if len(stories) > 1:
        parser.error(f"{' and '.join(stories)} are two stories")
    if arguments.foreign is not None and (arguments.foreign < 1 or arguments.fast or arguments.loopback):
        parser.error("--foreign: a number from 1, in real time and on namespaces")
    if arguments.scenario and not arguments.scenario.is_file():
        parser.error(f"no such scenario: {arguments.scenario}")
    if arguments.agent != BIN / "nuvek" and not os.access(arguments.agent, os.X_OK):
        parser.error(f"no such program: {arguments.agent}")
    return arguments


def chosen_story(arguments):
    """What it is called, what plays it, and the platform's scenario."""
    if arguments.scenario:
        return f"the scenario {arguments.scenario.name}", scenario.play, arguments.scenario.absolute()
    if arguments.faults:
        return "the unhappy story", faults.play, "faults.yaml"
    if arguments.foreign:
        return "the story of a foreign network", functools.partial(foreign.play, arguments.foreign), "foreign.yaml"
    return "the happy story", tale.play, "story.yaml"


def summarise(gateway, platform):
    step("Summary")
    counts = {}
    for entry in platform.exchanges():
        counts[entry["kind"]] = counts.get(entry["kind"], 0) + 1
    tell("exchanged: " + ", ".join(f"{count} {kind}" for kind, count in sorted(counts.items())))
    for node in NODES_TO_SHOW:
        for line in (gateway.tcapi("show", node) or "").splitlines():
            tell(f"    {line}")


def play(arguments, folder):
    step("The desk is set up")
    listener = stay.listen() if arguments.stay else None
    options = stay.console_options(listener, folder / "control") if listener else None
    title, play_story, answers = chosen_story(arguments)
    network = build_network(arguments.loopback, folder, ForeignNetwork if arguments.foreign else OperatorNetwork)
    tell(network.described)
    gateway = Gateway(folder, network, GatewayClock(FAST if arguments.fast else 1), arguments.agent.absolute())
    platform = Platform(folder, network, answers, options)
    desk = Desk(title, network, gateway, platform)
    try:
        if listener:
            console.passing_time[0] = Control(folder / "control", desk.answer).serve_for
            tell(f"the console, from now on: http://127.0.0.1:{listener.getsockname()[1]}/")
        play_story(network, gateway, platform)
        summarise(gateway, platform)
        if listener:
            stay.stay(listener, desk, console.passing_time[0])
    except StoryFailed:
        step("The last lines of the agent's log and of the platform's time line")
        for path in (gateway.log_path, platform.time_line_path):
            if path.exists():
                print("\n".join(path.read_text(errors="replace").splitlines()[-25:]), flush=True)
        raise
    finally:
        gateway.stop()
        platform.stop()
        network.close()


def tell_story(arguments, folder):
    begin = time.monotonic()
    try:
        play(arguments, folder)
    except StoryFailed as failure:
        sys.exit(f"\nThe story did not come true: {failure}")
    except KeyboardInterrupt:
        sys.exit(0 if arguments.stay else "\ninterrupted")
    print(f"\nThe story came true in {time.monotonic() - begin:.0f} s.")
    return 0


def main():
    arguments = read_arguments()
    prepare()
    sys.exit(guarded(lambda folder: tell_story(arguments, folder), "nuvek-desk-"))


main()
