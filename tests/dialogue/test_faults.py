"""Random dialogues under random faults: the short form of script/faults."""
import os

from day import STORE, Day
from faults import DIALOGUES_PER_LIFE, Life, play


def test_whatever_failed_the_gateway_is_as_it_was_once_nothing_fails_any_more(tmp_path):
    struck, failures = play(tmp_path, 4 * DIALOGUES_PER_LIFE, 1)
    assert not failures, failures[0]
    seldom = {"full_disk"}  # one file is written, and only after a good answer
    if os.environ.get("NUVEK_SANITIZED") == "thread":
        seldom.add("memory")  # the sanitizer's allocator goes ahead of the recorder's
    assert {kind for kind, number in struck.items() if not number} <= seldom


def test_a_failure_is_told_by_as_few_dialogues_as_it_needs(tmp_path, monkeypatch):
    """A seed whose dialogue is refused stands for one that fails, whatever was ahead of it."""
    played = Life.play

    def play_all_but_one(life, seed):
        assert seed != 6
        return played(life, seed)

    monkeypatch.setattr(Life, "play", play_all_but_one)
    _, failures = play(tmp_path, 8, 1)
    assert len(failures) == 1 and failures[0].endswith("repeat with: script/faults 1 6")


def test_a_log_on_a_full_disk_stops_nothing(gateway, tmp_path):
    agent = gateway(STORE)
    (tmp_path / "0/notes/out").symlink_to("/dev/full")
    day = Day(agent).start()
    for _ in range(3):
        day.next_report_is_right()
        outcome, outcomes = day.posted_location()
        assert outcome == outcomes[0][0]
    assert day.counted["SuccessInform"] == 3
