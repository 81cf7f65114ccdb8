"""A client of the console, and a desk behind it, for tests."""
import contextlib
import http.client
import json
import socket
import socketserver
import threading


class Console:
    def __init__(self, port):
        self.port = port

    def raw(self, method, target, body=None, headers=None):
        """Gives status, headers and the body's bytes."""
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=10)
        with contextlib.closing(connection):
            connection.request(method, target, body, headers or {})
            answer = connection.getresponse()
            return answer.status, answer.headers, answer.read()

    def call(self, method, target, body=None, content_type="application/json", **headers):
        """Gives status and the JSON body."""
        head = {name.replace("_", "-"): value for name, value in headers.items()}
        if method in ("POST", "PUT", "DELETE"):
            head["Content-Type"] = content_type
        if isinstance(body, dict):
            body = json.dumps(body)
        status, _, data = self.raw(method, target, body, head)
        return status, json.loads(data) if data else None

    def get(self, target):
        status, body = self.call("GET", target)
        assert status == 200, body
        return body

    def post(self, target, body):
        status, answer = self.call("POST", target, body)
        assert status in (200, 201, 202), answer
        return answer

    def scenario(self, text):
        return self.call("PUT", "/api/scenario", text.encode(), "application/yaml")

    def connect(self):
        return socket.create_connection(("127.0.0.1", self.port), timeout=10)

    def events(self, target="/api/events", headers=""):
        return Events(self.connect(), self.port, target, headers)


class Events:
    """A stream of server-sent events."""

    def __init__(self, connection, port, target, headers):
        self.socket = connection
        self.socket.sendall(b"GET %s HTTP/1.1\r\nHost: 127.0.0.1:%d\r\n%s\r\n" % (target.encode(), port, headers.encode()))
        self.text = b""
        self.head = self.until(b"\r\n\r\n")
        self.until(b"\n\n")  # the time after which to come back

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.socket.close()

    def until(self, end):
        while end not in self.text:
            data = self.socket.recv(65536)
            if not data:
                raise EOFError(self.text)
            self.text += data
        piece, _, self.text = self.text.partition(end)
        return piece.decode()

    def next(self, name=None):
        """The next event, or the next of this name: name, number and data."""
        while True:
            fields = dict(line.split(": ", 1) for line in self.until(b"\n\n").splitlines() if not line.startswith(":"))
            if fields and name in (None, fields["event"]):
                return fields["event"], int(fields.get("id", 0)), json.loads(fields["data"])


class Desk:
    """Answers on a Unix socket; `answer` is the bytes, `requests` what came."""

    def __init__(self, path):
        self.path = str(path)
        self.answer = b'HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: 2\r\n\r\n{}'
        self.requests = []
        self.hold = threading.Event()
        self.hold.set()
        desk = self

        class Handler(socketserver.StreamRequestHandler):
            def handle(self):
                head = b""
                while not head.endswith(b"\r\n\r\n"):
                    head += self.rfile.read(1)
                length = int(head.lower().partition(b"content-length: ")[2].split(b"\r\n")[0] or 0)
                desk.requests.append(head + self.rfile.read(length))
                desk.hold.wait(10)
                with contextlib.suppress(OSError):
                    self.wfile.write(desk.answer)

        class Server(socketserver.ThreadingMixIn, socketserver.UnixStreamServer):
            daemon_threads = True
            request_queue_size = 32

        self.server = Server(self.path, Handler)
        threading.Thread(target=self.server.serve_forever, args=(0.02,), daemon=True).start()

    def close(self):
        self.hold.set()
        self.server.shutdown()
        self.server.server_close()
