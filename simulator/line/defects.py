#!/usr/bin/env python3
"""The defects that a production line may meet, and which steps of the job see each of them.

A row is a specimen with one defect. `set` (quantities) and `faults` are in force before the program starts.
`sees`: steps that must fail. `may`: steps that may fail or pass: what follows from a failed step, and what
the specimen's own spread decides. Every other step must pass. `inside`: it lies inside the limits, or a loop
makes up for it, so that nothing may fail. Where a step that opens a screen fails, the
job ends; steps that it does not reach are not judged.

The expectations are derived from what a step looks at, not from what it was seen to say; three were wrong
when the matrix was first run, and docs/verdicts.md says which and why. With `sees` empty
no step notices the defect, and `why` says what a check would have to look at.

How large a defect is: a specimen's own spread is given in docs/simulator.md and docs/optics.md. A rail is
held 3 mV beside its limit, eleven times the noise of a reading. The ADC check reads 0.25 V with at most 31
mV of spread, so that 0.1 V leaves its limits (0.2 to 0.3 V) for every specimen and 15 mV for none. The
light path has 2.5 and 2.1 dB (5 log10) to spare, with a deviation of 0.19: 10 dB less light take 5 away and
leave none good, 2 dB less take 1 and leave all good. A DAC's 0.05 V (82 codes) is more than any spread and
within reach of its loop.

Not here: dead lines of the LCD. The simulator reads texts from the framebuffer, in front of the panel, and
no check looks at the panel, so whether a row was seen would say something of the reader of texts, not of
the job. A check would need a picture that fills the panel, a colour at a time, and the operator's answer.

    defects.py          prints the catalogue
    defects.py --check  names what is wrong with it
"""
import argparse
import re
import sys
from dataclasses import dataclass, field
from pathlib import Path

from measurements import MAIN_BOARD_LIMITS, MODULE_LIMITS, rail_of

MAIN_BOARD, MODULE = "main-board", "module"


@dataclass(frozen=True)
class Defect:
    job: str
    name: str
    sees: tuple
    why: str
    set: dict = field(default_factory=dict)
    faults: dict = field(default_factory=dict)
    may: tuple = ()
    inside: bool = False


# Captions on the key check screen; the key's own name is the caption in small letters.
KEYS = ("Menu", "F1", "F2", "F3", "F4", "F5", "Esc", "File", "Scale", "Setup", "Up", "Left", "Enter", "Right",
        "Down", "Realt", "Knob", "Avg")
KNOB = ("Knob clockwise", "Knob anticlockwise")

BESIDE, BESIDE_TEXT = 0.003, "3 mV"  # volts

# What follows from a failed step.
WITHOUT_BOARD = ("Voltages", "ADC", "Auto", "Disconnect", "Start screen")
WITHOUT_MODULE_BOARD = ("OPM voltages", "Signal chain", "OPM EEPROM", "Temperature", "Menu again")
AFTER_ATTENUATORS = ("OPM EEPROM", "Temperature")  # their buttons stay disabled
AFTER_APD_START = ("APD tuning", "APD record")

# What the steps that measure look at.
VOLTAGES = ("Voltages", "Auto")
ADC = ("ADC", "Auto")
DDR = ("FPGA DDR", "Auto")
ARM_EEPROM = ("Arm EEPROM", "Auto")
USB = ("USB", "Auto")
CARD = ("SD card", "Auto")


def beside_limits(job, limits, sees, whose=""):
    """Each rail just outside both limits, and just inside them."""
    for rail, (low, high) in limits.items():
        for side, limit, out in (("low", low, -BESIDE), ("high", high, BESIDE)):
            name = f"board.rail.{rail_of(rail)}"
            yield Defect(job, f"{whose}{rail} too {side}", sees, f"{BESIDE_TEXT} outside its limit {limit} V",
                         set={name: round(limit + out, 5)})
            yield Defect(job, f"{whose}{rail} almost too {side}", (),
                         f"{BESIDE_TEXT} inside its limit {limit} V",
                         set={name: round(limit - out, 5)}, inside=True)


def dead_rails(job, rails, sees, whose=""):
    for rail in rails:
        yield Defect(job, f"{whose}{rail} dead", sees, "reads 0 V",
                     set={f"board.rail.{rail_of(rail)}": 0.0})


def dead_keys():
    for key in KEYS:
        yield Defect(MAIN_BOARD, f"key {key} dead", (f"Key {key}",), "its picture does not light up",
                     faults={"keypad.dead": key.lower()})


def stuck_keys():
    for key in KEYS:
        yield Defect(MAIN_BOARD, f"key {key} stuck", (f"Key {key}",),
                     "reported once, before the key check opens; pressing it changes nothing",
                     faults={"keypad.stuck": key.lower()})


def swapped_keys():
    """Each with the next one."""
    for one, other in zip(KEYS, KEYS[1:]):
        yield Defect(MAIN_BOARD, f"keys {one} and {other} swapped", (f"Key {one}", f"Key {other}"),
                     "each lights up the other one's picture",
                     faults={"keypad.swapped": [one.lower(), other.lower()]})


def main_board(name, sees, why, may=(), **bench):
    return Defect(MAIN_BOARD, name, sees, why, may=may, **bench)


def module(name, sees, why, may=(), **bench):
    return Defect(MODULE, name, sees, why, may=may, **bench)


DEFECTS = (
    # ---- Rails ----
    *beside_limits(MAIN_BOARD, MAIN_BOARD_LIMITS, VOLTAGES),
    *dead_rails(MAIN_BOARD, MAIN_BOARD_LIMITS, VOLTAGES),
    *beside_limits(MODULE, MODULE_LIMITS, ("OPM voltages",), whose="module: "),
    *dead_rails(MODULE, MODULE_LIMITS, ("OPM voltages",), whose="module: "),
    main_board("TP5 dead", (),
               "not in the table of the thirteen: it would have to be read, and to have limits",
               set={"board.rail.TP5": 0.0}),

    # ---- Keys, knob, touch panel ----
    *dead_keys(),
    *stuck_keys(),
    *swapped_keys(),
    main_board("knob dead", KNOB, "neither arrow flashes", faults={"keypad.knob": "dead"}),
    main_board("knob dead clockwise", KNOB[:1], "Clock does not flash",
               faults={"keypad.knob": "clockwise dead"}),
    main_board("knob dead anticlockwise", KNOB[1:], "Anti does not flash",
               faults={"keypad.knob": "anticlockwise dead"}),
    main_board("knob reversed", KNOB, "the other arrow flashes", faults={"keypad.knob": "reversed"}),
    main_board("keypad not there", tuple(f"Key {key}" for key in KEYS) + KNOB, "no node, no keys",
               faults={"keypad.missing": True}),
    main_board("touch panel not there", ("Start",), "the program ends: no screen",
               faults={"touch.missing": True}),
    main_board("touch panel 60 pixels off", ("Main board",),
               "icons are 80 pixels wide: the touch falls beside", faults={"touch.offset": [60, 60]}),
    main_board("touch panel 8 pixels off", (),
               "every control is 25 pixels high or more, and is touched in its middle",
               faults={"touch.offset": [8, 8]}, inside=True),
    main_board("touch panel with dead rows", ("USB", "Clock"),
               "the row of buttons at 335 to 387 does nothing",
               faults={"touch.dead": {"x": 0, "y": 340, "w": 800, "h": 45}}),

    # ---- The main board's EEPROM: the check compares the four bytes of a flag, 13, in page 0, no others ----
    main_board("EEPROM silent", ARM_EEPROM, "nothing is read", faults={"mainboard.eeprom_silent": True}),
    main_board("EEPROM write-protected", ARM_EEPROM, "a fresh part keeps its ones",
               faults={"mainboard.eeprom_protected": True}),
    main_board("EEPROM data line 0 low", ARM_EEPROM, "13 reads 12",
               faults={"mainboard.eeprom_line": {"data": 0, "level": 0}}),
    main_board("EEPROM data line 4 high", ARM_EEPROM, "13 reads 29",
               faults={"mainboard.eeprom_line": {"data": 4, "level": 1}}),
    main_board("EEPROM data line 7 low", (),
               "13 has no bit 7: the whole page, with zeros and ones in each bit, would have to be compared",
               faults={"mainboard.eeprom_line": {"data": 7, "level": 0}}),
    main_board("EEPROM address line 0 low", ARM_EEPROM, "the flag's second byte takes the place of its first",
               faults={"mainboard.eeprom_line": {"address": 0, "level": 0}}),
    main_board("EEPROM address line 9 high", (),
               "one page is written and read through the same line: two pages of different contents would "
               "have to be compared", faults={"mainboard.eeprom_line": {"address": 9, "level": 1}}),
    main_board("EEPROM cell of the flag stuck", ARM_EEPROM, "13 reads 165",
               faults={"mainboard.eeprom_stuck": {"address": 0, "value": 0xA5}}),
    main_board("EEPROM cell beside the flag stuck", (),
               "only the flag is compared: the whole page would have to be",
               faults={"mainboard.eeprom_stuck": {"address": 64, "value": 0x5A}}),
    main_board("EEPROM worn", (), "one cell in four is weak: the four bytes may all be good, as above",
               may=ARM_EEPROM, faults={"mainboard.eeprom_worn": True}),

    # ---- Clock, battery, cards ----
    main_board("clock silent", ("Clock",), "RTC ERROR!", faults={"rtc.failing": True}),
    main_board("clock stopped", (), "it is read once: two readings a second apart would have to differ",
               faults={"rtc.stopped": True}),
    main_board("clock an hour fast", (), "shown, not compared: the station's own time would be needed",
               set={"rtc.time": "2012-05-14 10:30:00"}),
    main_board("no battery", ("Battery",), "No PowerDev in K905", set={"power.bat": False}),
    main_board("power controller missing", ("Battery",), "PowerDev ERROR!", faults={"power.missing": True}),
    main_board("power controller's byte lost", ("Battery",), "PowerDev Info ERROR!",
               faults={"power.short": True}),
    main_board("battery empty", (), "the level is shown, not judged: it would need a least one",
               set={"power.level": 0}),
    main_board("battery level impossible", (),
               "255 % are shown, not judged: more than 100 would have to fail", set={"power.level": 255}),
    main_board("battery type wrong", (),
               "the level is taken on the other type's scale: the type would have to be told",
               set={"power.type": 1}),
    main_board("USB port dead", USB, "no stick is found", faults={"usb.missing": True}),
    main_board("USB port doubled", USB, "two sticks are found", faults={"usb.two": True}),
    main_board("SD slot dead", CARD, "no card", faults={"sd.missing": True}),
    main_board("SD card's lock contact closed", CARD, "the test file cannot be opened",
               faults={"sd.read_only": True}),
    main_board("SD card full", CARD, "the test file cannot be made", faults={"sd.full": True}),

    main_board("measurement board reads 10 % high", VOLTAGES,
               "rails are within 1.2 % of nominal, most limits 5",
               faults={"board.wrong": {"gain": 1.1}}),
    main_board("measurement board 300 times as noisy", VOLTAGES,
               "78 mV: thirteen readings are never all good",
               faults={"board.wrong": {"noise": 300}}),

    # ---- Serial link ----
    main_board("measurement board unplugged", ("Connect",), "three tries of five seconds", may=WITHOUT_BOARD,
               faults={"board.unplugged": True}),
    main_board("no serial port", ("Connect",), "it does not open", may=WITHOUT_BOARD,
               faults={"serial.missing": True}),
    main_board("replies cut short", ("Connect",), "seven bytes are wanted", may=WITHOUT_BOARD,
               faults={"board.reply_short": True}),
    main_board("replies of the wrong channel", ("Connect",), "the echo's command byte is 8",
               may=WITHOUT_BOARD, faults={"board.wrong_channel": True}),
    main_board("replies garbled", ("Connect",), "one random reply in 2816 passes for an echo",
               may=WITHOUT_BOARD, faults={"board.garbage": True}),
    main_board("replies 6 s late", VOLTAGES,
               "each reply is taken for the next request's, and names another channel",
               may=("Connect", "ADC", "Arm EEPROM", "Disconnect", "Start screen"),
               faults={"board.reply_late": 6000}),
    module("module's measurement board unplugged", ("OPM connect",), "three tries of five seconds",
           may=WITHOUT_MODULE_BOARD, faults={"board.unplugged": True}),
    module("module: replies of the wrong channel", ("OPM connect",), "the echo's command byte is 8",
           may=WITHOUT_MODULE_BOARD, faults={"board.wrong_channel": True}),

    # ---- FPGA and its driver ----
    main_board("FPGA image wrong", ADC[:1] + DDR, "unconfigured, its bus reads ones: 0.5 V, and error",
               faults={"fpga.image_wrong": True}),
    main_board("FPGA cannot be loaded", ADC[:1] + DDR, "as with a wrong image",
               faults={"fpga.load_failing": True}),
    main_board("board straps wrong", ADC[:1] + DDR, "no image has this name",
               faults={"straps.unknown": True}),
    main_board("DDR not ready", DDR, "ready 0, error 1", faults={"fpga.ddr": True}),
    main_board("DDR ready with error", DDR, "ready 1, error 1", faults={"fpga.ddr": 3}),
    main_board("optic driver refuses", ADC[:1] + DDR + ("Speaker", "Visible on", "Visible off"),
               "no register can be read or written", faults={"optic.ioctl_failing": True}),
    main_board("acquisitions never end", ADC, "five seconds, then not connected",
               faults={"optic.never_ready": True}),
    main_board("speaker's register stuck", (),
               "the step looks at what is written: the tone would have to be heard, or read back",
               faults={"optic.register_stuck": {"register": "0x30000084", "value": 0}}),
    main_board("visible light's register stuck", (),
               "the step looks at what is written: the light would have to be seen",
               faults={"optic.register_stuck": {"register": "0x30000002", "value": 0x07F8}}),
    module("module: FPGA image wrong",
           ("Signal chain", "Adjust APD", "Adjust VDD", "Adjust ATT0", "Adjust ATT1", "Light paths",
            "Fibre offset", "APD start"), "no register holds anything, all samples read 65535",
           may=AFTER_ATTENUATORS + AFTER_APD_START, faults={"fpga.image_wrong": True}),
    module("module: acquisitions never end",
           ("Signal chain", "Adjust ATT1", "Light paths", "Fibre offset", "APD start"),
           "no dark level, no trace; the APD calibration waits for ever", may=AFTER_APD_START,
           faults={"optic.never_ready": True}),

    # ---- ADC. Its check sees volts of 0.22 to 0.28, codes 0xB724 to 0xC6FC ----
    main_board("ADC open", ADC, "0 V", faults={"adc.path": True}),
    main_board("ADC 0.1 V high", ADC, "0.32 V or more", faults={"adc.wrong": {"offset": 0.1}}),
    main_board("ADC 0.1 V low", ADC, "0.18 V or less", faults={"adc.wrong": {"offset": -0.1}}),
    main_board("ADC 15 mV high", (), "0.296 V or less", faults={"adc.wrong": {"offset": 0.015}}, inside=True),
    main_board("ADC reads 1.5 times", ADC, "0.33 V or more", faults={"adc.wrong": {"gain": 1.5}}),
    main_board("ADC reads 0.6 times", ADC, "0.17 V or less", faults={"adc.wrong": {"gain": 0.6}}),
    main_board("ADC reads 5 % high", (), "0.295 V or less", faults={"adc.wrong": {"gain": 1.05}},
               inside=True),
    main_board("ADC bit 15 low", ADC, "half of its range: below 0 V",
               faults={"adc.wrong": {"bit": 15, "level": 0}}),
    main_board("ADC bit 15 high", (),
               "the bit is high at this level: levels below 0 V would have to be measured, too",
               faults={"adc.wrong": {"bit": 15, "level": 1}}),
    main_board("ADC bit 14 high", (), "seen below 0xC000 only: a ramp through all codes would tell", may=ADC,
               faults={"adc.wrong": {"bit": 14, "level": 1}}),
    main_board("ADC bit 3 low", (),
               "0.1 mV: the noise's distribution over the codes would have to be looked at",
               faults={"adc.wrong": {"bit": 3, "level": 0}}),
    main_board("ADC codes missing at mid-scale", (),
               "the check is elsewhere: a ramp through all codes would tell",
               faults={"adc.wrong": {"missing": [32700, 32800]}}),
    module("module: ADC open", ("Signal chain", "Light paths", "Fibre offset", "APD start"),
           "0 V is between the test levels' codes, no dark level, and no light shows on it",
           may=AFTER_APD_START, faults={"adc.path": True}),
    module("module: ADC bit 15 low", ("Signal chain", "Light paths"),
           "never above 32767; the calibration's search spends its steps, which counts as found",
           may=("Fibre offset", "APD start") + AFTER_APD_START,
           faults={"adc.wrong": {"bit": 15, "level": 0}}),
    module("module: ADC bit 15 high", ("Signal chain",), "the low test level is below 32768",
           may=("Fibre offset",), faults={"adc.wrong": {"bit": 15, "level": 1}}),
    module("module: ADC 0.1 V high", (), "the attenuators make up for it; the main board's ADC check sees it",
           faults={"adc.wrong": {"offset": 0.1}}, inside=True),

    # ---- DACs: a loop makes up for an error as long as its voltage is within the DAC's reach ----
    main_board("ATT0 DAC 0.9 V high", ADC, "level 0.54 V lower",
               faults={"dac.wrong": {"dac": "att0", "offset": 0.9}}),
    main_board("ATT0 DAC at half gain", ADC, "level 0.23 V higher",
               faults={"dac.wrong": {"dac": "att0", "gain": 0.5}}),
    main_board("ATT0 DAC bit 10 low", ADC, "code 1280 gives 256: level beyond full scale",
               faults={"dac.wrong": {"dac": "att0", "bit": 10, "level": 0}}),
    main_board("ATT1 DAC 1 V high", ADC, "level 0.1 V lower",
               faults={"dac.wrong": {"dac": "att1", "offset": 1.0}}),
    main_board("ATT1 DAC bit 11 high", ADC, "level 0.125 V lower",
               faults={"dac.wrong": {"dac": "att1", "bit": 11, "level": 1}}),

    module("module: ATT0 DAC 0.05 V high", (), "the loop finds another code",
           faults={"dac.wrong": {"dac": "att0", "offset": 0.05}}, inside=True),
    module("module: ATT0 DAC 0.9 V high", ("Signal chain", "Adjust ATT0", "Light paths"),
           "its zero, 0.78 V, is below its lowest voltage; the trace's window lies lower still",
           may=AFTER_ATTENUATORS + ("Fibre offset",), faults={"dac.wrong": {"dac": "att0", "offset": 0.9}}),
    module("module: ATT0 DAC at half gain", ("Signal chain",),
           "its zero is 1280 codes up: 128 steps, more than the test's 100, less than the calibration's 1000",
           may=AFTER_ATTENUATORS, faults={"dac.wrong": {"dac": "att0", "gain": 0.5}}),
    module("module: ATT0 DAC bit 10 low", ("Signal chain", "Adjust ATT0", "Fibre offset"),
           "its zero needs the bit; at the code kept in the record, 1280, the port's reflection is beyond "
           "full scale", may=AFTER_ATTENUATORS, faults={"dac.wrong": {"dac": "att0", "bit": 10, "level": 0}}),
    module("module: ATT0 DAC bit 1 low", (),
           "1.2 mV, the loop's tolerance is 10: each bit would have to be measured",
           faults={"dac.wrong": {"dac": "att0", "bit": 1, "level": 0}}),
    module("module: ATT1 DAC 0.05 V high", (), "the loop finds another code",
           faults={"dac.wrong": {"dac": "att1", "offset": 0.05}}, inside=True),
    module("module: ATT1 DAC 1 V high", ("Signal chain", "Adjust ATT1"),
           "its zero, 0.63 V, is below its lowest voltage", may=AFTER_ATTENUATORS,
           faults={"dac.wrong": {"dac": "att1", "offset": 1.0}}),
    module("module: ATT1 DAC at 0.4 of its gain", ("Signal chain",),
           "its zero is 1536 codes up: 154 steps, more than the test's 100", may=AFTER_ATTENUATORS,
           faults={"dac.wrong": {"dac": "att1", "gain": 0.4}}),
    module("module: ATT1 DAC bit 11 high", ("Signal chain", "Adjust ATT1"), "1.25 V or more",
           may=AFTER_ATTENUATORS, faults={"dac.wrong": {"dac": "att1", "bit": 11, "level": 1}}),
    module("module: VDD DAC 0.05 V high", (), "the loop finds other codes",
           faults={"dac.wrong": {"dac": "vdd", "offset": 0.05}}, inside=True),
    module("module: VDD DAC 0.7 V high", ("Adjust VDD",), "1.5 V is below its lowest, 1.64 V",
           faults={"dac.wrong": {"dac": "vdd", "offset": 0.7}}),
    module("module: VDD DAC at 0.4 of its gain", ("Adjust VDD", "Light paths"),
           "3.0 and 2.5 V are above its highest; the last target is met, so that zeros are kept as codes "
           "and the laser gets no supply", may=("Fibre offset",),
           faults={"dac.wrong": {"dac": "vdd", "gain": 0.4}}),
    module("module: VDD DAC bit 10 low", ("Adjust VDD",), "2.5 and 2.0 V need the bit",
           faults={"dac.wrong": {"dac": "vdd", "bit": 10, "level": 0}}),
    module("module: APD DAC 0.05 V high", (), "0.8 V: the loop and both searches find other codes",
           faults={"dac.wrong": {"dac": "apd", "offset": 0.05}}, inside=True),
    module("module: APD DAC 0.5 V high", ("Adjust APD",),
           "25 V is below its lowest, 28.7 V; the breakdown is in reach",
           faults={"dac.wrong": {"dac": "apd", "offset": 0.5}}),
    module("module: APD DAC at half gain", ("Adjust APD", "Light paths", "APD start"),
           "40.5 V at most, and the breakdown above 48", may=("Fibre offset",) + AFTER_APD_START,
           faults={"dac.wrong": {"dac": "apd", "gain": 0.5}}),
    module("module: APD DAC 5 % low", (), "27 steps to 45 V, of 200",
           faults={"dac.wrong": {"dac": "apd", "gain": 0.95}}, inside=True),
    module("module: APD DAC bit 11 low", ("Adjust APD", "Light paths", "APD start"), "40.6 V at most",
           may=AFTER_APD_START, faults={"dac.wrong": {"dac": "apd", "bit": 11, "level": 0}}),
    module("module: APD DAC bit 9 low", ("Adjust APD",),
           "40 V needs the bit; the breakdown does in some specimens",
           may=("Light paths", "Fibre offset", "APD start") + AFTER_APD_START,
           faults={"dac.wrong": {"dac": "apd", "bit": 9, "level": 0}}),
    module("module: APD DAC bit 0 low", (),
           "10 mV, the loop's tolerance is 100: each bit would have to be measured",
           faults={"dac.wrong": {"dac": "apd", "bit": 0, "level": 0}}),

    # ---- Laser ----
    module("laser off", ("Light paths", "Fibre offset"), "no echo", faults={"optics.laser_off": True}),
    module("laser 10 dB weak", ("Light paths",), "5 less of 2.5 to spare", may=("Fibre offset",),
           faults={"optics.laser_weak": 10}),
    module("laser 2 dB weak", (), "1 less of 2.1 to spare", faults={"optics.laser_weak": 2}, inside=True),
    module("lasers exchanged", (),
           "1550 nm passes the limit of 1310, 1310 that of 1550: a fibre with a filter or a bend, or the "
           "loss over length, would tell them apart", faults={"optics.laser_wavelength": True}),
    module("laser always at 1310 nm", (), "either light passes both limits: a fibre with a filter would tell",
           faults={"optics.laser_wavelength": 1310}),
    module("laser always at 1550 nm", (), "either light passes both limits: a fibre with a filter would tell",
           faults={"optics.laser_wavelength": 1550}),

    # ---- Photodiode ----
    module("photodiode open", ("Light paths", "Fibre offset", "APD start"), "no light, no breakdown",
           may=AFTER_APD_START, faults={"optics.apd_defective": True}),
    module("photodiode weak, a tenth", ("Light paths",), "5 less of 2.5 to spare", may=("Fibre offset",),
           faults={"optics.photodiode": {"responsivity": 0.1}}),
    module("photodiode weak, 0.7", (), "0.8 less of 2.1 to spare",
           faults={"optics.photodiode": {"responsivity": 0.7}}, inside=True),
    module("photodiode leaks 0.1 mA", ("Light paths", "Fibre offset"),
           "1 V, more than ATT0 makes up for (0.47 V)", may=("APD start",) + AFTER_APD_START,
           faults={"optics.photodiode": {"leakage": 1e-4}}),
    module("photodiode leaks 1 uA", (),
           "10 mV, 200 times the usual: the dark level at a fixed ATT0 would have to be judged",
           faults={"optics.photodiode": {"leakage": 1e-6}}),
    main_board("main board: photodiode leaks 0.1 mA", ADC, "0.125 V lower",
               faults={"optics.photodiode": {"leakage": 1e-4}}),
    module("photodiode breaks down at 25 V", ("Light paths", "APD start"),
           "both searches begin far beyond it", may=("Fibre offset",) + AFTER_APD_START,
           faults={"optics.photodiode": {"breakdown": 25}}),
    module("photodiode breaks down at 35 V", ("Light paths",),
           "the search goes 200 steps down from 46 V and does not arrive; the calibration begins 2 V beyond "
           "it", may=("Fibre offset", "APD start") + AFTER_APD_START,
           faults={"optics.photodiode": {"breakdown": 35}}),
    module("photodiode breaks down at 62 V", ("Light paths", "APD start"), "both searches end at 58 V",
           may=("Fibre offset",) + AFTER_APD_START, faults={"optics.photodiode": {"breakdown": 62}}),
    module("photodiode breaks down at 54 V", (),
           "in reach up to 55 degrees: the breakdown itself has no limits",
           faults={"optics.photodiode": {"breakdown": 54}}, inside=True),

    # ---- Receiver ----
    module("receiver at a fiftieth of its gain", ("Light paths",),
           "more than the photodiode's gain makes up for: 3.7 at 1550 nm, limit 5.0", may=("Fibre offset",),
           faults={"optics.receiver": {"gain": 0.02}}),
    module("receiver at a tenth of its gain", ("Fibre offset",),
           "its high voltage is fixed, and the noise takes the peaks' shape; for a light path the "
           "photodiode's gain makes up for most, 1.3 less of 2.1 to spare", may=("Light paths",),
           faults={"optics.receiver": {"gain": 0.1}}),
    module("receiver at 0.7 of its gain", (), "0.8 less of 2.1 to spare",
           faults={"optics.receiver": {"gain": 0.7}}, inside=True),
    module("receiver 40 times as noisy", ("Light paths",),
           "more than the photodiode's gain makes up for: 2.3 at 1550 nm, limit 5.0", may=("Fibre offset",),
           faults={"optics.receiver": {"noise": 40}}),
    module("receiver 10 times as noisy", ("Fibre offset",), "as with a tenth of the gain",
           may=("Light paths",), faults={"optics.receiver": {"noise": 10}}),
    module("receiver 1.5 times as noisy", (), "0.9 less of 2.1 to spare",
           faults={"optics.receiver": {"noise": 1.5}}, inside=True),
    module("receiver at a tenth of its bandwidth", ("Fibre offset",),
           "both ends of 5 m become one broad hump, which is no peak; a trace over kilometres does not "
           "notice", faults={"optics.receiver": {"bandwidth": 0.1}}),
    module("amplifier channel 6300 dead", ("Signal chain", "Light paths", "Fibre offset", "APD start"),
           "all traces are taken with it", may=AFTER_APD_START,
           faults={"optics.receiver": {"dead_channel": 6300}}),
    module("amplifier channel 6301 dead", ("Signal chain",), "the test level does not arrive",
           faults={"optics.receiver": {"dead_channel": 6301}}),
    module("amplifier channel 6303 dead", ("Signal chain",), "the test level does not arrive",
           faults={"optics.receiver": {"dead_channel": 6303}}),
    module("amplifier channel 6307 dead", ("Signal chain",), "the test level does not arrive",
           faults={"optics.receiver": {"dead_channel": 6307}}),

    # ---- Port and fibre ----
    module("port dirty, 8 dB each way", ("Light paths",), "8 less of 2.5 to spare", may=("Fibre offset",),
           faults={"optics.bad_connector": 8}),
    module("port dirty, 1 dB each way", (), "1 less of 2.1 to spare", faults={"optics.bad_connector": 1},
           inside=True),
    module("port reflects", (),
           "the light path looks 150 m behind it, the offset takes a peak of any height: the port's peak "
           "would have to be judged", faults={"optics.bad_connector": {"loss": 0, "reflection": -14}}),
    module("fibre bent at 100 m", ("Light paths",),
           "8 dB each way before the 151 to 177 m that are looked at",
           faults={"optics.fibre_bent": {"at": 100, "loss": 8}}),
    module("fibre bent at 300 m", (), "behind what is looked at: the trace's steps would have to be",
           faults={"optics.fibre_bent": {"at": 300, "loss": 8}}),
    module("fibre 5 m too long", ("Fibre offset",), "the peaks are more than 5.5 m apart",
           faults={"optics.fibre_longer": 5}),
    module("fibre 1.5 m too short", (), "the distance of the peaks has no lower limit, and would need one",
           faults={"optics.fibre_longer": -1.5}),
    module("fibre 3 m too short", ("Fibre offset",),
           "the smaller peak is cleared with the larger one, within 2.5 m",
           faults={"optics.fibre_longer": -3}),
    module("light on the fibre", ("Light paths", "APD start"), "the diode's voltage collapses: no breakdown",
           may=("Fibre offset",) + AFTER_APD_START, set={"optics.light_on_link": True}),

    # ---- Temperature sensor ----
    module("temperature sensor silent", ("APD start",),
           "Temperature shows 0.000000 as if it were one: the driver's answer would have to be looked at",
           may=AFTER_APD_START, faults={"optic.temperature_failing": True}),
    module("temperature sensor 5 degrees high", (), "shown, not judged: a second thermometer is needed",
           faults={"optic.temperature_wrong": {"offset": 5}}),
    module("temperature sensor 20 degrees high", ("APD record",),
           "55 degrees come after three samples, too few for a line",
           faults={"optic.temperature_wrong": {"offset": 20}}),
    module("temperature sensor 60 degrees low", ("Temperature",),
           "below zero; the tuning needs 45 degrees more", may=AFTER_APD_START,
           faults={"optic.temperature_wrong": {"offset": -60}}),
    module("temperature sensor frozen", ("APD tuning",), "the second sample is never due",
           may=("APD record",), faults={"optic.temperature_wrong": {"frozen": 25}}),

    # ---- The module's EEPROM, of which the check writes 0 to 127 into page 1, and its tuning record ----
    module("module's EEPROM silent", ("OPM EEPROM",), "nothing is read",
           faults={"module.eeprom_silent": True}),
    module("module's EEPROM write-protected", ("OPM EEPROM",), "a fresh part keeps its ones",
           faults={"module.eeprom_protected": True}),
    module("module's EEPROM data line 3 low", ("OPM EEPROM",), "8 reads 0",
           faults={"module.eeprom_line": {"data": 3, "level": 0}}),
    module("module's EEPROM data line 7 high", ("OPM EEPROM",), "0 reads 128",
           faults={"module.eeprom_line": {"data": 7, "level": 1}}),
    module("module's EEPROM data line 7 low", (),
           "0 to 127 have no bit 7: the pattern's complement would have to be written, too",
           faults={"module.eeprom_line": {"data": 7, "level": 0}}),
    module("module's EEPROM address line 3 low", ("OPM EEPROM",), "byte 8 takes the place of byte 0",
           faults={"module.eeprom_line": {"address": 3, "level": 0}}),
    module("module's EEPROM address line 10 high", (),
           "one page is written and read through the same line: two pages of different contents would have "
           "to be compared", faults={"module.eeprom_line": {"address": 10, "level": 1}}),
    module("module's EEPROM cell of page 1 stuck", ("OPM EEPROM",), "72 reads 255",
           faults={"module.eeprom_stuck": {"address": 200, "value": 0xFF}}),
    module("module's EEPROM cell of page 32 stuck", (),
           "page 1 only is checked: each page would have to be written and read",
           faults={"module.eeprom_stuck": {"address": 4096, "value": 0}}),
    module("module's EEPROM worn", ("OPM EEPROM",), "one cell in four has a bit that reads 1",
           faults={"module.eeprom_worn": True}),
    module("tuning record cannot be stored", ("APD record",), "the record's file does not exist",
           faults={"optic.tuning_failing": True}),
)


# ---- The catalogue against the sources ----

ROOT = Path(__file__).resolve().parents[2]
COMPARED = " values"  # of the step that the tuning record is compared after


def steps_of_jobs():
    """The steps of each job as they are reported."""
    text = (ROOT / "simulator/panel/check_steps.cpp").read_text()
    steps = {}
    for job, function in ((MAIN_BOARD, "MainBoardSteps"), (MODULE, "ModuleSteps")):
        body = text[text.index(f"Steps {function}()"):]
        body = body[:body.index("\n}\n")]
        names = re.findall(r'\bStep\("([^"]+)"', body)
        compared = re.findall(r'\bStep\("([^"]+)"(?:(?!Step\().)*?kCompareRecord', body, re.DOTALL)
        steps[job] = {*names, *(name + COMPARED for name in compared), "End"}
    steps[MAIN_BOARD] |= {f"Key {key}" for key in KEYS} | set(KNOB)
    return steps


NAME = r'\{\{"([a-z_]+\.[^"]*)",'  # in the first column of the models' tables


def known_names():
    """Faults, and quantities of which those that end in a dot stand for a family."""
    models = ROOT / "simulator/models"
    rows = "".join(path.read_text() for path in models.glob("instrument_faults_*.cpp"))
    bench = (models / "instrument_bench.cpp").read_text()
    return set(re.findall(NAME, rows)), tuple(re.findall(NAME, bench))


def unknown_names(bench):
    """The names of {"set": ..., "faults": ...} that no model has."""
    faults, quantities = known_names()
    return [name for name in bench.get("faults", {}) if name not in faults] + [
        name for name in bench.get("set", {})
        if not any(name == own or own[-1] == "." and name.startswith(own) for own in quantities)]


def check(defects=DEFECTS):
    """What is wrong with the catalogue, a text each."""
    steps = steps_of_jobs()
    wrong, names = [], set()
    for one in defects:
        unknown = [step for step in one.sees + one.may if step not in steps.get(one.job, ())]
        unknown += unknown_names({"set": one.set, "faults": one.faults})
        problems = [f"no such job: {one.job}"] if one.job not in steps else []
        problems += [f"unknown: {name}" for name in unknown]
        problems += ["there is one of this name already"] if one.name in names else []
        problems += [f"must see it and may see it: {step}" for step in set(one.sees) & set(one.may)]
        problems += ["inside the limits, and seen"] if one.inside and (one.sees or one.may) else []
        problems += ["nothing is set"] if not one.set and not one.faults else []
        problems += ["no reason"] if not one.why else []
        names.add(one.name)
        wrong += [f"{one.name}: {problem}" for problem in problems]
    return wrong


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--check", action="store_true")
    if parser.parse_args().check:
        wrong = check()
        print("\n".join(wrong) or f"{len(DEFECTS)} defects")
        return 1 if wrong else 0
    for one in DEFECTS:
        may = f"; may: {', '.join(one.may)}" if one.may else ""
        print(f"{one.job:10} | {one.name} | {', '.join(one.sees) or '-'}{may} | {one.why}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
