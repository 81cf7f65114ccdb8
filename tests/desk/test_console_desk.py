"""The desk behind the console: requests are relayed to it, within bounds."""
import concurrent.futures
import json
import subprocess

import pytest
from conftest import program


@pytest.fixture
def relayed(start, desk):
    return start(None, "--desk-control", desk.path, console=True).console


def test_no_desk_is_told(watched):
    for target in ("/api/desk", "/api/desk/store"):
        assert watched.console.call("GET", target) == (404, {"error": "no desk behind this platform"})


def test_request_and_answer_are_relayed(relayed, desk):
    assert relayed.get("/api/platform")["desk"] is True
    desk.answer = b'HTTP/1.1 409 Conflict\r\nContent-Type: application/json\r\n\r\n{"error":"the agent is not running"}'
    body = {"node": "nuvek_Common", "attr": "ReportCycle", "value": "60"}
    assert relayed.call("PUT", "/api/desk/store?x=%20", body) == (409, {"error": "the agent is not running"})
    head, _, text = desk.requests[0].partition(b"\r\n\r\n")
    lines = head.decode().split("\r\n")
    assert lines[0] == "PUT /api/desk/store?x=%20 HTTP/1.1"
    assert sorted(lines[1:]) == ["Connection: close", "Content-Length: %d" % len(text), "Content-Type: application/json", "Host: desk"]
    assert json.loads(text) == body


def test_only_two_types_are_taken(relayed, desk):
    desk.answer = b"HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\nX: y\r\nContent-Length: 3\r\n\r\nlog"
    status, headers, body = relayed.raw("GET", "/api/desk/log")
    assert (status, headers["Content-Type"], body, headers["X"]) == (200, "text/plain; charset=utf-8", b"log", None)
    desk.answer = b"HTTP/1.1 200 OK\r\nContent-Type: text/html\r\nContent-Length: 3\r\n\r\nbad"
    assert relayed.call("GET", "/api/desk")[0] == 502


@pytest.mark.parametrize("answer", [
    b"", b"nonsense\r\n\r\n", b"HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: 10\r\n\r\n{}",
    b"HTTP/1.1 200 OK\r\nContent-Type: application/json\r\n\r\n" + b"x" * (1024 * 1024 + 1),
    b"HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: 2000000\r\n\r\n", b"HTTP/1.1 200 OK\r\nX: " + b"y" * 9000,
], ids=range(6))
def test_wrong_answer_is_a_502(relayed, desk, answer):
    desk.answer = answer
    status, body = relayed.call("GET", "/api/desk")
    assert status == 502 and body["error"].startswith("the desk: ")


def test_long_answer_is_relayed_whole(relayed, desk):
    desk.answer = b"HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\n\r\n" + b"x" * 1024 * 1024
    assert len(relayed.raw("GET", "/api/desk/log")[2]) == 1024 * 1024


def test_absent_desk_is_a_502(start, tmp_path):
    console = start(None, "--desk-control", str(tmp_path / "nowhere"), console=True).console
    assert console.call("GET", "/api/desk") == (502, {"error": "the desk: No such file or directory"})


def test_relayed_requests_are_bounded(relayed, desk):
    desk.hold.clear()
    with concurrent.futures.ThreadPoolExecutor(9) as threads:
        waiting = [threads.submit(relayed.call, "GET", "/api/desk") for _ in range(9)]
        first = next(concurrent.futures.as_completed(waiting))
        assert first.result()[0] == 503
        desk.hold.set()
        assert sorted(call.result()[0] for call in waiting) == [200] * 8 + [503]
    assert relayed.call("GET", "/api/desk")[0] == 200


def test_checks_come_first(relayed, desk):
    assert relayed.raw("POST", "/api/desk/report", b"{}", {"Content-Type": "text/plain"})[0] == 415
    assert relayed.raw("GET", "/api/desk", headers={"Origin": "http://evil.example"})[0] == 403
    assert relayed.raw("GET", "/api/desktop")[0] == 404
    assert desk.requests == []


def test_name_that_no_socket_can_have_is_refused():
    done = subprocess.run([program(), "--port", "0", "--console", "0", "--desk-control", "/" + "x" * 108], capture_output=True, text=True,
                          timeout=10)
    assert done.returncode == 2 and "--desk-control" in done.stderr
