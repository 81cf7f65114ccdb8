"""What an outsider can say, and that none of it reaches a shell."""
import hashlib
import json

import pytest

from messages import ACKNOWLEDGED_STORE, DEVICE_STORE, LOCATED_STORE, PRIMARY, answer, get, inform0_response

HOSTILE = "`>X`;$(>X)|>X&>X"  # each piece would leave a file X behind in a shell, short as a field may be
COMMANDS = {"system insmod ROOT/lib/modules/speedtest.ko", "system traceroute  -i trace.test > ROOT/tmp/tracenuvek &",
            "system pidof traceroute > ROOT/tmp/app_check.pid"}


def speed_command(uuid):
    """The one command that depends on something from the store, and it does so through a digest."""
    return "system httpSpeed -u http://nuvek-p1.test/speedtest/%s -t 30 -n 6 -e &" % hashlib.md5(uuid.encode()).hexdigest()


def commands(agent):
    return {line for line in agent.records() if line.startswith("system ")}


def nothing_ran(agent):
    return not list(agent.root.rglob("X"))


@pytest.fixture
def shell(gateway, tmp_path, monkeypatch):
    """A gateway on which the agent's commands really go to the shell, in a folder of their own."""
    monkeypatch.chdir(tmp_path)

    def start(store):
        agent = gateway(store)
        for program in ("insmod", "httpSpeed", "traceroute"):
            agent.program(program, "exit 0")
        agent.program("pidof", "exit 1")
        agent.primary.up()
        return agent.start("-v", HOSTILE, "-d", HOSTILE)

    yield start
    assert not (tmp_path / "X").exists()


def test_no_store_value_reaches_a_shell(shell):
    written = {name: HOSTILE for name in LOCATED_STORE}
    agent = shell({
        **written,
        "nuvek_Server PlatDomain1": PRIMARY, "nuvek_Server PlatDomain2": HOSTILE, "nuvek_Server ReportCycle": HOSTILE,
        "nuvek_Server ExetaskCycle": HOSTILE, "nuvek_Common LastSpeedTime": "1" + HOSTILE,
        "nuvek_Common LastTraceTime": "1" + HOSTILE, "nuvek_Common DefaultFirstReportTime": HOSTILE,
        "nuvek_Common LastInformTime": HOSTILE, "nuvek_Counter SuccessTask": "1" + HOSTILE,
        "nuvek_Entry0 GISInterface": "A", "nuvek_Entry0 alreadyReport": "1", "nuvek_Entry1 GISInterface": "B",
        "nuvekInterfaceInfo_Common Count": "1" + HOSTILE, "nuvekInterfaceInfo_Entry0 IFName": HOSTILE,
    })
    agent.wait_record(speed_command(HOSTILE))
    agent.wait_record("system traceroute  -i trace.test > ROOT/tmp/tracenuvek &")
    agent.uptime += 41
    agent.wait_record("system pidof traceroute > ROOT/tmp/app_check.pid")
    agent.primary.accept().request()
    assert commands(agent) == COMMANDS | {speed_command(HOSTILE)}
    assert nothing_ran(agent)


def test_nothing_that_the_platform_says_reaches_a_shell(shell):
    uuid = LOCATED_STORE["nuvek_Common UUID"]
    agent = shell(LOCATED_STORE)
    members = dict.fromkeys(("RPCMethod", "ObjectPath", "ID", "Code", "RegID"), HOSTILE)
    for block in (answer(get(HOSTILE)), answer(json.dumps(members)), b"HTTP/1.1 200 OK\r\n" + HOSTILE.encode(),
                  HOSTILE.encode(), answer(inform0_response(reg_id=HOSTILE))):
        link = agent.primary.accept()
        link.request()
        link.answer(block)
        link.close()
    agent.wait_record("set nuvek_Common RegId=" + HOSTILE)
    agent.wait_record("system pidof traceroute > ROOT/tmp/app_check.pid")
    assert commands(agent) == COMMANDS | {speed_command(uuid)}
    assert nothing_ran(agent)


def test_nothing_that_a_local_client_says_reaches_a_shell(shell):
    uuid = DEVICE_STORE["nuvek_Common UUID"]
    agent = shell(DEVICE_STORE)
    members = ("Longitude", "Latitude", "Elevation", "HorizontalError", "AltitudeError", "AreaCode", "GISDigest",
               "TimeStamp", "ID")
    with agent.local() as client:
        client.sendall(json.dumps(dict.fromkeys(members, HOSTILE)).encode())
        assert client.recv(1024) == b'{"Result":0,"ID":0}'
    link = agent.primary.accept()
    link.request()
    link.answer(answer(inform0_response()))
    agent.wait_record("system pidof traceroute > ROOT/tmp/app_check.pid")
    assert commands(agent) == COMMANDS | {speed_command(uuid)}
    assert nothing_ran(agent)


def test_nothing_that_the_helper_programs_write_reaches_a_shell(shell):
    store = {**ACKNOWLEDGED_STORE, "nuvek_Common LastSpeedTime": "1", "nuvek_Common LastTraceTime": "1"}
    agent = shell(store)
    agent.wait_record(speed_command(store["nuvek_Common UUID"]))
    for name in ("var/httpSpeed", "var/httpURL", "var/httpDIP", "var/speed_ErrorCode", "tmp/tracenuvek"):
        agent.write(name, HOSTILE)
    agent.program("pidof", "echo '%s'" % HOSTILE)
    agent.uptime += 41
    link = agent.primary.accept()
    while b"SiteSpeed" not in link.request():
        pass
    agent.turns(2)
    assert commands(agent) == COMMANDS | {speed_command(store["nuvek_Common UUID"])}
    assert nothing_ran(agent)
