"""What the console tells: platform, gateways, exchanges."""
import re

import pytest
from gateway import COUNTER, DEVICE_INFO, UUID, get_response, inform0, report, request, site_speed, trace_route

OTHER = "2" + UUID[1:]
TIME = r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z"


def day(platform):
    """Registration, both results, and a report with all packages."""
    platform.ask(inform0())
    platform.ask(site_speed())
    platform.ask(trace_route())
    answer_gets(platform)


def answer_gets(platform):
    with platform.connect() as connection:
        gets = connection.ask(report()).gets()
        for path, identifier in gets:
            connection.send(request(get_response(path, identifier)))
        acknowledged = b""
        while acknowledged.count(b"HTTP/1.1 200 OK") < len(gets):
            acknowledged += connection.block()


def test_platform(watched):
    watched.ask(inform0())
    about = watched.console.get("/api/platform")
    assert re.fullmatch(TIME, about["started"]) and re.fullmatch(TIME, about["time"])
    assert (about["address"], about["port"], about["desk"], about["strict"]) == ("127.0.0.1", watched.port, False, False)
    assert (about["gateways"], about["findings"], about["exchanges"]) == (1, 0, {"first": 1, "last": 1})
    assert about["journal"] == {"file": str(watched.journal_file), "error": None}
    assert "two_pieces" in about["faults"] and "Inform0" in about["kinds"] and "NUVEK.Counter" in about["packages"]


def test_empty_console(watched):
    console = watched.console
    assert console.get("/api/gateways") == {"gateways": [], "count": 0, "more": False}
    assert console.get("/api/exchanges") == {"exchanges": [], "first": 0, "last": 0, "more": False}
    assert console.get("/api/exchanges?after=5")["exchanges"] == []


def test_gateway_after_a_day(watched):
    day(watched)
    (gateway,) = watched.console.get("/api/gateways")["gateways"]
    assert gateway == watched.console.get("/api/gateways/" + UUID)
    assert (gateway["number"], gateway["uuid"], gateway["reg_id"], gateway["registered"]) == (1, UUID, "NUVEK-1", True)
    assert gateway["address"] == "127.0.0.1" and re.fullmatch(TIME, gateway["last_seen"])
    assert gateway["received"] == {"Inform0": 1, "Report": 1, "SiteSpeed": 1, "TraceRoute": 1, "GetResponse": 5,
                                   "SpeedTest": 0, "Bad": 0}
    assert gateway["device"]["values"]["SerialNum"] == "S0001"
    for block in "AB":
        values = gateway["locations"][block]["values"]
        assert (values["Status"], values["Long"], values["Lat"], values["GISInterface"]) == ("set", 116.39713, -39.91653, block)
    assert gateway["interface"]["values"]["InterfaceTable"][0]["Name"] == "br0"
    measurements = gateway["measurements"]
    assert measurements["SiteSpeed"]["values"]["SpeedTable"] == [1.5, 2.25] and measurements["SiteSpeed"]["code"] == 0
    assert measurements["TraceRoute"]["values"]["PathTable"][0] == ["10.0.0.1", 1.2, "10.0.0.1", "null"]
    assert measurements["TraceRoute"]["exchange"] == 3
    assert gateway["back_off"] == [] and gateway["waiting"] == []


def test_counters_of_both_sides(start):
    platform = start("SiteSpeed: {codes: [-3, 0]}\nReport: {gets: [[NUVEK.Counter]]}", console=True)
    platform.ask(site_speed())
    platform.ask(site_speed())
    platform.ask(site_speed(table=""))
    platform.ask(trace_route())
    platform.ask(report())
    answer_gets(platform)
    counters = platform.console.get("/api/gateways/" + UUID)["counters"]
    assert counters["gateway"]["SuccessInform"] == -2 and '"SuccessInform":-2' in COUNTER
    assert counters["platform"] == {"FailInform": None, "FailResult": 1, "FailTask": 1, "SuccessInform": 2,
                                    "SuccessResult": 3, "SuccessTask": 3}


def test_location_of_a_registration_belongs_to_its_block(watched):
    watched.ask(inform0(info=DEVICE_INFO.replace('"GISInterface":"A"', '"GISInterface":"B"')))
    locations = watched.console.get("/api/gateways/" + UUID)["locations"]
    assert locations["A"] is None and locations["B"]["values"]["Lat"] == 39.91653
    assert "Status" not in locations["B"]["values"]
    watched.ask(inform0(info=DEVICE_INFO.replace('"GISInterface":"A"', '"GISInterface":"C"')))
    assert watched.console.get("/api/gateways/" + UUID)["locations"] == locations


def test_spoiled_answer_registers_nobody_and_counts_nothing(start):
    platform = start("faults: [{do: wrong_length}]", console=True)
    platform.ask_raw(inform0())
    platform.ask_raw(site_speed())
    gateway = platform.console.get("/api/gateways/" + UUID)
    assert (gateway["reg_id"], gateway["registered"]) == (None, False)
    assert gateway["measurements"]["SiteSpeed"]["values"]["Threads"] == 1


def test_refused_registration_has_its_name(start):
    platform = start("Inform0: {codes: [-3]}", console=True)
    platform.ask(inform0())
    gateway = platform.console.get("/api/gateways/" + UUID)
    assert (gateway["reg_id"], gateway["registered"]) == ("NUVEK-1", False)


def test_findings_are_counted_and_bring_no_facts(watched):
    watched.ask_raw(inform0(identifier="11111111"))
    gateway = watched.console.get("/api/gateways/" + UUID)
    assert (gateway["findings"], gateway["device"], gateway["received"]["Bad"]) == (1, None, 1)
    assert watched.console.get("/api/platform")["findings"] == 1


def test_back_off_row_by_row(start):
    platform = start("SiteSpeed: {codes: [-3, -2, -1, -3]}", console=True)
    for _ in range(4):
        platform.ask(site_speed())
    rows = platform.console.get("/api/gateways/" + UUID)["back_off"]
    assert [(row["exchange"], row["code"], row["expected_s"], row["next"]) for row in rows] == [
        (1, -3, 10, 2), (2, -2, 20, 3), (4, -3, 40, None)]
    assert rows[0]["waited_s"] >= 0 and rows[2]["waited_s"] is None


def test_gateways_come_in_pieces(watched):
    for number in range(5):
        watched.ask(report(uuid="%08x" % number + UUID[8:]))
    console = watched.console
    first = console.get("/api/gateways?limit=3")
    assert [gateway["number"] for gateway in first["gateways"]] == [1, 2, 3] and (first["count"], first["more"]) == (5, True)
    rest = console.get("/api/gateways?after=3&limit=2")
    assert [gateway["number"] for gateway in rest["gateways"]] == [4, 5] and rest["more"] is False


def test_exchange_holds_every_byte(watched):
    answer = watched.ask(inform0())
    wild = bytes(range(256))
    with watched.connect() as connection:
        connection.send(wild)
        connection.block()
    first, second = watched.console.get("/api/exchanges")["exchanges"]
    assert first["request"].encode("latin-1") == request(inform0()) and first["answer"].encode("latin-1") == answer.block
    assert (first["request_bytes"], first["answer_bytes"]) == (len(request(inform0())), len(answer.block))
    assert (first["number"], first["kind"], first["id"], first["code"], first["by"], first["fault"], first["findings"]) == (
        1, "Inform0", 12345678, 0, "scenario", None, [])
    assert first["time"] == watched.journal()[0]["time"] and first["peer"] == watched.journal()[0]["peer"]
    assert second["request"].encode("latin-1") == wild and second["uuid"] == "" and second["findings"]
    assert watched.console.get("/api/exchanges/2") == second


def test_exchanges_are_selected(start):
    watched = start("Report: {}", console=True)
    for _ in range(3):
        watched.ask(inform0())
        watched.ask(report(uuid=OTHER))
    watched.ask_raw("bad")

    def numbers(query):
        return [exchange["number"] for exchange in watched.console.get("/api/exchanges" + query)["exchanges"]]

    assert numbers("") == [1, 2, 3, 4, 5, 6, 7]
    assert numbers("?limit=2") == [6, 7]
    assert numbers("?after=2&limit=3") == [3, 4, 5]
    assert numbers("?after=7") == []
    assert numbers("?uuid=" + OTHER) == [2, 4, 6]
    assert numbers("?uuid=&kind=Bad") == [7]
    assert numbers("?kind=Inform0&after=1&limit=1") == [3]
    assert watched.console.get("/api/exchanges?after=0&limit=3")["more"] is True
    assert watched.console.get("/api/exchanges?after=4&limit=3")["more"] is False


def test_delay_and_fault_are_told(start):
    platform = start("Report: {delay_ms: 60}\nfaults: [{to: Inform0, do: not_found}]", console=True)
    platform.ask_raw(inform0())
    platform.ask(report())
    fault, delayed = platform.console.get("/api/exchanges")["exchanges"]
    assert (fault["fault"], fault["code"], fault["outcome"]) == ("not_found", None, "404 Not Found")
    assert 60 <= delayed["took_ms"] < 5000 and delayed["fault"] is None


@pytest.mark.parametrize("target, status, reason", [
    ("/api/exchanges?limit=0", 400, '"limit" must be a whole number from 1 to 500'),
    ("/api/exchanges?limit=501", 400, "limit"),
    ("/api/exchanges?after=-1", 400, "after"),
    ("/api/exchanges?after=1&after=2", 400, "stands twice"),
    ("/api/exchanges?kind=Nothing", 400, "no such kind"),
    ("/api/exchanges?colour=red", 400, 'unknown "colour"'),
    ("/api/exchanges?uuid=%zz", 400, "wrong escape"),
    ("/api/exchanges?uuid=%4", 400, "wrong escape"),
    ("/api/gateways?limit=201", 400, "limit"),
    ("/api/gateways/" + UUID, 404, "no such gateway"),
    ("/api/gateways/" + UUID + "/colour", 404, "no such path"),
    ("/api/gateways/", 404, "no such path"),
    ("/api/exchanges/1", 404, "no such exchange"),
    ("/api/exchanges/x", 400, "whole number"),
    ("/api", 404, "no such path"),
    ("/api/", 404, "no such path"),
    ("/api/Platform", 404, "no such path"),
])
def test_wrong_question(watched, target, status, reason):
    found, body = watched.console.call("GET", target)
    assert (found, list(body)) == (status, ["error"]) and reason in body["error"]


def test_head_is_get_without_the_body(watched):
    status, headers, body = watched.console.raw("HEAD", "/api/scenario")
    full = watched.console.raw("GET", "/api/scenario")
    assert (status, body) == (200, b"") and int(headers["Content-Length"]) == len(full[2])


def test_ring_is_bounded_in_bytes(watched):
    """Requests of 15,000 bytes: some 1,000 of them are remembered, with numbers that go on."""
    big = request("x" * 15_000)
    with watched.connect() as connection:
        for _ in range(1200):
            connection.send(big)
            connection.block()
    page = watched.console.get("/api/exchanges?after=0&limit=500")
    assert page["last"] == 1200 and 1200 - page["first"] < 1100
    assert page["exchanges"][0]["number"] == page["first"] and page["more"] is True
    assert len(page["exchanges"]) < 200, "an answer is bounded in bytes too"
    assert watched.console.call("GET", "/api/exchanges/1")[0] == 404


def test_old_gateways_are_forgotten(start):
    platform = start("Report: {gets: []}", console=True)
    with platform.connect() as connection:
        for begin in range(0, 10_002, 167):
            block = b"".join(request(report(uuid="%08x" % number + UUID[8:])) for number in range(begin, min(begin + 167, 10_002)))
            connection.send(block)
            text = b""
            while text.count(b"]") < block.count(b"]"):
                text += connection.socket.recv(1 << 20)
    page = platform.console.get("/api/gateways?limit=1")
    assert (page["count"], page["gateways"][0]["number"]) == (10_000, 3)
