"""Nothing is reported, measured or stamped before the gateway's clock is known to be right."""

from messages import LOCATED_STORE, inform0

GATE = 1483200001  # just after 2017-01-01 00:00 in UTC+8
GATE_TEXT = "20170101000001"
UNSEEDED = {**LOCATED_STORE, "nuvek_Common LastInformTime": ""}


def nothing_happens(agent):
    agent.effects()
    agent.turns(3)
    return agent.effects() == [] and agent.primary.nobody_waits()


def test_no_marker(gateway):
    agent = gateway(UNSEEDED, synchronised=False)
    agent.primary.up()
    agent.start()
    assert nothing_happens(agent)
    agent.synchronise()
    assert agent.primary.accept().request() == inform0()


def test_the_second_at_which_the_gate_opens(gateway):
    agent = gateway(UNSEEDED, clock=GATE - 1)
    agent.primary.up()
    agent.start()
    assert nothing_happens(agent)
    agent.clock = GATE
    assert agent.primary.accept().request() == inform0(GATE, time=GATE_TEXT)
    assert agent.effects() == ["set nuvek_Common LastInformTime=%d" % GATE]


def test_a_clock_far_back(gateway):
    for clock in (0, 1, 1420070400):
        agent = gateway(UNSEEDED, clock=clock)
        agent.primary.up()
        agent.start()
        assert nothing_happens(agent)


def test_the_gate_closes_again_with_the_marker_gone(gateway):
    agent = gateway(LOCATED_STORE)
    agent.primary.up()
    agent.start()
    link = agent.primary.accept()
    request = link.request()
    (agent.root / "tmp/timeSync").unlink()
    agent.turns()
    link.close()  # noticed while the gate is closed: the platform connection is served all the same
    agent.turns(2)
    assert agent.primary.nobody_waits()
    agent.synchronise()
    assert agent.primary.accept().request() == request


def test_the_first_stamp_is_written_once_and_not_saved(gateway):
    agent = gateway({**UNSEEDED, "nuvek_Entry0 GISInterface": ""})
    agent.start()
    agent.turns()
    assert agent.effects()[-1] == "set nuvek_Common LastInformTime=1600000000"  # and no save behind it
    agent.clock += 5
    agent.turns()
    assert [line for line in agent.records() if "LastInformTime=" in line] == ["set nuvek_Common LastInformTime=1600000000"]
    agent.edit_store({"nuvek_Common LastInformTime": ""})  # emptied later by others: this run has stamped already
    agent.turns(2)
    assert agent.effects() == []


def test_a_stamp_that_vanishes_is_written_when_this_run_has_not_yet(gateway):
    agent = gateway({**LOCATED_STORE, "nuvek_Entry0 GISInterface": ""}).start()
    agent.turns()
    agent.effects()
    agent.clock += 7
    agent.edit_store({"nuvek_Common LastInformTime": None})
    agent.turns()
    assert agent.effects() == ["set nuvek_Common LastInformTime=1600000007"]
