#!/usr/bin/python3
"""usage: scripts_test.py K905 SCREENSHOTS: tests are recorded, made of clicks and run on the page."""

import json
import os
import subprocess
import sys
import time

from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys

sys.dont_write_bytecode = True  # the sources stay clean
from panel_page import PageTest, run_tests

POWER_CUT = """# as it was left
{"do":"fault","name":"sd.missing"}
{"do":"expect","text":"Welcome"}

{"do":"power_cut"}
{"do":"expect","memory":"module","at":0,"bytes":"ff"}
{"do":"restart"}
{"do":"touch","control":"MainBoard_FCT"}
{"do":"expect","text":"Voltage Check"}
{"do":"expect","state":"faults","value":{"sd.missing":true}}
"""


class Scripts(PageTest):
    def setUp(self):
        super().setUp()
        self.panel.browser.execute_cdp_cmd(
            "Browser.setDownloadBehavior", {"behavior": "allow", "downloadPath": self.panel.folder.name})
        self.panel.tab("scripts")

    # ---- Hands and eyes of this section

    def script(self):
        return self.panel.get("textarea.script").get_attribute("value")

    def status(self):
        return self.panel.get("#script-status").text

    def says(self, text):
        try:
            self.panel.until(lambda: text in self.status(), f"{text!r} as status")
        except AssertionError as missing:
            raise AssertionError(f"it is {self.status()!r}, note {self.panel.get('.note').text!r}") from missing

    def signs(self):
        """Of each line of the script the classes of its mark."""
        return [one.get_attribute("class") for one in self.panel.browser.find_elements(By.CSS_SELECTOR, ".gutter div")]

    def write(self, text):
        """Over the whole script."""
        area = self.panel.get("textarea.script")
        area.send_keys(Keys.CONTROL, "a")
        area.send_keys(text)

    def load(self, text):
        path = self.panel.folder.name + "/loaded.jsonl"
        with open(path, "wb") as file:
            file.write(text if isinstance(text, bytes) else text.encode())
        self.panel.get("#panel-scripts input[type=file]").send_keys(path)

    def caret(self, line):
        """To the beginning of a line, from 1 on."""
        area = self.panel.get("textarea.script")
        area.send_keys(Keys.CONTROL, Keys.HOME)
        area.send_keys(*[Keys.ARROW_DOWN] * (line - 1))

    def pick(self, element, x, y):
        """A click that expects what lies so far from the middle of it; the line that is proposed."""
        self.panel.get("#pick").click()
        time.sleep(0.4)  # the texts of the screen are asked for
        ActionChains(self.panel.browser).move_to_element_with_offset(element, x, y).perform()
        return self.picked()

    def picked(self):
        self.panel.until(lambda: self.panel.get(".pick-outline").is_displayed(), "the outline")
        ActionChains(self.panel.browser).click().perform()
        field = self.panel.get("#expectation")
        self.panel.until(lambda: field.get_attribute("value") != "", "the line")
        line = field.get_attribute("value")
        self.panel.get("#add-expectation").click()
        return line

    def pick_text(self, text):
        run = next(run for run in self.panel.ask(do="text")["runs"] if text in run["text"])
        return self.pick(self.panel.get("#lcd"), run["x"] + 20 - 400, run["y"] + 8 - 240)

    # ---- Tests

    def test_recorded_test_is_made_and_run(self):
        panel = self.panel
        panel.press("Restart and record", "yes")
        panel.until(lambda: panel.get("#recording").text == "recording", "the recording")
        panel.shows()
        panel.touch("MainBoard_FCT", "Connect")
        panel.browser.refresh()
        panel.until(lambda: panel.get("#recording").text == "recording", "the recording after a reload")
        panel.touch("Connect", "Connect success!!!")
        self.assertIn('{"do":"touch","action":"down","control":"MainBoard_FCT"}', self.script())
        with self.subTest("a text, by click"):
            self.assertIn('"text":"Connect success!!!","x":', self.pick_text("Connect success"))
            self.assertTrue(panel.reads("Connect success"), "the click touched nothing")
        with self.subTest("a value of the state, by click"):
            panel.tab("scripts")
            panel.get("#pick").click()
            panel.tab("mainboard")
            value = panel.until(lambda: panel.browser.find_elements(By.CSS_SELECTOR, "[data-state='fpga.configured']"), "it")[0]
            ActionChains(panel.browser).move_to_element(value).perform()
            self.assertEqual('{"do":"expect","state":"fpga.configured","value":true}', self.picked())
        with self.subTest("what is refused is no line"):
            panel.tab("mainboard")
            panel.enter(panel.get("input[aria-label='clock of the instrument']"), "abc")
            panel.until(lambda: panel.browser.find_elements(By.CSS_SELECTOR, "#panel-mainboard .refusal"), "the refusal")
            self.assertNotIn("rtc.time", self.script())
            panel.tab("scripts")
        with self.subTest("a byte and a register, by click"):
            panel.get("#pick").click()
            panel.tab("memory")
            panel.until(lambda: panel.browser.find_elements(By.CSS_SELECTOR, "#panel-memory .map button")[1:], "the map")[0].click()
            dump = panel.until(lambda: panel.browser.find_elements(By.CSS_SELECTOR, "#panel-memory pre.hex"), "the page")[0]
            panel.browser.execute_script("arguments[0].scrollIntoView({block: 'center'})", dump)
            column = dump.size["width"] / 2 - 8 - 6.6 * 7  # of the first byte: the text begins with the address
            ActionChains(panel.browser).move_to_element_with_offset(dump, int(-column), 0).perform()
            self.assertRegex(self.picked(), '{"do":"expect","memory":"module","at":"0x00[89a-f]0","bytes":"ff"}')
            panel.tab("trace")
            panel.press("Record")
            panel.until(lambda: panel.ask(do="trace", action="read")["next"] > 0, "a trace")
            panel.touch("Visible Check")
            registers = lambda: panel.browser.find_elements(By.CSS_SELECTOR, "#panel-trace .reg")
            panel.until(lambda: len(registers()) > 1, "what the light's register reads and takes")
            panel.press("Stop")
            panel.tab("scripts")
            panel.get("#pick").click()
            panel.tab("trace")
            ActionChains(panel.browser).move_to_element(registers()[-1]).perform()
            self.assertRegex(self.picked(), '{"do":"expect","register":"0x30000002","value":"0x07f9"}')
            panel.get("textarea.script").send_keys(Keys.CONTROL, Keys.END)
        panel.get("#expectation").send_keys("Voltage", Keys.ENTER)  # by keyboard
        panel.press("End the recording")
        self.assertEqual(5, self.script().count('"expect"'))
        panel.press("Save")
        saved = panel.folder.name + "/k905-script.jsonl"
        panel.until(lambda: os.path.exists(saved), "the saved script")
        with self.subTest("run on the page"):
            panel.press("Run", "no")
            self.assertEqual("", self.status(), "it was asked first")
            panel.press("Run", "yes")
            self.says("Passed to its end.")
            panel.shot("script-passed")
            self.assertEqual(self.script().count('"do"'), self.signs().count("passed"))
            panel.until(lambda: panel.ask(do="hello")["speed"] == 1, "time as it was")
        done = subprocess.run([sys.argv[1], "check", saved, "--out", panel.folder.name], capture_output=True,
                              text=True, check=False)
        self.assertEqual(0, done.returncode, done.stdout)
        with open(panel.folder.name + "/session.jsonl", encoding="utf-8") as file:
            replayed = [line for line in map(json.loads, file) if "request" in line]
        self.assertEqual(replayed, panel.ask(do="session")["inputs"], "to the microsecond")
        with self.subTest("a hand has used it since"):
            panel.ask(do="knob", steps=1)
            panel.press("Run", "no")
        with self.subTest("from the middle"):
            self.assertEqual("fresh", panel.get("[aria-label='where the run begins']").get_attribute("value"))
            panel.press("Record from now", "yes")
            panel.until(lambda: panel.get("#recording").text == "recording", "the recording")
            panel.press("End the recording")
            self.assertTrue(self.script().startswith("# Begins where the instrument stood"), self.script())
            panel.until(lambda: panel.get("[aria-label='where the run begins']").get_attribute("value") == "now", "its run")
        self.assertEqual([], panel.errors())

    def test_expectation_that_fails(self):
        panel = self.panel
        panel.press("Run")
        self.says("The script is empty")
        self.load(b"\0\1\2")
        panel.until(lambda: "no text" in panel.get("#panel-scripts").text, "the refusal of a file")
        self.load('{"do":"wait","ms":100}\n{"do":"wayt"}\n')
        panel.until(lambda: "wayt" in self.script(), "the loaded script")
        panel.press("Run")
        self.says("Line 2 is no request; nothing was run.")
        self.assertIn('There is no request "wayt".', panel.get(".note").text)
        self.write('{"do":"wait","ms":100}\n{"do":"expect","text":"Farewell","limit_ms":500}\n{"do":"wait","ms":1}')
        panel.ask(do="power_cut")
        panel.until(panel.get("#ended").is_displayed, "the end of the power")
        panel.press("Run", "yes")
        self.says("Failed at line 2; the instrument is held at that moment.")
        self.assertEqual(["passed", "failed current", ""], self.signs())
        note = panel.get(".note").text
        self.assertIn("Farewell", note.split("found")[0])
        self.assertIn("Welcome to K905_FCT", note.split("found")[1])
        panel.shot("script-failed")
        panel.get("#pause").click()
        self.says("Failed at line 2; time has gone on since.")
        panel.get("#pause").click()
        panel.until(lambda: panel.ask(do="hello")["paused"], "the pause")
        held = panel.ask(do="hello")
        with self.subTest("held over a reload"):
            panel.open()
            self.says("the script stands at the marked line")
            self.assertEqual(held["now_us"], panel.ask(do="hello")["now_us"])
        with self.subTest("mended, and gone on from there"):
            panel.get("textarea.script").send_keys(Keys.CONTROL, "a")
            self.write('{"do":"wait","ms":100}\n{"do":"expect","text":"Welcome"}')
            panel.press("Continue")
            self.says("Passed to its end.")
            self.assertFalse(panel.ask(do="hello")["paused"], "time goes on")
        with self.subTest("an example"):
            panel.choose("#panel-scripts select[aria-label='load an example']", "power_cut_in_the_module_record.jsonl")
            panel.until(lambda: panel.browser.find_elements(By.CSS_SELECTOR, "dialog .yes"), "the question")
            panel.get("dialog .yes").click()
            panel.press("Run", "yes")
            self.says("Passed to its end.")
            self.assertEqual(self.script().count('"do"'), self.signs().count("passed"))

    def test_script_with_power_cut_step_by_step(self):
        panel = self.panel
        self.load(POWER_CUT)
        panel.until(lambda: "power_cut" in self.script(), "the loaded script")
        panel.choose("#panel-scripts select[aria-label='where the run begins']", "now")
        self.caret(7)
        panel.get("textarea.script").send_keys(Keys.F9)
        self.caret(5)
        panel.press("To the caret")
        self.says("Stopped before line 5.")
        self.assertEqual(["", "passed", "passed", "", "current", "", "stop"], self.signs()[:7])
        panel.press("Step")
        self.says("Line 6 is next.")
        panel.until(lambda: panel.get("#ended").is_displayed(), "the end of the power")
        panel.press("Continue")
        self.says("Stopped before line 7.")
        panel.shot("script-stopped")
        panel.press("Continue")
        self.says("Passed to its end.")
        self.assertEqual(7 + 1, " ".join(self.signs()).count("passed"))
        with self.subTest("not in the past"):
            back = panel.get('#timeline [title="to the moment before the last input"]')
            panel.until(back.is_enabled, "the way into the past")
            back.click()
            panel.until(lambda: panel.get("#script-forbidden").is_displayed(), "why it cannot run")
            self.assertFalse(panel.get("#run-script").is_enabled())
            self.assertFalse(panel.get("#record").is_enabled())
            panel.tab("trace")
            self.assertIn("return to now to record", panel.get("#panel-trace").text)
            self.assertFalse(panel.browser.find_element(By.XPATH, "//button[text()='Record']").is_enabled())
            panel.press("Return to now")
            panel.tab("scripts")
            panel.until(panel.get("#run-script").is_enabled, "the present")
        with self.subTest("not in another start"):
            panel.press("Step")
            self.says("Line 3 is next.")
            panel.ask(do="restart")
            self.says("Ended: the instrument was started again, or went on from another moment.")
            self.assertNotIn("current", " ".join(self.signs()))
        with self.subTest("not changed while it runs"):
            panel.choose("#panel-scripts select[aria-label='how time passes']", "watch")
            self.write('{"do":"wait","ms":60000}')
            panel.press("Run")
            self.says("line 1 of 1")
            panel.get("#expectation").send_keys("Welcome", Keys.ENTER)
            self.assertEqual('{"do":"wait","ms":60000}', self.script())
        with self.subTest("somebody else looks at the past meanwhile"):
            self.assertTrue(panel.ask(do="rewind", to_us=0)["ok"])
            self.says("Stopped at line 1: a moment of the past is shown.")
            self.assertEqual(["current"], self.signs())
            panel.ask(do="now")
            panel.until(panel.get("#run-script").is_enabled, "the present")
            panel.press("Stop")
            self.says("Stopped.")


if __name__ == "__main__":
    run_tests()
