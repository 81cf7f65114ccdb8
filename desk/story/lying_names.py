"""A name server that is silent, or lies: in the place of the honest one, in a thread of the story."""
import socket
import threading

from desk.story.console import StoryFailed

WRONG_ADDRESS = "10.99.3.77"  # nobody: a connect there is never answered
NAME_END, TYPE_AND_CLASS = b"\0", 4
HEAD_BYTES = 12
LOOK_EVERY_S = 0.05
START_LIMIT_S = 5
ANSWER, TRUNCATED, NO_SUCH_NAME = 0x8180, 0x0200, 0x0003


def head(query, flags, answers=0):
    return query[:2] + flags.to_bytes(2, "big") + bytes((0, 1, 0, answers, 0, 0, 0, 0))


def question(query):
    return query[HEAD_BYTES:query.index(NAME_END, HEAD_BYTES) + len(NAME_END) + TYPE_AND_CLASS]


def asked_name(query):
    labels, at = [], HEAD_BYTES
    while query[at]:
        labels.append(query[at + 1:at + 1 + query[at]].decode())
        at += 1 + query[at]
    return ".".join(labels)


def address(query, text=WRONG_ADDRESS):
    record = b"\xc0\x0c\0\1\0\1" + (0).to_bytes(4, "big") + b"\0\4" + socket.inet_aton(text)
    return head(query, ANSWER, 1) + question(query) + record


def is_silent(_query):
    return None


def denies(query):
    return head(query, ANSWER | NO_SUCH_NAME) + question(query)


def says_garbage(query):
    return bytes(byte ^ 0xA5 for byte in query) * 3


def truncates(query):
    """And does not answer by TCP, as it says that it would."""
    return head(query, ANSWER | TRUNCATED) + question(query)


def stops_in_a_record(query):
    return address(query)[:-6]


class LyingNames(threading.Thread):
    def __init__(self, hosts, host, own_address, answer=is_silent):
        super().__init__(daemon=True)
        self.answer = answer
        self.asked = 0
        self._hosts, self._host, self._own_address = hosts, host, own_address
        self._goes_on, self._is_bound = True, threading.Event()
        self.start()
        if not self._is_bound.wait(START_LIMIT_S):
            raise StoryFailed("the lying name server did not start")

    def run(self):
        self._hosts.enter(self._host)
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as server:
            server.bind((self._own_address, 53))
            server.settimeout(LOOK_EVERY_S)
            self._is_bound.set()
            while self._goes_on:
                try:
                    query, client = server.recvfrom(4096)
                except socket.timeout:
                    continue
                self.asked += 1
                reply = self.answer(query)
                if reply is not None:
                    server.sendto(reply, client)

    def end(self):
        self._goes_on = False
        self.join()
