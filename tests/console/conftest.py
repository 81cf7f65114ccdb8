import importlib.util
import pathlib
import sys

import pytest

HERE = pathlib.Path(__file__).resolve().parent
sys.path[:0] = [str(HERE), str(HERE.parent / "desk")]


def desk_tests():
    """The desk tests' own conftest: a second module of that name cannot be imported by it."""
    spec = importlib.util.spec_from_file_location("desk_conftest", HERE.parent / "desk" / "conftest.py")
    module = importlib.util.module_from_spec(spec)
    spec.loader.exec_module(module)
    return module


import browser  # noqa: E402
import desk_stand_in  # noqa: E402
import gateway  # noqa: E402
from page import Page  # noqa: E402

start = desk_tests().start

SCENARIO = "Report: {gets: [[NUVEK.DeviceInfo, NUVEK.GISInfoA, NUVEK.GISInfoB, NUVEK.Counter], [NUVEK.Counter]]}\n"


@pytest.fixture(scope="session")
def driver():
    """One browser for all tests: each opens the page anew."""
    with browser.browser() as driver:
        yield driver


@pytest.fixture
def platform(start):
    return start(SCENARIO, console=True)


@pytest.fixture
def desk(tmp_path):
    desk = desk_stand_in.Desk(tmp_path / "desk.sock", gateway.UUID)
    yield desk
    desk.close()


@pytest.fixture
def open_page(driver):
    """Opens the console's page; at the end nothing may have been complained about in the browser's own console."""
    pages = []

    def open_one(platform, size=browser.WIDE, scheme="light"):
        driver.get("about:blank")
        driver.get_log("browser")
        browser.look(driver, size, scheme)
        pages.append(Page(driver, platform.console.port))
        return pages[-1]

    yield open_one
    for page in pages:
        complaints = [entry["message"] for entry in driver.get_log("browser")]
        assert [text for text in complaints if not any(word in text for word in page.tolerated)] == []
    driver.get("about:blank")
