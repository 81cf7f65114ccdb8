"""A platform under test: the real agent plays a gateway's days against it, and each rule gets its verdict."""
import socket
import struct
import time

from desk.agents.agent import Agent
from desk.agents.relay import ANSWER_LIMIT_S, Relay, whole_message
from desk.agents.rules import RULES, Break, break_of, verdicts
from desk.story.clock import GatewayClock
from desk.story.console import step, tell

SPEED = 20  # the agent turns every 50 ms: a platform at some distance still answers within a turn or two
PHASE_LIMIT_S = 12
VAIN_LIMIT = 3  # messages of one kind that were not understood; then it is in vain
SHOWN_BYTES = 160
SHOWN_BREAKS = 2


class Check:
    def __init__(self, folder, platform):
        self.platform = platform
        self.relay = Relay(platform)
        self.agent = Agent(folder / "gateway", 1, "127.0.0.1", self.relay.port, GatewayClock(SPEED))

    def of_kind(self, kind):
        return [exchange for exchange in self.relay.exchanges if exchange.kind == kind and (exchange.pieces or exchange.end)]

    def await_report(self, what, cause):
        """Waits until what the cause brings about is answered."""
        before = len(self.of_kind("Report"))  # it may be over before the cause has returned
        cause()
        return self.await_until(what, lambda: len(self.of_kind("Report")) > before)

    def await_until(self, what, reached, limit_s=PHASE_LIMIT_S):
        end = time.monotonic() + limit_s
        while time.monotonic() < end:
            if reached():
                tell(f"{what}: seen")
                return True
            time.sleep(0.02)
        tell(f"{what}: not seen within {limit_s} s")
        return False

    def registers(self):
        def is_acknowledged():
            return self.of_kind("Inform0") and self.agent.tcapi("get", "nuvek_Entry0", "alreadyReport") == "1"
        self.await_until("a registration and its answer",
                         lambda: is_acknowledged() or len(self.of_kind("Inform0")) >= VAIN_LIMIT,
                         VAIN_LIMIT * (ANSWER_LIMIT_S + 1) + 2)
        return is_acknowledged()

    def results_end(self):
        def last(kind):
            return (self.of_kind(kind) or [None])[-1]

        def taken(kind):
            exchange = last(kind)
            return exchange is not None and (break_of(exchange) or b'"Code":0' in exchange.pieces[0].replace(b" ", b""))
        return taken("SiteSpeed") and taken("TraceRoute")

    def play(self):
        step("The gateway registers, reports, answers what it is asked, and measures")
        self.agent.start()
        if not self.registers():
            return None
        self.await_until("a periodic report and its answer", lambda: self.of_kind("Report"))
        self.await_until("both results, sent again as often as the platform asks", self.results_end)
        self.await_report("a second report", self.agent.report_now)
        return self.play_bad_moments()

    def play_bad_moments(self):
        step("Bad moments: connections cut, half a message, a slow one, wild bytes, a power cut")
        reports = self.of_kind("Report")
        if not reports:
            return None
        before = self.sort_of(reports[-1])
        request = reports[-1].request.replace(b"Host: 127.0.0.1", f"Host: {self.platform[0]}".encode(), 1)
        for spoil in (self.says_nothing, self.says_half, self.resets, self.says_wild_bytes):
            try:
                spoil(request)
            except OSError:
                pass  # the platform may close when it likes
        self.agent.stop(kill=True)
        if not self.await_report("a report after that", self.begin_anew):
            return Break("bad moments", "no report was answered any more")
        after = self.of_kind("Report")[-1]
        return Break("bad moments", f"before: {before}; afterwards: {self.sort_of(after)}", after) \
            if self.sort_of(after) != before and break_of(after) else False

    def begin_anew(self):
        self.agent.start()
        self.agent.report_now()

    @staticmethod
    def sort_of(exchange):
        found = break_of(exchange)
        return found.rule if found else "understood"

    def connect(self):
        return socket.create_connection(self.platform, ANSWER_LIMIT_S)

    def says_nothing(self, _request):
        self.connect().close()

    def says_half(self, request):
        with self.connect() as connection:
            connection.sendall(request[:whole_message(request) // 2])

    def resets(self, request):
        with self.connect() as connection:
            connection.sendall(request[:40])
            connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))

    def says_wild_bytes(self, _request):
        with self.connect() as connection:
            connection.sendall(bytes(range(256)) + b"\r\n\r\n")
            connection.shutdown(socket.SHUT_WR)
            connection.recv(4096)


def shown(data):
    text = data[:SHOWN_BYTES].decode("latin-1").encode("unicode_escape").decode()
    return text + (f" ... {len(data)} bytes" if len(data) > SHOWN_BYTES else "")


def print_verdicts(rows):
    step("Verdicts")
    asked = {name: what for name, what, _ in RULES}
    for name, state, breaks in rows:
        tell(f"{state:<8}  {name:<12}  {asked[name]}")
        for found in breaks[:SHOWN_BREAKS]:
            tell(f"    found:    {found.reason}")
            if found.exchange is not None:
                tell(f"    asked:    {shown(found.exchange.request)}")
                for piece in found.exchange.pieces:
                    tell(f"    answered: {shown(piece)}")
            tell(f"    so the gateway: {found.effect}")
        if len(breaks) > SHOWN_BREAKS:
            tell(f"    and {len(breaks) - SHOWN_BREAKS} times more")


def check(folder, platform):
    """0 when every rule was seen and kept, 1 when one was broken, 3 when one could not be seen."""
    run = Check(folder, platform)
    try:
        bad_moments = run.play()
    finally:
        run.agent.stop()
        run.relay.close()
    rows = verdicts(run.relay.exchanges, bad_moments)
    print_verdicts(rows)
    states = {state for _, state, _ in rows}
    took = [exchange.took_s for exchange in run.relay.exchanges if exchange.took_s is not None]
    back_offs = max(0, len(run.of_kind("SiteSpeed")) - 1)
    gets = sum(exchange.kind == "GetResponse" for exchange in run.relay.exchanges)
    step("Summary")
    tell(f"{len(run.relay.exchanges)} messages, {gets} of them answers to questions; {back_offs} back-offs; longest answer "
         f"{max(took, default=0) * 1000:.0f} ms")
    return 1 if "broken" in states else 3 if "not seen" in states else 0
