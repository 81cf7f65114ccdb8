import pytest

pytest.register_assert_rewrite("day", "faults", "harness")  # a failed assertion in them is told in full, too

from harness import Gateway, stay_on_one_processor

stay_on_one_processor()


@pytest.fixture
def gateway(tmp_path):
    """Makes gateways; each agent must still live at the end of the test and leave at once when it is told to."""
    made = []

    def make(store=None, **kw):
        folder = tmp_path / str(len(made))
        folder.mkdir()
        made.append(Gateway(folder, store, **kw))
        return made[-1]

    yield make
    failed = []
    for one in made:
        if one.agent is not None and one.agent.returncode is None:
            try:
                one.stop()
            except AssertionError as error:
                one.agent.kill()
                one.agent.wait()
                failed.append(str(error))
    assert not failed, failed
