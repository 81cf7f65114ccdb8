"""One agent with a seeded store against a platform that somebody else runs."""
import os
import signal
import subprocess

from desk.story.clock import BUILD, PROJECT, GatewayClock
from desk.story.network import free_port
from desk.story.processes import end_group, start

SEED = PROJECT / "desk" / "seed" / "flash"
HELPERS = PROJECT / "desk" / "gateway_programs"
QUICK_HELPERS = PROJECT / "desk" / "quick_programs"
PAST_S = "1600000000"  # a time stamp of long ago: what counts from it is due
LOCATION = ("Long=116.39713", "Lat=39.91653", "Altitudes=44.2", "HorizontalError=8.5", "VerticalError=3.0",
            "AreaCode=110101", "GISLockTime=1700000000", "GISInterface=A")


def seeded(number, platform_host):
    """The store of a gateway that nobody else is: its addresses and its serial number tell which one."""
    mac = f"{number >> 16 & 255:02x}:{number >> 8 & 255:02x}:{number & 255:02x}"
    text = SEED.read_text()
    text = text.replace("hwaddr=02:4e:56:45:4b:01", f"hwaddr=02:4e:56:{mac}")
    text = text.replace("hwaddr=02:4e:56:45:4b:02", f"hwaddr=06:4e:56:{mac}")
    text = text.replace("SerialNum=ACME0042D7E1", f"SerialNum=ACME{number:08d}")
    location = "\n".join(("[nuvek_Entry0]", *LOCATION, ""))
    return text.replace("[nuvek_Server]\n", f"{location}[nuvek_Server]\nPlatDomain1={platform_host}\n", 1)


class Agent:
    def __init__(self, folder, number, host, port, clock=None, quick=True):
        self.root, self.log_path = folder, folder / "agent.log"
        self.clock = clock or GatewayClock()
        for sub in ("tmp", "var/lib/tcapi", "usr/osgi"):
            (folder / sub).mkdir(parents=True)
        (folder / "var/lib/tcapi/flash").write_text(seeded(number, host))
        (folder / "tmp/timeSync").touch()
        helpers = QUICK_HELPERS if quick else HELPERS
        self.environment = {**os.environ, "NUVEK_ROOT": str(folder), "NUVEK_PLATFORM_PORT": str(port),
                            "NUVEK_LOCAL_PORT": str(free_port()), "DESK_PLATFORM": f"{host}:{port}",
                            "PATH": f"{helpers}:{os.environ['PATH']}", **self.clock.helper_environment}
        self.process = None

    def start(self, with_log=True):
        command = [*self.clock.begin(BUILD / "bin" / "nuvek", self.root), *(("-v", "on") if with_log else ())]
        with open(self.log_path if with_log else os.devnull, "a", encoding="utf-8") as log:
            self.process = start(command, env=self.environment, stdin=subprocess.DEVNULL, stdout=log, stderr=log)

    def is_alive(self):
        return self.process is not None and self.process.poll() is None

    def stop(self, kill=False):
        if self.process is not None:
            end_group(self.process, signal.SIGKILL if kill else signal.SIGTERM)
            self.process = None

    def tcapi(self, *words):
        done = subprocess.run([BUILD / "bin" / "tcapi", *words], env=self.environment, capture_output=True, text=True,
                              check=False, errors="replace")
        return done.stdout.rstrip("\n") if done.returncode == 0 else ""

    def report_now(self):
        self.tcapi("set", "nuvek_Common", "LastInformTime", PAST_S)

    def is_registered(self):
        return (self.root / "usr/osgi/nuvekKeyInfo").exists()
