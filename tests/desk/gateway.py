"""A gateway played with raw sockets: the bytes that a right gateway sends, and what it reads."""
import json
import socket

UUID = "1e3b7c90-8d2a-11ee-8a3b-001122334455"
DEVICE_INFO = (
    '"OperatorID":"ZELM","VendorID":"ACME","ModelStr":"HG-1","SoftVer":"1.2.3","SerialNum":"S0001",'
    '"WANMAC":"001122334466","DevMAC":"001122334455","Uplink":"GPON","ProtocolVer":"1.0",'
    '"DeviceTime":"20240102030405","RegID":"","GISInterface":"A","AreaCode":"","GISLockTime":"","GISDigest":"",'
    '"Long": 116.39713 ,"Lat": 39.91653 ,"Altitudes": 0.0 ,"HorizontalError": 0.0 ,"VerticalError": 0.0 '
)
LOCATION = (
    '"Status":"set","Long": 116.39713 ,"Lat": -39.91653 ,"Altitudes": 0.0 ,"HorizontalError": 0.0 ,'
    '"VerticalError": 0.0 ,"AreaCode":"1001","GISDigest":"","GISInterface":"%s","GISLockTime":""'
)
COUNTER = '"FailInform":0,"FailResult":1,"FailTask":0,"SuccessInform":-2,"SuccessResult":0,"SuccessTask":0'
INTERFACE = (
    '"InterfaceTable":[{"Name":"br0","PhyAddr":"0011","Mask":"255.0.0.0","LocalIP":"10.0.0.1","RemoteIP":"","MTU":1500}],'
    '"RouteTable":[{"Dest":"0.0.0.0","Flags":"UG","Gateway":"10.0.0.2","Iface":"br0","Mask":"0.0.0.0","Metric":0}],'
    '"DNS1":"10.0.0.3","DNS2":""'
)
PACKAGES = {
    "NUVEK.DeviceInfo": '{"NUVEK":{"DeviceInfo":{%s}}}' % DEVICE_INFO,
    "NUVEK.GISInfoA": '{"NUVEK":{"GISInfoA":{%s}}}' % (LOCATION % "A"),
    "NUVEK.GISInfoB": '{"NUVEK":{"GISInfoB":{%s}}}' % (LOCATION % "B"),
    "NUVEK.Interface": '{"NUVEK":{"Interface":{%s}}}' % INTERFACE,
    "NUVEK.Counter": '{"NUVEK":{"Counter":{%s}}}' % COUNTER,
}


def body(message=None, uuid=UUID):
    return '["%s"]' % uuid if message is None else '["%s",%s]' % (uuid, message)


def report(uuid=UUID):
    return body(uuid=uuid)


def inform0(identifier="12345678", info=DEVICE_INFO, uuid=UUID):
    params = '{"NUVEK":{"DeviceInfo":{%s}}}' % info
    return body('{"RPCMethod":"Inform0","ID":%s,"ObjectPath":"NUVEK.DeviceInfo","Params":%s}' % (identifier, params), uuid)


def result(path, inner, identifier="23456789", status="0", uuid=UUID):
    return body(
        '{"RPCMethod":"Result","ID":%s,"TaskStatus":%s,"ObjectPath":"NUVEK.%s","Params":{"NUVEK":{"%sResult":{%s}}}}'
        % (identifier, status, path, path, inner), uuid
    )


def site_speed(identifier="23456789", table="1.5,2.25", error='"null"', **kw):
    inner = '"DestUrl":"http://p/speedtest/x","DestIP":"10.0.0.1","Threads":1,"SpeedTable":[%s],"Error":%s' % (table, error)
    return result("SiteSpeed", inner, identifier, **kw)


def trace_route(rows='["10.0.0.1", 1.2, "10.0.0.1", "null"],["*", "null", "*", "null", "*", "null"]', identifier="34567890", uuid=UUID):
    inner = '"DestIP":"10.9.9.9","MaxTTL":30,"Method":"icmp","PathTable":[%s],"Error":"null"' % rows
    return result("TraceRoute", inner, identifier, uuid=uuid)


def get_response(path, identifier, package=None, code=None, uuid=UUID):
    package = PACKAGES.get(path, "{}") if package is None else package
    code = (0 if path in PACKAGES else -1) if code is None else code
    return body('{"RPCMethod":"GetResponse","ID":%d,"ObjectPath":"%s","Code":%d,"Result":%s}' % (identifier, path, code, package), uuid)


def request(text, host="127.0.0.1", length=None):
    data = text.encode("latin-1")
    head = (
        "POST /reg/ HTTP/1.1\r\nHost: %s\r\nConnection: keep-alive\r\nAccept: application/json\r\n"
        "Content-Type: application/json,charset=UTF-8\r\nContent-Length: %d\r\n\r\n"
    ) % (host, len(data) if length is None else length)
    return head.encode() + data


class Answer:
    """One block as the agent takes it: framed by its own strict rules."""

    def __init__(self, block):
        self.block = block
        assert len(block) < 1025
        head, _, text = block.decode().partition("\r\n\r\n")
        assert head.startswith("HTTP/1.1 200 OK\r\n"), block
        assert head.count("Content-Length:") == 1 and "[" not in head
        length = int(head.split("Content-Length:")[1].split("\r\n")[0])
        assert text.index("]") + 1 == length == len(text)
        self.uuid, *self.messages = json.loads(text)
        for piece in text[text.index(","):].split("}")[:-1]:
            assert "{" not in piece[2:], "objects must be flat"

    def gets(self):
        return [(m["ObjectPath"], m["ID"]) for m in self.messages if m.get("RPCMethod") == "Get"]


class Connection:
    def __init__(self, port, host="127.0.0.1", timeout=5):
        self.socket = socket.create_connection((host, port), timeout=timeout)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.socket.close()

    def send(self, data):
        self.socket.sendall(data)

    def block(self):
        return self.socket.recv(8192)

    def ask(self, text):
        """Sends one message and takes one receive as the answer, as the agent does."""
        self.send(request(text))
        return Answer(self.block())

    def ends(self):
        """True when the platform closes without a further byte."""
        return self.block() == b""
