"""The console's HTTP interface (docs/console.md) as a program sees it."""
import http.client
import json
import os

DEFAULT = "127.0.0.1:8081"
ANSWER_LIMIT_S = 40  # the desk has 30 s for an action
ALIVE_LIMIT_S = 60   # an event stream says every 15 s that it is alive


class Failed(Exception):
    """What is wrong, in words for a person."""


def address_of(text):
    """ADDRESS:PORT, a PORT alone on loopback, or the console's address as a browser is given it."""
    text = (text or os.environ.get("NUVEK_CONSOLE") or DEFAULT).removeprefix("http://").rstrip("/")
    host, _, port = text.rpartition(":")
    if not port.isdigit() or not 0 < int(port) < 65536:
        raise ValueError(f"not a console's address: {text}")
    return host or "127.0.0.1", int(port)


class Client:
    def __init__(self, address):
        self.host, self.port = address

    def open(self, method, path, body, kind, limit_s):
        connection = http.client.HTTPConnection(self.host, self.port, timeout=limit_s)
        headers = {} if method == "GET" else {"Content-Type": kind}
        try:
            connection.request(method, path, body, headers)
            return connection.getresponse()
        except (OSError, http.client.HTTPException) as error:
            raise Failed(f"no console at {self.host}:{self.port} ({error or 'no answer'}); script/run --stay has one") from None

    def ask(self, method, path, value=None, *, text=None, kind="application/json"):
        body = text if text is not None else json.dumps(value if value is not None else {})
        response = self.open(method, path, None if method == "GET" else body.encode(), kind, ANSWER_LIMIT_S)
        answer = response.read().decode("utf-8", "replace")
        try:
            parsed = json.loads(answer)
        except ValueError:
            raise Failed(f"{response.status} {response.reason}: {answer.strip()[:200]}") from None
        if response.status >= 400:
            raise Failed(parsed.get("error") or f"{response.status} {response.reason}")
        return parsed

    def get(self, path):
        return self.ask("GET", path)

    def post(self, path, value=None):
        return self.ask("POST", path, value)

    def events(self, after=None):
        """Name and data of each event, without end."""
        path = "/api/events" + (f"?after={after}" if after is not None else "")
        response = self.open("GET", path, None, None, ALIVE_LIMIT_S)
        if response.status != 200:
            raise Failed(f"{response.status} {response.reason}")
        name = ""
        try:
            for line in response:
                field, _, value = line.decode("utf-8", "replace").rstrip("\n").partition(": ")
                if field == "event":
                    name = value
                elif field == "data":
                    yield name, json.loads(value)
        except (OSError, http.client.HTTPException) as error:
            raise Failed(f"the console does not answer any more ({error})") from None
        raise Failed("the console closed the connection")
