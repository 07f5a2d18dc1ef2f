"""Operating curves: the chance that a step says good, as a true value is moved through a limit.

A sweep moves one or several values through their limits at a time, on one specimen with other noise each time. It
looks for the place where the verdict changes, then for the width over which it does, and takes a grid of points
over that.
"""
import re
from dataclasses import dataclass
from typing import Callable, Dict, Optional

from measurements import ADC_LIMITS, MAIN_BOARD_LIMITS, MODULE_LIMITS, rail_of

HALVINGS = 12  # of the range, until the change of the verdict is found
CERTAIN = 8  # runs that agree, beyond which a verdict counts as certain
POINTS, REPEATS = 21, 20  # of the grid


@dataclass(frozen=True)
class Sweep:
    name: str
    job: str
    step: str
    unit: str
    good: Callable  # of a value's name: pattern of a text that says good
    bench: Callable  # of {name: true value}: what is set for it
    inside: Dict[str, float]  # a good true value of each name
    outside: Dict[str, float]  # a bad one
    limits: Optional[Dict[str, float]] = None  # where the program has them; None: in another unit
    origin: Callable = lambda _: 0.0  # of the models' state: what is added to what is set, for the true value


def rails(name, job, step, limits, side):
    """The supplies of a board at one of their limits."""
    middle = {rail: (low + high) / 2 for rail, (low, high) in limits.items()}
    limit = {rail: pair[side] for rail, pair in limits.items()}
    return Sweep(name, job, step, "V", lambda rail: rf"^OK +{rail}: ",
                 lambda values: {"set": {f"board.rail.{rail_of(rail)}": volts for rail, volts in values.items()}},
                 middle, {rail: limit[rail] + 0.2 * (limit[rail] - middle[rail]) for rail in limits}, limit)


_ADC = "ADC"


def _adc(name, side, outside):
    return Sweep(name, "main-board", "ADC", "V", lambda _: r"^ ?OK! result",
                 lambda values: {"faults": {"adc.wrong": {"offset": values[_ADC]}}},
                 {_ADC: 0.0}, {_ADC: outside}, {_ADC: ADC_LIMITS[side]},
                 lambda state: state["optics"]["dark_volts"])


def _light(wavelength):
    name = f"{wavelength} nm"
    return Sweep(f"light path at {name}", "module", "Light paths", "dB", lambda _: f"{wavelength} Optical check good",
                 lambda values: {"faults": {"optics.laser_weak": values[name]}}, {name: 0.5}, {name: 12.0})


SWEEPS = (
    rails("main board's supplies, low", "main-board", "Voltages", MAIN_BOARD_LIMITS, 0),
    rails("main board's supplies, high", "main-board", "Voltages", MAIN_BOARD_LIMITS, 1),
    rails("module's supplies, low", "module", "OPM voltages", MODULE_LIMITS, 0),
    rails("module's supplies, high", "module", "OPM voltages", MODULE_LIMITS, 1),
    _adc("ADC, low", 0, -0.15),
    _adc("ADC, high", 1, 0.15),
    _light(1310),
    _light(1550),
    Sweep("fibre's length", "module", "Fibre offset", "m", lambda _: "Adjust Success",
          lambda values: {"faults": {"optics.fibre_longer": values["length"]}}, {"length": 0.01}, {"length": 5.0},
          {"length": 5.5}, lambda _: 5.0),
)


# ---- Measuring ----


class Stopped(Exception):
    """The line ends."""


def measure(sweep, run, stopped):
    """{"curve": {name: [[true value, runs that said good, runs], ...]}, "runs": so many} by a specimen.Runner."""
    count, origin = 0, None

    def good(values):
        nonlocal count, origin
        if stopped():
            raise Stopped
        steps = [step for step in run.steps(count, sweep.bench(values)) if step["step"] == sweep.step]
        count += 1
        if steps and origin is None:
            origin = sweep.origin(steps[0]["state"])
        return {name: any(re.search(sweep.good(name), text) for step in steps for text in step["texts"]) for name in values}

    inside, outside = dict(sweep.inside), dict(sweep.outside)
    ends = good(inside), good(outside)
    names = [name for name in inside if ends[0][name] and not ends[1][name]]
    for _ in range(HALVINGS):
        middle = {name: (inside[name] + outside[name]) / 2 for name in names}
        for name, passed in (good(middle) if names else {}).items():
            (inside if passed else outside)[name] = middle[name]
    middle = {name: (inside[name] + outside[name]) / 2 for name in names}
    # Half of the grid, from the good side to the bad one.
    half = {name: (sweep.outside[name] - sweep.inside[name]) / 2**HALVINGS for name in names}

    def at(part):
        return {name: middle[name] + part * half[name] for name in names}

    unsure = set(names)
    for _ in range(HALVINGS):
        if not unsure:
            break
        looks = [(good(at(-1)), good(at(1))) for _ in range(CERTAIN)]
        unsure = {name for name in unsure if not all(low[name] and not high[name] for low, high in looks)}
        for name in unsure:
            half[name] *= 2
    points = {name: [] for name in names}
    for place in range(POINTS if names else 0):
        values = at(2 * place / (POINTS - 1) - 1)
        looks = [good(values) for _ in range(REPEATS)]
        for name in names:
            points[name].append([round(values[name] + origin, 9), sum(look[name] for look in looks), REPEATS])
    return {"curve": points, "runs": count}
