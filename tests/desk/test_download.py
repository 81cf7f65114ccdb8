"""The download of the site speed test."""
import time
import urllib.request

import pytest
from gateway import inform0

GET = b"GET /speedtest/0123456789abcdef HTTP/1.1\r\nHost: x\r\n\r\n"


def read_head(connection):
    text = b""
    while b"\r\n\r\n" not in text:
        text += connection.block()
    head, _, rest = text.partition(b"\r\n\r\n")
    return head, len(rest)


def read_body(connection, size, have=0):
    while have < size:
        have += len(connection.socket.recv(1 << 16)) or pytest.fail("ended early")
    return have


def test_download_has_the_length_of_the_scenario(start):
    platform = start("SpeedTest: {bytes: 3000001}")
    with urllib.request.urlopen("http://127.0.0.1:%d/speedtest/abc" % platform.port, timeout=10) as answer:
        assert len(answer.read()) == 3000001
    line = platform.journal(at_least=1)[0]
    assert (line["kind"], line["verdict"], line["path"], line["outcome"]) == ("SpeedTest", "ok", "/speedtest/abc", "3000001 bytes")
    assert line["answer"].endswith("Content-Length: 3000001\r\n\r\n")


def test_connection_stays_open_after_a_download(start):
    platform = start("SpeedTest: {bytes: 100000}")
    with platform.connect() as connection:
        for _ in range(3):
            connection.send(GET)
            head, have = read_head(connection)
            assert read_body(connection, 100000, have) == 100000
        connection.ask(inform0())


def test_download_of_a_duration_ends_with_its_connection(start):
    platform = start("SpeedTest: {duration_s: 1, mbit_s: 80}")
    begin = time.monotonic()
    with platform.connect() as connection:
        connection.send(GET)
        head, size = read_head(connection)
        assert b"Content-Length" not in head
        while more := len(connection.socket.recv(1 << 16)):
            size += more
    assert 0.9 < time.monotonic() - begin < 2
    assert 8_000_000 < size < 12_000_000  # a second of 80 Mbit/s has 10 MB


def test_speed_limit_is_kept(start):
    platform = start("SpeedTest: {bytes: 1000000, mbit_s: 16}")
    begin = time.monotonic()
    with platform.connect() as connection:
        connection.send(GET)
        _, have = read_head(connection)
        read_body(connection, 1000000, have)
    assert 0.4 < time.monotonic() - begin < 1.5


def test_clients_that_do_not_read_hold_up_nobody(start):
    platform = start("SpeedTest: {bytes: 10000000000}\nwrite_ms: 20000")
    idle = [platform.connect() for _ in range(20)]
    for connection in idle:
        connection.send(GET)
        read_head(connection)
    begin = time.monotonic()
    platform.ask(inform0())
    assert time.monotonic() - begin < 1
    pages = int(open("/proc/%d/statm" % platform.process.pid).read().split()[1])
    assert pages * 4096 < 50_000_000, "the body is streamed, not held"
    for connection in idle:
        connection.socket.close()
    assert platform.journal(at_least=2)[1]["outcome"].endswith(" in 20 downloads, the client left 20 of them")


def test_speed_test_is_told_as_one_exchange(start):
    platform = start("SpeedTest: {bytes: 1000}")
    with platform.connect() as connection:
        for _ in range(500):
            connection.send(GET)
            _, have = read_head(connection)
            read_body(connection, 1000, have)
    (line,) = platform.journal(at_least=1)
    assert line["outcome"] == "500000 bytes in 500 downloads" and line["request"].encode() == GET
    _, out, _ = platform.stop()
    assert out.count("/speedtest/") == 1 and "SpeedTest 1," in out


def test_two_speed_tests_are_two_exchanges(start):
    platform = start("SpeedTest: {bytes: 1000}")
    with platform.connect() as connection:
        for path in (b"a", b"b", b"a"):
            connection.send(b"GET /speedtest/%s HTTP/1.1\r\nHost: x\r\n\r\n" % path)
            _, have = read_head(connection)
            read_body(connection, 1000, have)
    assert sorted((line["path"], line["outcome"]) for line in platform.journal(at_least=2)) == [
        ("/speedtest/a", "2000 bytes in 2 downloads"), ("/speedtest/b", "1000 bytes")]


def test_speed_test_that_goes_on_is_told_at_the_end(start):
    platform = start("SpeedTest: {bytes: 1000}")
    with platform.connect() as connection:
        connection.send(GET)
        _, have = read_head(connection)
        read_body(connection, 1000, have)
        platform.ask(inform0())
        _, out, _ = platform.stop()
    assert "-> 1000 bytes\n" in out and "SpeedTest 1," in out


def test_download_has_a_highest_speed_without_a_scenario(platform):
    begin = time.monotonic()
    with platform.connect() as connection:
        for _ in range(5):
            connection.send(GET)
            _, have = read_head(connection)
            read_body(connection, 8000000, have)
    assert time.monotonic() - begin > 0.3  # 40 MB at 1,000 Mbit/s


@pytest.mark.parametrize("fault, code", [("not_found", b"404"), ("server_error", b"500"), ("oversize", b""), ("close", b"")])
def test_download_can_be_refused(start, fault, code):
    platform = start("faults: [{to: SpeedTest, nth: 1, do: %s}]" % fault)
    with platform.connect(timeout=1) as connection:
        connection.send(GET)
        if fault != "oversize":
            assert connection.block()[9:12] == code
