"""A cable with weather: what passes between its two ends is lost, delayed and overtaken. Each end is a TUN device, and a thread
of the story carries the packets: not every kernel that plays stories has netem."""
import dataclasses
import fcntl
import heapq
import itertools
import os
import random
import select
import struct
import threading
import time

TUNSETIFF = 0x400454CA
IFF_TUN, IFF_NO_PI = 0x0001, 0x1000
PACKET_BYTES = 65536
READY_LIMIT_S = 5


@dataclasses.dataclass(frozen=True)
class Weather:
    """Of the packets in each direction: the share that is lost, how long the others take, and the share that takes no time."""

    loss: float = 0
    delay_ms: float = 0
    jitter_ms: float = 0
    ahead: float = 0


CLEAR = Weather()
DARK = Weather(loss=1)


class Cable(threading.Thread):
    def __init__(self, hosts, ends):
        """`ends`: host and name of the device, for each of the two."""
        super().__init__(daemon=True)
        self.weather = CLEAR
        self.passed = self.lost = self.overtaken = 0
        # From the next packet that holds these bytes on it is dark; and whether this one still passes.
        self.dark_from = None
        self._hosts, self._names = hosts, ends
        self._ends, self._error = [], None
        self._is_ready = threading.Event()
        self._random, self._number = random.Random(1), itertools.count()
        self._on_its_way = []  # (when it arrives, number, index of the end, packet)
        self._last_out = [-1, -1]  # the highest number that has come out, by end
        self.start()
        self._is_ready.wait(READY_LIMIT_S)
        if self._error is not None:
            raise self._error

    def told(self):
        return f"{self.passed} passed, {self.lost} lost, {self.overtaken} overtaken"

    def run(self):
        try:
            self._ends = [self._open_end(*name) for name in self._names]
        except OSError as error:
            self._error = error
            return
        finally:
            self._is_ready.set()
        while True:
            self._carry()

    def _open_end(self, host, device):
        self._hosts.enter(host)
        end = os.open("/dev/net/tun", os.O_RDWR | os.O_CLOEXEC)
        fcntl.ioctl(end, TUNSETIFF, struct.pack("16sH22x", device.encode(), IFF_TUN | IFF_NO_PI))
        return end

    def _carry(self):
        patience_s = max(0, self._on_its_way[0][0] - time.monotonic()) if self._on_its_way else None
        for end in select.select(self._ends, [], [], patience_s)[0]:
            self._take(os.read(end, PACKET_BYTES), 1 - self._ends.index(end))
        while self._on_its_way and self._on_its_way[0][0] <= time.monotonic():
            self._put(*heapq.heappop(self._on_its_way)[1:])

    def _take(self, packet, to):
        weather = self.weather
        if self.dark_from is not None and self.dark_from[0] in packet:
            passes, self.dark_from = self.dark_from[1], None
            self.weather = DARK
            weather = weather if passes else DARK
        if self._random.random() < weather.loss:
            self.lost += 1
            return
        delay_ms = max(0, weather.delay_ms + self._random.uniform(-1, 1) * weather.jitter_ms)
        if self._random.random() < weather.ahead:
            delay_ms = 0
        heapq.heappush(self._on_its_way, (time.monotonic() + delay_ms / 1000, next(self._number), to, packet))

    def _put(self, number, to, packet):
        try:
            os.write(self._ends[to], packet)
        except OSError:
            self.lost += 1  # this end is not up yet
            return
        self.passed += 1
        self.overtaken += number < self._last_out[to]
        self._last_out[to] = max(self._last_out[to], number)
