"""The front panel in a headless Chromium: starts `k905 panel`, opens its page, and has hands and eyes there.

usage of its tests: TEST K905 SCREENSHOTS [CLASS.NAME...]
"""

import json
import os
import signal
import subprocess
import sys
import tempfile
import time
import unittest
import urllib.error
import urllib.request

from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.actions import interaction
from selenium.webdriver.common.actions.action_builder import ActionBuilder
from selenium.webdriver.common.actions.pointer_input import PointerInput
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.ui import Select

WAIT = 60  # seconds, for what must come
HOLD = 0.15  # of a touch and a key
MOVE = 50  # milliseconds to a key
FAST = "50"  # speed of time for what takes long
SECTIONS = {  # of the bench, with a word of each
    "board": "Rails", "optics": "Last acquisitions", "memory": "Tuning record", "mainboard": "Straps",
    "logs": "Standard output", "trace": "Record", "faults": "Clear all", "setups": "Keep this bench",
    "scripts": "Record",
}


class Panel:
    """The launcher and the browser."""

    def __init__(self, k905, shots):
        self.shots = shots
        os.makedirs(shots, exist_ok=True)
        self.folder = tempfile.TemporaryDirectory(prefix="k905-page-")
        self.k905 = k905
        self.launcher = None
        self.url = None
        self.launch("8950")
        options = webdriver.ChromeOptions()
        options.binary_location = "/usr/bin/chromium"
        for argument in ("--headless=new", "--no-sandbox", "--disable-dev-shm-usage", "--hide-scrollbars",
                         "--disable-background-networking", "--disable-component-update", "--disable-sync"):
            options.add_argument(argument)
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        service = Service("/usr/bin/chromedriver", env={**os.environ, "TMPDIR": self.folder.name})
        try:
            self.browser = webdriver.Chrome(service=service, options=options)
        except Exception:
            self.end_launcher()  # nobody else would
            self.folder.cleanup()
            raise
        self.resize(1280, 720)

    def launch(self, port, *options):
        """Starts the launcher at that port or the next free one."""
        environment = {**os.environ, "K905_BENCHES": self.folder.name + "/benches",
                       "XDG_RUNTIME_DIR": self.folder.name}
        self.launcher = subprocess.Popen([self.k905, "panel", "--port", port, *options], env=environment,
                                         stdout=subprocess.PIPE, text=True)
        self.url = self.launcher.stdout.readline().split(" at ")[1].split()[0]

    def end_launcher(self):
        if self.launcher.poll() is None:
            self.launcher.send_signal(signal.SIGTERM)
        self.launcher.wait(20)
        self.launcher.stdout.close()

    def close(self):
        self.browser.quit()
        self.end_launcher()
        self.folder.cleanup()

    def resize(self, width, height, touch=False):
        """The window's size; with `touch` of a device that has a touch screen and no mouse."""
        self.browser.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {
            "width": width, "height": height, "deviceScaleFactor": 1, "mobile": touch})
        self.browser.execute_cdp_cmd("Emulation.setTouchEmulationEnabled", {"enabled": touch})

    def open(self):
        self.browser.get(self.url)
        self.shows()

    def shows(self):
        self.until(lambda: self.reads("Welcome to K905_FCT"), "the start screen")
        self.until(lambda: self.lit() > 1000, "the picture of the start screen")

    # ---- What a program sees

    def ask(self, **request):
        body = json.dumps(request).encode()
        call = urllib.request.Request(self.url + "api", body, {"Content-Type": "application/json"})
        try:
            with urllib.request.urlopen(call, timeout=30) as reply:
                return json.load(reply)
        except urllib.error.HTTPError as error:
            return json.load(error)

    def state(self):
        return self.ask(do="state")["state"]

    def texts(self):
        return [run["text"] for run in self.ask(do="text").get("runs", [])]

    def reads(self, text):
        return any(text in line for line in self.texts())

    # ---- What eyes see

    def get(self, selector):
        return self.browser.find_element(By.CSS_SELECTOR, selector)

    def seen(self, selector):
        """Where it is in the window."""
        return self.browser.execute_script(
            "return document.querySelector(arguments[0]).getBoundingClientRect().toJSON()", selector)

    def lit(self):
        """Pixels of the page's LCD that are not black."""
        return self.browser.execute_script(
            "const lcd = document.getElementById('lcd');"
            "const data = lcd.getContext('2d').getImageData(0, 0, 800, 480).data; let lit = 0;"
            "for (let i = 0; i < data.length; i += 4) lit += data[i] + data[i + 1] + data[i + 2] > 0; return lit;")

    def picture(self, x=0, y=0, width=800, height=480):
        """A number that is another for another picture (FNV-1a of its pixels)."""
        return self.browser.execute_script(
            "const lcd = document.getElementById('lcd').getContext('2d');"
            "const pixels = new Uint32Array(lcd.getImageData(...arguments).data.buffer); let hash = 0x811c9dc5;"
            "for (const pixel of pixels) hash = Math.imul(hash ^ pixel, 0x01000193);"
            "return hash;", x, y, width, height)

    def shot(self, name):
        self.browser.save_screenshot(f"{self.shots}/{name}.png")

    def until(self, condition, what, seconds=WAIT):
        end = time.monotonic() + seconds
        while time.monotonic() < end:
            found = condition()
            if found:
                return found
            time.sleep(0.1)
        self.shot("missing")
        raise AssertionError(f"{what} did not come; on the screen: {self.texts()}; message: "
                             f"{self.get('#message').text!r}")

    def errors(self):
        return [entry["message"] for entry in self.browser.get_log("browser") if entry["level"] == "SEVERE"]

    # ---- What hands do

    def tab(self, name):
        tab = self.get("#tab-" + name)
        self.browser.execute_script("arguments[0].scrollIntoView({block: 'center'})", tab)  # from under the LCD
        tab.click()

    def touch(self, control, text=None):
        """A touch, and what the screen must read then."""
        x, y = next(one["at"] for one in self.ask(do="controls")["controls"] if one["name"] == control)
        lcd = self.get("#lcd")
        (ActionChains(self.browser).move_to_element_with_offset(lcd, x - 400, y - 240)
         .click_and_hold().pause(HOLD).release().perform())
        if text:
            self.until(lambda: self.reads(text), f"{text!r} after {control}")

    def hold(self, selector):
        ActionChains(self.browser, duration=MOVE).click_and_hold(self.get(selector)).perform()

    def release(self):
        ActionChains(self.browser, duration=MOVE).release().perform()

    def fingers(self):
        """Two touch pointers over the LCD, as (builder, first, second); perform() does what was told to them."""
        first = PointerInput(interaction.POINTER_TOUCH, "first")
        second = PointerInput(interaction.POINTER_TOUCH, "second")
        return ActionBuilder(self.browser, mouse=first), first, second

    def press(self, text, answer=None):
        """A button of the open section by its text, and of what it then asks the answer."""
        self.browser.find_element(By.XPATH, f"//section[not(@hidden)]//button[text()='{text}']").click()
        if answer:
            found = lambda: self.browser.find_elements(By.CSS_SELECTOR, f"dialog .{answer}")
            self.until(found, f"the question of {text!r}")[0].click()

    def enter(self, field, text):
        """Instead of what stands in the field."""
        field.send_keys(Keys.CONTROL, "a")
        field.send_keys(Keys.BACKSPACE, text, Keys.TAB)

    def swipe(self, x, y, down):
        """A finger is laid on a place of the window, goes so many pixels down, and lifts."""
        steps = 4 if down else 0
        for i in range(steps + 1):
            self.browser.execute_cdp_cmd("Input.dispatchTouchEvent", {
                "type": "touchMove" if i else "touchStart", "touchPoints": [{"x": x, "y": y + down * i / 4}]})
        self.browser.execute_cdp_cmd("Input.dispatchTouchEvent", {"type": "touchEnd", "touchPoints": []})

    def choose(self, selector, value):
        Select(self.get(selector)).select_by_value(value)


class PageTest(unittest.TestCase):
    """One launcher and one page a test: none depends on what another left."""

    def setUp(self):
        self.panel = Panel(sys.argv[1], sys.argv[2])
        self.addCleanup(self.panel.close)
        self.panel.open()

    def faster(self):
        self.panel.choose("#speed", FAST)
        self.panel.until(lambda: self.panel.ask(do="hello")["speed"] == float(FAST), "the speed")


def run_tests():
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    unittest.main(argv=sys.argv[:1] + sys.argv[3:], verbosity=2)
