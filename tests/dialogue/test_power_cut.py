"""The agent with the desk's own store, and a power cut: the live level is gone, the flash level is what is left."""
import os
import shlex
import shutil
import subprocess

import pytest

from harness import Gateway
from messages import ACKNOWLEDGED_STORE, answer, counters, get, get_response, period_report
from surroundings import build_folder

CHANGES_PER_SAVE = 20


class DeskGateway(Gateway):
    """A gateway whose store is the desk's."""

    def __init__(self, folder, store=None):
        super().__init__(folder, store or {**ACKNOWLEDGED_STORE, "nuvek_Server ReportCycle": "525600"})
        self.folder = self.root / "var/lib/tcapi"
        self.folder.mkdir(parents=True)
        nodes = {}
        for name, value in self.store.items():
            node, attr = name.split(" ")
            nodes.setdefault(node, []).append("%s=%s\n" % (attr, value))
        (self.folder / "flash").write_text("# tcapi store 1\n%s# end\n" % "".join(
            "[%s]\n%s" % (node, "".join(lines)) for node, lines in nodes.items()))

    def environment(self, **more):
        return super().environment(NUVEK_WORLD_STORE="desk", **more)

    def set(self, node, attr, value):
        """What other software does to the live level."""
        command = [*shlex.split(os.environ.get("NUVEK_EMULATOR", "")), str(build_folder() / "bin/tcapi"), "set", node, attr, value]
        subprocess.run(command, env={"TCAPI_STORE": str(self.folder)}, check=True)

    def get(self, node, attr):
        """A plain value as the next look into the store finds it; the test itself reads: an emulated tool starts slowly."""
        level = self.folder / "live/level"
        text = (level if level.exists() else self.folder / "flash").read_text()
        attributes = text.partition("[%s]\n" % node)[2].partition("\n[")[0]
        return next((line.partition("=")[2] for line in attributes.splitlines() if line.startswith(attr + "=")), "")

    def counted(self):
        """The periodic reports that the live level knows of."""
        return int(self.get("nuvek_Counter", "SuccessInform") or 0)

    def report(self):
        """Makes a periodic report due, by hand."""
        before = self.counted()
        self.set("nuvek_Common", "LastInformTime", "1")
        self.turns()
        assert self.counted() == before + 1, self.state()

    def cut_power(self):
        self.kill()
        shutil.rmtree(self.folder / "live")


@pytest.fixture
def desk(tmp_path):
    gateway = DeskGateway(tmp_path)
    gateway.primary.up()
    try:
        yield gateway.start()
        gateway.stop()
    finally:
        gateway.kill()


def check_counters(desk, expected):
    """What the agent itself answers, and goes on to count from."""
    assert desk.counted() == expected
    desk.report()
    link = desk.primary.waiting()[-1]
    assert link.take()[-1] == period_report()
    link.answer(answer(get("NUVEK.Counter")))
    assert link.request() == get_response("NUVEK.Counter", counters(success_inform=expected + 1))
    link.expect_close()


@pytest.mark.parametrize("changes", [19, 20, 39])
def test_a_power_cut_costs_the_changes_since_the_last_save(desk, changes):
    for _ in range(changes):
        desk.report()
    assert desk.counted() == changes
    desk.cut_power()
    desk.start()
    kept = changes // CHANGES_PER_SAVE * CHANGES_PER_SAVE
    assert changes - kept <= 19
    check_counters(desk, kept)


def test_a_power_cut_beside_a_torn_new_file_costs_no_more(desk):
    for _ in range(CHANGES_PER_SAVE + 3):
        desk.report()
    desk.cut_power()
    flash = (desk.folder / "flash").read_bytes()
    for size in (0, 1, len(flash) // 2, len(flash) - 1):
        (desk.folder / "flash.new").write_bytes(flash[:size])
        desk.start()
        assert desk.counted() == CHANGES_PER_SAVE
        desk.cut_power()
    desk.start()
    check_counters(desk, CHANGES_PER_SAVE)
