"""Connections: many, slow, half, wild. None may stop the server or hold up the others."""
import concurrent.futures
import contextlib
import resource
import socket
import time

import pytest
from conftest import wait_for
from gateway import UUID, Answer, Connection, inform0, report, request


def test_connection_stays_open_between_requests(platform):
    with platform.connect() as connection:
        for message in (inform0(), inform0(), report()):
            connection.ask(message)
    assert len({line["peer"] for line in platform.journal(at_least=3)}) == 1


def test_connection_stays_open_after_a_refusal(platform):
    with platform.connect() as connection:
        connection.send(request("bad"))
        assert connection.block().startswith(b"HTTP/1.1 400")
        connection.ask(inform0())


def test_request_in_single_bytes_is_one_request(platform):
    with platform.connect() as connection:
        for byte in request(inform0()):
            connection.send(bytes([byte]))
        Answer(connection.block())


def test_pipelined_requests_are_answered_in_order(platform):
    with platform.connect() as connection:
        connection.send(request(inform0("12345678")) + request(inform0("87654321")) + request(inform0("13572468")))
        text = b""
        while text.count(b"Inform0Response") < 3:
            text += connection.block()
    positions = [text.index(i) for i in (b"12345678", b"87654321", b"13572468")]
    assert positions == sorted(positions)


def test_a_thousand_gateways_at_once(start):
    soft, hard = resource.getrlimit(resource.RLIMIT_NOFILE)
    wanted = 1200
    if hard < wanted + 100:
        pytest.fail("this machine allows %d descriptors only" % hard)
    resource.setrlimit(resource.RLIMIT_NOFILE, (wanted + 100, hard))
    connections = []
    try:
        platform = start(None, shell_prefix=["sh", "-c", 'ulimit -S -n 256; exec "$@"', "sh"])
        connections = [Connection(platform.port) for _ in range(wanted)]
        for number, connection in enumerate(connections):
            connection.send(request(inform0(uuid="%08x" % number + UUID[8:])))
        names = {Answer(connection.block()).messages[0]["RegID"] for connection in connections}
        assert len(names) == wanted
    finally:
        for connection in connections:
            connection.socket.close()
        resource.setrlimit(resource.RLIMIT_NOFILE, (soft, hard))


def test_slow_clients_do_not_hold_up_others(platform):
    slow = [platform.connect() for _ in range(50)]
    for number, connection in enumerate(slow):
        connection.send(request(inform0())[:number * 3])
    begin = time.monotonic()
    for _ in range(20):
        platform.ask(inform0())
    assert time.monotonic() - begin < 2
    for connection in slow:
        connection.socket.close()


def test_half_request_is_a_finding_after_its_time(start):
    platform = start("request_ms: 200")
    with platform.connect() as connection:
        connection.send(request(inform0())[:-1])
        assert connection.ends()
    (line,) = platform.journal()
    assert line["verdict"] == ["request not complete after 200 ms"]
    assert line["request"].encode() == request(inform0())[:-1]


def test_dribbling_client_gets_no_more_time(start):
    platform = start("request_ms: 300")
    with platform.connect() as connection:
        begin = time.monotonic()
        with pytest.raises((BrokenPipeError, ConnectionResetError)):
            for byte in request(inform0()):
                connection.send(bytes([byte]))
                time.sleep(0.02)
        assert 0.25 < time.monotonic() - begin < 2


def test_idle_connection_is_closed_without_a_finding(start):
    platform = start("idle_ms: 200")
    with platform.connect() as connection:
        assert connection.ends()
    assert platform.journal() == []


@pytest.mark.parametrize("cut", [1, 30, 150, -1])
def test_connection_that_ends_in_a_request_is_a_finding(platform, cut):
    with platform.connect() as connection:
        connection.send(request(inform0())[:cut])
    (line,) = platform.journal(at_least=1)
    assert line["verdict"] == ["connection ended in the middle of a request"]


def test_content_length_beyond_the_body_waits_and_below_it_breaks_the_next(platform):
    with platform.connect() as connection:
        connection.send(request(report(), length=41))
    assert platform.journal(at_least=1)[-1]["verdict"] == ["connection ended in the middle of a request"]
    with platform.connect() as connection:
        connection.send(request(report(), length=39))
        text = connection.block()
        while not text.endswith(b"\n"):
            text += connection.block()
    assert b"body is not JSON" in text


@pytest.mark.parametrize("wild", [
    b"\0" * 300, bytes(range(256)) * 8, b"\x16\x03\x01\x02\x00\x01", b"GARBAGE\r\n\r\n", b"\r\n\r\n\r\n" + b"x" * 5000,
    b"POST /reg/ HTTP/9.9\r\n\r\n", b"POST /reg/ HTTP/1.1\r\nContent-Length: -5\r\n\r\n",
    b"POST /reg/ HTTP/1.1\r\nContent-Length: 5\r\nContent-Length: 6\r\n\r\nabcdef",
    b"POST /reg/ HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\n",
], ids=range(9))
def test_what_is_no_http_is_refused_and_ends_the_connection(platform, wild):
    with platform.connect() as connection:
        connection.send(wild)
        assert connection.block().startswith(b"HTTP/1.1 400 Bad Request\r\n")
        assert connection.ends()
    (line,) = platform.journal(at_least=1)
    assert line["kind"] == "Bad" and "cannot be read as HTTP: " in line["verdict"][0]
    assert line["request"].encode("latin-1") == wild[:len(line["request"])]
    platform.ask(inform0())


def test_endless_head_is_cut_off(platform):
    with platform.connect() as connection:
        connection.send(b"POST /reg/ HTTP/1.1\r\nX: " + b"a" * 8000)
        assert connection.block().startswith(b"HTTP/1.1 400 ")
    assert "header limit" in platform.journal()[0]["verdict"][0]


def test_huge_body_is_refused_before_it_comes(platform):
    with platform.connect() as connection:
        connection.send(request("", length=10_000_000_000))
        assert connection.block().startswith(b"HTTP/1.1 400 ")
        assert connection.ends()
    assert "body limit" in platform.journal()[0]["verdict"][0]


def test_other_paths_are_refused(platform):
    with platform.connect() as connection:
        connection.send(b"GET / HTTP/1.1\r\nHost: x\r\n\r\n")
        assert b'head line "GET / HTTP/1.1" should be "POST /reg/ HTTP/1.1"' in connection.block()


def test_running_out_of_descriptors_passes(start):
    platform = start(None, shell_prefix=["sh", "-c", 'ulimit -n 24; exec "$@"', "sh"])
    connections = [platform.connect() for _ in range(40)]
    connections[-1].send(request(inform0()))
    wait_for(lambda: "cannot accept: Too many open files" in platform.err.read_text(), "the message")
    for connection in connections[:-1]:
        connection.socket.close()
    Answer(connections[-1].block())
    connections[-1].socket.close()
    assert platform.stop()[0] == 0


def never_read(port):
    """Asks and asks and never reads, until the platform lets go."""
    with socket.socket() as client:
        # A small segment and window, so that little fits on the way.
        client.setsockopt(socket.IPPROTO_TCP, socket.TCP_MAXSEG, 536)
        client.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 2048)
        client.settimeout(8)
        client.connect(("127.0.0.1", port))
        while True:
            client.sendall(request(inform0()) * 50)


def test_clients_that_never_read_are_let_go(start):
    platform = start("write_ms: 300")
    with concurrent.futures.ThreadPoolExecutor(20) as threads:
        ends = [threads.submit(never_read, platform.port) for _ in range(20)]
        assert all(isinstance(end.exception(), (ConnectionResetError, BrokenPipeError)) for end in ends)
    assert platform.out.read_text().count("answer not taken within 300 ms") == 20
    platform.ask(inform0())


def test_client_that_does_not_read_its_download_is_let_go(start):
    platform = start("SpeedTest: {bytes: 1000000000}\nwrite_ms: 300")
    with platform.connect() as connection:
        connection.send(b"GET /speedtest/x HTTP/1.1\r\nHost: x\r\n\r\n")
        assert platform.journal(at_least=1)[0]["outcome"].endswith("then the client left")


def memory_kb(platform):
    text = open("/proc/%d/smaps_rollup" % platform.process.pid).read()
    return int(text.split("Private_Dirty:")[1].split()[0])


def test_idle_connections_keep_nothing_of_their_requests(platform):
    big = request(inform0(info="x" * 12_000))
    with contextlib.ExitStack() as stack:
        connections = [stack.enter_context(platform.connect()) for _ in range(200)]
        before = memory_kb(platform)
        for connection in connections:
            connection.send(big)
            connection.block()
        # Request, copy and answer of each would be 5 MB.
        assert memory_kb(platform) - before < 2500


def test_listens_on_loopback_unless_told_otherwise(start):
    platform = start()
    with pytest.raises(ConnectionRefusedError):
        Connection(platform.port, host="127.0.0.2")
    everywhere = start(None, "--address", "0.0.0.0")
    Connection(everywhere.port, host="127.0.0.2").socket.close()


def test_gets_that_a_connection_leaves_open_are_bounded(start):
    platform = start("Report: {gets: [[A, B, C, D, E, F, G, H]]}")
    with platform.connect() as connection:
        for _ in range(10):
            connection.ask(report())
        line = platform.journal(at_least=11)[9]
        assert line["kind"] == "GetResponse" and len(line["verdict"]) == 72


def test_a_gateway_costs_less_than_two_kilobytes(start):
    platform = start("Report: {}")
    with platform.connect() as connection:
        connection.ask(report())
        before = memory_kb(platform)
        for number in range(3000):
            connection.ask(report(uuid="%08x" % number + UUID[8:]))
        assert memory_kb(platform) - before < 6000
