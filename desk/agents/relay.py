"""Stands between an agent and the platform under test, passes everything on as it came, and keeps what was seen.

One request at a time: what the agent says while an answer is awaited waits too, and a registration that it only repeats
meanwhile is dropped, so that a clock that runs fast makes no flood of a slow platform."""
import re
import select
import socket
import threading
import time

ANSWER_LIMIT_S = 3
DRAIN_S = 0.4  # what comes later than the first piece came in time for nobody
RECEIVE = 65536
KINDS = ((b'"Inform0"', "Inform0"), (b'"GetResponse"', "GetResponse"), (b'"NUVEK.SiteSpeed"', "SiteSpeed"),
         (b'"NUVEK.TraceRoute"', "TraceRoute"))


class Exchange:
    """One request of the agent, and the pieces of its answer."""

    def __init__(self, request):
        self.request = request
        self.kind = kind_of(request)
        found = re.search(rb'"ID":(\d+)', request)
        self.id = int(found[1]) if found else None
        self.pieces = []
        self.end = None  # how it ended without an answer: closed, reset, silence, refused
        self.began_s = time.monotonic()
        self.took_s = None


def whole_message(data):
    """The length of the HTTP message at the beginning of the bytes, or None as long as it is not whole."""
    head, blank, _ = data.partition(b"\r\n\r\n")
    length = re.search(rb"\r\nContent-Length: *(\d+)", head)
    if not blank or length is None:
        return None
    whole = len(head) + 4 + int(length[1])
    return whole if len(data) >= whole else None


def kind_of(request):
    return next((kind for mark, kind in KINDS if mark in request), "Report")


class Relay:
    def __init__(self, platform):
        self.platform = platform  # address and port
        self.exchanges = []
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.port = self.listener.getsockname()[1]
        self.threads = []
        self.is_over = False
        self.acceptor = threading.Thread(target=self.accept, daemon=True)
        self.acceptor.start()

    def accept(self):
        while True:
            try:
                client, _ = self.listener.accept()
            except OSError:
                return  # closed
            thread = threading.Thread(target=self.converse, args=(client,), daemon=True)
            self.threads.append(thread)
            thread.start()

    def close(self):
        """Waits until nothing more can come."""
        self.is_over = True
        self.listener.shutdown(socket.SHUT_RDWR)
        self.listener.close()
        self.acceptor.join()  # it may be between a connection and its thread
        for thread in self.threads:
            thread.join(ANSWER_LIMIT_S + DRAIN_S + 2)

    def converse(self, client):
        upstream, last, unread = None, None, bytearray()
        with client:
            try:
                while not self.is_over and (request := self.next_request(client, upstream, last, unread)) is not None:
                    last = Exchange(request)
                    self.exchanges.append(last)
                    upstream = upstream or socket.create_connection(self.platform, ANSWER_LIMIT_S)
                    upstream.sendall(self.addressed(request))
                    if last.kind != "GetResponse" and not self.pass_answer(client, upstream, last):
                        break
                    self.drop_repeated(client, unread, last)
            except OSError as error:
                if last is not None and not last.pieces:
                    last.end = "reset" if isinstance(error, (ConnectionResetError, BrokenPipeError)) else "refused"
        if upstream is not None:
            self.drain(upstream, last)
            upstream.close()

    def addressed(self, request):
        return request.replace(b"\r\nHost: 127.0.0.1\r\n", f"\r\nHost: {self.platform[0]}\r\n".encode(), 1)

    @staticmethod
    def next_request(client, upstream, last, unread):
        """None when the agent closes. What the platform says meanwhile belongs to the answer before."""
        watched = [client] if upstream is None else [client, upstream]
        while (length := whole_message(bytes(unread))) is None:
            readable, _, _ = select.select(watched, [], [])
            if upstream in readable:
                late = upstream.recv(RECEIVE)
                client.sendall(late)
                if late and last is not None and last.kind != "GetResponse":
                    last.pieces.append(late)
                if not late:
                    return None
            if client in readable:
                received = client.recv(RECEIVE)
                if not received:
                    return None
                unread += received
        request = bytes(unread[:length])
        del unread[:length]
        return request

    @staticmethod
    def pass_answer(client, upstream, exchange):
        """Whether the conversation can go on. Each piece goes on at once; a cut answer has a moment for its rest to come."""
        upstream.settimeout(ANSWER_LIMIT_S)
        try:
            while whole_message(b"".join(exchange.pieces)) is None:
                piece = upstream.recv(RECEIVE)
                if not piece:
                    exchange.end = None if exchange.pieces else "closed"
                    return False
                exchange.took_s = exchange.took_s or time.monotonic() - exchange.began_s
                exchange.pieces.append(piece)
                client.sendall(piece)
                upstream.settimeout(DRAIN_S)
        except TimeoutError:
            exchange.end = None if exchange.pieces else "silence"
        return True

    @staticmethod
    def drop_repeated(client, unread, last):
        while select.select([client], [], [], 0)[0] and (received := client.recv(RECEIVE)):
            unread += received
        kept = bytearray()
        while (length := whole_message(bytes(unread))) is not None:
            if last.kind != "Inform0" or kind_of(unread[:length]) != "Inform0":
                kept += unread[:length]
            del unread[:length]
        unread[:0] = kept

    @staticmethod
    def drain(upstream, exchange):
        upstream.settimeout(DRAIN_S)
        try:
            while late := upstream.recv(RECEIVE):
                if exchange is not None and exchange.kind != "GetResponse" and exchange.pieces:
                    exchange.pieces.append(late)
        except OSError:
            pass  # nothing more came
