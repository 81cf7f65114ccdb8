"""The stream of events."""
import socket

import pytest
from gateway import UUID, inform0, report, request, site_speed


def test_stream_begins_with_a_greeting(watched):
    watched.ask(inform0())
    with watched.console.events() as events:
        assert events.head.startswith("HTTP/1.1 200 OK\r\n") and "Content-Type: text/event-stream\r\n" in events.head + "\r\n"
        name, _, hello = events.next()
        assert (name, hello["first"], hello["last"]) == ("hello", 1, 1)
        assert hello["started"] == watched.console.get("/api/platform")["started"]


def test_exchange_is_told_to_everybody(watched):
    with watched.console.events() as one, watched.console.events() as other:
        watched.ask(inform0())
        for events in (one, other):
            name, number, exchange = events.next("exchange")
            expected = watched.console.get("/api/exchanges/1")
            del expected["request"], expected["answer"]
            assert (number, exchange) == (1, expected)


def test_stream_continues_where_it_ended(watched):
    for _ in range(4):
        watched.ask(inform0())
    with watched.console.events("/api/events?after=1") as events:
        assert [events.next("exchange")[1] for _ in range(3)] == [2, 3, 4]
    with watched.console.events(headers="Last-Event-ID: 3\r\n") as events:
        assert events.next("exchange")[1] == 4
        watched.ask(inform0())
        assert events.next("exchange")[1] == 5
    with watched.console.events() as events:
        watched.ask(inform0())
        assert events.next("exchange")[1] == 6
    with watched.console.events("/api/events?after=900") as events:
        watched.ask(inform0())
        assert events.next("exchange")[1] == 7


@pytest.mark.parametrize("after", ["x", "-1", ""])
def test_wrong_place_is_refused(watched, after):
    assert watched.console.call("GET", "/api/events?after=" + after)[0] == 400


def test_changes_are_told(watched):
    console = watched.console
    with console.events() as events:
        watched.ask(site_speed())
        assert events.next("gateway")[2] == {"uuid": UUID, "change": "new"}
        console.post("/api/gateways/%s/gets" % UUID, {"path": "Q"})
        assert events.next("gateway")[2] == {"uuid": UUID, "change": "waiting"}
        console.post("/api/answers", {"kind": "SiteSpeed", "code": -3})
        assert events.next("answers")[2]["answers"][0]["left"] == 1
        watched.ask(site_speed())
        assert events.next("answers")[2] == {"answers": []}
        console.scenario("{Report: {}}")
        scenario = events.next("scenario")[2]
        assert scenario["source"] == "console" and "yaml" not in scenario


def test_end_of_the_journal_is_told(start):
    platform = start(None, "--journal", "/dev/full", console=True)
    with platform.console.events() as events:
        platform.ask(inform0())
        assert events.next("journal")[2] == {"file": "/dev/full", "error": "No space left on device"}
    assert platform.console.get("/api/platform")["journal"]["error"] == "No space left on device"
    assert platform.stop()[0] == 1


def test_listeners_are_bounded_and_leave_room_when_they_go(watched):
    streams = [watched.console.events() for _ in range(16)]
    assert watched.console.call("GET", "/api/events")[0] == 503
    for stream in streams:
        stream.socket.close()
    for _ in range(50):
        watched.ask(inform0())
    with watched.console.events() as events:
        assert events.next()[0] == "hello"


def test_listener_that_never_reads_costs_nothing_and_comes_back(start):
    """It holds up nobody; when it reads again it has all that is still remembered, or an end."""
    platform = start("Report: {}", console=True)
    with socket.socket() as slow:
        slow.setsockopt(socket.IPPROTO_TCP, socket.TCP_MAXSEG, 536)
        slow.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 2048)
        slow.settimeout(10)
        slow.connect(("127.0.0.1", platform.console.port))
        slow.sendall(b"GET /api/events HTTP/1.1\r\nHost: 127.0.0.1:%d\r\n\r\n" % platform.console.port)
        assert slow.recv(10)
        for _ in range(60):
            with platform.connect() as connection:
                connection.send(request(report()) * 200)
                text = b""
                while text.count(b"{}]") < 200:
                    text += connection.socket.recv(1 << 20)
        assert platform.console.get("/api/exchanges?limit=1")["last"] == 12_000
        text = b""
        while data := slow.recv(65536):
            text += data
        assert 0 < text.count(b"event: exchange") < 12_000


def test_other_method_is_refused(watched):
    status, headers, _ = watched.console.raw("POST", "/api/events", b"{}", {"Content-Type": "application/json"})
    assert (status, headers["Allow"]) == (405, "GET")
