"""What the page does to the platform: every button, by mouse and by keyboard, and what is told when it cannot."""
import pytest
from day import Gateway
from gateway import UUID, Answer, report, request, site_speed
from selenium.webdriver.common.keys import Keys


@pytest.fixture
def page(platform, open_page):
    page = open_page(platform)
    page.gateway = Gateway(platform)
    page.gateway.register()
    page.see("gateway-name", "NUVEK-1")
    return page


def test_get_is_asked_waits_and_is_answered(platform, page):
    assert "NUVEK.Interface is asked" in page.order("get", "get", path="NUVEK.Interface")
    page.see("identity", "NUVEK.Interface for its next contact")
    page.gateway.report()
    page.see("interfaces", "br0", "10.0.0.1", "10.0.0.3")
    page.until(lambda: "Questions waiting" not in page.text("identity"), "the question is gone")


def test_question_can_be_taken_back(platform, page):
    page.order("get", "get", path="NUVEK.Unknown")
    page.see("identity", "NUVEK.Unknown")
    page.click("#identity [data-key=take-back]")
    page.until(lambda: "NUVEK.Unknown" not in page.text("identity"), "the question is gone")
    assert platform.console.get("/api/gateways/" + UUID)["waiting"] == []


def test_next_answers_are_ordered_played_and_gone(platform, page):
    told = page.order("answer", "answer", kind="SiteSpeed", code="-3", times="2", whom="this")
    assert told == "The next 2 SiteSpeed are answered −3"
    page.see("orders", "SiteSpeed of NUVEK-1: code −3", "2 of 2 left")
    assert platform.console.get("/api/answers")["answers"][0]["uuid"] == UUID
    assert page.gateway.speed().messages[0]["Code"] == -3
    page.see("orders", "1 of 2 left")
    assert page.gateway.speed().messages[0]["Code"] == -3
    page.see("orders", "Nothing ordered")
    page.see("back-off", "wait 20 s", "to go")


def test_fault_is_ordered_and_seen(platform, page):
    page.order("broken", "broken", fault="close", kind="Report")
    page.see("orders", "Report of any gateway: fault close")
    assert page.gateway.report() is None
    page.until(lambda: page.rows()[-1][0] == "Report" and "fault close" in page.rows()[-1][1], "the fault in the sequence")
    assert page.count("#sequence li:last-child .cut") == 1


def test_literal_bytes_are_sent_as_they_were_typed(platform, page):
    page.order("broken", "broken", fault="", kind="Report", bytes="HTTP/1.1 200 OK\\r\\n\nX: \\\\\\x00\\xff\\t\\r\\n\\r\\n")
    with platform.connect() as connection:
        connection.send(request(report()))
        assert connection.block() == b"HTTP/1.1 200 OK\r\nX: \\\x00\xff\t\r\n\r\n"


def test_answer_is_sent_again_byte_for_byte(platform, page):
    first = platform.console.get("/api/exchanges/1")["answer"]
    page.click("#sequence button")
    page.see("exchange", "Inform0Response")
    page.click("#exchange [data-key=again]")
    page.click("#broken-dialog [type=submit]")
    page.see("orders", "Inform0 of any gateway: 217 bytes")
    page.gateway.register()
    page.until(lambda: len(page.rows()) == 2, "the second exchange")
    assert platform.console.get("/api/exchanges/2")["answer"] == first


def test_orders_are_taken_back(platform, page):
    for code in (1, 2, 3):
        platform.console.post("/api/answers", {"kind": "Inform0", "code": code})
    page.see("orders", "code 1", "code 2", "code 3")
    page.click("#orders [data-key=order-2]")
    page.until(lambda: "code 2" not in page.text("orders"), "the second order is gone")
    page.click("#orders [data-key=all-orders]")
    page.see("orders", "Nothing ordered")
    assert platform.console.get("/api/answers")["answers"] == []


def test_refusal_is_told_in_the_dialog(platform, page):
    page.tolerated = ("status of 409",)
    for _ in range(64):
        platform.console.post("/api/answers", {"code": 0, "kind": "Inform0"})
    page.click("#answer-button")
    page.click("#answer-dialog [type=submit]")
    page.until(lambda: page.read("#answer-dialog .error", "innerText") != "", "the reason")
    assert page.shows("#answer-dialog")
    page.press(Keys.ESCAPE)
    page.until(lambda: not page.shows("#answer-dialog"), "Escape closes the dialog")


def test_exchange_is_shown_byte_for_byte_with_findings(platform, page):
    page.gateway.wrong()
    page.see("gateways", "1 finding")
    page.click("#sequence li:last-child button")
    sent = platform.console.get("/api/exchanges/2")
    page.see("exchange", "1 finding", sent["findings"][0])
    shown = page.read_all("#exchange pre")
    assert shown == [sent[part].replace("\r", "\\r").replace("\n", "\\n\n") for part in ("request", "answer")]
    page.click("#exchange [data-key=view-hex]")
    rows = page.read("#exchange pre").splitlines()
    assert bytes.fromhex("".join(row[6:53] for row in rows)).decode("latin-1") == sent["request"]
    assert rows[0] == "0000  50 4f 53 54 20 2f 72 65 67 2f 20 48 54 54 50 2f  POST /reg/ HTTP/"


def test_scenario_is_changed_and_a_wrong_one_is_told(platform, page):
    page.tolerated = ("status of 400",)
    page.see("scenario-source", "In force: from")
    for text in ("SiteSpeed:\n  codes: [-2]\n", "SiteSpeed:\n  codes: [x]\n"):
        page.type("#scenario-text", text)
        page.click("#scenario-form [type=submit]")
        page.until(lambda: "set here" in page.text("scenario-source"), "the new scenario")
    page.until(lambda: "line 2" in page.text("scenario-error"), "where it is wrong")
    assert (
        page.script(
            "const t = document.querySelector('#scenario-text'); return t.value.slice(t.selectionStart, t.selectionEnd)"
        )
        == "  codes: [x]"
    )
    with platform.connect() as connection:
        connection.send(request(site_speed()))
        assert Answer(connection.block()).messages[0]["Code"] == -2


def test_all_can_be_done_from_the_keyboard(platform, page):
    """Tab from the top: every control is reached, each shows its focus, and Enter and Escape do what a click does."""
    page.gateway.report()
    page.until(lambda: len(page.rows()) == 6, "the exchanges")
    page.script("document.activeElement.blur()")
    reached = []
    for _ in range(60):
        page.press(Keys.TAB)
        reached.append(
            page.script(
                "const e = document.activeElement, s = getComputedStyle(e);"
                "return [e.id || e.dataset.key || e.dataset.number || e.name || e.type || e.tagName, s.outlineStyle]"
            )
        )
        if reached[-1][0] == "scenario-undo":
            break
    names = [name for name, _ in reached]
    for name in (
        UUID,
        "get-button",
        "answer-button",
        "broken-button",
        "everyone",
        "6",
        "zoom-in",
        "scenario-text",
        "scenario-undo",
    ):
        assert name in names, (name, names)
    assert [pair for pair in reached if pair[1] == "none"] == []
    page.script("document.querySelector('#get-button').focus()")
    page.press(Keys.ENTER)
    assert page.focused("name") == "path"
    page.press(Keys.ENTER)
    page.see("identity", "NUVEK.Counter for its next contact")
    page.until(lambda: page.focused() == "get-button", "the focus is back where it was")


def test_every_control_has_a_name(platform, page):
    page.gateway.report()
    page.click("#sequence button")
    page.see("exchange", "Inform0")
    for name in (None, "get", "answer", "broken"):
        if name is not None:
            page.click("#%s-button" % name)
        nodes = page.driver.execute_cdp_cmd("Accessibility.getFullAXTree", {})["nodes"]
        named = [
            (node["role"]["value"], node.get("name", {}).get("value", "").strip())
            for node in nodes
            if not node["ignored"]
            and node["role"]["value"]
            in ("button", "textbox", "combobox", "searchbox", "spinbutton", "region", "img", "dialog", "link")
        ]
        assert len(named) > 3 and [pair for pair in named if pair[1] == ""] == []
        page.press(Keys.ESCAPE)


def test_arrow_keys_walk_the_sequence_and_enter_shows_it(platform, page):
    page.gateway.report()
    page.until(lambda: len(page.rows()) == 6, "the exchanges")
    page.script("document.querySelector('#sequence button[tabindex=\"0\"]').focus()")
    for key, number in (
        (Keys.ARROW_UP, 5),
        (Keys.HOME, 1),
        (Keys.ARROW_UP, 1),
        (Keys.ARROW_DOWN, 2),
        (Keys.END, 6),
        (Keys.ARROW_UP, 5),
    ):
        page.press(key)
        assert page.script("return document.activeElement.dataset.number") == str(number)
    page.press(Keys.ENTER)
    page.see("exchange", "5 · GetResponse · code 0")
    page.gateway.register()
    page.until(lambda: len(page.rows()) == 7, "one more")
    assert page.script("return document.activeElement.dataset.number") == "5"


def test_lost_connection_says_so_and_comes_back_by_itself(start, platform, page):
    page.tolerated = ("ERR_",)
    assert page.text("lost") == ""
    platform.stop()
    page.see("platform", "connection lost")
    page.see("lost", "The platform does not answer since")
    page.see("gateway-name", "NUVEK-1")
    page.click("#get-button")
    page.click("#get-dialog [type=submit]")
    page.until(lambda: page.read("#get-dialog .error", "innerText") == "the platform does not answer", "the reason")
    page.press(Keys.ESCAPE)
    again = start(None, console=str(platform.console.port))
    page.see("platform", "live", ":%d" % again.port)
    assert page.text("lost") == ""
    page.see("gateway-name", "No gateway yet")
    page.until(lambda: page.rows() == [], "a new platform, a new sequence")
    Gateway(again).register()
    page.until(lambda: [row[0].split(",")[0] for row in page.rows()] == ["Inform0"], "what comes after it")
    page.see("gateway-name", "NUVEK-1")


def test_network_is_lit_where_a_message_passes(platform, page):
    page.script(
        """window.lit = new Set();
        new MutationObserver((changes) => changes.forEach(({target: {classList, dataset}}) =>
            classList.contains('lit') && window.lit.add(dataset.host ?? dataset.link)))
            .observe(document.querySelector('#network'), {subtree: true, attributes: true})"""
    )
    page.gateway.report()
    page.until(lambda: set(page.script("return [...window.lit]")) == {"gw", "net", "plat", "gw--net", "net--plat"}, "lit")
    page.until(lambda: page.count("#network .lit") == 0, "dark again")
