"""The test's ends of the agent's connections, over real loopback sockets. What the agent did with a connection is known from
its record, so nothing here waits for time to pass: who wants something of the agent lets it go on until it is there."""
import socket
import struct

from messages import cut_request

OPEN, CLOSED, HALF_CLOSED = range(3)  # as tests/gateway_world/step.cpp has them


class Peer:
    """One connection. `gateway` lets the agent go on."""

    def __init__(self, gateway, connection):
        self.gateway, self.socket = gateway, connection
        self.fd = None  # the agent's descriptor
        self.end = OPEN
        self.agent_closed = False
        self._incoming = 0  # sent by the agent, not read here
        self._outgoing = 0  # sent from here, not taken by the agent
        self._news = False  # something sent since the agent last went on
        self._received = b""

    # --- what the record tells ---

    def agent_sent(self, count):
        self._incoming += count

    def agent_took(self, count):
        self._outgoing -= count

    def has_something(self):
        """Whether a read of the agent would not wait."""
        return self._outgoing > 0 or self.end != OPEN

    def arrival(self):
        """What the agent must find when it goes on; None when there is nothing new."""
        if not self._news or self.fd is None:
            return None
        self._news = False
        return "%d:%d:%d" % (self.fd, self._outgoing, self.end)

    # --- what the test does ---

    def sendall(self, data):
        self.socket.sendall(data)
        self._outgoing += len(data)
        self._news = True

    def _finish(self, end):
        if self.end == OPEN or end == CLOSED:
            self.end, self._news = end, True

    def half_close(self):
        self.socket.shutdown(socket.SHUT_WR)
        self._finish(HALF_CLOSED)

    def close(self):
        if self.end != CLOSED:
            self.socket.close()
            self._finish(CLOSED)

    def reset(self):
        if self.end != CLOSED:
            self.socket.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
            self.close()

    def _drain(self):
        while self._incoming:
            data = self.socket.recv(self._incoming)
            assert data, "the end came ahead of %d bytes" % self._incoming
            self._incoming -= len(data)
            self._received += data


class Link(Peer):
    """The platform's end of a connection."""

    def request(self, skip=None):
        """The next request, whole, or the next that is not `skip`."""
        while (request := self.gateway.until(self._cut_request, "a whole request", lambda: repr(self._received))) == skip:
            pass
        return request

    def _cut_request(self):
        """The first request of what was received; None while it is not whole."""
        self._drain()
        request, self._received = cut_request(self._received)
        return request

    def answer(self, block):
        self.sendall(block)

    def take(self):
        """The whole requests that are here already; `agent_closed` tells whether more can come."""
        requests = []
        while request := self._cut_request():
            requests.append(request)
        return requests

    def received(self):
        """All that has come, whole or not."""
        self._drain()
        return self._received

    def received_until_closed(self):
        self.gateway.until(lambda: self.agent_closed, "the agent to close")
        return self.received()

    def expect_close(self, after=()):
        """Lets the agent go on until it closes; nothing may come before but whole requests that `after` names."""
        self.received_until_closed()
        for request in after:
            self._received = self._received.replace(request, b"")
        assert self._received == b"", "sent before the close: %r" % self._received
        self.close()


class Client(Peer):
    """A local client; it has the operations of a socket that the tests need."""

    def recv(self, size):
        self.gateway.until(lambda: self._received or self._incoming or self.agent_closed, "an answer to the client")
        return self.recv_now(size)

    def recv_now(self, size):
        self._drain()
        if not self._received and self.agent_closed:
            return self.socket.recv(size)  # the end, or what the kernel makes of it
        data, self._received = self._received[:size], self._received[size:]
        return data

    def received_until_closed(self):
        return b"".join(iter(lambda: self.recv(1024), b""))

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()


class Platform:
    """One platform server; down until it is told to be up."""

    def __init__(self, gateway, address, port):
        self.gateway, self.address, self.port = gateway, address, port
        self._listener = None
        self._waiting = []

    def up(self, receive_bytes=None):
        self._listener = socket.socket()
        if receive_bytes is not None:
            self._listener.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, receive_bytes)
        self._listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        self._listener.bind((self.address, self.port))
        self._listener.listen(16)
        return self

    def down(self):
        self._listener.close()
        self._listener = None
        self._waiting = []

    def agent_connected(self):
        self._waiting.append(Link(self.gateway, self._listener.accept()[0]))
        return self._waiting[-1]

    def accept(self):
        self.gateway.until(lambda: self._waiting, "a connection to " + self.address)
        return self._waiting.pop(0)

    def waiting(self):
        """The connections that are here already."""
        links, self._waiting = self._waiting, []
        return links

    def nobody_waits(self):
        return not self._waiting
