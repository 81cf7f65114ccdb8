"""The agent is killed ahead of each of its calls in turn while it does something of several steps: what the next start finds is
one of the states that docs/reliability.md lists, and it goes on from there. Once with the store as it was, once after a power
cut, which leaves what was saved last."""
import pytest

from day import POST, POSTED, UNMATCHED
from messages import BLOCK_A, LOCATED_STORE, REG_ID, answer, inform0_response, key_block, key_common, result_response
from test_power_cut import CHANGES_PER_SAVE, DeskGateway
from walk import GROUPS

KILLED = 2
STEPS = GROUPS["writes"] | GROUPS["files"] | GROUPS["network"]
KEYS = key_block(0, "A", BLOCK_A) + key_common()
TEXTS = ("Long", "Lat", "Altitudes", "HorizontalError", "VerticalError", "AreaCode", "GISLockTime", "GISDigest", "GISInterface")
MOST_CALLS = 60


def dies_at(desk, call, steps):
    """Whether the agent was killed ahead of that call of the steps. Without it they come to their end."""
    desk.set_word("walk_groups", STEPS)
    desk.set_word("walk_then", KILLED)
    desk.set_word("walk_call", call)
    try:
        steps()
    except (AssertionError, ConnectionError):
        assert desk.agent.process.wait() == -9, desk.state()
        assert desk.word("walk_call") == 1
    finally:
        desk.set_word("walk_groups", 0)
    return not desk.agent.alive()


def lives(make, steps, cut, store=LOCATED_STORE):
    """Lives that ended ahead of the first call, of the second, and so on; each as the next start finds it."""
    for call in range(1, MOST_CALLS):
        desk = make(store)
        desk.primary.up()
        desk.start()
        if not dies_at(desk, call, lambda: steps(desk)):
            assert call > 5
            return
        if cut:
            desk.cut_power()
        else:
            desk.kill()
        yield desk
    assert False, "the steps have no end"


@pytest.fixture
def make(tmp_path):
    made = []

    def one(store):
        folder = tmp_path / str(len(made))
        folder.mkdir()
        made.append(DeskGateway(folder, store))
        return made[-1]

    try:
        yield one
    finally:
        for desk in made:
            desk.kill()


def registers_after(desk):
    """Starts it again. Returns whether it sends its registration."""
    desk.start()
    desk.turns(2)
    return any(b'"Inform0"' in request for link in desk.primary.waiting() for request in link.take())


@pytest.mark.parametrize("cut", [False, True], ids=["killed", "power cut"])
def test_an_acknowledgement_is_marked_saved_and_kept_in_this_order(make, cut):
    def acknowledge(desk):
        link = desk.primary.accept()
        assert b'"Inform0"' in link.request()
        link.answer(answer(inform0_response(0)))
        desk.turns()

    seen = []
    for desk in lives(make, acknowledge, cut):
        found = (desk.get("nuvek_Entry0", "alreadyReport"), desk.get("nuvek_Common", "RegId"),
                 desk.get("nuvek_Common", "ReportStatus"), desk.keys())
        assert registers_after(desk) == (not found[0])
        if not seen or seen[-1] != found:
            seen.append(found)
    states = [("", "", "", None), ("1", "", "", None), ("1", REG_ID, "", None), ("1", REG_ID, "0", None), ("1", REG_ID, "0", KEYS)]
    if cut:
        del states[2]  # both are saved together
    assert seen == states


@pytest.mark.parametrize("cut", [False, True], ids=["killed", "power cut"])
def test_a_posted_location_is_locked_last(make, cut):
    def post(desk):
        with desk.local() as client:
            client.sendall(POST)
            assert client.received_until_closed() == b'{"Result":0,"ID":7}'
        desk.turns()

    posted = [POSTED.get(name, "A") for name in TEXTS]
    seen = []
    for desk in lives(make, post, cut, {**LOCATED_STORE, **{"nuvek_Entry0 " + name: "" for name in TEXTS}}):
        found = [desk.get("nuvek_Entry0", name) for name in TEXTS]
        assert registers_after(desk) == bool(found[-1])
        if not seen or seen[-1] != found:
            seen.append(found)
        with desk.local() as client:  # the client that got no answer posts again
            client.sendall(POST)
            assert client.received_until_closed() == (b'{"Result":-3,"ID":7}' if found[-1] else b'{"Result":0,"ID":7}')
    blank = [""] * len(TEXTS)
    begun = [posted[:count] + blank[count:] for count in range(len(TEXTS) + 1)]
    states = [blank, posted] if cut else [one for number, one in enumerate(begun) if number == 0 or one != begun[number - 1]]
    assert seen == states


@pytest.mark.parametrize("cut", [False, True], ids=["killed", "power cut"])
def test_a_counter_is_written_ahead_of_its_save(make, cut):
    def report(desk):
        desk.set("nuvek_Common", "LastInformTime", "1")
        desk.turns(2)

    def twentieth(desk):
        desk.set_word("walk_groups", 0)
        desk.report()
        results = [result_response(UNMATCHED, 0)] * (CHANGES_PER_SAVE - 2)
        desk.primary.waiting()[-1].answer(answer(*results))
        desk.turns()
        assert desk.get("nuvek_Counter", "SuccessResult") == str(len(results))
        desk.set_word("walk_groups", STEPS)
        report(desk)

    registered = {**LOCATED_STORE, "nuvek_Entry0 alreadyReport": "1", "nuvek_Server ReportCycle": "525600"}
    seen = []
    for desk in lives(make, twentieth, cut, registered):
        counted = desk.counted()
        if not seen or seen[-1] != counted:
            seen.append(counted)
        desk.start()
        assert desk.counted() in (counted, counted + 1)  # the report that was cut short may be due still
        desk.report()
    assert seen == ([0, 2] if cut else [1, 2])
