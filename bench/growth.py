"""How cost grows in one agent: over messages, over store nodes. (The interface table is part of script/bench's table.)"""
import pathlib
import statistics
import subprocess

from bench.gateway import BIN, Gateway, Platform, print_table, scratch
from bench.speed import watched_start

NODES = (10, 100, 1000, 10000)
STARTS = 15


def start_up_with(nodes):
    """Milliseconds from exec to the first byte, and of that in the store, with a store of so many nodes more; the lower
    quartile, as in script/bench."""
    filler = "".join(f"[Node{k}]\nFirst=1\nSecond=a value of some length\n" for k in range(nodes))
    starts = []
    for _ in range(STARTS):
        with scratch() as name:
            folder = pathlib.Path(name)
            platform = Platform(folder)
            gateway = Gateway(folder / "gateway", platform.port)
            flash = gateway.root / "var/lib/tcapi/flash"
            flash.write_text(flash.read_text().replace("# end\n", f"{filler}# end\n"))
            starts.append(watched_start([BIN / "nuvek"], gateway.environment)["send"])
            platform.stop()
    return [f"{statistics.quantiles((start[k] for start in starts), n=4)[0]:.1f}" for k in range(2)]


def main():
    print("A million ResultResponse messages, each counted in the store:", flush=True)
    subprocess.run([BIN / "growth", "counters"], check=True)
    print("\nThe store stand-in by its number of nodes:", flush=True)
    subprocess.run([BIN / "growth", "store", *map(str, NODES)], check=True)
    print("\nStart-up by the number of nodes:")
    print_table(["nodes", "exec to first byte, ms", "of that the store, ms"],
                [[nodes, *start_up_with(nodes)] for nodes in NODES])


if __name__ == "__main__":
    main()
