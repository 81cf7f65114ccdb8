"""A platform on a bad day: each fault, when it is played, and that it uses up nothing."""
import pathlib
import struct
import time

import pytest
from gateway import UUID, Answer, inform0, report, request, site_speed

ROOT = pathlib.Path(__file__).resolve().parents[2]
OTHER = UUID[:-1] + "6"


def first_block(platform, message):
    with platform.connect() as connection:
        connection.send(request(message))
        return connection.block()


def once(fault, more=""):
    return "faults: [{to: Inform0, nth: 1, do: %s%s}]" % (fault, more)


@pytest.mark.parametrize("fault, start_of_answer", [
    ("not_found", b"HTTP/1.1 404 Not Found\r\n"), ("server_error", b"HTTP/1.1 500 Internal Server Error\r\n"), ("close", b"")])
def test_refusals(start, fault, start_of_answer):
    platform = start(once(fault))
    block = first_block(platform, inform0())
    assert block.startswith(start_of_answer) and (block or not start_of_answer)
    assert platform.ask(inform0()).messages[0]["Code"] == 0


def test_reset(start):
    with pytest.raises(ConnectionResetError):
        first_block(start(once("reset")), inform0())


def test_silence_keeps_the_connection(start):
    platform = start(once("silence"))
    with platform.connect(timeout=0.3) as connection:
        connection.send(request(inform0()))
        with pytest.raises(TimeoutError):
            connection.block()
        connection.ask(inform0())


def test_garbage_is_no_http(start):
    block = first_block(start(once("garbage")), inform0())
    assert b"HTTP" not in block and b"\0" in block and len(block) == 200


def test_two_pieces_come_apart_and_make_one_answer(start):
    platform = start(once("two_pieces", ", gap_ms: 300"))
    with platform.connect() as connection:
        connection.send(request(inform0()))
        first = connection.block()
        begin = time.monotonic()
        second = connection.block()
        assert time.monotonic() - begin > 0.25
    assert Answer(first + second).messages[0]["RPCMethod"] == "Inform0Response"


def test_wrong_length(start):
    block = first_block(start(once("wrong_length")), inform0())
    length = int(block.split(b"Content-Length: ")[1].split(b"\r\n")[0])
    assert length == 10 * len(block.split(b"\r\n\r\n")[1])


def test_oversize_is_beyond_a_gateway_but_within_one_receive(start):
    block = first_block(start(once("oversize")), inform0())
    assert 1025 <= len(block) <= 2048 and b"Inform0Response" in block


def test_fault_counts_per_gateway_and_kind(start):
    platform = start("faults: [{to: Inform0, nth: 2, do: not_found}, {to: Report, from: 2, do: server_error}]")
    for uuid in (UUID, OTHER):
        codes = [first_block(platform, inform0(uuid=uuid))[9:12] for _ in range(3)]
        assert codes == [b"200", b"404", b"200"]
    assert [first_block(platform, report())[9:12] for _ in range(3)] == [b"200", b"500", b"500"]


def test_fault_for_any_request(start):
    platform = start("faults: [{from: 3, do: not_found}]")
    messages = [inform0(), report(), site_speed(), "bad"]
    # The bad one carries no UUID, so it is the first of its own (nameless) gateway.
    assert [first_block(platform, m)[9:12] for m in messages] == [b"200", b"200", b"404", b"400"]


def test_fault_for_bad_requests(start):
    platform = start("faults: [{to: Bad, do: not_found}]")
    assert first_block(platform, "bad").startswith(b"HTTP/1.1 404")
    platform.ask(report())


def test_fault_uses_up_no_code_and_no_get(start):
    platform = start("SiteSpeed: {codes: [-3, 0]}\nReport: {gets: [[A], []]}\n"
                     "faults: [{to: SiteSpeed, nth: 1, do: not_found}, {to: Report, nth: 1, do: oversize}]")
    first_block(platform, site_speed())
    assert platform.ask(site_speed()).messages[0]["Code"] == -3
    first_block(platform, report())
    assert platform.ask(report()).gets()[0][0] == "A"


def test_gets_in_a_spoiled_answer_may_stay_unanswered(start):
    platform = start("Report: {gets: [[A]]}\nfaults: [{to: Report, do: wrong_length}]")
    first_block(platform, report())
    status, out, _ = platform.stop()
    assert "findings 0" in out and status == 0


def test_fault_sample_registers_at_the_eighth_attempt(start):
    platform = start((ROOT / "desk/platform_server/scenarios/faults.yaml").read_text())
    for _ in range(7):
        with platform.connect() as connection:
            connection.send(request(inform0()))
            try:
                connection.block()
            except ConnectionResetError:
                pass
    assert platform.ask(inform0()).messages[0]["RegID"] == "NUVEK-1"
    outcomes = [line["outcome"].split(":")[0] for line in platform.journal()]
    assert outcomes[:7] == ["reset", "closed without an answer", "404 Not Found", "500 Internal Server Error", "garbage",
                            "in two pieces", "with a wrong Content-Length"]


def test_client_reset_does_no_harm(platform):
    for _ in range(50):
        with platform.connect() as connection:
            connection.send(request(inform0())[:-3])
            connection.socket.setsockopt(1, 13, struct.pack("ii", 1, 0))  # SOL_SOCKET, SO_LINGER
    platform.ask(inform0())
