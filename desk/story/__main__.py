"""Plays a story on the desk: see script/run."""
import argparse
import pathlib
import signal
import sys
import tempfile
import time

from desk.story import faults, tale
from desk.story.console import StoryFailed, step, tell
from desk.story.gateway import BIN, Gateway
from desk.story.network import build_network
from desk.story.platform import Platform

NODES_TO_SHOW = ("nuvek_Common", "nuvek_Entry0", "nuvek_Counter")


def read_arguments():
    parser = argparse.ArgumentParser(prog="script/run", description="Plays a gateway's story on this machine.")
    parser.add_argument("--faults", action="store_true", help="the unhappy story: platform down, garbled answers, "
                                                              "missing helper programs, power cut")
    parser.add_argument("--stay", action="store_true", help="keep the desk up afterwards, for trying things by hand")
    parser.add_argument("--loopback", action="store_true", help="no network namespaces, also where they are allowed")
    parser.add_argument("--agent", type=pathlib.Path, default=BIN / "nuvek", help="another build's agent")
    return parser.parse_args()


def summarise(gateway, platform):
    step("Summary")
    counts = {}
    for entry in platform.exchanges():
        counts[entry["kind"]] = counts.get(entry["kind"], 0) + 1
    tell("exchanged: " + ", ".join(f"{count} {kind}" for kind, count in sorted(counts.items())))
    for node in NODES_TO_SHOW:
        for line in (gateway.tcapi("show", node) or "").splitlines():
            tell(f"    {line}")


def stay(network, gateway, platform, folder):
    step("The desk stays up until Ctrl-C")
    words = " ".join(map(str, network.inside("gw")))
    tell(f"read the store:    NUVEK_ROOT={gateway.root} {BIN}/tcapi show")
    tell(f"a report now:      NUVEK_ROOT={gateway.root} {BIN}/tcapi set nuvek_Common LastInformTime 1")
    tell(f"unlock a location: NUVEK_ROOT={gateway.root} {BIN}/tcapi set nuvek_Entry0 GISInterface ''")
    tell(f"post a location:   {words} python3 -m desk.location_client --address {network.gateway_address} "
         f"--port {network.local_port} Longitude=2.35 Latitude=48.85 ID=1")
    tell(f"what happens:      tail -f {platform.time_line_path} {gateway.log_path}")
    tell(f"every byte:        {platform.journal_path}")
    tell(f"all of it is in {folder} and goes when the desk ends")
    while gateway.is_alive():
        time.sleep(0.2)
    raise StoryFailed("the agent ended")


def play(arguments, folder):
    step("The desk is set up")
    network = build_network(arguments.loopback)
    tell(network.described)
    gateway = Gateway(folder, network, arguments.agent.resolve())
    platform = Platform(folder, network, "faults.yaml" if arguments.faults else "story.yaml")
    try:
        (faults if arguments.faults else tale).play(network, gateway, platform)
        summarise(gateway, platform)
        if arguments.stay:
            stay(network, gateway, platform, folder)
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


def interrupt(_signal, _frame):
    raise KeyboardInterrupt


def main():
    arguments = read_arguments()
    signal.signal(signal.SIGTERM, interrupt)
    begin = time.monotonic()
    with tempfile.TemporaryDirectory(prefix="nuvek-desk-") as folder:
        try:
            play(arguments, pathlib.Path(folder))
        except StoryFailed as failure:
            sys.exit(f"\nThe story did not come true: {failure}")
        except KeyboardInterrupt:
            sys.exit(0 if arguments.stay else "\ninterrupted")
    print(f"\nThe story came true in {time.monotonic() - begin:.0f} s.")


main()
