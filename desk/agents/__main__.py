"""Agents against a platform of one's own: see script/agent."""
import argparse
import pathlib
import socket
import sys
import time

from desk.agents.agent import Agent
from desk.agents.check import check
from desk.story.build import prepare
from desk.story.clock import FAST, GatewayClock
from desk.story.console import StoryFailed, step, tell
from desk.story.processes import guarded

MOST = 5000
TELL_EVERY_S = 5


def platform(text):
    host, _, port = text.partition(":")
    if not host or port and not (port.isdigit() and 0 < int(port) < 65536):
        raise argparse.ArgumentTypeError("HOST or HOST:PORT")
    return host, int(port or 80)


def count(text):
    if not text.isdigit() or not 1 <= int(text) <= MOST:
        raise argparse.ArgumentTypeError(f"from 1 to {MOST}")
    return int(text)


def read_arguments():
    parser = argparse.ArgumentParser(
        prog="script/agent", description="Starts agents, each with a seeded store and an identity of its own, against any "
                                         "platform, until Ctrl-C; or checks the platform with one agent, in half a minute.")
    parser.add_argument("--platform", metavar="HOST[:PORT]", type=platform, required=True, help="port 80 if none is named")
    parser.add_argument("-n", metavar="N", type=count, default=1, help="how many (1); many measure nothing, but leave figures")
    parser.add_argument("--fast", action="store_true", help=f"their clocks run {FAST} times fast")
    parser.add_argument("--keep", metavar="FOLDER", type=pathlib.Path, help="their stores and logs are kept here, a folder each")
    parser.add_argument("--check", action="store_true", help="a verdict for each rule that a platform must keep; ends with 1 "
                                                             "when one is broken, 3 when one could not be seen")
    arguments = parser.parse_args()
    if arguments.check and (arguments.n != 1 or arguments.fast):
        parser.error("--check plays one agent, by a clock of its own")
    if arguments.keep and arguments.keep.exists() and any(arguments.keep.iterdir()):
        parser.error(f"not empty: {arguments.keep}")
    return arguments


def tell_state(agents, host, port):
    alive = sum(agent.is_alive() for agent in agents)
    registered = sum(agent.is_registered() for agent in agents)
    tell(f"{registered} of {len(agents)} registered at {host}:{port}" +
         (f"; {len(agents) - alive} ENDED" if alive < len(agents) else ""))
    return alive, registered


def run_agents(arguments, folder):
    host, port = arguments.platform
    step(f"{arguments.n} agents start against {host}:{port}; Ctrl-C ends them")
    agents = [Agent(folder / str(number), number, host, port, GatewayClock(FAST if arguments.fast else 1),
                    quick=arguments.n > 1) for number in range(1, arguments.n + 1)]
    for agent in agents:
        agent.start(with_log=arguments.keep is not None)
    state = None
    while True:
        time.sleep(0.2 if state is None else TELL_EVERY_S)
        now = [agent.is_alive() for agent in agents].count(True), [agent.is_registered() for agent in agents].count(True)
        if now != state:
            state = tell_state(agents, host, port)
        if state[0] == 0:
            sys.exit("all agents have ended")


def work(arguments, scratch):
    folder = (arguments.keep or scratch).absolute()
    folder.mkdir(parents=True, exist_ok=True)
    host, port = arguments.platform
    try:
        if arguments.check:
            return check(folder, (socket.gethostbyname(host), port))
        run_agents(arguments, folder)
    except KeyboardInterrupt:
        return 0
    except (StoryFailed, OSError) as error:
        sys.exit(f"agent: {error}")
    return 0


def main():
    arguments = read_arguments()
    prepare()
    sys.exit(guarded(lambda scratch: work(arguments, scratch), "nuvek-agents-"))


main()
