"""Each kind of message, right and wrong."""
import pytest
from gateway import (COUNTER, DEVICE_INFO, INTERFACE, LOCATION, PACKAGES, UUID, Connection, body, get_response, inform0, report,
                     request, result, site_speed, trace_route)


def ask_for(platform, connection, path):
    """Has the platform ask for one path with the answer to a report."""
    (asked,) = connection.ask(report()).gets()
    assert asked[0] == path
    return asked[1]


def verdicts(platform):
    return [line["verdict"] for line in platform.journal()]


@pytest.mark.parametrize("message", [
    report(), inform0(), site_speed(), site_speed(table=""), trace_route(), trace_route(rows=""),
    site_speed(error='{"ErrorCode":5,"DNSErrorCode":0,"NetErrorCode":0,"HTTPErrorCode":404}'),
])
def test_right_message_has_no_findings(platform, message):
    platform.ask(message)
    assert verdicts(platform)[0] == "ok"


@pytest.mark.parametrize("path", [*PACKAGES, "NUVEK.Unknown", "NUVEK.SiteSpeed"])
def test_right_get_response_has_no_findings(start, path):
    platform = start("Report: {gets: [[%s]]}" % path)
    with platform.connect() as connection:
        identifier = ask_for(platform, connection, path)
        assert connection.ask(get_response(path, identifier)).messages == [{}]
    assert verdicts(platform) == ["ok", "ok"]


def swapped(text, one, other):
    return text.replace(one, "\0").replace(other, one).replace("\0", other)


@pytest.mark.parametrize("message, reason", [
    (inform0(info=swapped(DEVICE_INFO, "OperatorID", "VendorID")), 'member "VendorID" where "OperatorID" belongs'),
    (inform0(info=DEVICE_INFO.replace('"SoftVer":"1.2.3",', "")), 'member "SerialNum" where "SoftVer" belongs'),
    (inform0(info=DEVICE_INFO + ',"More":""'), 'DeviceInfo has a member too many, "More"'),
    (inform0(info=DEVICE_INFO.rpartition(",")[0]), 'DeviceInfo lacks member "VerticalError"'),
    (inform0(info=DEVICE_INFO.replace('"GPON"', "7")), "DeviceInfo.Uplink is not a string"),
    (inform0(info=DEVICE_INFO.replace(" 39.91653 ", '"39.91653"')), "DeviceInfo.Lat is not a bare number between two blanks"),
    (inform0(info=DEVICE_INFO.replace(" 39.91653 ", "39.91653")), "DeviceInfo.Lat is not a bare number between two blanks"),
    (inform0(info=DEVICE_INFO.replace('"Lat":', '"L\\u0061t":')), "DeviceInfo.Lat is not a bare number between two blanks"),
    (inform0(info=DEVICE_INFO.replace('"RegID":""', '"RegID":"","RegID":""')), 'member "RegID" stands twice'),
    (inform0(identifier="12345677"), "ID is not a number of eight different digits"),
    (inform0(identifier="1234567"), "ID is not a number of eight different digits"),
    (inform0(identifier='"12345678"'), "message.ID is not an integer"),
    (inform0(identifier="99999999999999999999"), "ID"),
    (inform0().replace("NUVEK.DeviceInfo", "NUVEK.GISInfoA"), "message.ObjectPath is"),
    (inform0().replace('"NUVEK":', '"OTHER":'), 'Params has member "OTHER" where "NUVEK" belongs'),
    (site_speed(error='"none"'), "Error is not an object"),
    (site_speed(error='{"ErrorCode":5}'), 'Error lacks member "DNSErrorCode"'),
    (site_speed(status="1"), "message.TaskStatus is"),
    (site_speed().replace('"Threads":1', '"Threads":6'), "SiteSpeedResult.Threads is"),
    (site_speed().replace("[1.5,2.25]", '"1.5"'), "SiteSpeedResult.SpeedTable is not an array"),
    (trace_route(rows='["10.0.0.1", ]'), "body is not JSON"),
    (trace_route(rows='["10.0.0.1"]'), "row of PathTable is not a list of pairs"),
    (trace_route(rows='[1, 2]'), "host in a row of PathTable is not a string"),
    (trace_route(rows='["a", "1.2"]'), 'time in a row of PathTable is no number or "null"'),
    (trace_route().replace('"icmp"', '"udp"'), "TraceRouteResult.Method is"),
    (result("Other", ""), 'Result for ObjectPath "NUVEK.Other"'),
    (body('{"RPCMethod":"Inform1"}'), 'RPCMethod is "Inform1"'),
    (body('{"RPCMethod":["Inform0"]}'), "RPCMethod is not a string"),
    (body("{}"), "body has white space | RPCMethod is not a string"),
    (body("7"), 'body is not ["UUID"] or ["UUID",{...}]'),
    ('["%s" ]' % UUID, "body has white space"),
    (inform0().replace('",{', '", {'), "body has white space"),
    (report(uuid=UUID.upper()), "UUID is not of the shape"),
    (report(uuid="1234"), "UUID is not of the shape"),
    ("{}", "body is not an array that starts with a UUID"),
    ("[]", "body is not an array that starts with a UUID"),
    ("", "body is not JSON"),
    ('["%s"]]' % UUID, "body is not JSON"),
    ('["%s\xff"]' % UUID, "body is not JSON"),
    ("[" * 5000, "nested too deeply"),
    (site_speed(table=",".join(["1.5"] * 500)), "longer than a gateway's 2,047 bytes"),
])
def test_wrong_message_is_refused_with_its_reason(platform, message, reason):
    assert reason in platform.findings_of(message)
    platform.ask(report())  # and the server goes on


@pytest.mark.parametrize("line, wrong", [
    ("POST /reg/ HTTP/1.1", "POST /reg HTTP/1.1"),
    ("POST /reg/ HTTP/1.1", "PUT /reg/ HTTP/1.1"),
    ("Host: 127.0.0.1", "Host: nuvek-p1.test"),
    ("Host: 127.0.0.1", "Host: 127.0.0.2"),
    ("Host: 127.0.0.1", "host: 127.0.0.1"),
    ("Connection: keep-alive", "Connection: Keep-Alive"),
    ("Accept: application/json", "Accept: */*"),
    ("Content-Type: application/json,charset=UTF-8", "Content-Type: application/json;charset=UTF-8"),
    ("Content-Length: 40", "Content-Length:40"),
    ("Content-Length: 40", "Content-Length: 040"),
    ("Content-Length: 40", "Content-Length: 40\r\nMore: x"),
])
def test_wrong_head_is_refused_with_its_line(platform, line, wrong):
    good = request(report())
    assert line.encode() in good
    with platform.connect() as connection:
        connection.send(good.replace(line.encode(), wrong.encode()))
        assert connection.block().startswith(b"HTTP/1.1 400 ")
    (finding,) = platform.journal()[-1]["verdict"]
    assert "head line" in finding and wrong.split("\r\n")[-1] in finding


def test_host_is_the_address_that_the_gateway_connected_to(platform):
    with Connection(platform.port, host="127.0.0.1") as connection:
        connection.send(request(report(), host="10.1.2.3"))
        assert connection.block().startswith(b"HTTP/1.1 400 ")


@pytest.mark.parametrize("path, change, reason", [
    ("NUVEK.Counter", {"package": '{"NUVEK":{"Counter":{%s}}}' % swapped(COUNTER, "FailTask", "FailResult")}, "where"),
    ("NUVEK.Counter", {"code": -1}, "Code is -1 for a known ObjectPath"),
    ("NUVEK.Counter", {"package": "{}"}, 'Params lacks member "NUVEK"'),
    ("NUVEK.Unknown", {"code": 0}, "Code is 0 for an unknown ObjectPath"),
    ("NUVEK.Unknown", {"package": '{"a":1}'}, "Result is not empty"),
    ("NUVEK.GISInfoA", {"package": '{"NUVEK":{"GISInfoA":{%s}}}' % (LOCATION % "B")}, "GISInfoA.GISInterface is"),
    ("NUVEK.Interface", {"package": '{"NUVEK":{"Interface":{%s}}}' % INTERFACE.replace("1500", '"1500"')}, "MTU is not an integer"),
    ("NUVEK.Interface", {"package": '{"NUVEK":{"Interface":{%s},"Interface":{}}}' % INTERFACE}, "stands twice"),
    ("NUVEK.Interface", {"package": '{"NUVEK":{"Interface":{%s}}}' % INTERFACE.replace('"Metric":0', '"Metric":0,"x":1')}, "too many"),
])
def test_wrong_get_response_is_refused(start, path, change, reason):
    platform = start("Report: {gets: [[%s]]}" % path)
    with platform.connect() as connection:
        identifier = ask_for(platform, connection, path)
        connection.send(request(get_response(path, identifier, **change)))
        assert reason.encode() in connection.block()


def test_get_response_nobody_asked_for_is_a_finding(platform):
    assert "no Get with ID 12345678 waits" in platform.findings_of(get_response("NUVEK.Counter", 12345678))


def test_second_response_to_one_get_is_a_finding(start):
    platform = start("Report: {gets: [[NUVEK.Counter]]}")
    with platform.connect() as connection:
        identifier = ask_for(platform, connection, "NUVEK.Counter")
        connection.ask(get_response("NUVEK.Counter", identifier))
    assert "waits" in platform.findings_of(get_response("NUVEK.Counter", identifier))


def test_response_for_another_path_than_asked_is_a_finding(start):
    platform = start("Report: {gets: [[NUVEK.Counter]]}")
    with platform.connect() as connection:
        identifier = ask_for(platform, connection, "NUVEK.Counter")
        connection.send(request(get_response("NUVEK.GISInfoA", identifier)))
        assert b"asked for NUVEK.Counter" in connection.block()


def test_a_get_is_known_to_its_own_gateway_only(start):
    platform = start("Report: {gets: [[NUVEK.Counter]]}")
    identifier = platform.ask(report()).gets()[0][1]
    other = get_response("NUVEK.Counter", identifier).replace(UUID, UUID[:-1] + "6")
    assert "waits" in platform.findings_of(other)
