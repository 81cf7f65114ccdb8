"""Takes the pictures of the console's page that the documents show: the day that the tests play, with one real back-off."""
import pathlib
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, str(pathlib.Path(__file__).parent))
from conftest import SCENARIO, browser, desk_stand_in, desk_tests, gateway  # noqa: E402
from day import Gateway  # noqa: E402
from page import Page  # noqa: E402

BACK_OFF_S = 10  # as the agent waits: this is a picture, not a test
LIMIT_BYTES = 150_000


def play(platform):
    first = Gateway(platform)
    first.register()
    first.report()
    first.trace()
    for code in (-3, -2):
        platform.console.post("/api/answers", {"kind": "SiteSpeed", "code": code})
    first.speed()
    for last, place in (("6", (2.35, 48.85)), ("7", (-70.64, -33.45))):
        other = Gateway(platform, gateway.UUID[:-1] + last)
        other.location.update(zip(("Long", "Lat"), place))
        other.register()
    time.sleep(BACK_OFF_S)
    first.speed()
    first.sent["SuccessInform"] += 1  # as after a report that the platform never saw
    first.report()
    platform.console.post("/api/answers", {"kind": "TraceRoute", "code": -1, "times": 2})
    platform.console.post("/api/answers", {"kind": "Report", "fault": "two_pieces"})
    platform.console.post("/api/gateways/%s/gets" % first.uuid, {"path": "NUVEK.Interface"})


def take(page, file, size, scheme, top):
    """One picture that begins at the panel `top`."""
    browser.look(page.driver, size, scheme)
    page.script("document.querySelector('#sequence [aria-current]').scrollIntoView({block: 'center'})")
    page.script(
        "document.activeElement.blur(); scrollTo(0, document.querySelector(arguments[0]).getBoundingClientRect().top + scrollY - 14)",
        top,
    )
    page.until(
        lambda: page.script(
            "return document.querySelector('#map svg').viewBox.baseVal.width === document.querySelector('#map').clientWidth"
        ),
        "drawings of this width",
    )
    page.driver.save_screenshot(str(file))
    subprocess.run(["pngquant", "--force", "--ext", ".png", "--speed", "1", "--strip", file], check=True)
    print("%s: %d bytes" % (file.name, file.stat().st_size))
    assert file.stat().st_size < LIMIT_BYTES, "too large for a document"


def main(folder):
    with tempfile.TemporaryDirectory() as name, browser.browser() as driver:
        scratch = pathlib.Path(name)
        desk = desk_stand_in.Desk(scratch / "desk.sock", gateway.UUID)
        platform = desk_tests().Platform(scratch, SCENARIO, "--desk-control", desk.path, console=True)
        try:
            browser.look(driver)
            page = Page(driver, platform.console.port)
            play(platform)
            page.see("orders", "two_pieces")
            page.see("back-off", "to go")
            page.click("#sequence li:nth-last-child(3) button")
            page.see("exchange", "SpeedTable")
            take(page, folder / "console.png", browser.WIDE, "light", "body")
            take(page, folder / "console-dark.png", browser.WIDE, "dark", "[aria-labelledby=identity-title]")
            take(page, folder / "console-narrow.png", browser.NARROW, "light", "[aria-labelledby=sequence-title]")
        finally:
            platform.stop()
            desk.close()


main(pathlib.Path(sys.argv[1]))
