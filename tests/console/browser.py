"""The browser that looks at the page: Debian's chromium without a window, offline but for loopback."""
import contextlib
import tempfile

from selenium import webdriver
from selenium.webdriver.chrome.service import Service

OPTIONS = (
    "--headless",
    "--no-sandbox",
    "--disable-gpu",
    "--disable-quic",
    "--disable-dev-shm-usage",
    "--no-first-run",
    "--hide-scrollbars",
    "--disable-background-networking",
    "--disable-component-update",
    "--disable-sync",
    "--force-color-profile=srgb",
    "--host-resolver-rules=MAP * ~NOTFOUND , EXCLUDE 127.0.0.1",
)
WIDE, NARROW = (1440, 900), (360, 740)


@contextlib.contextmanager
def browser():
    with tempfile.TemporaryDirectory(prefix="nuvek-browser-", ignore_cleanup_errors=True) as folder:
        options = webdriver.ChromeOptions()
        options.binary_location = "/usr/bin/chromium"
        for option in (*OPTIONS, "--user-data-dir=" + folder):
            options.add_argument(option)
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        driver = webdriver.Chrome(options=options, service=Service("/usr/bin/chromedriver"))
        try:
            yield driver
        finally:
            driver.quit()


def look(driver, size=WIDE, scheme="light"):
    """The window's size, as a telephone has it too, and the colour scheme that the user prefers."""
    width, height = size
    metrics = {"width": width, "height": height, "deviceScaleFactor": 1, "mobile": False}
    driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", metrics)
    driver.execute_cdp_cmd("Emulation.setEmulatedMedia", {"features": [{"name": "prefers-color-scheme", "value": scheme}]})
