"""What the agent does before its first turn, in which order, and what it says about it."""

import functools
import os
import re
import subprocess

import pytest

from messages import ACKNOWLEDGED_STORE, DEVICE_STORE, NOW, UUID, period_report

WAN_SEARCH = ["get Wan_PVC%d_Entry%d ServiceList" % (pvc, entry) for pvc in range(8) for entry in range(8)]
BLOCK_READS = ["get nuvek_Entry0 " + name for name in ("Long", "Lat", "Altitudes", "HorizontalError", "VerticalError",
                                                       "AreaCode", "GISLockTime", "GISDigest")]
COUNTERS = ("SuccessTask", "FailTask", "FailInform", "SuccessInform", "FailResult", "SuccessResult")
IDENTITY = ["Manufacturer=Norvik", "Isp=ZELM", "ProductClass=NV-2400G", "SerialNumber=NV24000012345678",
            "SWVersion=V3.1.0-r7", "WanMac=66778899AABB", "DevMac=001122334455", "ProtocolVer=1.0", "AccessType=GPON"]
BEFORE_WAN = ["system insmod ROOT/lib/modules/speedtest.ko",
              "get nuvek_Server PlatDomain1", "get nuvek_Server PlatDomain2",
              "get DeviceInfo_devParaStatic Manufacturer", "get DeviceInfo_devParaStatic ModelName",
              "get DeviceInfo_devParaStatic CustomerSWVersion", "get DeviceInfo_devParaDynamic SerialNum",
              "get Info_eth0.1 hwaddr"]
AFTER_WAN = ["get nuvek_Entry0 GISInterface", "get nuvek_Common UUID"]
REST = ["commit nuvek_DevInfo", "save", *BLOCK_READS,
        "get nuvek_Entry0 alreadyReport", "get nuvek_Entry1 alreadyReport",
        *["get nuvek_Counter " + name for name in COUNTERS]]

DEVICE_LOG = ["OperatorID:ZELM", "VerdorID:Norvik", "ModelStr:NV-2400G", "SoftVer:V3.1.0-r7",
              "SerialNum:NV24000012345678", "WANMAC:66778899AABB", "DevMAC:001122334455", "Uplink:GPON",
              "ProtocolVer:1.0", "UUID:" + UUID]
COUNTER_LOG = ["SuccessTask:41", "FailTask:0", "FailInform:0", "successInform:12", "failResult:-2147483648",
               "successResult:0"]
LOG = (["DEBUG nuvek_display_devinfo: deviceinfo->" + line for line in DEVICE_LOG]
       + ["DEBUG nuvek_init_Counter: g_CntNum." + line for line in COUNTER_LOG])
COUNTED = {**ACKNOWLEDGED_STORE, "nuvek_Counter SuccessTask": "41tasks", "nuvek_Counter SuccessInform": "12",
           "nuvek_Counter FailResult": "2147483648", "nuvek_Counter FailTask": "none"}


def test_every_call_of_the_start_in_its_order(gateway):
    agent = gateway(synchronised=False).start()
    agent.turns(2)
    assert agent.records() == [*BEFORE_WAN, *WAN_SEARCH[:22], "get WanInfo_Entry21 hwaddr", *AFTER_WAN,
                               *["set nuvek_DevInfo " + line for line in IDENTITY], *REST]


def test_all_wan_connections_are_searched_when_none_has_the_internet(gateway):
    store = {name: value for name, value in DEVICE_STORE.items() if "ServiceList" not in name}
    agent = gateway(store, synchronised=False).start()
    records = agent.records()
    assert records[len(BEFORE_WAN):len(BEFORE_WAN) + 64] == WAN_SEARCH
    assert "set nuvek_DevInfo WanMac=" in records


def test_silent_without_options(gateway):
    agent = gateway(COUNTED, synchronised=False).start()
    agent.turns()
    assert (agent.output(), agent.errors(), agent.console()) == ("", "", "")


def test_the_log_of_the_start(gateway):
    agent = gateway(COUNTED, synchronised=False).start("-v", "1")
    assert agent.log()[:len(LOG)] == LOG
    assert agent.output().splitlines()[:len(LOG)] == [line for line in agent.output().splitlines()
                                                      if line.startswith("[NUVEK DEBUG ")][:len(LOG)]
    assert agent.console() == ""


@pytest.mark.skipif("NUVEK_EMULATOR" in os.environ, reason="the emulator's own files would take their places")
def test_descriptors_0_to_2_that_are_closed_take_no_socket(gateway, monkeypatch):
    agent = gateway({**ACKNOWLEDGED_STORE, "nuvek_Server ReportCycle": "60"})
    agent.primary.up()
    with monkeypatch.context() as patched:
        patched.setattr(subprocess, "Popen", functools.partial(subprocess.Popen, preexec_fn=lambda: os.closerange(0, 3)))
        agent.launch("-v", "1")
    agent.until(agent._is_at_rest, "the first turn")
    assert [os.readlink("/proc/%d/fd/%d" % (agent.agent.pid, number)) for number in range(3)] == ["/dev/null"] * 3
    agent.clock = NOW + 3601
    agent.turn()
    assert agent.primary.accept().request() == period_report()


def test_the_console_gets_the_places_without_the_messages(gateway):
    agent = gateway(COUNTED, synchronised=False).start("-d", "1")
    agent.turns()
    lines = agent.console().splitlines(keepends=True)[:len(LOG)]
    places = [re.fullmatch(r"\[NUVEK DEBUG (\w+):\d+\] \n", line) for line in lines]
    assert [place and place.group(1) for place in places] == ["nuvek_display_devinfo"] * 10 + ["nuvek_init_Counter"] * 6
    assert agent.output() == ""


def test_both_logs_at_once(gateway):
    agent = gateway(synchronised=False).start("-v1", "-dquiet")
    agent.turns()
    shown = re.findall(r"^\[NUVEK \w+ \w+:\d+\] ", agent.output(), re.MULTILINE)
    assert shown and agent.console() == "\n".join(shown) + "\n"


def test_options_that_are_none(gateway):
    """Each line is a whole command line: (its words, whether the log goes to the output, whether to the console)."""
    lines = [
        (["-d"], False, False),  # no word behind it: not counted
        (["-v"], False, False),
        (["-v", "-d"], True, False),  # the second word is the first option's argument
        (["-dv"], False, True),
        (["-x", "-q7", "--help", "-v", "1"], True, False),
        (["words", "-d", "1", "more"], False, True),
        (["-v", "1", "-v", "2", "-d", "3", "-d", "4"], True, True),
        (["--", "-v", "1"], False, False),
    ]
    for words, shown, on_console in lines:
        agent = gateway(synchronised=False).start(*words)
        agent.turns()
        assert (agent.output() != "", agent.console() != "") == (shown, on_console), words
        assert agent.errors() == "", words
        agent.stop()


def test_the_module_is_loaded_by_the_shell_and_may_fail(gateway):
    agent = gateway(synchronised=False)
    agent.program("insmod", 'echo "$@" >"$NUVEK_ROOT/tmp/loaded"; exit 1')
    agent.start()
    assert (agent.root / "tmp/loaded").read_text() == "%s/lib/modules/speedtest.ko\n" % agent.root


def test_over_long_identity_runs_on_into_the_next_field(gateway):
    store = {**DEVICE_STORE, "DeviceInfo_devParaStatic Manufacturer": "LongVendorName", "nuvek_Common UUID": "u" * 80}
    agent = gateway(store, synchronised=False).start("-v", "1")
    assert "set nuvek_DevInfo Manufacturer=LongVendNV-2400G" in agent.records()
    assert "DEBUG nuvek_display_devinfo: deviceinfo->UUID:" + "u" * 63 in agent.log()


def test_no_turn_before_the_clock_touches_the_store(gateway):
    agent = gateway({**DEVICE_STORE, "nuvek_Common LastInformTime": ""}, synchronised=False).start()
    before = agent.records()
    agent.turns(5)
    assert agent.records() == before
    assert agent.clock == NOW
