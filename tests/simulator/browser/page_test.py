#!/usr/bin/python3
"""What a person does at the page."""

import base64
import os
import signal
import sys
import time

from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.actions.wheel_input import ScrollOrigin
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys

sys.dont_write_bytecode = True  # the sources stay clean
from panel_page import SECTIONS, PageTest, run_tests

KEYS = ("menu f1 f2 f3 f4 f5 file esc scale setup up left enter right down realt knob avg").split()
TURNED = (535, 190, 240, 100)  # of the key check: the pictures of both turns

# What a finger is to meet and is smaller than 44 pixels. A label's area is its control's; the map of 512 pages is a
# picture first; the buttons over the screen are for the keyboard.
SMALL_TARGETS = """
const small = [];
for (const one of document.querySelectorAll("button, select, input, summary, textarea")) {
  if (one.closest(".map, #targets") || !one.checkVisibility()) continue;
  const box = (one.labels?.[0] ?? one).getBoundingClientRect();
  if (Math.min(box.width, box.height) < 43.5)
    small.push(`${one.tagName} ${one.textContent.slice(0, 20) || one.ariaLabel}: ${box.width} x ${box.height}`);
}
return small;"""

# What a section's refusal says and where it stands, and the top of the field: all of one moment, since looks renew both.
REFUSAL = """
const note = document.querySelector(`#panel-${arguments[0]} .refusal`);
if (!note) return null;
const box = note.getBoundingClientRect();
return [{ text: note.innerText, right: box.right, top: box.top }, arguments[1].getBoundingClientRect().top];"""


class Page(PageTest):
    def test_keys_and_knob(self):
        panel = self.panel
        panel.touch("MainBoard_FCT", "Key Check")
        panel.touch("Key Check", "Anti")
        for key in KEYS:
            with self.subTest(key):
                before = panel.picture()
                panel.hold(f'[data-key="{key}"]')
                panel.until(lambda: panel.state()["keypad"]["down"] == [key], f"{key} held")
                self.assertIn("held", panel.get(f'[data-key="{key}"]').get_attribute("class"))
                panel.until(lambda: panel.picture() != before, f"the picture of {key}")
                panel.release()
                panel.until(lambda: panel.state()["keypad"]["down"] == [], f"{key} released")
        panel.shot("keys")
        with self.subTest("released outside"):
            ActionChains(panel.browser).click_and_hold(panel.get('[data-key="f1"]')).move_by_offset(0, -300).perform()
            self.assertEqual(["f1"], panel.state()["keypad"]["down"])
            panel.release()
            panel.until(lambda: panel.state()["keypad"]["down"] == [], "the release")
        with self.subTest("held by someone else"):
            key = panel.get('[data-key="f2"]')
            panel.ask(do="key", key="f2", action="down")
            panel.until(lambda: "elsewhere" in key.get_attribute("class"), "the mark of a key held elsewhere")
            panel.ask(do="key", key="f2", action="up")
            panel.until(lambda: "elsewhere" not in key.get_attribute("class"), "the end of the mark")
        with self.subTest("PC keyboard"):
            ActionChains(panel.browser).key_down("m").perform()
            panel.until(lambda: panel.state()["keypad"]["down"] == ["menu"], "Menu by M")
            ActionChains(panel.browser).key_up("m").perform()
            panel.until(lambda: panel.state()["keypad"]["down"] == [], "Menu released")
        # The picture of a turn lights up for a tenth of a second: time goes slowly for it.
        panel.choose("#speed", "0.1")
        dial = panel.get("#dial")
        turns = {
            "wheel": lambda: ActionChains(panel.browser).scroll_from_origin(
                ScrollOrigin.from_element(dial, 0, -48), 0, -120).perform(),
            "button": lambda: panel.get('[data-turn="-1"]').click(),
            "drag": lambda: ActionChains(panel.browser).move_to_element_with_offset(dial, 0, -48).click_and_hold()
            .move_to_element_with_offset(dial, 34, -34).move_to_element_with_offset(dial, 48, 0).release().perform(),
            "minus": lambda: (panel.get("#lcd").click(), ActionChains(panel.browser).send_keys("-").perform()),
        }
        angles = {"wheel": "18deg", "button": "0deg"}  # one notch is one step
        before = panel.picture(*TURNED)
        for how, turn in turns.items():
            with self.subTest(how):
                turn()
                if how in angles:
                    self.assertEqual(angles[how], panel.browser.execute_script(
                        "return arguments[0].style.getPropertyValue('--angle')", dial))
                panel.until(lambda: panel.picture(*TURNED) != before, f"a turn by {how}", 10)
                panel.until(lambda: panel.picture(*TURNED) == before, "the end of the flash", 10)

    def test_touch_by_fingers(self):
        panel = self.panel
        lcd = panel.get("#lcd").rect
        builder, first, second = panel.fingers()
        for finger, (x, y) in ((first, (300, 100)), (second, (500, 330))):
            finger.create_pointer_move(x=int(lcd["x"]) + x, y=int(lcd["y"]) + y)
            finger.create_pointer_down(button=0)
        builder.devices = [first, second]
        panel.browser.execute("actions", {"actions": [first.encode(), second.encode()]})
        panel.until(lambda: len(panel.state()["touch"]["fingers"]) == 2, "two fingers")
        builder.clear_actions()
        panel.until(lambda: panel.state()["touch"]["fingers"] == [], "the release")

    def test_main_board_auto(self):
        panel = self.panel
        panel.touch("MainBoard_FCT", "Connect")
        self.faster()
        panel.touch("Connect", "Connect success!!!")
        panel.touch("Auto")
        for text in ("Voltage Check OK!", "Arm Eeprom Check OK!", "Usb Check OK!", "FPGA DDR Check OK!",
                     "ADC Check OK!", "SDcard Check OK!"):
            panel.until(lambda: panel.reads(text), text)
        panel.shot("auto")

    def test_vdd_calibration(self):
        panel = self.panel
        panel.touch("Opticl_FCT", "OPM_Adjust")
        panel.touch("OPM_Adjust", "infomation eara!")
        panel.touch("Connect", "Connect Success!!!")
        panel.tab("board")
        panel.choose("#speed", "0.5")  # it takes a second
        panel.touch("Vdd", "AD Value")
        panel.shot("calibration")
        self.faster()
        panel.until(lambda: panel.reads("Ad:  3.0V reg:0x"), "the calibrated voltage", 180)

    def test_acquisition_is_plotted(self):
        panel = self.panel
        panel.tab("optics")
        self.assertFalse(panel.get("#plot").is_displayed(), "there is nothing to plot yet")
        panel.choose("#panel-optics select[aria-label=fibre]", "1.5 km")
        panel.until(lambda: panel.state()["optics"]["fibre_length"] == 1500, "the fibre")
        panel.touch("Opticl_FCT", "OPT_Adjust")
        panel.touch("OPT_Adjust", "Opt check")
        self.faster()
        panel.touch("Opt check")
        panel.until(lambda: panel.reads("check over!!!"), "the end of the check", 180)
        panel.until(lambda: panel.browser.find_elements(By.CSS_SELECTOR, "#plot canvas"), "the plot")
        for scale, unit in (("log", "dB"), ("lin", "ADC code")):
            panel.choose("#panel-optics select[aria-label='scale of the plot']", scale)
            ActionChains(panel.browser).move_to_element_with_offset(panel.get("#plot"), 20, 0).perform()
            panel.until(lambda: unit in panel.get("#cursor").text, f"the cursor's level in {unit}")
            panel.shot("plot-" + scale)
        self.assertIn("1550 nm", panel.get("#kept-traces").text)
        self.assertIn("1500", panel.get("#true-events").text)
        measured = lambda: panel.get("#measured").text
        self.assertRegex(measured(), r"distance 120\d\.\d+ m")
        per_kilometre = float(measured().split("fitted line ")[1].split()[0])
        self.assertAlmostEqual(0.19, per_kilometre, delta=0.1)  # the fibre at 1550 nm
        for key, grown in ((Keys.ARROW_LEFT, lambda now, old: now > old), (Keys.ARROW_RIGHT, lambda now, old: now < old)):
            before = float(measured().split("distance ")[1].split()[0])
            panel.get("#plot .cursor").send_keys(key, key)
            self.assertTrue(grown(float(measured().split("distance ")[1].split()[0]), before), "A is moved by arrow keys")
        before = measured()
        ActionChains(panel.browser).drag_and_drop_by_offset(panel.get("#plot .cursor"), 40, 0).perform()
        self.assertNotEqual(before, measured(), "A is dragged")
        now = lambda: panel.get("#curve-text").text
        panel.until(lambda: "No working point is stored" in now(), "the breakdown over the temperature")
        panel.ask(do="set", name="module.temperature", value=55)
        code = panel.state()["optics"]["breakdown_code"]
        panel.until(lambda: f"code {code:.0f} at 55.0 °C" in now(), "the breakdown at another temperature")
        self.assertTrue(panel.browser.find_elements(By.CSS_SELECTOR, "#curve canvas"))
        panel.browser.execute_script("document.getElementById('curve').scrollIntoView({block: 'center'})")
        panel.shot("curve")
        kept = lambda: panel.get("#kept-traces").text
        before = kept()
        panel.ask(do="rewind", to_us=0)
        panel.until(lambda: not panel.get("#plot").is_displayed(), "no acquisition yet")
        panel.resize(1920, 1080)
        panel.ask(do="now")
        panel.until(lambda: panel.get("#plot").is_displayed() and kept() == before, "the acquisitions again")
        panel.until(lambda: panel.get("#plot canvas").size["width"] > 300, "the plot again, after the window's other size")
        panel.resize(1280, 720)
        panel.ask(do="rewind", to_us=0)
        panel.ask(do="branch")
        panel.until(lambda: panel.reads("Welcome to K905_FCT"), "another course of things")
        self.assertFalse(panel.get("#plot").is_displayed(), "what was given up has no acquisitions")
        self.assertEqual([], panel.errors())

    def test_memory_is_decoded(self):
        panel = self.panel
        panel.touch("Opticl_FCT", "OPM_FCT")
        panel.touch("OPM_FCT", "Eeprom Check")
        panel.tab("memory")
        cells = panel.browser.find_elements(By.CSS_SELECTOR, ".map button")
        self.assertEqual(512, len(cells))
        panel.until(lambda: "blank" in (cells[1].get_attribute("aria-label") or ""), "the blank page")
        self.faster()
        panel.touch("Eeprom Check", "Eeprom Check OK!")
        panel.until(lambda: "spare" in cells[1].get_attribute("aria-label"), "the test page on the map")
        cells[1].click()
        self.assertIn("00 01 02 03", panel.get("pre.hex").text)
        panel.shot("memory-page")

    def test_board_pulled_out(self):
        panel = self.panel
        panel.touch("MainBoard_FCT", "Connect")
        panel.tab("board")
        plug = panel.get("#panel-board input[type=checkbox]")
        panel.until(plug.is_selected, "the plug as it is")
        plug.click()
        panel.until(lambda: not panel.state()["board"]["plugged"], "the board out")
        self.faster()
        panel.touch("Connect", "Connect fail!!!")
        panel.shot("unplugged")

    def test_power_cut_and_restart(self):
        panel = self.panel
        panel.ask(do="set", name="module.temperature", value=33)
        panel.tab("memory")
        panel.get("#cut").click()
        ended = panel.get("#ended")
        panel.until(ended.is_displayed, "the notice")
        self.assertEqual("The power is off", panel.get("#how").text)
        self.assertNotEqual("", panel.get("#lines").text)
        panel.shot("power-cut")
        panel.get("#restart").click()
        panel.until(lambda: not ended.is_displayed() and panel.reads("Welcome to K905_FCT"), "the restart")
        self.assertEqual(33, panel.state()["optic"]["temperature"], "the bench is as it was left")

    def events(self):
        """Where the fibre's own events lie, as the open section shows it."""
        return self.panel.browser.execute_script(
            "return [...document.querySelectorAll(\"#panel-optics input[aria-label$='at, metres']\")]"
            ".filter((one) => one.offsetParent).map((one) => one.value)")

    def test_power_off_shows_the_bench_as_it_is(self):
        panel = self.panel
        cells = lambda: panel.browser.find_elements(By.CSS_SELECTOR, ".map button")
        says = lambda page: cells()[page].get_attribute("aria-label") or ""
        panel.ask(do="set", name="optics.fibre", value=[{"at": 700, "loss": 0.5}, {"at": 900, "reflection": -40}])
        panel.touch("Opticl_FCT", "OPM_FCT")
        panel.touch("OPM_FCT", "Eeprom Check")
        panel.tab("memory")
        panel.until(lambda: "blank" in says(1), "the blank page")
        panel.enter(panel.get("#panel-memory input[aria-label=bytes]"), "64")
        panel.press("Arm")
        panel.until(lambda: panel.state()["faults"], "the armed cut")
        panel.touch("Eeprom Check")
        panel.until(panel.get("#ended").is_displayed, "the power cut")
        panel.until(lambda: "damaged" in says(1), "what the cut left of the page", 5)
        panel.shot("off-memory")
        panel.browser.refresh()
        panel.until(lambda: panel.get("#ended").is_displayed(), "the notice in a page opened later")
        panel.until(lambda: "damaged" in says(1), "the map there", 5)
        cells()[1].click()
        self.assertIn("00 01 02 03", panel.get("pre.hex").text)
        panel.tab("board")
        panel.until(panel.get("#panel-board input[type=checkbox]").is_selected, "the plug", 5)
        self.assertIn("TP97", panel.get("table.rails").text)
        panel.tab("optics")
        panel.until(lambda: self.events() == ["700", "900"], "the fibre's own events", 5)
        panel.enter(panel.get("input[aria-label='module temperature, °C']"), "41")
        panel.tab("faults")
        panel.get("#panel-faults input[id$='-sd.missing']").click()
        panel.until(lambda: panel.state()["faults"] == {"sd.missing": True}, "the fault")
        panel.until(lambda: panel.get("#tab-faults").text == "Faults 1", "its mark")
        panel.shot("off-faults")
        ActionChains(panel.browser).send_keys("1").perform()  # a key of the instrument: nothing is there
        panel.get('[data-key="f1"]').click()
        panel.until(lambda: panel.get("#message").text == "The power is off: keys and knob are dead.", "why")
        self.assertEqual(panel.get("#timeline .said").text, panel.get("#clock").text, "where time came to")
        panel.get('#timeline [title="to the moment before the last input"]').click()
        panel.until(lambda: not panel.get("#ended").is_displayed(), "the screen as it was")
        self.assertTrue(panel.reads("Eeprom Check"))
        self.assertFalse(panel.get("#restart-now").is_enabled())
        moment = panel.ask(do="hello")["now_us"]
        panel.get("#timeline input").send_keys(Keys.HOME)
        panel.until(lambda: panel.ask(do="hello")["now_us"] == 0, "power-on")
        panel.get("#timeline input").send_keys(Keys.END)
        panel.until(lambda: panel.ask(do="hello")["now_us"] > moment, "the end")
        self.assertEqual("", panel.get("#message").text)
        panel.browser.find_element(By.XPATH, "//button[text()='Return to now']").click()
        panel.until(panel.get("#ended").is_displayed, "that the power is off")
        panel.tab("memory")
        panel.until(lambda: not panel.get("#cut").is_enabled(), "what needs power")
        panel.tab("optics")
        panel.until(lambda: "No code is applied: the power is off." in panel.get("#curve-text").text, "no code")
        panel.get("#restart").click()
        panel.shows()
        self.assertEqual(41, panel.state()["optic"]["temperature"])
        self.assertEqual({"sd.missing": True}, panel.state()["faults"])
        self.assertEqual([], [one for one in panel.errors() if "409" not in one])

    def test_a_slip_is_refused_where_it_happens(self):
        panel = self.panel
        panel.resize(390, 844)
        before = panel.ask(do="bench")
        fields = {
            "optics": {"number of the module": ("", "x", "-1", "1.5"), "degrees a minute": ("", "e", "61"),
                       "module temperature, °C": ("", "86")},
            "mainboard": {"USB sticks": ("", "-", "9"), "clock of the instrument": ("", "9999-13-01 00:00:00")},
            "board": {"TP97, volts": ("", "x", "11")},
            "memory": {"bytes": ("", "x", "-1")},
        }
        for section, slips in fields.items():
            panel.tab(section)
            for label, texts in slips.items():
                field = panel.get(f"#panel-{section} input[aria-label='{label}']:not([type=range])")
                panel.until(lambda: field.get_attribute("value") != "", "the value as it is")
                old = field.get_attribute("value")
                for text in texts:
                    with self.subTest(label, text=text):
                        panel.enter(field, text)
                        note, there = panel.until(
                            lambda: panel.browser.execute_script(REFUSAL, section, field), "the reason", 5)
                        self.assertRegex(note["text"], "^[A-Z].+[.]$")
                        self.assertNotIn("exception", note["text"])
                        wide = panel.browser.execute_script("return document.documentElement.clientWidth")
                        self.assertLessEqual(note["right"], wide, "whole on a phone")
                        self.assertLess(abs(note["top"] - there), 60, "at the control")
                        if "clock" not in label:
                            self.assertEqual(old, field.get_attribute("value"))
                        else:
                            self.assertRegex(field.get_attribute("value"), "^2012-")
                panel.browser.execute_script(
                    "document.querySelectorAll('.refusal').forEach((one) => one.remove())")
        with self.subTest("letters where nothing stood"):
            for label in ("end of the ramp, °C", "number of the noise"):
                field = panel.get(f"#panel-optics input[aria-label='{label}']")
                panel.tab("optics")
                panel.enter(field, "-")
                panel.until(lambda: panel.browser.execute_script(REFUSAL, "optics", field), "the reason", 5)
                self.assertFalse(panel.browser.execute_script("return arguments[0].validity.badInput", field))
                panel.browser.execute_script("document.querySelector('.refusal').remove()")
        self.assertEqual(before, panel.ask(do="bench"))
        with self.subTest("faults"):
            panel.tab("faults")
            search = panel.get("#panel-faults input[type=search]")
            search.send_keys("zzz")
            self.assertIn('No fault has "zzz" in its name or description.', panel.get("#panel-faults").text)
            search.clear()
            search.send_keys("touch.offset")
            self.assertNotIn("No fault", panel.get("#panel-faults").text)
            panel.enter(panel.get("#panel-faults [aria-label='value of touch.offset']"), "7")
            panel.get("#panel-faults input[id$='-touch.offset']").click()
            notes = lambda: [one.text for one in panel.browser.find_elements(By.CSS_SELECTOR, ".refusal")]
            panel.until(lambda: notes() == ["touch.offset takes [right, down] in pixels, not 7."], f"the reason: {notes()}", 5)
            panel.press("Clear all")
            panel.until(lambda: notes() == [], "nothing wrong any more", 5)
        self.assertEqual([], panel.errors())
        panel.shot("slip")

    def test_fields_follow_the_instrument(self):
        panel = self.panel
        panel.tab("optics")
        panel.choose("#panel-optics select[aria-label=fibre]", "custom")
        at = panel.get("#panel-optics input[aria-label$='at, metres']")
        panel.enter(at, "123")
        panel.press("Connect this fibre")
        panel.until(lambda: [event["at"] for event in panel.state()["optics"]["fibre_events"]] == [123, 1000, 1500],
                    "the fibre")
        panel.enter(panel.get("input[aria-label='end of the ramp, °C']"), "55")
        panel.enter(panel.get("input[aria-label='degrees a minute']"), "0.15")
        panel.until(lambda: panel.state()["module"].get("temperature_end") == 55, "the ramp")
        panel.browser.refresh()
        value = lambda label: panel.get(f"#panel-optics input[aria-label='{label}']").get_attribute("value")
        panel.until(lambda: self.events() == ["123", "1000", "1500"], "the fibre after a reload", 5)
        panel.until(lambda: (value("degrees a minute"), value("end of the ramp, °C")) == ("0.15", "55"),
                    "the ramp after a reload", 5)
        panel.ask(do="set", name="module.temperature_rate", value=0)
        slider = panel.get("input[aria-label='module temperature']")
        panel.browser.execute_script("arguments[0].focus()", slider)
        panel.ask(do="set", name="module.temperature", value=61)
        panel.until(lambda: slider.get_attribute("value") == "61", "the slider that has the focus", 5)
        panel.tab("board")
        panel.until(lambda: panel.browser.find_elements(By.CSS_SELECTOR, "[aria-label='TP97 just inside, low']"), "rails")
        for edge, good in (("just below the good band", "bad"), ("just inside, low", "ok"),
                           ("just inside, high", "ok"), ("just above the good band", "bad")):
            panel.get(f"[aria-label='TP97 {edge}']").click()
            volts = panel.get("input[aria-label='TP97, volts'][type=number]")
            panel.until(lambda: good in volts.get_attribute("class") and panel.state()["board"]["held"] == ["TP97"], edge)
        panel.shot("edges")
        panel.get("[aria-label='Free TP97']").click()
        panel.until(lambda: panel.state()["board"]["held"] == [], "the rail as the board makes it")
        clock = panel.browser.execute_async_script(
            "import('./time.js').then((m) => arguments[0]([59000, 3723400].map(m.clockText)))")
        self.assertEqual(["0:59.0", "1:02:03.4"], clock)

    def test_another_panel_is_fitted(self):
        panel = self.panel
        panel.tab("mainboard")
        field = lambda side: panel.get(f"input[aria-label='{side} of the LCD, pixels']")
        for side, old, new in (("width", "800", "1024"), ("height", "480", "600")):
            panel.until(lambda: field(side).get_attribute("value") == old, f"the {side} as it is")
            panel.enter(field(side), new)
        panel.until(lambda: panel.state()["screen"]["fitted"] == [1024, 600], "the panel of the next start")
        self.assertEqual(800, panel.state()["screen"]["width"], "until then it is as it was")
        panel.get("#restart-now").click()
        panel.until(lambda: panel.browser.find_elements(By.CSS_SELECTOR, "dialog .yes"), "the question")[0].click()
        panel.until(lambda: panel.ask(do="state").get("state", {}).get("screen", {}).get("width") == 1024, "the next start")
        panel.shows()
        size = "const lcd = document.getElementById('lcd'), box = lcd.getBoundingClientRect();"
        size += "return [lcd.width, lcd.height, Math.round(100 * box.width / box.height)];"
        panel.until(lambda: panel.browser.execute_script(size) == [1024, 600, 171], "the panel on the page")
        black = lambda x: panel.picture(x, 0, 100, 600) == panel.picture(900, 0, 100, 600)
        self.assertTrue(black(800) and not black(700), "fct draws the left 800 pixels of it")
        x, y = next(one["at"] for one in panel.ask(do="controls")["controls"] if one["name"] == "MainBoard_FCT")
        box = panel.seen("#lcd")
        ActionChains(panel.browser).move_to_element_with_offset(
            panel.get("#lcd"), int(x * box["width"] / 1024 - box["width"] / 2),
            int(y * box["height"] / 600 - box["height"] / 2)).click_and_hold().pause(0.15).release().perform()
        panel.until(lambda: panel.reads("battery voltage"), "the touched screen")
        panel.shot("larger-panel")

    def test_a_page_that_is_gone_lets_go(self):
        panel = self.panel
        panel.hold('[data-key="f1"]')
        panel.until(lambda: panel.state()["keypad"]["down"] == ["f1"], "the key")
        panel.browser.execute_script("window.onblur = null; location.reload()")
        panel.until(lambda: panel.state()["keypad"]["down"] == [], "the release", 5)

    def test_crash_is_told(self):
        panel = self.panel
        os.kill(panel.ask(do="hello")["pid"], signal.SIGSEGV)
        panel.until(panel.get("#ended").is_displayed, "the notice")
        self.assertIn("crashed", panel.get("#how").text)

    def test_lost_launcher_is_told_and_found_again(self):
        panel = self.panel
        panel.end_launcher()
        panel.launch("8990")  # where no other test's launcher takes the place of a lost one
        panel.open()
        panel.end_launcher()
        panel.until(lambda: panel.get("#how").text == "Connection lost", "the notice")
        self.assertFalse(panel.get("#restart").is_displayed(), "there is nobody to restart it")
        before = panel.url
        panel.launch(before.split(":")[2].strip("/"))
        self.assertEqual(before, panel.url)
        panel.until(lambda: not panel.get("#ended").is_displayed() and panel.lit() > 1000, "the page going on")

    def test_setup_saved_and_restored(self):
        panel = self.panel
        panel.ask(do="set", name="module.temperature", value=41)
        panel.ask(do="fault", name="sd.missing")
        panel.tab("setups")
        panel.get("#panel-setups input[type=text]").send_keys("hot without card")
        panel.browser.find_element(By.XPATH, "//button[text()='Save']").click()
        panel.until(lambda: "hot without card" in panel.get("#panel-setups table").text, "the saved set-up")
        panel.press("Untouched bench", "no")
        self.assertEqual({"sd.missing": True}, panel.state()["faults"], "it was asked first")
        panel.press("Untouched bench", "yes")
        panel.until(lambda: panel.state()["optic"]["temperature"] == 25 and not panel.state()["faults"],
                    "the untouched bench")
        panel.press("Remove", "no")
        panel.press("Restore", "yes")
        panel.until(lambda: panel.ask(do="state").get("state", {}).get("optic", {}).get("temperature") == 41,
                    "the heat")
        panel.until(lambda: panel.state()["faults"] == {"sd.missing": True}, "the fault")
        panel.shot("restored")
        panel.press("Remove", "yes")
        panel.until(lambda: panel.ask(do="benches")["names"] == [], "the removal")

    def test_setup_is_of_its_specimen(self):
        panel = self.panel
        panel.ask(do="bench_save", name="first specimen")
        panel.end_launcher()
        panel.launch("8950", "--seed", "7")
        self.assertEqual(7, panel.ask(do="hello")["seed"])
        panel.ask(do="bench_restore", name="first specimen")
        panel.until(lambda: panel.ask(do="hello").get("seed") == 1, "the specimen of the set-up")

    def test_link_reproduces_a_setup(self):
        panel = self.panel
        panel.ask(do="set", name="optics.fibre", value="1.5 km")
        panel.tab("setups")
        panel.browser.find_element(By.XPATH, "//button[text()='Link to this set-up']").click()
        field = panel.get("#panel-setups input[aria-label=link]")
        panel.until(lambda: field.get_attribute("value") != "", "the link")
        link = field.get_attribute("value")
        panel.ask(do="set", name="optics.fibre", value="none")
        panel.browser.get("about:blank")
        panel.browser.get(link)
        panel.until(lambda: panel.browser.find_elements(By.ID, "apply-link"), "the question")
        self.assertEqual("none", panel.state()["optics"]["fibre"], "nothing happens unasked")
        self.assertIn("optics.fibre", panel.get("#link tbody").text)
        panel.get("#apply-link").click()
        panel.until(lambda: panel.state()["optics"]["fibre"] == "1.5 km", "the fibre")
        with self.subTest("refused"):
            bench = base64.urlsafe_b64encode(b'{"set":{"optics.fibre":"none","usb.sticks":99}}').decode().rstrip("=")
            panel.browser.get("about:blank")
            panel.browser.get(panel.url + "#bench=" + bench)
            panel.until(lambda: panel.browser.find_elements(By.ID, "apply-link"), "the question")
            panel.get("#apply-link").click()
            panel.until(lambda: "usb.sticks is 0 to 8" in panel.get("#link").text, "the refusal")
            self.assertEqual("1.5 km", panel.state()["optics"]["fibre"], "all of it or nothing")

    def test_damaged_link_is_told(self):
        panel = self.panel
        for damage in ("bnVsbA", "WzFd", "eyJzZXQiOjF9", "eyJzZXQi", "", "%20"):  # null, [1], {"set":1}
            with self.subTest(damage=damage):
                panel.browser.get("about:blank")
                panel.browser.get(panel.url + "#bench=" + damage)
                panel.until(lambda: panel.browser.find_elements(By.ID, "link") and
                            "damaged" in panel.get("#link").text, "the message")
                panel.until(lambda: panel.lit() > 1000, "the picture all the same")
                self.assertFalse(panel.browser.find_elements(By.ID, "apply-link"))

    def test_custom_fibre(self):
        panel = self.panel
        panel.tab("optics")
        choice = "#panel-optics select[aria-label=fibre]"
        panel.until(lambda: "25.0" in panel.get("#panel-optics").text, "the state of the module")
        panel.choose(choice, "custom")
        connect = panel.browser.find_element(By.XPATH, "//button[text()='Connect this fibre']")
        connect.send_keys("")  # the focus is elsewhere now
        panel.ask(do="set", name="module.temperature", value=31)
        panel.until(lambda: "31.0" in panel.get("#panel-optics").text, "a later state of the module")
        self.assertTrue(connect.is_displayed(), "the editor stays open")
        connect.click()
        panel.until(lambda: panel.state()["optics"]["fibre_length"] == 1500, "the fibre")
        with self.subTest("what is edited is not lost when another page connects a fibre"):
            panel.enter(panel.get("input[aria-label='event 1, at, metres']"), "321")
            pending = lambda: "not connected" in panel.get("#panel-optics").text
            panel.until(pending, "that the edit is not connected")
            panel.ask(do="set", name="optics.fibre", value=[{"at": 700, "loss": 0, "reflection": -14}])
            panel.until(lambda: "700 m connected" in panel.get("#panel-optics").text, "the other page's fibre")
            self.assertEqual(["321", "1000", "1500"], self.events())
            connect.click()
            panel.until(lambda: panel.state()["optics"]["fibre_events"][0]["at"] == 321, "the edited fibre")
            panel.until(lambda: not pending(), "that it is connected")
            panel.ask(do="set", name="optics.fibre", value=[{"at": 700, "loss": 0, "reflection": -14}])
            panel.until(lambda: self.events() == ["700"], "what is connected, where nothing was edited")
        panel.choose(choice, "5 m")
        panel.until(lambda: panel.state()["optics"]["fibre_length"] == 5, "another fibre")
        panel.until(lambda: not connect.is_displayed(), "the editor's end")

    def test_trace_goes_on_after_a_restart(self):
        panel = self.panel
        panel.tab("trace")
        panel.browser.find_element(By.XPATH, "//button[text()='Record']").click()
        panel.touch("MainBoard_FCT", "Connect")
        panel.touch("Connect")
        lines = panel.get("#panel-trace .trace")
        panel.until(lambda: "serial" in lines.text, "the first trace")
        self.assertIn("●", panel.get("#tab-trace").text, "the sign of a recording")
        search = panel.get("#panel-trace input[type=search]")
        search.send_keys("serial -tx")
        panel.until(lambda: "rx" in lines.text and "tx" not in lines.text, "what the words leave")
        search.clear()
        search.send_keys(" ")
        box = panel.browser.find_element(By.XPATH, "//*[@id='panel-trace']//label[contains(., 'serial')]/input")
        box.click()
        self.assertNotIn("serial", lines.text, "a kind that is unticked leaves")
        box.click()
        self.assertIn("serial", lines.text, "and comes back")
        search.clear()
        search.send_keys("nosuchword")
        self.assertIn("No line matches.", panel.browser.execute_script(
            "return getComputedStyle(document.querySelector('#panel-trace .trace'), '::before').content"))
        panel.browser.refresh()
        panel.until(lambda: "recording" in panel.get("#panel-trace").text and
                    "serial" in panel.get("#panel-trace .trace").text, "what was recorded, after a reload")
        lines = panel.get("#panel-trace .trace")
        before = panel.ask(do="hello")["pid"]
        panel.get("#restart-now").click()
        self.assertEqual("Cancel", panel.browser.switch_to.active_element.text, "Enter is harmless")
        panel.get("dialog .no").click()
        self.assertEqual(before, panel.ask(do="hello")["pid"])
        panel.get("#restart-now").click()
        panel.get("dialog .yes").click()
        panel.until(lambda: panel.ask(do="hello").get("pid", before) != before and
                    panel.reads("Welcome to K905_FCT"), "the restart")
        panel.browser.find_element(By.XPATH, "//button[text()='Clear']").click()
        panel.touch("MainBoard_FCT", "Connect")
        panel.touch("Connect")
        panel.until(lambda: "serial" in lines.text, "the second trace")

    def test_armed_power_cut_outlasts_a_restart(self):
        panel = self.panel
        panel.ask(do="fault", name="module.eeprom_cut", value=200)
        before = panel.ask(do="hello")["pid"]
        panel.get("#restart-now").click()
        panel.get("dialog .yes").click()
        panel.until(lambda: panel.ask(do="hello").get("pid", before) != before, "the restart")
        self.assertIn("module.eeprom_cut", panel.state()["faults"])
        panel.tab("memory")
        panel.until(lambda: panel.get("#armed").text == "armed: after 200 bytes", "that it is armed")
        panel.press("Disarm")
        panel.until(lambda: not panel.get("#armed").is_displayed() and panel.state()["faults"] == {}, "that it is not any more")

    def test_fits_every_window(self):
        panel = self.panel
        panel.tab("board")
        sizes = ((1920, 1080), (1280, 720), (1240, 800), (1024, 768), (768, 1024), (390, 844), (844, 390))
        for width, height in sizes:
            with self.subTest(width=width):
                panel.resize(width, height)
                wide = panel.browser.execute_script("return document.documentElement.scrollWidth")
                self.assertLessEqual(wide, width, "nothing stands out at the side")
                panel.browser.execute_script("scrollTo(0, document.documentElement.scrollHeight)")
                lcd = panel.seen("#lcd")
                self.assertAlmostEqual(5 / 3, lcd["width"] / lcd["height"], delta=0.02)
                self.assertTrue(lcd["top"] >= 0 and lcd["bottom"] <= height and lcd["right"] <= width,
                                f"the screen is in view at the page's end, {lcd}")
                if width >= 1240:
                    self.assertLessEqual(panel.seen(".instrument")["bottom"], height, "so is the whole front")
                    self.assertGreaterEqual(lcd["width"], 1200 if width == 1920 else 800)
                panel.shot(f"width-{width}")
        panel.resize(1280, 720)
        self.assertEqual((800, 480), tuple(panel.get("#lcd").rect[side] for side in ("width", "height")))
        panel.resize(2600, 1600)
        for scale in ("2", "3"):
            panel.choose("#scale", scale)
            self.assertEqual(800 * int(scale), panel.get("#lcd").rect["width"])
        panel.open()
        self.assertEqual(2400, panel.get("#lcd").rect["width"], "the size is remembered")
        panel.choose("#scale", "fit")
        self.assertGreater(2300, panel.get("#lcd").rect["width"])

    def test_time_line(self):
        panel = self.panel
        panel.touch("MainBoard_FCT", "Connect")
        time.sleep(0.5)
        before = panel.picture()
        panel.touch("Key Check", "Anti")
        panel.until(lambda: len(panel.browser.find_elements(By.CSS_SELECTOR, "#timeline .marks i")) >= 4, "marks")
        self.assertFalse(panel.get("#timeline").get_attribute("class").endswith("past"))
        for what in ("up", "down"):
            panel.get('#timeline [title="to the moment before the last input"]').click()
            inputs = [each["at_us"] for each in panel.ask(do="session")["inputs"] if each["request"]["action"] == what]
            panel.until(lambda: panel.ask(do="hello")["now_us"] == inputs[-1] - 1, f"the moment before the finger went {what}")
        self.assertIn("the past", panel.get("#timeline .said").text)
        panel.until(lambda: panel.picture() == before, "its picture")
        self.assertLessEqual(panel.seen(".instrument")["bottom"], 720, "the keys stay in view")
        panel.shot("past")
        moment = panel.ask(do="hello")["now_us"]
        panel.get('[data-key="f1"]').click()
        panel.until(lambda: "This is the past" in panel.get("#message").text, "why a key does nothing")
        slider = panel.get("#timeline input")
        slider.send_keys(Keys.ARROW_LEFT)
        panel.until(lambda: panel.ask(do="hello")["now_us"] == moment - 100_000, "a tenth of a second back")
        panel.press("Return to now")
        panel.until(lambda: panel.reads("Anti"), "the instrument itself")
        self.assertEqual("", panel.get("#message").text)
        slider.send_keys(Keys.HOME)
        panel.until(lambda: panel.texts() == [], "power-on")
        for _ in range(2):
            panel.get('#timeline [title="to the moment after the next input"]').click()
            panel.until(lambda: panel.reads("Welcome to K905_FCT"), "the start screen again")
            time.sleep(0.5)
        panel.press("Go on from here", "yes")
        panel.until(lambda: panel.reads("Voltage Check"), "what the touch opens")
        self.assertEqual(2, len(panel.ask(do="session")["inputs"]), "what came later is given up")
        panel.ask(do="knob", steps=1)
        panel.browser.execute_script(
            "for (let i = 0; i < 2; ++i) document.querySelector('#timeline [title=\"to the moment before the last input\"]').click()")
        panel.until(lambda: panel.get("#timeline").get_attribute("class") == "timeline past", "the moment before it")
        panel.until(lambda: panel.browser.find_elements(By.CSS_SELECTOR, "#timeline [title$='knob 1']"), "its mark")
        self.assertEqual(1, len(panel.browser.find_elements(By.CSS_SELECTOR, "#timeline [title$='knob 1']")))

    def test_phone(self):
        panel = self.panel
        panel.resize(390, 844, touch=True)
        panel.open()
        self.assertEqual(0, panel.seen("#lcd")["top"], "the screen comes first")
        self.assertFalse(panel.get("#keys").is_displayed())
        panel.swipe(117, 104, -60)  # begins on MainBoard_FCT
        panel.until(lambda: panel.browser.execute_script("return scrollY") > 20, "a scroll from the screen", 5)
        time.sleep(0.3)
        self.assertTrue(panel.reads("Welcome to K905_FCT"), "a swipe touches nothing")
        panel.swipe(117, 104, 0)  # a tap
        panel.until(lambda: panel.reads("Connect"), "what a tap opens", 10)
        panel.browser.execute_script("scrollTo(0, 0)")
        panel.get("#unfold").click()
        self.assertTrue(panel.get('[data-key="menu"]').is_displayed())
        for section in SECTIONS:
            with self.subTest(section):
                panel.tab(section)
                self.assertEqual([], panel.browser.execute_script(SMALL_TARGETS))
                self.assertEqual(390, panel.browser.execute_script("return document.documentElement.scrollWidth"))


if __name__ == "__main__":
    run_tests()
