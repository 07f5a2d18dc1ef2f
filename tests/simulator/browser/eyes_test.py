#!/usr/bin/python3
"""The page for everybody's eyes and hands: what the front shows, keyboard and screen reader, contrast, a silent console."""

import collections
import sys
import time

from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys

sys.dont_write_bytecode = True  # the sources stay clean
from panel_page import SECTIONS, PageTest, run_tests

LEAST = 4.5  # contrast
NAMED = {"button", "checkbox", "textbox", "searchbox", "spinbutton", "slider", "combobox", "link", "tab"}

# What has less contrast than arguments[0] with what lies behind it: texts, what fields hold, drawn signs. Of a gradient
# behind it every colour counts.
POOR = r"""
const numbers = (text) => { const [r, g, b, a = 1] = text.match(/[\d.]+/g).map(Number); return [r, g, b, a]; };
const over = ([r, g, b, a], under) => [r, g, b].map((v, i) => v * a + under[i] * (1 - a)).concat(1);
const light = (colour) => colour.slice(0, 3)
  .map((v) => v / 255).map((v) => (v <= 0.04045 ? v / 12.92 : ((v + 0.055) / 1.055) ** 2.4))
  .reduce((sum, v, i) => sum + v * [0.2126, 0.7152, 0.0722][i], 0);
function contrast(one, other) {
  const [a, b] = [light(one), light(other)];
  return (Math.max(a, b) + 0.05) / (Math.min(a, b) + 0.05);
}
function behind(one) {
  if (!one) return [[16, 21, 31, 1]];
  const { backgroundColor, backgroundImage } = getComputedStyle(one);
  const own = numbers(backgroundColor);
  const found = own[3] === 1 ? [own] : behind(one.parentElement).map((under) => over(own, under));
  const stops = (backgroundImage.match(/rgba?\([^)]*\)/g) ?? []).map(numbers);
  if (stops.length === 0) return found;
  return stops.flatMap((stop) => (stop[3] === 1 ? [stop] : found.map((under) => over(stop, under))));
}
const opacity = (one) => (one ? Number(getComputedStyle(one).opacity) * opacity(one.parentElement) : 1);
const poor = new Set();
function check(one, colour, what) {
  const own = numbers(colour);
  own[3] *= opacity(one);
  for (const under of behind(one)) {
    const found = contrast(over(own, under), under);
    if (found < arguments_[0]) poor.add(`${found.toFixed(2)}: ${what}, ${colour} on ${under}`);
  }
}
const arguments_ = arguments;
const seen = (one) => one.checkVisibility({ visibilityProperty: true }) && !one.closest(".unseen");
const name = (one) => `${one.tagName} ${one.id} "${(one.textContent || one.ariaLabel || "").trim().slice(0, 30)}"`;
const walker = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT);
while (walker.nextNode()) {
  const one = walker.currentNode.parentElement;
  if (walker.currentNode.data.trim() && one.tagName !== "SCRIPT" && seen(one))
    check(one, getComputedStyle(one).color, name(one));
}
for (const one of document.querySelectorAll("input, select, textarea")) {
  if (!seen(one) || ["range", "checkbox"].includes(one.type)) continue;
  check(one, getComputedStyle(one).color, name(one));
  if (one.placeholder) check(one, getComputedStyle(one, "::placeholder").color, "the placeholder of " + name(one));
}
for (const one of document.querySelectorAll(".map button, .key-colours i, .swatch, .marks i")) {
  const { backgroundColor, borderTopColor, borderTopWidth } = getComputedStyle(one);
  if (seen(one)) check(one.parentElement, borderTopWidth === "0px" ? backgroundColor : borderTopColor, "a page, mark or swatch");
}
for (const one of document.querySelectorAll("svg *")) {
  const { stroke } = getComputedStyle(one);
  if (seen(one) && stroke !== "none") check(one.closest("button"), stroke, "a drawn sign");
}
return [...poor];"""

# The colours that are drawn with on canvases from now on.
WATCH = """
window.drawn_ = new Set();
const made = CanvasRenderingContext2D.prototype;
for (const [name, style] of [["stroke", "strokeStyle"], ["fill", "fillStyle"], ["fillText", "fillStyle"]]) {
  const own = made[name];
  made[name] = function (...all) { window.drawn_.add(this[style]); return own.apply(this, all); };
}"""


# Keeps every title of the serial plug's sign.
TITLES = """
window.titles_ = [];
const plug = document.getElementById("plug");
new MutationObserver(() => window.titles_.push(plug.title)).observe(plug, { attributeFilter: ["title"] });"""

# Keeps the tone that is played.
HEAR = """
const begin = OscillatorNode.prototype.start;
OscillatorNode.prototype.start = function (...when) { window.tone_ = this; return begin.apply(this, when); };"""

PANEL, GRID = "#192130", "#2d3850"  # behind the plots; their grid may be faint


def light(colour):
    """Of #rrggbb, 0 to 1."""
    shares = (int(colour[at:at + 2], 16) / 255 for at in (1, 3, 5))
    parts = (v / 12.92 if v <= 0.04045 else ((v + 0.055) / 1.055) ** 2.4 for v in shares)
    return sum(v * w for v, w in zip(parts, (0.2126, 0.7152, 0.0722)))


class Eyes(PageTest):
    def poor(self):
        return self.panel.browser.execute_script(POOR, LEAST)

    def unnamed(self):
        """Controls without a name, and names that several controls have, as a screen reader finds them."""
        nodes = self.panel.browser.execute_cdp_cmd("Accessibility.getFullAXTree", {})["nodes"]
        names = collections.Counter(
            (node["role"]["value"], node.get("name", {}).get("value", "").strip())
            for node in nodes if not node["ignored"] and node["role"]["value"] in NAMED)
        return [name for name, count in names.items() if count > 1 or not name[1]]

    def title(self, sign):
        return self.panel.get("#" + sign).get_attribute("title")

    def focused(self):
        return self.panel.browser.execute_script("return document.activeElement.ariaLabel ?? document.activeElement.id")

    def targets(self):
        """The buttons over the screen, and whether what lies below takes touches."""
        return self.panel.browser.execute_script(
            "return Object.fromEntries([...document.querySelectorAll('#targets button')]"
            ".map((one) => [one.ariaLabel, one.ariaDisabled !== 'true']))")

    def test_the_front_shows_what_an_operator_judges(self):
        panel = self.panel
        hint = panel.get("#hint")
        self.assertTrue(hint.is_displayed())
        panel.get("#hint-seen").click()
        panel.until(lambda: "no fibre, visible light off" in self.title("port"), "the port as it is")
        lcd = panel.seen("#lcd")
        panel.touch("MainBoard_FCT", "Connect")
        panel.browser.execute_script(TITLES)
        titles = lambda: " ".join(panel.browser.execute_script("return window.titles_"))
        panel.touch("Connect", "Connect success!!!")
        panel.until(lambda: "traffic" in titles(), "traffic on the serial line")
        panel.until(lambda: "traffic" not in self.title("plug"), "its end")
        self.assertIn("silent", self.title("speaker"))
        panel.touch("Visible Check")
        panel.touch("Speaker Check")
        panel.ask(do="set", name="optics.fibre", value="1.5 km")
        panel.ask(do="set", name="board.plugged", value=False)
        panel.until(lambda: "1.5 km of fibre plugged in, visible light on" in self.title("port"), "light and fibre")
        panel.until(lambda: "sounds" in self.title("speaker"), "the speaker")
        panel.until(lambda: "unplugged" in self.title("plug"), "the plug")
        self.assertEqual([], self.poor())
        panel.shot("front")
        panel.get("#port").click()
        self.assertTrue(panel.get("#panel-optics").is_displayed())
        panel.get("#plug").click()
        self.assertTrue(panel.get("#panel-board").is_displayed())
        self.assertEqual(lcd, panel.seen("#lcd"), "it costs the screen nothing")
        self.assertEqual("false", panel.get("#speaker").get_attribute("aria-pressed"), "no tone unasked")
        panel.browser.execute_script(HEAR)
        panel.get("#speaker").click()
        self.assertIn("played here", self.title("speaker"))
        heard = lambda: panel.browser.execute_script("return [window.tone_.frequency.value, window.tone_.context.state]")
        panel.until(lambda: heard()[1] == "running", "the tone")
        self.assertAlmostEqual(1e7 / panel.state()["fpga"]["speaker_tone"], heard()[0], places=2)
        self.assertEqual([], panel.errors())
        panel.ask(do="power_cut")
        panel.until(lambda: "visible light off" in self.title("port") and "silent" in self.title("speaker"), "the dark")
        self.assertIn("1.5 km", self.title("port"), "the fibre is still there")
        panel.until(lambda: heard()[1] == "closed", "silence")
        for section in SECTIONS:
            panel.tab(section)
            time.sleep(0.6)  # a look at the bench
        panel.get('[data-key="f1"]').click()
        panel.tab("trace")
        panel.press("Record")
        panel.until(lambda: "The power is off" in panel.get("#panel-trace").text, "why nothing is recorded")
        told = [one for one in panel.browser.get_log("browser") if one["source"] != "rendering"]  # of the test's own looks
        self.assertEqual([], told, "the console is silent while the power is off")
        self.assertEqual([], self.poor())
        panel.browser.refresh()
        panel.until(lambda: panel.get("#speaker").get_attribute("aria-pressed") == "true", "the tone is remembered")
        self.assertFalse(panel.get("#hint").is_displayed(), "so is the hint")

    def test_the_screen_by_keyboard(self):
        panel = self.panel
        acts = lambda: panel.get("#acts").text
        press = lambda *keys: ActionChains(panel.browser).send_keys(*keys).perform()
        panel.until(lambda: "MainBoard_FCT" in self.targets(), "the touch targets", 5)
        self.assertEqual("on", acts(), "the PC's keys are the instrument's")
        while self.focused() != "MainBoard_FCT":
            self.assertNotEqual("port", self.focused(), "Tab reaches the targets")
            press(Keys.TAB)
        self.assertEqual("off", acts())
        panel.shot("target")
        ActionChains(panel.browser).key_down(Keys.ENTER).perform()
        panel.until(lambda: panel.state()["touch"]["fingers"], "the finger", 5)
        ActionChains(panel.browser).key_up(Keys.ENTER).perform()
        panel.until(lambda: "Key Check" in self.targets(), "the targets of the next screen", 5)
        self.assertEqual([], panel.state()["touch"]["fingers"])
        self.assertIn(self.focused(), self.targets(), "the focus stays on the screen")
        self.assertFalse(self.targets()["Voltage Check"])
        self.assertTrue(self.targets()["Connect"])
        news = lambda: panel.get("#lcd-news").get_attribute("textContent")
        self.assertIn("Key Check", news())
        self.assertEqual([], self.unnamed())
        panel.get("#targets [aria-label=Connect]").send_keys(" ")
        panel.until(lambda: "Connect success!!!" in news(), "what is new on the screen", 5)
        self.assertNotIn("Key Check", news(), "and nothing else")
        self.assertEqual("Connect", self.focused())
        panel.until(lambda: self.targets()["Voltage Check"], "what can be touched now", 5)
        inputs = lambda: panel.ask(do="session")["inputs"]
        before = len(inputs())
        press("m")
        panel.get("#lcd").click()
        panel.until(lambda: len(inputs()) > before, "the touch")
        self.assertEqual("touch", inputs()[before]["request"]["do"], "a letter there is no key of the instrument")
        panel.until(lambda: acts() == "on", "the PC's keys as the instrument's again")
        with self.subTest("guide"):
            link = panel.get(".signs a").get_attribute("href")
            panel.browser.get(link)
            self.assertEqual("Operator's guide", panel.get("h1").text)
            missing = panel.browser.execute_script(
                "return [[...document.images].filter((one) => !one.naturalWidth).map((one) => one.src),"
                " [...document.links].filter((one) => !document.querySelector(one.hash)).map((one) => one.href)]")
            self.assertEqual([[], []], missing, "every picture loads, every link leads somewhere")
            self.assertGreater(len(panel.browser.find_elements(By.TAG_NAME, "img")), 15)
            panel.resize(390, 844, touch=True)
            self.assertEqual(390, panel.browser.execute_script("return document.documentElement.scrollWidth"))
            panel.shot("guide-phone")
            self.assertEqual([], panel.errors())

    def test_every_section_opens_legible_and_named(self):
        panel = self.panel
        panel.ask(do="bench_save", name="one")
        panel.ask(do="bench_save", name="two")
        panel.ask(do="set", name="board.rail.TP97", value=0.5)
        panel.ask(do="set", name="optics.fibre", value=[{"at": 700, "loss": 0.5}, {"at": 1500, "reflection": -14.5}])
        panel.ask(do="fault", name="module.eeprom_cut", value={"after": 1000, "damage": "page"})
        panel.touch("Opticl_FCT", "OPT_Adjust")
        panel.touch("OPT_Adjust", "Opt check")
        panel.tab("optics")
        self.faster()
        panel.touch("Opt check")
        panel.until(lambda: panel.reads("check over!!!"), "the end of the check", 180)
        kept = lambda: panel.get("#kept-traces").text
        last = panel.state()["fpga"]["last_acquisitions"]
        self.assertEqual({"1310", "1550"}, set(last))
        panel.until(lambda: all(f"{number}: {wavelength} nm" in kept() for wavelength, number in last.items()),
                    "the last acquisition of each wavelength")
        measured, before = panel.get("#measured").text, kept()
        marks = [mark for mark in panel.ask(do="history")["marks"] if mark["kind"] == "acquisition"]
        panel.ask(do="rewind", to_us=(marks[0]["first_us"] + marks[-1]["last_us"]) // 2)
        panel.until(lambda: kept() != before, "an acquisition of the past")
        self.assertNotEqual(measured, panel.get("#measured").text, "it is what the cursors measure")
        panel.ask(do="now")
        time.sleep(1)  # a look at the bench
        self.assertEqual(measured, panel.get("#measured").text)
        numbers = [line.split(":")[0] for line in kept().splitlines()]
        self.assertEqual(sorted(set(numbers), key=int), numbers, "each once, the newest last")
        for section, heading in SECTIONS.items():
            with self.subTest(section):
                panel.tab(section)
                shown = [one for one in panel.browser.find_elements(By.CSS_SELECTOR, ".tab") if one.is_displayed()]
                self.assertEqual(1, len(shown))
                panel.until(lambda: heading in shown[0].text, heading)
                time.sleep(0.7)  # one look at the instrument
                self.assertEqual("", panel.get("#message").text)
                panel.shot(section)
                self.assertEqual([], self.poor())
                self.assertEqual([], self.unnamed())
                if section != "optics":
                    continue
                panel.browser.execute_script(WATCH)
                for scale in ("log", "lin"):
                    panel.choose("#panel-optics select[aria-label='scale of the plot']", scale)
                panel.ask(do="set", name="module.temperature", value=30)
                panel.until(lambda: "30.0 °C" in panel.get("#curve-text").text, "the breakdown's plot", 5)
                drawn = {one for one in panel.browser.execute_script("return [...window.drawn_]") if one != GRID}
                self.assertGreaterEqual(len(drawn), 4, drawn)
                self.assertEqual([], [one for one in drawn if (light(one) + 0.05) / (light(PANEL) + 0.05) < LEAST])
        listed = len(panel.ask(do="faults")["faults"])
        self.assertEqual(listed, len(panel.browser.find_elements(By.CSS_SELECTOR, "#panel-faults .fault")))
        panel.resize(390, 844, touch=True)
        panel.tab("optics")
        panel.browser.execute_script("document.getElementById('plot').scrollIntoView({block: 'end'})")
        time.sleep(0.3)
        plot, scrolled = panel.seen("#plot"), "return scrollY"
        before = panel.browser.execute_script(scrolled)
        panel.swipe(plot["left"] + plot["width"] / 2, plot["top"] + plot["height"] / 2, -60)
        panel.until(lambda: panel.browser.execute_script(scrolled) > before + 20, "a scroll from the plot", 5)
        panel.tab("logs")
        panel.until(lambda: panel.browser.find_elements(By.CSS_SELECTOR, "[aria-label='Show console.log']"), "the files", 5)
        show = panel.get("[aria-label='Show console.log']")
        panel.browser.execute_script("arguments[0].scrollIntoView({block: 'center'}); arguments[0].click()", show)
        view = "#panel-logs pre[aria-label='content of the file']"
        panel.until(lambda: panel.get(view).is_displayed(), "the file", 5)
        time.sleep(0.3)
        self.assertTrue(panel.seen("#lcd")["bottom"] <= panel.seen(view)["top"] < 700, "it is in view")
        panel.shot("log-phone")
        self.assertEqual([], panel.errors())


if __name__ == "__main__":
    run_tests()
