import pytest

# A failed assertion in them is told in full, too.
pytest.register_assert_rewrite("day", "faults", "harness", "peers", "realtime")

from harness import Gateway, stay_on_one_processor

stay_on_one_processor()


@pytest.fixture
def gateway(tmp_path):
    """Makes gateways; each agent must still live at the end of the test and leave when it is told to."""
    made = []

    def make(store=None, kind=Gateway, **kw):
        folder = tmp_path / str(len(made))
        folder.mkdir()
        made.append(kind(folder, store, **kw))
        return made[-1]

    try:
        yield make
        for one in made:
            if one.agent is not None and one.agent.alive():
                one.stop()
    finally:
        for one in made:
            one.kill()
