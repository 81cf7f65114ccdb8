"""The page as its user sees it. Whatever is waited for is a condition of the page, never a time. It may be drawn anew at any
moment, so what is read is looked up and read by one script, which nothing comes between."""
from selenium.common.exceptions import ElementClickInterceptedException, StaleElementReferenceException
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By
from selenium.webdriver.support.ui import Select, WebDriverWait

WAIT_S = 20


class Page:
    tolerated = ()  # what the browser may complain about: the losses and refusals that a test means

    def __init__(self, driver, port):
        self.driver = driver
        driver.get("http://127.0.0.1:%d/" % port)
        self.see("platform", "live")

    def script(self, text, *arguments):
        return self.driver.execute_script(text, *arguments)

    def text(self, name):
        return self.read("#" + name, "innerText")

    def read(self, selector, what="textContent"):
        """A property of the first such element."""
        return self.script("return document.querySelector(arguments[0])[arguments[1]]", selector, what)

    def read_all(self, selector, what="textContent"):
        return self.script("return [...document.querySelectorAll(arguments[0])].map((e) => e[arguments[1]])", selector, what)

    def count(self, selector):
        return self.script("return document.querySelectorAll(arguments[0]).length", selector)

    def shows(self, selector):
        return self.script("return document.querySelector(arguments[0]).checkVisibility()", selector)

    def until(self, condition, what):
        return WebDriverWait(self.driver, WAIT_S, poll_frequency=0.05).until(
            lambda _: condition(), "waited in vain: " + what
        )

    def see(self, name, *words):
        def all_there():
            now = " ".join(self.text(name).split())
            return all(word in now for word in words)

        try:
            self.until(all_there, name)
        except Exception as error:
            raise AssertionError("%s does not show %s but: %s" % (name, words, self.text(name))) from error

    def press(self, *keys):
        ActionChains(self.driver).send_keys(*keys).perform()

    def click(self, selector):
        """By the mouse, where it is; once more if it was drawn anew between the look and the click, which then met nothing."""

        def met():
            self.script(
                "document.querySelector(arguments[0]).scrollIntoView({block: 'center'}); window.met = false;"
                "addEventListener('click', (e) => { window.met = e.target.closest(arguments[0]) !== null; },"
                " {capture: true, once: true})",
                selector,
            )
            try:
                self.driver.find_element(By.CSS_SELECTOR, selector).click()
            except (StaleElementReferenceException, ElementClickInterceptedException):
                pass
            return self.script("return window.met")

        self.until(met, "a click on " + selector)

    def type(self, selector, value):
        """Into a field, or chosen from a list; the page's fields are never drawn anew."""
        element = self.driver.find_element(By.CSS_SELECTOR, selector)
        if element.tag_name == "select":
            Select(element).select_by_value(value)
        else:
            element.clear()
            element.send_keys(value)

    def fill(self, form, **fields):
        for name, value in fields.items():
            self.type("%s [name=%s]" % (form, name), value)

    def order(self, button, form, **fields):
        """Opens a dialog, fills it, sends it; gives back what the page tells of it."""
        self.click("#%s-button" % button)
        self.fill("#%s-dialog" % form, **fields)
        self.click("#%s-dialog [type=submit]" % form)
        self.until(lambda: not self.shows("#%s-dialog" % form), "the dialog closes")
        return self.text("notice")

    def rows(self):
        """The sequence diagram: each exchange's lines."""
        return self.script(
            "return [...document.querySelectorAll('#sequence .lane')].map((lane) => lane.innerText.split('\\n')"
            ".map((line) => line.replace(/\\u00a0/g, ' ')).filter(Boolean))"
        )

    def focused(self, what="id"):
        return self.script("return document.activeElement[arguments[0]]", what)

    def spills(self):
        """Elements that reach over the window's right edge and are in nothing that scrolls."""
        return self.script(
            "return [...document.querySelectorAll('body *')].filter((e) => e.getBoundingClientRect().right > innerWidth + 1 &&"
            " !e.closest('pre, .scroll, .skip, .hidden, svg')).map((e) => e.tagName + '#' + e.id + '.' + e.className)"
            ".concat(document.documentElement.scrollWidth > innerWidth ? ['the whole page'] : [])"
        )
