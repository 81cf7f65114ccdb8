"""The desk's side of the console: HTTP on a Unix socket, to which the platform server relays what it is asked of the desk."""
import http.server
import json
import os
import socketserver
import time
import urllib.parse

BODY_LIMIT = 65536
CLIENT_LIMIT_S = 5


class Refused(Exception):
    """The request cannot be done: its status, and why in words."""

    def __init__(self, status, reason):
        super().__init__(reason)
        self.status = status


class Handler(http.server.BaseHTTPRequestHandler):
    timeout = CLIENT_LIMIT_S
    protocol_version = "HTTP/1.1"

    def log_message(self, *_words):
        pass  # the platform's time line is what a person reads

    def body(self):
        length = self.headers.get("Content-Length", "0")
        if not length.isdigit() or int(length) > BODY_LIMIT:
            raise Refused(413, "the body is too long")
        text = self.rfile.read(int(length)) or b"{}"
        try:
            body = json.loads(text)
        except ValueError as error:
            raise Refused(400, f"not JSON: {error}") from None
        if not isinstance(body, dict):
            raise Refused(400, "expected a JSON object")
        return body

    def serve(self):
        path, _, query = self.path.partition("?")
        try:
            status, answer = 200, self.server.answer(self.command, path, dict(urllib.parse.parse_qsl(query)), self.body())
        except Refused as refusal:
            status, answer = refusal.status, {"error": str(refusal)}
        text = json.dumps(answer, separators=(",", ":"), ensure_ascii=False).encode("utf-8", "replace")
        self.send_response(status)
        self.send_header("Content-Type", "application/json")
        self.send_header("Content-Length", str(len(text)))
        self.send_header("Connection", "close")
        self.end_headers()
        self.wfile.write(text)
        self.close_connection = True

    do_GET = do_PUT = do_POST = do_DELETE = serve


class Control(socketserver.UnixStreamServer):
    """Serves while the story waits, in the story's own thread: an action and a step of the story never meet half-way."""

    request_queue_size = 16

    def __init__(self, path, answer):
        self.answer = answer
        before = os.umask(0o177)  # for its owner only
        try:
            super().__init__(str(path), Handler)
        finally:
            os.umask(before)

    def handle_error(self, _request, _client):
        pass  # who asked has gone: there is nobody to tell

    def serve_for(self, seconds):
        end = time.monotonic() + seconds
        while (left := end - time.monotonic()) > 0:
            self.timeout = left
            self.handle_request()
