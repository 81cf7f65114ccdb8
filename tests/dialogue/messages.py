"""The messages of the dialogues, byte for byte, and the gateway that they are about."""

import ctypes
import hashlib
import re
import time

NOW = 1600000000  # 2020-09-13 20:26:40 on the gateway's UTC+8 clock
NOW_TEXT = "20200913202640"
UUID = "6f1b3c00-f5b2-11ea-8123-001122334455"
REG_ID = "REG-0001"
PRIMARY, SECONDARY = "127.0.0.1", "127.0.0.2"

BLOCK_A = {
    "Long": "116.39713", "Lat": "39.91653", "Altitudes": "43.5", "HorizontalError": "5.25", "VerticalError": "3.5",
    "AreaCode": "110101", "GISLockTime": "20200901080000", "GISDigest": "0123456789abcdef0123456789abcdef",
}
NO_BLOCK = dict.fromkeys(BLOCK_A, "")
NOTHING = {**NO_BLOCK, "Long": "0.00000", "Lat": "0.00000", "Altitudes": "0.0", "HorizontalError": "0.0",
           "VerticalError": "0.0"}
NUMBERS = ("Long", "Lat", "Altitudes", "HorizontalError", "VerticalError")

DEVICE_STORE = {
    "DeviceInfo_devParaStatic Manufacturer": "Norvik",
    "DeviceInfo_devParaStatic ModelName": "NV-2400G",
    "DeviceInfo_devParaStatic CustomerSWVersion": "V3.1.0-r7",
    "DeviceInfo_devParaDynamic SerialNum": "NV24000012345678",
    "Info_eth0.1 hwaddr": "00:11:22:33:44:55",
    "Wan_PVC0_Entry0 ServiceList": "TR069",
    "Wan_PVC2_Entry5 ServiceList": "VOICE_INTERNET",
    "WanInfo_Entry21 hwaddr": "66:77:88:99:AA:BB",
    "nuvek_Server PlatDomain1": PRIMARY,
    "nuvek_Server PlatDomain2": SECONDARY,
    "nuvek_Common UUID": UUID,
    "nuvek_Common LastInformTime": str(NOW),
}
DEVICE_MEMBERS = {
    "OperatorID": "ZELM", "VendorID": "Norvik", "ModelStr": "NV-2400G", "SoftVer": "V3.1.0-r7",
    "SerialNum": "NV24000012345678", "WANMAC": "66778899AABB", "DevMAC": "001122334455", "Uplink": "GPON",
    "ProtocolVer": "1.0",
}
LOCATED_STORE = {
    **DEVICE_STORE,
    **{"nuvek_Entry0 " + name: value for name, value in BLOCK_A.items()},
    "nuvek_Entry0 GISInterface": "A",
}
ACKNOWLEDGED_STORE = {**LOCATED_STORE, "nuvek_Entry0 alreadyReport": "1"}

TABLES = {
    "nuvekInterfaceInfo_Common Count": "2",
    "nuvekInterfaceInfo_Entry0 IFName": "br0", "nuvekInterfaceInfo_Entry0 PhyAddr": "001122334455",
    "nuvekInterfaceInfo_Entry0 Mask": "255.255.255.0", "nuvekInterfaceInfo_Entry0 LocalIP": "192.168.1.1",
    "nuvekInterfaceInfo_Entry0 MTU": "1500.9",
    "nuvekInterfaceInfo_Entry1 IFName": "ppp8", "nuvekInterfaceInfo_Entry1 RemoteIP": "100.64.0.1",
    "nuvekRouteInfo_Common Count": "1",
    "nuvekRouteInfo_Entry0 Dest": "0.0.0.0", "nuvekRouteInfo_Entry0 Flags": "UG",
    "nuvekRouteInfo_Entry0 Gateway": "100.64.0.1", "nuvekRouteInfo_Entry0 Iface": "ppp8",
    "nuvekRouteInfo_Entry0 Mask": "0.0.0.0", "nuvekRouteInfo_Entry0 Metric": "7",
    "nuvek_DnsInfo FirDns": "100.64.0.53", "nuvek_DnsInfo SecDns": "100.64.1.53",
}
INTERFACES = (
    '{"NUVEK":{"Interface":{"InterfaceTable":['
    '{"Name":"br0","PhyAddr":"001122334455","Mask":"255.255.255.0","LocalIP":"192.168.1.1","RemoteIP":"","MTU":1500},'
    '{"Name":"ppp8","PhyAddr":"","Mask":"","LocalIP":"","RemoteIP":"100.64.0.1","MTU":0}],'
    '"RouteTable":[{"Dest":"0.0.0.0","Flags":"UG","Gateway":"100.64.0.1","Iface":"ppp8","Mask":"0.0.0.0","Metric":7}],'
    '"DNS1":"100.64.0.53","DNS2":"100.64.1.53"}}}')

_c = ctypes.CDLL(None)


def message_id(clock_s):
    """The identifier of every message that begins in this second: eight different digits, no zero in front."""
    _c.srand(clock_s)
    digits = []
    while len(digits) < 8:
        digit = _c.rand() % 10
        if digit not in digits and (digit or digits):
            digits.append(digit)
    return int("".join(map(str, digits)))


def device_time(clock_s):
    """What the gateway's clock shows, in UTC+8."""
    return time.strftime("%Y%m%d%H%M%S", time.gmtime(clock_s + 8 * 3600))


def first_uuid(clock_s, clock_us, mac):
    """The UUID that an agent makes as its first use of the pseudo-random numbers."""
    _c.srandom(1)
    _c.random()
    sequence = (((_c.rand() >> 7 & 0xFF) << 8) | (_c.rand() >> 7 & 0xFF)) & 0x3FFF
    stamp = clock_us * 10 + clock_s * 10000000 + 0x01B21DD213814000
    low, middle, high = stamp & 0xFFFFFFFF, stamp >> 32 & 0xFFFF, stamp >> 48 | 0x1000
    return "%08x-%04x-%04x-%04x-%s" % (low, middle, high, sequence | 0x8000, mac.replace(":", "").lower())


def post(body, host=PRIMARY):
    head = ("POST /reg/ HTTP/1.1\r\n"
            "Host: %s\r\n"
            "Connection: keep-alive\r\n"
            "Accept: application/json\r\n"
            "Content-Type: application/json,charset=UTF-8\r\n"
            "Content-Length: %d\r\n"
            "\r\n")
    return (head % (host, len(body)) + body).encode("latin-1")


def cut_request(received):
    """The first request of what was received, None while it is not whole, and what is left."""
    head = received.find(b"\r\n\r\n") + 4
    if head < 4:
        return None, received
    length = re.search(rb"\r\nContent-Length: (\d+)\r\n", received[:head])
    assert length, "a request without its length: %r" % received
    end = head + int(length.group(1))
    return (received[:end], received[end:]) if len(received) >= end else (None, received)


def members(values, bare=()):
    """Members of an object; a bare value is a text whose two quotes were blanked on the way out."""
    return ",".join('"%s":%s' % (name, " %s " % value if name in bare else '"%s"' % value)
                    for name, value in values.items())


def device_info(time=NOW_TEXT, reg_id="", letter="A", block=BLOCK_A, **changed):
    location = {name: block[name] for name in ("AreaCode", "GISLockTime", "GISDigest") + NUMBERS}
    location.update({name: NOTHING[name] for name in NUMBERS if not block[name]})
    values = {**DEVICE_MEMBERS, "DeviceTime": time, "RegID": reg_id, "GISInterface": letter, **location, **changed}
    return '{"NUVEK":{"DeviceInfo":{%s}}}' % members(values, NUMBERS)


def inform0(clock_s=NOW, uuid=UUID, host=PRIMARY, **device):
    return post('["%s",{"RPCMethod":"Inform0","ID":%d,"ObjectPath":"NUVEK.DeviceInfo","Params":%s}]'
                % (uuid, message_id(clock_s), device_info(**device)), host)


def period_report(uuid=UUID, host=PRIMARY):
    return post('["%s"]' % uuid, host)


def get_response(path, result, message=7, code=0, uuid=UUID, host=PRIMARY):
    return post('["%s",{"RPCMethod":"GetResponse","ID":%d,"ObjectPath":"%s","Code":%d,"Result":%s}]'
                % (uuid, message, path, code, result), host)


def counters(fail_inform=0, fail_result=0, fail_task=0, success_inform=0, success_result=0, success_task=0):
    return ('{"NUVEK":{"Counter":{"FailInform":%d,"FailResult":%d,"FailTask":%d,"SuccessInform":%d,"SuccessResult":%d,'
            '"SuccessTask":%d}}}'
            % (fail_inform, fail_result, fail_task, success_inform, success_result, success_task))


def speed_result(clock_s=NOW, table="", url="", address="", error='"null"', host=PRIMARY):
    return post('["%s",{"RPCMethod":"Result","ID":%d,"TaskStatus":0,"ObjectPath":"NUVEK.SiteSpeed","Params":{"NUVEK":'
                '{"SiteSpeedResult":{"DestUrl":"%s","DestIP":"%s","Threads":1,"SpeedTable":[%s],"Error":%s}}}}]'
                % (UUID, message_id(clock_s), url, address, table, error), host)


def trace_result(clock_s=NOW, path="", address="", host=PRIMARY):
    """The result of a trace; without an address the target's name did not resolve."""
    return post('["%s",{"RPCMethod":"Result","ID":%d,"TaskStatus":0,"ObjectPath":"NUVEK.TraceRoute","Params":{"NUVEK":'
                '{"TraceRouteResult":{"DestIP":"%s","MaxTTL":30,"Method":"icmp","PathTable":[%s],"Error":"null"}}}}]'
                % (UUID, message_id(clock_s), address, path), host)


def location(letter, block):
    values = {"Status": "set", **{name: block[name] or NOTHING[name] for name in NUMBERS}, "AreaCode": block["AreaCode"],
              "GISDigest": block["GISDigest"], "GISInterface": letter, "GISLockTime": block["GISLockTime"]}
    return '{"NUVEK":{"GISInfo%s":{%s}}}' % (letter, members(values, NUMBERS))


def answer(*objects, length=None, body=None):
    """A good answer of the platform; `length` tells a wrong Content-Length, `body` replaces the array."""
    if body is None:
        body = '["platform",%s]' % ",".join(objects)
    return ("HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: %s\r\n\r\n%s"
            % (len(body) if length is None else length, body)).encode("latin-1")


def inform0_response(code=0, reg_id=REG_ID):
    return '{"RPCMethod":"Inform0Response","ID":1,"RegID":"%s","Code":%d}' % (reg_id, code)


def result_response(message, code):
    return '{"RPCMethod":"ResultResponse","ID":%d,"Code":%d}' % (message, code)


def get(path, message=7):
    return '{"RPCMethod":"Get","ID":%d,"ObjectPath":"%s"}' % (message, path)


def start_commands(clock_s=NOW, uuid=UUID):
    """What an acknowledged location starts in the next turn: both measurements."""
    code = hashlib.md5(uuid.encode()).hexdigest()
    return ["set nuvek_Common LastSpeedTime=%d" % clock_s,
            "system httpSpeed -u http://nuvek-p1.test/speedtest/%s -t 30 -n 6 -e &" % code,
            "set nuvek_Common LastTraceTime=%d" % clock_s,
            "system traceroute  -i trace.test > ROOT/tmp/tracenuvek &"]


def acknowledged(block=0, code=0, reg_id=REG_ID):
    """What an answer to the registration writes when it is good."""
    node = "nuvek_Entry%d" % block
    return ["set %s alreadyReport=1" % node, "commit " + node, "save", *registered(code, reg_id)]


def registered(code, reg_id=REG_ID):
    return ["set nuvek_Common RegId=" + reg_id, "set nuvek_Common ReportStatus=%d" % code, "commit nuvek_Common", "save"]


def key_block(entry, letter, block):
    return "Node:Entry%d\n%sGISInterface=%s\n" % (
        entry, "".join("%s=%s\n" % (name, block[name]) for name in
                       ("Long", "Lat", "Altitudes", "HorizontalError", "VerticalError", "AreaCode", "GISLockTime",
                        "GISDigest")), letter)


def key_common(uuid=UUID, reg_id=REG_ID):
    return "Node:Common\nUUID=%s\nRegId=%s\n" % (uuid, reg_id)
