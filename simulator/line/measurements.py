"""What the screens tell in numbers: where it stands, its limits, and what the model knows to be true.

The limits are the program's own; a reading of a limit itself fails, but an adjustment's limits include it.
"""
import re
from dataclasses import dataclass
from typing import Callable, Optional


# Volts, exclusive. Names are those of the step's screen.
MAIN_BOARD_LIMITS = {
    "TP97": (1.01909, 1.12636),
    "TP103": (0.97251, 1.07488),
    "TP109": (1.00235, 1.10786),
    "TP105": (0.95, 1.05),
    "TP107": (0.98315, 1.08664),
    "TP113": (0.98315, 1.08664),
    "TP100": (0.95311, 1.05344),
    "TP99": (0.96259, 1.06391),
    "TP57": (1.00235, 1.10786),
    "TP24": (1.00235, 1.10786),
    "TP114": (0.93373, 1.14123),
    "TP36": (0.93373, 1.14123),
    "TP68": (0.93373, 1.14123),
}
MODULE_LIMITS = {
    "TP18": (1.0023469, 1.1078570),
    "TP16": (0.98560506, 1.0893530),
    "TP17": (0.98560596, 1.0893539),
}
ADC_LIMITS = (0.2, 0.3)
# Where the module's supplies are read: the models have these points by the main board's names.
_MODULE_RAILS = {"TP18": "TP109", "TP16": "TP111", "TP17": "TP114"}


def rail_of(name):
    """The models' name of a supply."""
    return _MODULE_RAILS.get(name, name)


@dataclass(frozen=True)
class Measurement:
    step: str
    name: str
    unit: str
    pattern: str  # of a text on the screen, with the number as its group
    truth: Optional[Callable] = None  # of (state of the models, all values of the specimen by name, in `unit`)
    low: Optional[float] = None
    high: Optional[float] = None
    target: Optional[float] = None  # what the calibration was to reach; its error is truth - target
    base: int = 10  # of the number: 10 or 16


def _rail(step, name, low, high):
    """A supply at the measurement board, as `OK  TP97:   1.06650V` or `F.  TP97: ...`."""
    return Measurement(step, name, "V", rf"^(?:OK|F\.) +{name}: +(-?[0-9.]+)V",
                       lambda state, _: state["board"]["rails"][rail_of(name)], low, high)


def _on_line(volts, code):
    """Volts of a DAC's code on the model's line (volts at code 0, volts a code)."""
    return volts[0] + volts[1] * code


def _loop(step, supply, targets, tolerance):
    """Reading and code of each target of an adjustment: `Ad: 45.0V reg:0x09c3  Ad: 40.0V reg:0x07bb ...`."""
    other = r"Ad: +-?[0-9.]+ *V reg:0x[0-9a-f]+ *"
    line = f"{supply.lower()}_line"
    for place, volts in enumerate(targets):
        before, after = other * place, other * (len(targets) - 1 - place)
        name = f"{supply} {volts:.1f} V"
        code = f"{name} code"
        yield Measurement(step, name, "V", rf"^{before}Ad: +(-?[0-9.]+) *V reg:0x[0-9a-f]+ *{after}$",
                          lambda state, values, code=code: _on_line(state["optics"][line], values[code]),
                          round(volts - tolerance, 6), round(volts + tolerance, 6), volts)
        yield Measurement(step, code, "codes", rf"^{before}Ad: +-?[0-9.]+ *V reg:0x([0-9a-f]+) *{after}$",
                          lambda state, _, volts=volts: (volts - state["optics"][line][0]) / state["optics"][line][1], base=16)


def _optics(key):
    return lambda state, _: state["optics"][key]


_BELOW_BREAKDOWN = 15  # codes: the first APD setting below the breakdown at 0 degrees

MEASUREMENTS = [
    *(_rail("Voltages", rail, *limits) for rail, limits in MAIN_BOARD_LIMITS.items()),
    Measurement("ADC", "ADC", "V", r"OK! result = (-?[0-9.]+)", _optics("dark_volts"), *ADC_LIMITS),
    Measurement("Battery", "battery level", "%", r"^battery level = ([0-9]+)%", lambda state, _: state["power"]["level"]),
    *(_rail("OPM voltages", rail, *limits) for rail, limits in MODULE_LIMITS.items()),
    Measurement("Temperature", "temperature", "degrees", r"^Temperature = (-?[0-9.]+)", lambda state, _: state["optic"]["temperature"]),
    *_loop("Adjust APD", "APD", (45.0, 40.0, 35.0, 30.0, 25.0), 0.1),
    *_loop("Adjust VDD", "VDD", (3.0, 2.5, 2.0, 1.5), 0.05),
    Measurement("Adjust ATT0", "ATT0 code", "codes", r"^Ad: +-?[0-9.]+V reg:0x([0-9a-f]+)$", _optics("att0_zero_code"), base=16),
    Measurement("Adjust ATT1", "ATT1 code", "codes", r"^Ad: +-?[0-9.]+V reg:0x([0-9a-f]+) +BlackLevel", _optics("att1_zero_code"),
                base=16),
    Measurement("Adjust ATT1", "black level", "codes", r"BlackLevel = ([0-9]+)", _optics("dark_code")),
    Measurement("Fibre offset", "offset", "samples", r"^offset = ([0-9]+) Adjust Success", _optics("offset_samples")),
    Measurement("APD start", "breakdown at the start", "codes", r"^01: ApdBreakVoltage = 0x([0-9a-f]+)", _optics("breakdown_code"),
                base=16),
    Measurement("APD record", "breakdown slope", "codes a degree", r"fTempCoefficient0 = ?(-?[0-9.]+)",
                _optics("breakdown_codes_per_degree")),
    Measurement("APD record", "setting at 0 degrees", "codes", r"iApdVoltageSet0 =([0-9a-f]+)",
                lambda state, _: state["optics"]["breakdown_code_at_zero"] - _BELOW_BREAKDOWN, base=16),
]


def measured(steps):
    """The values of a specimen, from its steps with their texts and states; what is not on the screen is left out."""
    found = {}
    rows = []
    for row in MEASUREMENTS:
        step = next((one for one in steps if one["step"] == row.step), None)
        match = step and next(filter(None, (re.search(row.pattern, text) for text in step["texts"])), None)
        if match:
            found[row.name] = int(match[1], 16) if row.base == 16 else float(match[1])
            rows.append((row, step))
    values = []
    for row, step in rows:
        value = {"step": row.step, "name": row.name, "unit": row.unit, "value": found[row.name]}
        for key in ("low", "high", "target"):
            if getattr(row, key) is not None:
                value[key] = getattr(row, key)
        if row.truth is not None:
            value["truth"] = round(row.truth(step["state"], found), 6)
        values.append(value)
    return values
