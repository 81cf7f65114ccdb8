"""A whole day, played against the real platform server and looked at in the page, in both sizes and colour schemes."""
import browser
import pytest
from day import ROUTE, SPEEDS, Gateway
from gateway import UUID

LOOKS = [(size, scheme) for size in (browser.WIDE, browser.NARROW) for scheme in ("light", "dark")]
OTHER = UUID[:-1] + "6"
BADLY_CONTRASTED = """
const parse = (text) => text.match(/[\\d.]+/g).map(Number);
const light = ([r, g, b]) => [r, g, b].map((v) => v / 255).map((v) => v <= 0.04045 ? v / 12.92 : ((v + 0.055) / 1.055) ** 2.4)
  .reduce((sum, v, i) => sum + v * [0.2126, 0.7152, 0.0722][i], 0);
const ground = (e) => { for (; e; e = e.parentElement) { const c = parse(getComputedStyle(e).backgroundColor); if (c[3] !== 0) return c; }
  return [255, 255, 255]; };
return [...document.querySelectorAll('body *:not(svg *)')].filter((e) => e.checkVisibility() && !e.disabled && !e.closest('.hidden, .skip') &&
  [...e.childNodes].some((n) => n.nodeType === 3 && n.data.trim())).map((e) => {
    const [a, b] = [light(parse(getComputedStyle(e).color)), light(ground(e))].sort((x, y) => y - x);
    return [(a + 0.05) / (b + 0.05), e.tagName + '.' + e.className + ' ' + e.innerText.slice(0, 30)];
  }).filter(([ratio]) => ratio < 4.5).map((pair) => pair.join(' '));
"""


def play(platform):
    gateway = Gateway(platform)
    gateway.register()
    gateway.report()
    gateway.trace()
    for code in (-3, -2, 0):
        platform.console.post("/api/answers", {"kind": "SiteSpeed", "code": code})
        gateway.speed()
    gateway.report()
    return gateway


@pytest.mark.parametrize("size, scheme", LOOKS)
def test_empty_page_tells_what_will_be_where(platform, open_page, size, scheme):
    page = open_page(platform, size, scheme)
    page.see("gateways", "No gateway has come yet")
    for name in ("identity", "counters", "interfaces", "orders", "map", "back-off", "speed", "route", "exchange"):
        assert len(page.read("#%s .empty" % name, "innerText")) > 20, name
    page.see("sequence-box", "No message yet")
    assert page.read("#get-button", "disabled") and not page.shows("#report-button")
    assert page.spills() == [] and page.script(BADLY_CONTRASTED) == []


@pytest.mark.parametrize("size, scheme", LOOKS)
def test_day_is_shown_as_it_happens(platform, open_page, size, scheme):
    page = open_page(platform, size, scheme)
    play(platform)
    page.see("gateways", "NUVEK-1", UUID, "127.0.0.1")
    page.see("identity", "registered", "location locked", "ACME HG-1", "S0001", "2024-01-02 03:04:05", "2 Report")
    page.see("map", "39.91653° N, 116.39713° E", "44.2 m", "8.5 m", "by interface A", "2023-11-14 22:13:20 UTC", "110101")
    page.see("speed", "answered 0", "16 s: mean", "most 94.2 Mbit/s")
    page.see("route", "1.13 ms", "edge.test", "nuvek-p1.test", "no answer", "30 hops")
    page.see("back-off", "code −3: wait 10 s, waited", "code −2: wait 20 s, waited")
    page.see("network-last", "GetResponse")
    assert page.spills() == [] and page.script(BADLY_CONTRASTED) == []
    dark = page.script("return getComputedStyle(document.body).backgroundColor") == "rgb(16, 20, 26)"
    assert dark == (scheme == "dark")


def test_page_that_is_opened_late_shows_the_day_so_far(platform, open_page):
    play(platform)
    page = open_page(platform)
    page.see("identity", "ACME HG-1")
    page.until(lambda: len(page.rows()) == 12, "twelve exchanges")
    page.see("network-last", "GetResponse")
    page.see("speed", "answered 0")
    page.see("back-off", "code −2: wait 20 s, waited")


def test_sequence_is_what_was_exchanged(platform, open_page):
    page = open_page(platform)
    play(platform)
    page.until(lambda: len(page.rows()) == 12, "twelve exchanges")
    said = page.rows()
    asked = [row[0].split(", ID")[0] for row in said]
    assert asked == [
        "Inform0",
        "Report",
        *("GetResponse NUVEK.%s, code 0" % path for path in ("DeviceInfo", "GISInfoA", "GISInfoB", "Counter")),
        "Result TraceRoute",
        *["Result SiteSpeed"] * 3,
        "Report",
        "GetResponse NUVEK.Counter, code 0",
    ]
    assert [row[1] for row in said if row[0].startswith("Result SiteSpeed")] == [
        "ResultResponse Code %s · ordered here" % code for code in ("−3", "−2", "0")
    ]


def test_counters_that_differ_are_marked(platform, open_page):
    page = open_page(platform)
    gateway = play(platform)
    page.see("counters", "SuccessInform")
    page.until(
        lambda: "FailResult results answered otherwise 2 2 the same" in " ".join(page.text("counters").split()),
        "the counters",
    )
    assert page.count("#counters .differs") == 0
    gateway.sent["SuccessInform"] += 5
    gateway.report()
    page.see("counters", "8 3 ≠ differs by 5")
    assert [row.split()[0] for row in page.read_all("#counters .differs", "innerText")] == ["SuccessInform"]


def test_curve_and_path_have_every_figure(platform, open_page):
    page = open_page(platform)
    play(platform)
    page.see("speed", "answered 0")
    assert page.read_all("#speed .dot title") == [
        "second %d: %s Mbit/s" % (second, ("%.2f" % value).rstrip("0").rstrip(".")) for second, value in enumerate(SPEEDS, 1)
    ]
    page.see("route", "nuvek-p1.test")
    assert page.count("#route .hop") == 1 + len(ROUTE.split("],["))
    assert page.count("#route .silent") == 1


def test_earlier_result_can_be_chosen_and_stays(platform, open_page):
    page = open_page(platform)
    gateway = Gateway(platform)
    for table in ((10.0, 20.0), (50.0, 60.0, 70.0)):
        gateway.speed(table)
    page.see("speed", "3 s: mean 60")
    page.script("const s = document.querySelector('#speed select'); s.value = '1'; s.dispatchEvent(new Event('change'))")
    page.see("speed", "2 s: mean 15, least 10, most 20 Mbit/s")
    gateway.speed((1.0,))
    page.until(lambda: page.count("#speed option") == 3, "the third result")
    page.see("speed", "2 s: mean 15")


def test_map_shows_place_graticule_and_scale(platform, open_page):
    page = open_page(platform)
    play(platform)
    page.see("map", "116.39713° E")
    page.until(lambda: page.count("#map .land") == 1, "coast lines")
    assert "block A at 39.91653° N, 116.39713° E" in page.read("#map svg", "ariaLabel")
    width = page.script("return document.querySelector('#map svg').viewBox.baseVal.width")
    tip = page.script("return document.querySelector('#map .pin-A path').getAttribute('d')")[1:].split("l")[0].split(",")
    assert abs(float(tip[0]) - width * (0.5 + 116.39713 / 360)) < 1
    assert abs(float(tip[1]) - width * (0.25 - 39.91653 / 360)) < 1
    assert page.read("#map .scale").endswith("km at the equator")
    scales = []
    while not page.read("#zoom-in", "disabled"):
        page.click("#zoom-in")
        scales.append(page.read("#map .scale"))
    assert len(scales) == 6 and scales[-1].endswith(" m") and len(set(scales)) == 6
    assert page.count("#map .pin-A .error") == 1


def test_second_gateway_is_listed_and_chosen(platform, open_page):
    page = open_page(platform)
    play(platform)
    other = Gateway(platform, OTHER)
    other.location.update(Long=-70.5, Lat=-33.25)
    other.register()
    page.until(lambda: page.count("#gateways .gateway") == 2, "both gateways")
    assert page.text("count") == "2 gateways"
    page.click("#gateways [data-key='%s']" % OTHER)
    page.see("map", "33.25000° S, 70.50000° W")
    assert page.text("gateway-name") == "NUVEK-2"
    page.see("speed", "No speed test yet")
    page.until(
        lambda: page.read("#sequence [data-from]") == "NUVEK-1",
        "whose exchange it is",
    )
    page.script("const s = document.querySelector('#everyone'); s.value = 'one'; s.dispatchEvent(new Event('change'))")
    page.until(lambda: [row[0].split(",")[0] for row in page.rows()] == ["Inform0"], "only this gateway's exchanges")
    assert page.rows()[0][1] == "Inform0Response RegID NUVEK-2 Code 0"


def test_text_of_a_gateway_is_never_markup(platform, open_page):
    page = open_page(platform)
    gateway = Gateway(platform)
    gateway.location["AreaCode"] = "<img src=x onerror=document.title='seized'><b>1</b>"
    gateway.register()
    page.see("map", "<img src=x onerror=document.title='seized'><b>1</b>")
    page.click("#sequence button")
    page.see("exchange", "<b>1</b>")
    assert page.count("main img, main b") == 0 and page.driver.title == "nuvek console"
