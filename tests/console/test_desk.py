"""The page with a desk behind the platform: the gateway's store, clock gate, agent, log, location and power."""
import browser
import pytest
from day import Gateway
from gateway import UUID


@pytest.fixture
def page(start, desk, open_page):
    page = open_page(start(None, "--desk-control", desk.path, console=True))
    page.see("desk", "the happy story")
    return page


def test_desk_is_shown(page):
    page.see(
        "desk", "running", "process 4711", "open: the agent takes its clock for synchronised", "/tmp/nuvek-desk-x/gateway"
    )
    assert page.read_all("#network .host .title") == [
        "client",
        "gateway",
        "edge router",
        "core router",
        "platform",
        "name server",
    ]
    page.see("log", "nuvek: Inform0 sent")
    page.see("store", "ReportCycle 1440")


@pytest.mark.parametrize("scheme", ["light", "dark"])
def test_desk_fits_a_narrow_window(start, desk, open_page, scheme):
    page = open_page(start(None, "--desk-control", desk.path, console=True), browser.NARROW, scheme)
    page.see("store", "PlatformDomain1")
    page.see("network", "client", "name server")
    assert page.spills() == []


@pytest.mark.parametrize(
    "button, call, told",
    [
        ("#report-button", ("/report", {}), "the periodic report is due now"),
        ("#unlock-button", ("/unlock", {}), "the lock is taken away"),
        ("#restart-button", ("/agent", {"do": "restart"}), "the agent is started"),
        ("#save-button", ("/store/save", {}), "the live level is in flash"),
    ],
)
def test_button_does_what_it_says(page, desk, button, call, told):
    page.click(button)
    page.see("notice", told)
    assert desk.calls == [call]


def test_clock_gate_is_closed_and_opened(page, desk):
    page.click("#desk [data-key='Close the clock gate']")
    page.see("desk", "closed: the agent waits", "Open the clock gate")
    page.click("#desk [data-key='Open the clock gate']")
    page.see("desk", "open: the agent takes")
    assert desk.calls == [("/clock", {"open": False}), ("/clock", {"open": True})]


def test_agent_is_stopped_and_what_cannot_be_is_told(page, desk):
    page.tolerated = ("status of 409",)
    page.click("#desk [data-key='Stop the agent']")
    page.see("desk", "stopped", "Start the agent")
    page.click("#report-button")
    page.see("notice", "the agent is not running")
    page.click("#desk [data-key='Start the agent']")
    page.see("desk", "running", "process 4713")


def test_power_is_cut_only_after_a_second_thought(page, desk):
    page.click("#power-button")
    page.click("#power-dialog [data-cancel]")
    assert desk.calls == []
    page.order("power", "power")
    page.see("desk", "process 4712")
    assert desk.calls == [("/power-cut", {})]


def test_location_meets_the_lock_is_unlocked_and_posted_again(page, desk):
    assert '"Result":-3' in page.order("location", "location")
    page.click("#unlock-button")
    page.see("notice", "the lock is taken away")
    told = page.order(
        "location",
        "location",
        Longitude="-0.5",
        Latitude="51.25",
        AreaCode="0042",
        TimeStamp="1700000000",
        ID="8",
        Elevation="",
        HorizontalError="",
        AltitudeError="",
    )
    assert '"Result":0,"ID":8' in told
    assert desk.calls[-1] == (
        "/location",
        {"Longitude": -0.5, "Latitude": 51.25, "AreaCode": "0042", "TimeStamp": "1700000000", "ID": 8},
    )
    page.see("network-last", "location posted")


def test_store_is_searched_edited_and_read_back(page, desk):
    page.see("store", "Longitude")
    page.type("#store-filter", "reportcycle")
    page.until(lambda: page.count("#store tbody tr") == 1, "one value is left")
    page.click("#store [data-key='nuvek_Common/ReportCycle']")
    page.fill("#store-form", value="60")
    page.click("#store-form [type=submit]")
    page.see("store", "ReportCycle 60")
    assert desk.calls == [("/store", {"node": "nuvek_Common", "attr": "ReportCycle", "value": "60"})]


def test_log_grows_as_it_is_written(page, desk):
    page.see("log", "Inform0 sent")
    desk.log += "one more <b>line</b>\n"
    page.see("log", "one more <b>line</b>")
    assert page.text("log").count("nuvek: started") == 1


def test_desk_that_fell_silent_is_told_and_comes_back(page, desk, tmp_path):
    page.tolerated = ("status of 502", "status of 504")
    desk.close()
    (tmp_path / "desk.sock").unlink()
    page.see("desk", "The desk does not answer")
    desk.__init__(desk.path, UUID)
    page.see("desk", "the happy story")


def test_message_lights_the_whole_way(start, desk, open_page):
    platform = start(None, "--desk-control", desk.path, console=True)
    page = open_page(platform)
    page.see("network", "core router")
    page.script(
        """window.lit = new Set();
        new MutationObserver((changes) => changes.forEach(({target: {classList, dataset}}) =>
            classList.contains('lit') && window.lit.add(dataset.host ?? dataset.link)))
            .observe(document.querySelector('#network'), {subtree: true, attributes: true})"""
    )
    Gateway(platform).register()
    page.until(
        lambda: set(page.script("return [...window.lit]")) == {"gw", "r1", "r2", "plat", "gw--r1", "r1--r2", "plat--r2"},
        "the way",
    )
