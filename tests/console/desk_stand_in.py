"""A desk behind the platform, played after the contract in docs/console.md: it holds state, so that a test can look at it."""
import http.server
import json
import os
import socketserver
import threading
import urllib.parse

HOSTS = [
    ("lan", "client", ["10.99.0.2"]),
    ("gw", "gateway", ["10.99.0.1", "10.99.1.2"]),
    ("r1", "edge router", ["10.99.1.1", "10.99.2.1"]),
    ("r2", "core router", ["10.99.2.2", "10.99.3.1", "10.99.4.1"]),
    ("plat", "platform", ["10.99.3.2"]),
    ("dns", "name server", ["10.99.4.2"]),
]
LINKS = [["lan", "gw"], ["gw", "r1"], ["r1", "r2"], ["r2", "plat"], ["r2", "dns"]]
TIME = "2026-11-21T19:04:06.000Z"


class Desk:
    def __init__(self, path, uuid):
        self.uuid, self.path = uuid, str(path)
        self.agent = {"state": "running", "pid": 4711, "since": TIME, "status": None}
        self.open = self.locked = True
        self.store = {
            "nuvek_Common": {"RegId": "NUVEK-1", "ReportCycle": "1440", "PlatformDomain1": "nuvek-p1.test"},
            "nuvek_GISInfoA": {"Longitude": "116.39713", "Latitude": "39.91653", "Status": "set"},
        }
        self.log = "2026-11-21 19:04:06 nuvek: started\n2026-11-21 19:04:07 nuvek: Inform0 sent\n"
        self.calls = []
        self.server = Server(self.path, Handler)
        self.server.desk = self
        os.chmod(self.path, 0o600)
        threading.Thread(target=self.server.serve_forever, args=(0.02,), daemon=True).start()

    def close(self):
        self.server.shutdown()
        self.server.server_close()

    def answer(self, method, target, body):
        """Status and body of one call; what is done is also logged."""
        url = urllib.parse.urlsplit(target)
        path = url.path[len("/api/desk") :]
        if method != "GET":
            self.calls.append((path, body))
            self.log += "2026-11-21 19:10:00 desk: %s\n" % path
        return getattr(self, "%s%s" % (method.lower(), path.replace("/", "_").replace("-", "_")))(
            body, urllib.parse.parse_qs(url.query)
        )

    def get(self, _body, _query):
        return {
            "story": "the happy story",
            "network": {
                "kind": "namespaces",
                "hosts": [dict(zip(("name", "title", "addresses"), host)) for host in HOSTS],
                "links": LINKS,
            },
            "gateway": {"uuid": self.uuid, "local_port": 17999, "root": "/tmp/nuvek-desk-x/gateway"},
            "agent": self.agent,
            "platform": {"state": "running", "since": TIME},
            "clock": {"open": self.open},
            "time": {"speed": 1, "now": TIME},
        }

    def get_store(self, _body, _query):
        return {"nodes": self.store}

    def put_store(self, body, _query):
        node = self.store.setdefault(body["node"], {})
        old, node[body["attr"]] = node.get(body["attr"]), body["value"]
        return {"done": "%s %s is set" % (body["node"], body["attr"]), "old": old, "value": body["value"]}

    def post_store_save(self, _body, _query):
        return {"done": "the live level is in flash"}

    def get_log(self, _body, query):
        begin = int(query.get("after", ["0"])[0])
        return {"text": self.log[begin:], "from": begin, "next": len(self.log), "size": len(self.log)}

    def post_location(self, body, _query):
        if self.locked:
            return {"done": "the location was refused", "answer": {"Result": -3, "ID": body.get("ID", 0)}}
        self.locked = True
        return {"done": "the location was taken", "answer": {"Result": 0, "ID": body.get("ID", 0)}}

    def post_unlock(self, _body, _query):
        self.locked = False
        return {"done": "the lock is taken away"}

    def post_report(self, _body, _query):
        if self.agent["state"] != "running":
            return 409, {"error": "the agent is not running"}
        return {"done": "the periodic report is due now"}

    def post_clock(self, body, _query):
        self.open = body["open"]
        return {"done": "the clock gate is %s" % ("open" if self.open else "closed"), "open": self.open}

    def post_agent(self, body, _query):
        stopped = body["do"] == "stop"
        self.agent = {**self.agent, "state": "stopped" if stopped else "running", "pid": self.agent["pid"] + 1}
        return {"done": "the agent is %s" % ("stopped" if stopped else "started"), "agent": self.agent}

    def post_power_cut(self, _body, _query):
        self.agent = {**self.agent, "state": "running", "pid": self.agent["pid"] + 1}
        return {"done": "the power was cut; the agent is started again", "agent": self.agent}


class Handler(http.server.BaseHTTPRequestHandler):
    def handle_any(self):
        body = json.loads(self.rfile.read(int(self.headers.get("Content-Length") or 0)) or b"{}")
        answer = self.server.desk.answer(self.command, self.path, body)
        status, body = answer if isinstance(answer, tuple) else (200, answer)
        data = json.dumps(body).encode()
        self.send_response(status)
        self.send_header("Content-Type", "application/json")
        self.send_header("Content-Length", str(len(data)))
        self.end_headers()
        self.wfile.write(data)

    do_GET = do_POST = do_PUT = handle_any

    def log_message(self, *_):
        pass


class Server(socketserver.ThreadingMixIn, socketserver.UnixStreamServer):
    daemon_threads = True
    request_queue_size = 32

    def get_request(self):
        request, _ = super().get_request()
        return request, ("desk", 0)
