"""Random dialogues from fixed seeds: the short form of script/dialogues."""
import random

from random_dialogues import KINDS, plan, play, play_seeds, shrink

DIALOGUES = 60


def test_dialogues_of_fixed_seeds():
    failure = play_seeds(DIALOGUES, 1)
    assert not failure, failure


def test_the_seeds_mix_what_single_tests_do_not():
    kinds, steps = zip(*map(plan, range(1, DIALOGUES + 1)))
    assert set(kinds) == set(KINDS)
    played = [step for dialogue in steps for step in dialogue]
    assert {("clock", seconds) for sign in (1, -1) for seconds in (sign * 59, sign * 60, sign * 61, sign * 86400)} < set(played)
    assert ("drop", True) in played and ("drop", False) in played


def test_a_failure_is_told_by_as_few_steps_as_it_needs():
    """A step that nobody knows stands for one that fails."""
    kind, steps = plan(1)
    steps.insert(random.Random(1).randrange(len(steps)), ("no_such_step",))
    assert play(kind, steps)
    assert shrink(kind, steps) == [("no_such_step",)]
