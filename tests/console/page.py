"""The page as its user sees it. Whatever is waited for is a condition of the page, never a time."""
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

    def one(self, selector):
        return self.driver.find_element(By.CSS_SELECTOR, selector)

    def all(self, selector):
        return self.driver.find_elements(By.CSS_SELECTOR, selector)

    def script(self, text, *arguments):
        return self.driver.execute_script(text, *arguments)

    def text(self, name):
        """What can be read in an element, looked up and read at once: it may be drawn anew at any time."""
        return self.script("return document.getElementById(arguments[0]).innerText", name)

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
        """By the mouse, where it is."""
        element = self.one(selector)
        self.script("arguments[0].scrollIntoView({block: 'center'})", element)
        element.click()

    def fill(self, form, **fields):
        for name, value in fields.items():
            element = self.one("%s [name=%s]" % (form, name))
            if element.tag_name == "select":
                Select(element).select_by_value(value)
            else:
                element.clear()
                element.send_keys(value)

    def order(self, button, form, **fields):
        """Opens a dialog, fills it, sends it; gives back what the page tells of it."""
        self.click("#%s-button" % button)
        self.fill("#%s-dialog" % form, **fields)
        self.click("#%s-dialog [type=submit]" % form)
        self.until(lambda: not self.one("#%s-dialog" % form).is_displayed(), "the dialog closes")
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
