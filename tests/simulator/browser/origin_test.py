#!/usr/bin/python3
"""What wrote this, the trace section, and the starts of a session."""

import re
import sys

from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys

sys.dont_write_bytecode = True  # the sources stay clean
from panel_page import PageTest, run_tests


class OriginTest(PageTest):
    def answer(self, place):
        """The answer to "What wrote this?" of that place, which is asked there."""
        self.press(place, "What wrote this?")
        return self.answered(place)

    def answered(self, place):
        self.panel.until(lambda: self.panel.browser.find_elements(By.CSS_SELECTOR, f"#{place} .origin"), "the answer")
        return self.panel.get(f"#{place} .origin span").text

    def on_the_lcd(self, x, y):
        lcd = self.panel.get("#lcd")
        scale = lcd.rect["width"] / 800
        return ActionChains(self.panel.browser).move_to_element_with_offset(
            lcd, int((x - 400) * scale), int((y - 240) * scale))

    def press(self, place, text):
        self.panel.browser.find_element(By.XPATH, f"//*[@id='{place}']//button[text()='{text}']").click()

    def place_of(self, text):
        run = next(run for run in self.panel.ask(do="text")["runs"] if run["text"] == text)
        return run["x"] + 10, run["y"] + 6

    def test_what_wrote_a_text_a_byte_and_what_an_earlier_start_did(self):
        panel = self.panel
        panel.touch("MainBoard_FCT", "battery voltage")
        pick = panel.browser.find_element(By.XPATH, "//*[@id='timeline']//button[text()='What wrote this?']")
        pick.click()
        panel.browser.switch_to.active_element.send_keys(Keys.ESCAPE)
        self.assertEqual("false", pick.get_attribute("aria-pressed"))
        inputs = len(panel.ask(do="session")["inputs"])
        pick.click()
        self.on_the_lcd(20, 200).click().perform()
        panel.until(lambda: "No text stands there." in panel.get("#found").text, "that there is none")
        pick.click()
        self.on_the_lcd(*self.place_of("battery voltage")).click().perform()
        told = self.answered("found")
        self.assertRegex(told, r'^Drawn [0-9.]+ s after power-on by thread DefaultWindowThread: "battery voltage" came')
        self.assertIn('Before it from outside: touch down on "MainBoard_FCT"', told)
        self.assertEqual(inputs, len(panel.ask(do="session")["inputs"]), "the instrument felt nothing of it")
        self.press("found", "Go there")
        panel.until(lambda: panel.get("#timeline").get_attribute("class") == "timeline past", "the past")
        self.assertTrue(panel.reads("battery voltage"))
        x, y = self.place_of("battery voltage")
        drawn = panel.ask(do="origin", text="battery voltage", x=x, y=y)
        self.assertEqual(panel.ask(do="hello")["now_us"], drawn["at_us"])
        self.assertLess(drawn["at_us"] - drawn["after_us"], 1000)
        there = self.at(drawn["at_us"])
        self.assertIn("battery voltage", [run["text"] for run in there])
        self.assertNotIn("battery voltage", [run["text"] for run in self.at(drawn["after_us"]) if run in there])
        self.press("timeline", "Return to now")
        panel.until(lambda: panel.get("#timeline").get_attribute("class") == "timeline", "now")

        panel.touch("Arm Eeprom", "Arm Eeprom Check OK!")
        panel.tab("memory")
        panel.choose("#panel-memory select[aria-label='memory of the byte']", "mainboard")
        field = panel.get("#panel-memory input[aria-label='address of the byte']")
        panel.enter(field, "0x20000")
        panel.until(lambda: "is expected" in panel.get("#panel-memory").text, "the refusal")
        self.assertEqual("0x0000", field.get_attribute("value"))
        panel.enter(field, "1")
        self.assertIn("i2c mainboard write 0x0000 128 bytes, 0xff before", self.answer("panel-memory"))
        self.assertRegex(panel.get("#panel-memory .hex").text, "^0000  [0-9a-f]{2} 00 ")
        self.assertIn("Page 0 of the main board's EEPROM.", panel.get("#panel-memory").text)
        panel.enter(field, "0xffff")
        panel.choose("#panel-memory select[aria-label='memory of the byte']", "module")
        self.press("panel-memory", "What wrote this?")
        panel.until(lambda: "as it was at the first power-on" in panel.get("#panel-memory .answer").text, "the answer")
        panel.until(lambda: panel.browser.find_elements(By.CSS_SELECTOR, "#panel-memory .map button")[1:], "the map")[0].click()
        dump = panel.get("#panel-memory .hex")
        self.assertEqual("ff", dump.find_element(By.TAG_NAME, "mark").text)
        mark = dump.find_element(By.TAG_NAME, "mark").rect
        ActionChains(panel.browser).move_to_element(dump.find_element(By.TAG_NAME, "mark")).move_by_offset(
            int(3 * mark["width"] / 2), 0).click().perform()
        self.assertEqual("0x0081", field.get_attribute("value"))

        before = panel.ask(do="hello")["pid"]
        panel.ask(do="restart")
        panel.until(lambda: panel.ask(do="hello").get("pid", before) != before, "the restart")
        panel.shows()
        panel.enter(field, "1")
        panel.choose("#panel-memory select[aria-label='memory of the byte']", "mainboard")
        self.assertIn("after the power-on of start 1", self.answer("panel-memory"))
        panel.until(lambda: panel.get("#timeline select[aria-label^='start']").is_displayed(), "the starts")
        panel.choose("#timeline select[aria-label^='start']", "0")
        panel.until(lambda: panel.reads("Arm Eeprom Check OK!"), "the end of the first start")
        panel.choose("#timeline select[aria-label^='start']", "1")
        panel.until(lambda: panel.get("#timeline").get_attribute("class") == "timeline", "now")
        self.assertEqual([], panel.errors())

    def at(self, moment):
        self.panel.ask(do="rewind", to_us=moment)
        return self.panel.ask(do="text", ink=True)["runs"]

    def test_the_trace_collapses_and_explains(self):
        panel = self.panel
        panel.tab("trace")
        panel.press("Record")
        trace = panel.get("#panel-trace .trace")
        polls = lambda: re.findall(r" main sleep 100 ms x(\d+)", trace.text)
        panel.until(lambda: polls() and int(polls()[-1]) > 8, "what an idle instrument repeats")
        self.assertEqual(1, len(polls()), "one line that counts on")
        panel.touch("MainBoard_FCT", "Connect")
        panel.touch("Connect", "Connect success!!!")
        panel.until(lambda: "serial tx 02 07 23   connect" in trace.text, "the request in words")
        self.assertIn("connect -> connected", trace.text)
        panel.touch("Visible Check", "Visible Check!")
        lights = "//*[@id='panel-trace']//*[@class='group'][contains(., 'visible_light=')]"
        group = lambda: panel.browser.find_elements(By.XPATH, lights)
        panel.until(lambda: group() and "×" in group()[-1].text, "the repeats as one line")
        fold = group()[-1].find_element(By.TAG_NAME, "button")
        panel.until(lambda: int(group()[-1].find_element(By.TAG_NAME, "b").text.split(",")[0][2:]) > 20, "it grows")
        self.assertEqual(fold, group()[-1].find_element(By.TAG_NAME, "button"), "who has the focus there keeps it")
        fold.click()
        panel.until(lambda: len(group()[-1].find_elements(By.CSS_SELECTOR, ".lines [role=option]")) > 40, "its lines")
        panel.shot("trace")
        search = panel.get("#panel-trace input[type=search]")
        search.send_keys("visible_light=1 -sleep")
        panel.until(lambda: "sleep" not in trace.text and "visible_light=1" in trace.text, "what the words leave")
        panel.press("Stop")
        trace.find_element(By.CSS_SELECTOR, ".reg").click()
        told = self.answer("panel-trace")
        self.assertRegex(told, r"^Written [0-9.]+ s after power-on by thread OpenVLS: reg write 0x30000002")
        self.assertIn("control_out visible_light=", told)
        search.send_keys(Keys.CONTROL, "a", Keys.DELETE)
        first = next(line for line in trace.text.splitlines() if "visible_light=" in line)
        panel.ask(do="rewind", to_us=int(float(first.split()[0]) * 1e6) - 1)
        panel.until(lambda: "visible_light=" not in trace.text and "connect -> connected" in trace.text, "the trace as it was")
        panel.ask(do="now")
        panel.until(lambda: "visible_light=" in trace.text, "all of it")
        self.assertEqual([], panel.errors())


if __name__ == "__main__":
    run_tests()
