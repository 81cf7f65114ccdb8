"""The soak's world: one gateway whose clock we hold, and the two platform servers that it knows."""
import json
import pathlib
import re
import shutil
import signal
import socket
import time

from bench.gateway import BUILD, Gateway, Platform
from surroundings import Control, Lines, reserve_port

WORLD_LIBRARY = BUILD / "tests" / "libgateway_world.so"
COUNTERS = ("SuccessTask", "FailTask", "FailInform", "SuccessInform", "FailResult", "SuccessResult")
PRIMARY, SECONDARY = "127.0.0.1", "127.0.0.2"
ERA_S = 1 << 32  # seconds are stored and shared as 32 bits; stamps go on in them until 2106
STEP_S = 10  # how long an idle turn is on our clock; the timer service takes 60 and more for a corrected clock
BOOT_S = 40  # from power to the agent's start
UNSET_S = 60  # from there to a clock that is right: half of it before 1970
READ_S = 2  # of real time, in which a platform on a busy machine has read what was sent
HANG_S = 30  # of real time, far beyond anything that the agent may wait for

# The gateway's helper programs, quick: how the line is and how long a trace goes on is up to the soak.
HELPERS = {
    "insmod": "",
    "httpSpeed": """
cd "$NUVEK_ROOT/var" || exit 1
[ -e line_is_bad ] && table= error=2 || table=40.12,41.50,39.77 error=0
printf %s "$2" > httpURL
printf %s 127.0.0.1 > httpDIP
printf %s "$table" > httpSpeed
printf %s "$error" > speed_ErrorCode""",
    "traceroute": """
echo "traceroute to $2, 30 hops max"
echo " 1  gw (192.168.1.1)  0.431 ms  0.402 ms  0.398 ms"
echo " 2  * * *"
echo " 3  edge (100.64.0.1)  4.1 ms  4.3 ms  *\"""",
    "pidof": """
looks="$NUVEK_ROOT/var/looks_to_come"
read -r left < "$looks" || left=0
[ "$left" -gt 0 ] || exit 1
echo $((left - 1)) > "$looks"
echo 4242""",
}


class World:
    def __init__(self, folder, report_cycle_min):
        self.folder = folder
        clock = folder / "clock"
        clock.mkdir()
        self.notes = clock
        self.control = Control(clock / "control")
        self.control.set("step_s", STEP_S)
        self._port_holder = reserve_port()
        self.port = self._port_holder.getsockname()[1]
        self.platform = None
        self.gateway = Gateway(folder / "gateway", self.port, with_location=False, clock_is_set=False)
        self.root = self.gateway.root
        flash = self.root / "var/lib/tcapi/flash"
        seed = flash.read_text().replace("[nuvek_Server]\n", f"[nuvek_Server]\nPlatDomain2={SECONDARY}\n")
        flash.write_text(re.sub("ReportCycle=.*", f"ReportCycle={report_cycle_min}", seed))
        self._make_helpers()
        self.gateway.environment.update(PATH=f"{self.root}/bin:/usr/bin:/bin", TZ="CST-8", NUVEK_WORLD="year",
                                        NUVEK_WORLD_FOLDER=str(clock))
        self.starts = []  # number of requests at each start of the agent
        self._never_arrived = 0
        self._journal, self._new_in_journal = [], Lines(folder / "exchanges.jsonl")

    def _make_helpers(self):
        (self.root / "bin").mkdir()
        for name, script in HELPERS.items():
            program = self.root / "bin" / name
            program.write_text(f"#!/bin/sh{script}\n")
            program.chmod(0o755)
        self.set_trace(0)

    # --- the gateway's surroundings ---

    def set_line(self, good):
        marker = self.root / "var/line_is_bad"
        marker.unlink(missing_ok=True) if good else marker.touch()

    def set_trace(self, looks):
        """How often the next trace is still found running."""
        (self.root / "var/looks_to_come").write_text(f"{looks}\n")

    def set_platform(self, address, scenario=""):
        """One platform at this address, or none."""
        if self.platform is not None:
            self._let_it_read()
            self.platform.stop()
        self.platform = Platform(self.folder, scenario, address, self.port) if address else None

    def _let_it_read(self):
        """A platform that is stopped has read what was sent to it; what never arrives, closed away by the agent, is waited for
        once."""
        def on_their_way():
            return len(self.requests()) - sum(bool(entry["request"]) for entry in self.journal())

        end = time.monotonic() + READ_S
        while (missing := on_their_way()) > self._never_arrived and time.monotonic() < end:
            time.sleep(0.01)
        self._never_arrived = missing

    def local_client(self):
        return socket.create_connection(("127.0.0.1", int(self.gateway.environment["NUVEK_LOCAL_PORT"])), HANG_S)

    def post_location(self):
        with self.local_client() as client:
            client.sendall(b'{"Longitude":"116.397128","Latitude":"39.916527","Elevation":"44.2","ID":"7"}')
            return json.loads(client.recv(1024))["Result"]

    # --- time ---

    @property
    def now(self):
        era = self.control.get("clock_era")
        return (-1 if era == ERA_S - 1 else era) * ERA_S + self.control.get("clock_s")

    def _set_clock(self, seconds):
        self.control.set("clock_era", seconds // ERA_S % ERA_S)
        self.control.set("clock_s", seconds % ERA_S)

    def correct_clock(self, difference):
        self._set_clock(self.now + difference)

    def advance(self, seconds):
        self.control.set("to_go_s", seconds)
        self._wait_parked()

    def _wait_parked(self):
        """Until the agent has done all it has to do at the time to which we let the clock go."""
        turns, end = None, 0
        while self.control.get("to_go_s") or not self.control.get("parked"):
            if self.gateway.process.poll() is not None:
                raise SystemExit(f"soak: the agent ended by itself, status {self.gateway.process.returncode}")
            if turns != self.control.get("turns"):
                turns, end = self.control.get("turns"), time.monotonic() + HANG_S
            if time.monotonic() > end:
                raise SystemExit(f"soak: not a turn of the agent in {HANG_S} s of real time")
            time.sleep(0.001)

    # --- the agent ---

    def _start(self):
        self.starts.append(len(self.requests()))
        self.control.set("parked", 0)
        self.gateway.start("env", f"LD_PRELOAD={WORLD_LIBRARY}")
        self._wait_parked()

    def turn_on(self, time_s):
        """With a clock that nobody has set."""
        self.control.set("uptime_s", BOOT_S)
        self._set_clock(time_s)
        self._start()

    def synchronise(self, right_time):
        self._set_clock(right_time)
        self.gateway.set_clock()

    def restart(self):
        self.gateway.stop()
        self._start()

    def cut_power(self):
        """Returns the counters before and after."""
        before = self.counters()
        now = self.now
        self.gateway.process.send_signal(signal.SIGKILL)
        self.gateway.process.wait()
        shutil.rmtree(self.root / "var/lib/tcapi/live")
        (self.root / "tmp/timeSync").unlink()
        self.turn_on(-UNSET_S // 2)
        self.advance(UNSET_S)
        self.synchronise(now + 100)
        return before, self.counters()

    def end(self):
        if self.gateway.process is not None and self.gateway.process.poll() is None:
            self.gateway.stop()
        self.set_platform(None)

    # --- what can be seen ---

    def counters(self):
        return {name: int(self.gateway.tcapi("get", "nuvek_Counter", name) or 0) for name in COUNTERS}

    def stamp(self, name):
        return int(self.gateway.tcapi("get", "nuvek_Common", name) or 0) % ERA_S  # written as a signed number

    def is_in_flash(self, name):
        return f"\n{name}=" in (self.root / "var/lib/tcapi/flash").read_text()

    def _noted(self, name):
        path = self.notes / name
        return [tuple(map(int, line.split())) for line in path.read_text().splitlines()] if path.exists() else []

    def requests(self):
        """(turn of the main loop, uptime, ID) of each request that the agent has sent."""
        return self._noted("requests")

    def answers(self):
        """ID of each ResultResponse that the agent has read."""
        return [identifier for identifier, in self._noted("answers")]

    def journal(self):
        self._journal += [json.loads(line.encode("latin-1")) for line in self._new_in_journal.rest()]
        return self._journal

    def sample(self):
        """Resident and private memory in kB, the heap in use in bytes, and open descriptors."""
        proc = pathlib.Path(f"/proc/{self.gateway.process.pid}")
        rollup = dict(line.split()[:2] for line in (proc / "smaps_rollup").read_text().splitlines()[1:])
        return (int(rollup["Rss:"]), int(rollup["Private_Dirty:"]), self.control.get("heap_bytes"),
                len(list((proc / "fd").iterdir())))
