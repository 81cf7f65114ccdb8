"""Many agents on one desk against one platform server: memory for each, reports a second, the slowest answer.

  python3 -m bench.agents [N...]     1, 10, 100, 300 and 1000 agents by default
"""
import json
import os
import pathlib
import re
import resource
import sys
import time

from bench.gateway import Gateway, Platform, print_table, scratch, wait_for

STEPS = (1, 10, 100, 300, 1000)
STEADY_S = 30
# Minutes; times 60, in 32 bits, it is 4 s: each agent reports every fifth second.
CYCLE_OF_4_S = 787410671
SCENARIO = """
Report: {gets: [[NUVEK.Counter]]}
SpeedTest: {bytes: 1000}
"""


def memory_kb(pid, what):
    text = pathlib.Path(f"/proc/{pid}/smaps_rollup").read_text()
    return int(re.search(rf"^{what}:\s+(\d+)", text, re.MULTILINE)[1])


def processor_s(pid):
    fields = pathlib.Path(f"/proc/{pid}/stat").read_text().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def exchanges(platform):
    return [json.loads(line) for line in platform.journal.read_text().splitlines() if line.endswith("}")]


def seconds(entry):
    clock = entry["time"].rstrip("Z").split("T")[1]
    hours, minutes, rest = clock.split(":")
    return int(hours) * 3600 + int(minutes) * 60 + float(rest)


def answer_times_s(entries):
    """From a report's answer, with the Get in it, to the GetResponse of the same gateway."""
    asked, taken = {}, []
    for entry in entries:
        if entry["kind"] == "Report":
            asked[entry["uuid"]] = seconds(entry)
        elif entry["kind"] == "GetResponse" and entry["uuid"] in asked:
            taken.append(seconds(entry) - asked.pop(entry["uuid"]))
    return taken


def measure(count):
    with scratch() as name:
        folder = pathlib.Path(name)
        platform = Platform(folder, SCENARIO)
        gateways = [Gateway(folder / str(k), platform.port) for k in range(count)]
        for number, gateway in enumerate(gateways):
            flash = gateway.root / "var/lib/tcapi/flash"
            mac = f"02:4e:{number >> 16 & 255:02x}:{number >> 8 & 255:02x}:{number & 255:02x}:01"
            flash.write_text(flash.read_text().replace("hwaddr=02:4e:56:45:4b:01", f"hwaddr={mac}")
                             .replace("ReportCycle=1440", f"ReportCycle={CYCLE_OF_4_S}"))
            (gateway.root / "bin").mkdir()
            for helper in ("insmod", "httpSpeed", "traceroute", "pidof"):  # they cost nothing here
                (gateway.root / "bin" / helper).symlink_to("/bin/true")
            gateway.environment["PATH"] = f"{gateway.root}/bin:/usr/bin:/bin"
        begin = time.monotonic()
        for gateway in gateways:
            gateway.start()
        wait_for("all registrations", lambda: platform.lines("Inform0") >= count, 240)
        registered_s = time.monotonic() - begin
        time.sleep(10)
        before, spent = platform.lines("Report"), processor_s(platform.process.pid)
        agents_spent = sum(processor_s(gateway.process.pid) for gateway in gateways)
        time.sleep(STEADY_S)
        reports = (platform.lines("Report") - before) / STEADY_S
        platform_load = (processor_s(platform.process.pid) - spent) / STEADY_S
        agents_load = (sum(processor_s(gateway.process.pid) for gateway in gateways) - agents_spent) / STEADY_S
        dirty = [memory_kb(gateway.process.pid, "Private_Dirty") for gateway in gateways]
        server = memory_kb(platform.process.pid, "Private_Dirty")
        slowest = max(answer_times_s(exchanges(platform)), default=0)
        findings = sum(entry["verdict"] != "ok" for entry in exchanges(platform))
        for gateway in gateways:
            gateway.process.terminate()
        for gateway in gateways:
            gateway.process.wait()
        platform.stop()
    return [count, f"{registered_s:.1f}", max(dirty), server, f"{reports:.1f}", f"{slowest * 1000:.0f}",
            f"{agents_load / count * 100:.2f}", f"{platform_load * 100:.1f}", findings]


def main():
    resource.setrlimit(resource.RLIMIT_NOFILE, (resource.getrlimit(resource.RLIMIT_NOFILE)[1],) * 2)
    steps = [int(word) for word in sys.argv[1:]] or STEPS
    print_table(["agents", "all registered after, s", "memory each, kB", "server's, kB", "reports/s", "slowest answer, ms",
                 "processor each, %", "server's, %", "findings"], [measure(count) for count in steps])


if __name__ == "__main__":
    main()
