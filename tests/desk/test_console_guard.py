"""Who may use the console, and within which bounds."""
import contextlib
import shutil
import socket
import subprocess

import pytest
from conftest import program
from console_client import Console
from gateway import UUID, inform0

JSON = {"Content-Type": "application/json"}


@pytest.mark.parametrize("host, status", [
    ("127.0.0.1:{port}", 200), ("localhost:{port}", 200), ("LocalHost:{port}", 200), ("127.0.0.1", 421), ("localhost", 421),
    ("127.0.0.1:1", 421), ("127.0.0.2:{port}", 421), ("evil.example:{port}", 421), ("localhost.evil.example:{port}", 421), ("", 421),
    ("127.0.0.1:{port}@evil.example", 421), ("[::1]:{port}", 421),
])
@pytest.mark.parametrize("target", ["/api/platform", "/", "/api/events", "/api/desk"])
def test_host_must_be_the_consoles_own(watched, host, status, target):
    with watched.console.connect() as connection:
        connection.sendall(b"GET %s HTTP/1.1\r\nHost: %s\r\n\r\n" % (target.encode(), host.format(port=watched.console.port).encode()))
        found = int(connection.recv(65536).split()[1])
    assert (found == 421) == (status == 421)


@pytest.mark.parametrize("lines, status", [
    (b"", 421), (b"Host: 127.0.0.1:%d\r\nHost: evil.example\r\n", 400), (b"Host: evil.example\r\nHost: 127.0.0.1:%d\r\n", 400),
])
def test_one_host_line(watched, lines, status):
    with watched.console.connect() as connection:
        connection.sendall(b"GET /api/platform HTTP/1.1\r\n" + lines.replace(b"%d", str(watched.console.port).encode()) + b"\r\n")
        assert int(connection.recv(65536).split()[1]) == status


@pytest.mark.parametrize("origin, status", [
    ("http://127.0.0.1:{port}", 200), ("http://evil.example", 403), ("null", 403), ("https://127.0.0.1:{port}", 403),
    ("http://localhost:{port}", 403), ("http://127.0.0.1:{port}.evil.example", 403), ("http://127.0.0.1", 403), ("", 403),
])
def test_foreign_origin_is_refused(watched, origin, status):
    found, headers, _ = watched.console.raw("GET", "/api/platform", headers={"Origin": origin.format(port=watched.console.port)})
    assert found == status and not any(name.lower().startswith("access-control") for name in headers)
    found = watched.console.raw("POST", "/api/answers", b'{"fault":"close"}', {**JSON, "Origin": origin.format(port=watched.console.port)})[0]
    assert found == (201 if status == 200 else 403)
    assert len(watched.console.get("/api/answers")["answers"]) == (1 if status == 200 else 0)


@pytest.mark.parametrize("site, status", [("same-origin", 200), ("none", 200), ("cross-site", 403), ("same-site", 403)])
def test_request_that_a_foreign_page_made_is_refused(watched, site, status):
    for target in ("/api/platform", "/api/gateways"):
        assert watched.console.raw("GET", target, headers={"Sec-Fetch-Site": site})[0] == status


@pytest.mark.parametrize("method, target, body", [
    ("POST", "/api/answers", b'{"fault":"close"}'), ("DELETE", "/api/answers", None), ("DELETE", "/api/answers/1", None),
    ("POST", "/api/gateways/%s/gets" % UUID, b'{"path":"A"}'), ("PUT", "/api/scenario", b"{Report: {}}"), ("POST", "/api/desk/report", b"{}"),
])
@pytest.mark.parametrize("content_type", [None, "text/plain", "application/x-www-form-urlencoded", "multipart/form-data", "application/jsonx"])
def test_what_a_form_could_send_is_refused(watched, method, target, body, content_type):
    status, _, data = watched.console.raw(method, target, body, {"Content-Type": content_type} if content_type else {})
    assert status == 415 and b"Content-Type must be application/" in data


def test_charset_may_follow_the_type(watched):
    assert watched.console.raw("DELETE", "/api/answers", None, {"Content-Type": "Application/JSON; charset=utf-8"})[0] == 200


@pytest.mark.parametrize("method", ["OPTIONS", "TRACE", "CONNECT", "PATCH", "BREW"])
def test_other_methods_are_refused(watched, method):
    status, headers, _ = watched.console.raw(method, "/api/answers")
    assert status in (400, 405) and not any(name.lower().startswith("access-control") for name in headers)


@pytest.mark.parametrize("method, target, allowed", [
    ("POST", "/api/platform", "GET, HEAD"), ("DELETE", "/api/gateways", "GET, HEAD"), ("GET", "/api/gateways/x/gets", "POST, DELETE"),
    ("PUT", "/api/answers", "GET, HEAD, POST, DELETE"), ("POST", "/", "GET, HEAD"), ("GET", "/api/answers/1", "DELETE"),
])
def test_wrong_method_names_the_right_ones(watched, method, target, allowed):
    status, headers, _ = watched.console.raw(method, target, None, JSON)
    assert (status, headers["Allow"]) == (405, allowed)


def test_too_long_requests_are_refused(watched):
    console = watched.console
    assert console.raw("GET", "/api/platform?" + "x" * 9000)[0] == 431
    assert console.raw("GET", "/api/platform", headers={"X": "y" * 9000})[0] == 431
    with console.connect() as connection:
        connection.sendall(b"POST /api/answers HTTP/1.1\r\nHost: 127.0.0.1:%d\r\nContent-Type: application/json\r\n"
                           b"Content-Length: 65537\r\n\r\n" % console.port)
        assert connection.recv(65536).startswith(b"HTTP/1.1 413 ")
    with console.connect() as connection:
        connection.sendall(b"POST /api/answers HTTP/1.1\r\nHost: 127.0.0.1:%d\r\nContent-Type: application/json\r\n"
                           b"Transfer-Encoding: chunked\r\n\r\n12000\r\n" % console.port + b"x" * 0x12000 + b"\r\n0\r\n\r\n")
        assert connection.recv(65536).startswith(b"HTTP/1.1 413 ")
    assert console.scenario("#" * 262_000 + "\nReport: {}")[0] == 200
    assert console.scenario("#" * 262_200 + "\nReport: {}")[0] == 413


@pytest.mark.parametrize("wild", [b"\0" * 100, b"GET\r\n\r\n", b"GET / HTTP/9.9\r\n\r\n", b"\x16\x03\x01\x02\x00", b"\r\n" * 5000], ids=range(5))
def test_wild_requests_end_their_connection(watched, wild):
    with watched.console.connect() as connection:
        connection.sendall(wild)
        connection.shutdown(socket.SHUT_WR)
        data = connection.recv(65536)
        assert data == b"" or data.split()[1] in (b"400", b"431")
    watched.console.get("/api/platform")


def test_connections_are_bounded_and_leave_room_when_they_go(watched):
    with contextlib.ExitStack() as stack:
        for _ in range(64):
            connection = stack.enter_context(watched.console.connect())
            connection.sendall(b"GET /api/answers HTTP/1.1\r\nHost: 127.0.0.1:%d\r\n\r\n" % watched.console.port)
            assert connection.recv(100).startswith(b"HTTP/1.1 200")
        with watched.console.connect() as one_more:
            assert one_more.recv(1000).startswith(b"HTTP/1.1 503 ")
        watched.ask(inform0())
    while True:
        with contextlib.suppress(ConnectionError):
            if watched.console.raw("GET", "/api/platform")[0] == 200:
                break


def test_connection_serves_one_request_after_the_other(watched):
    request = b"GET /api/answers HTTP/1.1\r\nHost: 127.0.0.1:%d\r\n\r\n" % watched.console.port
    with watched.console.connect() as connection:
        connection.sendall(request * 5)
        text = b""
        while text.count(b'{"answers":[]}\n') < 5:
            text += connection.recv(65536)


def test_every_answer_bars_the_browser(watched):
    for target in ("/", "/api/platform", "/nothing"):
        headers = watched.console.raw("GET", target)[1]
        assert headers["X-Content-Type-Options"] == "nosniff" and headers["Cache-Control"] == "no-store"
        assert "default-src 'none'" in headers["Content-Security-Policy"] and "frame-ancestors 'none'" in headers["Content-Security-Policy"]
        assert headers["Cross-Origin-Resource-Policy"] == "same-origin"


@pytest.fixture
def page(start, tmp_path):
    """A platform that is installed with a page of its own."""
    (tmp_path / "bin").mkdir()
    shutil.copy(program(), tmp_path / "bin" / "nuvek-platform")
    folder = tmp_path / "share" / "nuvek" / "console"
    (folder / "lib" / ".hidden").mkdir(parents=True)
    (tmp_path / "share" / "nuvek" / "secret.txt").write_text("secret")
    (folder / "index.html").write_text("<!doctype html>")
    (folder / "lib" / "a-b_c.1.js").write_text("let x")
    (folder / ".secret.txt").write_text("secret")
    (folder / "lib" / ".hidden" / "secret.txt").write_text("secret")
    (folder / "note.secret").write_text("secret")
    (folder / "big.txt").write_bytes(b"secret" + b"x" * 4 * 1024 * 1024)
    (folder / "data.json").mkdir()
    return start(console=True, path=str(tmp_path / "bin" / "nuvek-platform"))


@pytest.mark.parametrize("target, content_type, body", [
    ("/", "text/html; charset=utf-8", b"<!doctype html>"), ("/index.html", "text/html; charset=utf-8", b"<!doctype html>"),
    ("/?x=1", "text/html; charset=utf-8", b"<!doctype html>"), ("/lib/a-b_c.1.js", "text/javascript; charset=utf-8", b"let x"),
])
def test_page_is_served_with_its_type(page, target, content_type, body):
    status, headers, data = page.console.raw("GET", target)
    assert (status, headers["Content-Type"], data) == (200, content_type, body)


@pytest.mark.parametrize("target", [
    "/../secret.txt", "/lib/../../secret.txt", "/..%2fsecret.txt", "/%2e%2e/secret.txt", "//secret.txt", "/lib//a-b_c.1.js", "/.secret.txt",
    "/lib/.hidden/secret.txt", "/note.secret", "/big.txt", "/data.json", "/lib", "/lib/", "/index.html/", "/index", "/index.html%00.js",
    "/nothing.txt", "/....//secret.txt", "/etc/passwd", "http://x/index.html", "/a/b/c/d/e.txt", "index.html",
])
def test_nothing_else_is_served(page, target):
    status, _, data = page.console.raw("GET", target)
    assert status in (400, 404, 421) and b"secret" not in data and b"root:" not in data


def test_console_is_off_by_default(platform):
    assert "console" not in platform.out.read_text()
    listening = subprocess.run(["ss", "-Hltnp"], capture_output=True, text=True, check=True).stdout
    assert listening.count("pid=%d," % platform.process.pid) == 1


def test_console_listens_where_it_is_told(start):
    platform = start(console="127.0.0.3:0")
    first = platform.out.read_text().splitlines()[1]
    assert first == "console at http://127.0.0.3:%d/" % platform.console.port
    with socket.create_connection(("127.0.0.3", platform.console.port), timeout=5) as connection:
        connection.sendall(b"GET /api/answers HTTP/1.1\r\nHost: 127.0.0.3:%d\r\n\r\n" % platform.console.port)
        assert connection.recv(1000).startswith(b"HTTP/1.1 200")
    with pytest.raises(ConnectionRefusedError):
        platform.console.connect()


def test_console_takes_an_inherited_socket(start):
    with socket.create_server(("127.0.0.1", 0)) as server:
        port = server.getsockname()[1]
        platform = start(console="fd:%d" % server.fileno(), pass_fds=[server.fileno()])
    assert platform.console.port == port
    Console(port).get("/api/platform")


@pytest.mark.parametrize("place", ["", "x", "70000", "-1", "1.2.3:80", "localhost:80", "[::1]:80", "fd:", "fd:x", "fd:-1", "127.0.0.1:"])
def test_wrong_place_is_refused(place):
    done = subprocess.run([program(), "--port", "0", "--console", place], capture_output=True, text=True, timeout=10)
    assert done.returncode == 2 and "--console" in done.stderr


@pytest.mark.parametrize("descriptor", ["0", "99"])
def test_descriptor_that_does_not_listen_is_refused(descriptor):
    done = subprocess.run([program(), "--port", "0", "--console", "fd:" + descriptor], capture_output=True, text=True, timeout=10,
                          stdin=subprocess.DEVNULL)
    assert done.returncode == 1 and "is no listening TCP socket" in done.stderr


def test_place_in_use_is_refused(watched):
    done = subprocess.run([program(), "--port", "0", "--console", str(watched.console.port)], capture_output=True, text=True, timeout=10)
    assert done.returncode == 1 and "Address already in use" in done.stderr
