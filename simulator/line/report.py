"""report.html: what a line's records say, in one file without anything from elsewhere."""
import html
import io
import os
from collections import Counter

import matplotlib
from matplotlib import pyplot, ticker

import cases
import curves
import figures
import matrix
import records

matplotlib.use("svg")
pyplot.rcParams.update({"svg.hashsalt": "k905", "font.size": 8, "axes.spines.top": False, "axes.spines.right": False})

SHIFT_HOURS = 8
LEAST_SHARE = 1e-4  # of the cycle time, for a row of its own
BLUE, RED, GREY = "#2b6cb0", "#c53030", "#718096"
STYLE = """
body { font: 15px/1.5 sans-serif; max-width: 62em; margin: 2em auto; padding: 0 1em; color: #1a202c }
h1 { margin-bottom: 0 } h2 { margin-top: 2em; border-bottom: 1px solid #cbd5e0 }
table { border-collapse: collapse; margin: 1em 0 } td, th { padding: .15em .8em; border-bottom: 1px solid #e2e8f0; text-align: right }
td:first-child, th:first-child, td.text, th.text { text-align: left } th { font-weight: 600; vertical-align: bottom }
.value { display: inline-block; vertical-align: top; width: 30em; margin: .5em .5em 1em 0; break-inside: avoid }
.value h3 { margin: 0; font-size: 1em } .value p { margin: .2em 0; font-size: .9em }
code { white-space: nowrap; background: #edf2f7; padding: 0 .3em; border-radius: 3px } .bad { color: #c53030; font-weight: 600 } .note { color: #4a5568 }
svg { max-width: 100%; height: auto }
.matrix { font-size: 11px } .matrix td, .matrix th { padding: 0 1px; text-align: center } .matrix td:first-child { text-align: left; white-space: nowrap; padding-right: .5em }
.matrix thead { position: sticky; top: 0; background: #fff } .matrix th { writing-mode: vertical-rl; transform: rotate(180deg); text-align: left; font-weight: 400 }
.caught { background: #2f855a; color: #fff } .follows { background: #9ae6b4 } .missed, .unexpected { background: #c53030; color: #fff; font-weight: 600 } .unreached { background: #edf2f7 }
@page { size: A4 landscape; margin: 12mm }
@media print { * { -webkit-print-color-adjust: exact; print-color-adjust: exact } .matrix thead { position: static } body { max-width: none; font-size: 11px; margin: 0 } h2 { break-after: avoid } table { break-inside: auto } }
"""


def number(value, digits=4):
    """So many significant digits, without an exponent where it can be read without."""
    if value is None:
        return "-"
    if value == 0 or 1e-4 <= abs(value) < 1e7:
        places = max(0, digits - 1 - (0 if value == 0 else int(f"{abs(value):e}".split("e")[1])))
        return f"{value:.{places}f}"
    return f"{value:.{digits - 1}e}"


def percent(value):
    return f"{100 * value:.2f} %"


def picture(draw, width, height):
    """An SVG element of what `draw` puts on the axes; inches."""
    figure, axes = pyplot.subplots(figsize=(width, height), layout="constrained")
    draw(axes)
    out = io.StringIO()
    figure.savefig(out, format="svg", metadata={"Date": None, "Creator": None})
    pyplot.close(figure)
    text = out.getvalue()
    return text[text.index("<svg"):]


def table(head, rows):
    """Columns whose head begins with a blank hold sentences."""
    sides = [" class=text" if cell.startswith(" ") else "" for cell in head]
    cells = "".join(f"<th{side}>{cell.strip()}</th>" for side, cell in zip(sides, head))
    lines = ["".join(f"<td{side}>{cell}</td>" for side, cell in zip(sides, row)) for row in rows]
    return f"<table><thead><tr>{cells}</tr></thead>" + "".join(f"<tr>{line}</tr>\n" for line in lines) + "</table>\n"


FOUND = ("codes", "codes a degree", "samples")  # units of what a calibration finds


class Value:
    """One measured value over all specimens and runs."""

    def __init__(self, first):
        self.step, self.name, self.unit = first["step"], first["name"], first["unit"]
        self.low, self.high, self.target = first.get("low"), first.get("high"), first.get("target")
        self.rows = []  # (specimen, run, value, truth, passed)

    def values(self):
        return [row[2] for row in self.rows]

    def known(self):
        return [row for row in self.rows if row[3] is not None]

    def errors(self):
        """Of the known rows. Of a calibration: truth - target where it had one; else of the measuring: value - truth."""
        return [row[2] - row[3] if self.target is None else row[3] - self.target for row in self.known()]

    def judged(self):
        """What is held against the limits: the reading; of an adjustment what it reached, as its loop ends at any reading within them."""
        return [row[3] for row in self.rows] if self.target is not None else self.values()

    def error_name(self):
        """A calibration finds, a check reads."""
        return "true - target" if self.target is not None else ("found" if self.unit in FOUND else "read") + " - true"


def collect(done):
    values = {}
    for record in done:
        steps = {step["step"]: step["passed"] for step in record["steps"]}
        for value in record["values"]:
            entry = values.setdefault(value["name"], Value(value))
            passed = steps[value["step"]] if "target" in value or "low" not in value else value["low"] < value["value"] < value["high"]
            entry.rows.append((record["specimen"], record["run"], value["value"], value.get("truth"), passed))
    return list(values.values())


# ---- Sections ----


def summary(settings, done):
    passed = {}
    for record in done:
        passed[record["specimen"]] = passed.get(record["specimen"], False) or record["passed"]
    first = [record for record in done if record["run"] == 0]
    # A failed step lasts as long as somebody waits for it.
    seconds = [record["seconds"] for record in done if record["passed"]]

    def of(hits, whole):
        part, low, high = figures.share(hits, whole)
        return f"{hits} of {whole} = {percent(part)} <span class=note>(95 %: {percent(low)} to {percent(high)})</span>"

    until = f", up to {html.escape(settings['until'])}" if settings["until"] else ""
    rows = [["Specimens", html.escape(settings["specimens"]) + f", job {html.escape(settings['job'])}{until}"]]
    if settings["bench"]:
        rows.append(["Set on every bench", f"<code>{html.escape(records.canonical(settings['bench']))}</code>"])
    rows.append(["First-pass yield", of(sum(record["passed"] for record in first), len(first))])
    if settings["repeat"] > 1:
        rows.append([f"Yield, if one of {settings['repeat']} tries is enough", of(sum(passed.values()), len(passed))])
    else:
        rows.append(["Yield", "the same: each was tried once"])
    if seconds:
        minutes = figures.mean(seconds) / 60
        rows.append(["Cycle time of what passed, without the operator", f"{minutes:.1f} min of the instrument's time"])
        if not settings["until"]:
            rows.append([f"A shift of {SHIFT_HOURS} hours", f"{SHIFT_HOURS * 60 / minutes:.1f} specimens a station"])
    return table(["", " "], rows)


def pareto(done):
    failures, first = Counter(), Counter()
    for record in done:
        failed = [step["step"] for step in record["steps"] if not step["passed"]]
        failures.update(failed)
        first.update(failed[:1])
    if not failures:
        return "<p>No step failed.</p>"
    rows = sorted(failures.items(), key=lambda row: (-row[1], row[0]))

    def draw(axes):
        names = [name for name, _ in rows[:15]][::-1]
        axes.barh(names, [failures[name] for name in names], color=RED)
        axes.set_xlabel("failures")
        axes.xaxis.set_major_locator(ticker.MaxNLocator(integer=True))

    return picture(draw, 6, 0.5 + 0.22 * min(15, len(rows))) + table(
        ["step", "failed", "failed first"], [[html.escape(name), count, first[name]] for name, count in rows])


def cycle_times(done):
    """Of steps that passed: a failed one lasts as long as somebody waits for it."""
    times = {}
    for record in done:
        for step in record["steps"]:
            if step["passed"]:
                times.setdefault(step["step"], []).append(step["seconds"] / 60)
    whole = sum(figures.mean(minutes) for minutes in times.values()) or 1.0
    rows = [(step, figures.mean(minutes), max(minutes)) for step, minutes in times.items()]
    rows.sort(key=lambda row: -row[1])
    short = [row for row in rows if row[1] < LEAST_SHARE * whole]
    rows = rows[:len(rows) - len(short)]
    if short:
        rows.append((f"all others ({len(short)})", sum(row[1] for row in short), max(row[2] for row in short)))
    text = table(["step", "mean, min", "longest, min", "share"],
                 [[html.escape(step), f"{middle:.3f}", f"{longest:.3f}", percent(middle / whole)] for step, middle, longest in rows])
    if "APD tuning" in times:
        text += "<p>APD tuning lasts as long as the module takes from 24 to 55 degrees, which the bench warms by 0.15 degrees a minute.</p>"
    return text


def histogram(value):
    def draw(axes):
        values = value.values()
        axes.hist(values, bins=min(40, max(8, len(values) // 10)), color=BLUE)
        for limit in (value.low, value.high):
            if limit is not None:
                axes.axvline(limit, color=RED)
        if value.target is not None:
            axes.axvline(value.target, color=GREY, linestyle="--")
        axes.set_xlabel(value.unit)
        axes.set_ylabel("runs")
        axes.xaxis.set_major_locator(ticker.MaxNLocator(5))
        axes.yaxis.set_major_locator(ticker.MaxNLocator(4, integer=True))
        axes.ticklabel_format(useOffset=False)

    return picture(draw, 4, 1.7)


def index_text(index):
    if index is None:
        return "no scatter"
    return f"{number(index[0], 3)} <span class=note>({number(index[1], 3)} to {number(index[2], 3)})</span>"


def one_value(value):
    values = value.values()
    lines = [f"mean {number(figures.mean(values), 6)}, deviation {number(figures.deviation(values), 3)} {html.escape(value.unit)}"]
    if value.low is not None:
        lines.append(f"limits {number(value.low, 6)} to {number(value.high, 6)}"
                     + (f", target {number(value.target, 4)}" if value.target is not None else ""))
        judged = value.judged()
        lines.append(("of the true values: " if value.target is not None else "") + f"Cp {index_text(figures.cp(judged, value.low, value.high))}, "
                     f"Cpk {index_text(figures.cpk(judged, value.low, value.high))}")
    far = figures.farthest([(row[0], row[2], value.low, value.high) for row in value.rows])
    lines.append("farthest out: " + ", ".join(f"{number(one, 6)} <code>./run --seed {specimen}</code>" for specimen, one in far))
    return (f"<div class=value><h3>{html.escape(value.step)}: {html.escape(value.name)}</h3>" + histogram(value)
            + "".join(f"<p>{line}</p>" for line in lines) + "</div>\n")


def capability(values):
    """The values with limits, the least capable first."""
    rows = []
    for value in values:
        if value.low is not None:
            index = figures.cpk(value.judged(), value.low, value.high)
            rows.append((index[0] if index else float("inf"), value, index))
    rows.sort(key=lambda row: (row[0], row[1].name))
    return table(["value", "of", "low", "high", "mean", "deviation", "unit", "Cpk (95 %)"],
                 [[html.escape(value.name), "reading" if value.target is None else "truth", number(value.low, 6), number(value.high, 6),
                   number(figures.mean(value.judged()), 6), number(figures.deviation(value.judged()), 3), html.escape(value.unit), index_text(index)]
                  for _, value, index in rows])


def wrong_verdicts(values):
    """Where the models know better than the verdict."""
    rows = []
    for value in values:
        if value.low is None or not value.known():
            continue
        bad = [row for row in value.known() if not value.low <= row[3] <= value.high]
        good = [row for row in value.known() if value.low <= row[3] <= value.high]
        rows.append((value.name, len(bad), sum(row[4] for row in bad), len(good), sum(not row[4] for row in good)))
    told = [row for row in rows if row[2] or row[4]]
    text = f"<p>Of {len(rows)} values, {len(told)} had a verdict that the truth contradicts.</p>"
    return text + (table(["value", "truly outside its limits", "of these passed", "truly inside", "of these failed"],
                         [[html.escape(row[0]), *row[1:]] for row in told]) if told else "")


def truths(values):
    rows = []
    for value in values:
        errors = value.errors()
        if errors:
            largest, worst = max(zip(errors, value.known()), key=lambda pair: abs(pair[0]))
            rows.append([html.escape(value.name), value.error_name(), number(figures.mean(errors), 3), number(figures.deviation(errors), 3),
                         number(largest, 3), html.escape(value.unit), f"<code>./run --seed {worst[0]}</code>"])
    return table(["value", "error", "mean", "deviation", "largest", "unit", "its specimen"], rows)


def repeats(values):
    rows = []
    for value in values:
        groups = {}
        for specimen, _, one, *_ in value.rows:
            groups.setdefault(specimen, []).append(one)
        scatter = figures.repeatability(groups.values())
        if scatter is not None:
            used = percent(6 * scatter / (value.high - value.low)) if value.low is not None else "-"
            rows.append([html.escape(value.name), number(scatter, 3), html.escape(value.unit),
                         number(figures.deviation(value.values()), 3), used])
    return table(["value", "deviation of one specimen", "unit", "deviation of all", "6 deviations, of the tolerance"], rows)


# What a calibration that is stored gives at a temperature: setting at 0 degrees + slope x temperature.
DRIFT_DEGREES = (-10, 0, 25, 40, 55)


def drift(done):
    """Error of the APD setting over the temperature, found - true, codes."""
    lines = []
    for record in done:
        found = {value["name"]: value for value in record["values"]}
        pair = [found.get(name) for name in ("setting at 0 degrees", "breakdown slope")]
        if all(pair):
            lines.append((record["specimen"], *(value["value"] - value["truth"] for value in pair)))
    if not lines:
        return ""
    rows = []
    for degrees in DRIFT_DEGREES:
        errors = [(at_zero + slope * degrees, specimen) for specimen, at_zero, slope in lines]
        worst = max(errors, key=lambda row: abs(row[0]))
        only = [error for error, _ in errors]
        rows.append([f"{degrees} degrees", number(figures.mean(only), 3), number(figures.deviation(only), 3), number(worst[0], 3),
                     f"<code>./run --seed {worst[1]}</code>"])
    return ("<h3>Drift over temperature</h3><p>Of the APD's supply, which follows the breakdown by the stored setting and slope: found - true, codes"
            " of 9.7 mV. The other calibrations are kept as they were found; the models give their supplies and zeros no drift.</p>"
            + table(["at", "mean, codes", "deviation, codes", "largest, codes", "its specimen"], rows))


# Small parts of a unit: how many, and their name.
SMALL = {"V": (1000, "mV"), "m": (1000, "mm"), "dB": (1, "dB")}


def curve_plot(sweep, fits):
    scale, unit = SMALL[sweep.unit]

    def draw(axes):
        for points, fit in fits.values():
            axes.plot([scale * (x - fit.middle) for x, _, _ in points], [100 * hits / count for _, hits, count in points], ".",
                      markersize=3, color=BLUE)
        edge = max(abs(scale * (x - fit.middle)) for points, fit in fits.values() for x, _, _ in points)
        width = figures.mean([fit.width for _, fit in fits.values()])
        side = next(iter(fits.values()))[1].side
        if width:
            grid = [edge * (i / 100 - 1) for i in range(201)]
            axes.plot(grid, [100 * figures.Fit(0.0, scale * width, side, 0.0).good(x) for x in grid], color=GREY, linewidth=1)
        axes.set_xlabel(f"true value, from the middle of the curve, {unit}")
        axes.set_ylabel("good, %")

    return picture(draw, 4, 2)


def operating(done):
    """Where the verdict changes, over which width, and what guard band follows."""
    rows, plots, lost = [], [], []
    for sweep in curves.SWEEPS:
        record = next((one for one in done if one["case"] == cases.CURVE + sweep.name), None)
        if record is None:
            continue
        lost += [f"{sweep.name}: {name}" for name in sweep.inside if name not in record["curve"]]
        fits = {name: (points, figures.fit(points)) for name, points in sorted(record["curve"].items())}
        for name, (points, fit) in fits.items():
            limit = (sweep.limits or {}).get(name)
            band, most = fit.guard_band(limit)
            scale, unit = SMALL[sweep.unit]
            what = sweep.name if len(sweep.inside) == 1 else f"{name}, {sweep.name}"
            grey = number(scale * fit.grey(), 3) if fit.width else f"&lt; {number(scale * abs(points[1][0] - points[0][0]), 2)}"
            rows.append([html.escape(what), number(limit, 6), number(fit.middle, 6), sweep.unit, grey,
                         f"{number(scale * band, 3)} <span class=note>(at most {number(scale * most, 3)})</span>", unit])
        if fits:
            plots.append(f"<div class=value><h3>{html.escape(sweep.name)}</h3>{curve_plot(sweep, fits)}</div>")
    text = table(["limit of", "limit", "verdict changes at", "unit", "grey zone", "guard band", "unit"], rows) + "".join(plots)
    return text + (f"<p class=bad>No change of the verdict was found for {html.escape(', '.join(lost))}.</p>" if lost else "")


MARKS = {matrix.CAUGHT: "&#9679;", matrix.CLEAN: "&#183;", matrix.FOLLOWS: "&#9675;", matrix.PASSES: "&#183;", matrix.MISSED: "?",
         matrix.UNEXPECTED: "!", matrix.UNREACHED: ""}


def defect_matrix(rows, specimens):
    failed = [record for record in specimens if not record["passed"]]
    parts = [table(["rows", "", " "], [[verdict, count, matrix.VERDICTS[verdict]] for verdict, count in matrix.counts(rows).items()]),
             f"<p>Of {len(specimens)} runs without a defect {len(failed)} failed.</p>"]
    for verdict, column in (("surprise", "wrong"), ("false alarm", "wrong"), ("escape", "why")):
        own = [row for row in rows if row.verdict == verdict]
        if own:
            heads = {"wrong": " not as expected", "why": " what a check would need, or why none sees it"}
            parts.append(f"<h3>{verdict.capitalize()}: {matrix.VERDICTS[verdict]}</h3>" + table(
                ["defect", heads[column]],
                [[html.escape(row.defect.name), html.escape(row.wrong if column == "wrong" else row.defect.why)] for row in own]))
    parts.append("<p>&#9679; failed, as it must; &#9675; failed, as it may; &#183; passed; ? passed, and must fail; ! failed, and must pass; grey: the job"
                 " ended before it.</p>")
    for job in dict.fromkeys(row.defect.job for row in rows):
        own = [row for row in rows if row.defect.job == job]
        head = "".join(f"<th>{html.escape(step)}</th>" for step in own[0].cells)
        lines = "".join(f"<tr><td>{html.escape(row.defect.name)}</td>" + "".join(f"<td class={cell}>{MARKS[cell]}</td>" for cell in row.cells.values())
                        + "</tr>\n" for row in own)
        parts.append(f"<h3>{html.escape(job)}</h3><table class=matrix><thead><tr><td></td>{head}</tr></thead>{lines}</table>")
    return "\n".join(parts)


def page(settings, everything):
    done = [record for record in everything if not record["case"]]
    values = collect(done)
    parts = ["<h1>K905 production line</h1>", summary(settings, done), "<h2>Failures by step</h2>", pareto(done),
             "<h2>Cycle time by step</h2>", cycle_times(done)]
    if any(value.low is not None for value in values):
        parts += ["<h2>Values against their limits</h2><p>Cpk: distance of the mean to the nearer limit, in three standard deviations."
                  " Of values that are normally distributed, 1.33 leaves 32 in a million beyond that limit, 1 leaves 1350; supplies are spread evenly, which"
                  " leaves fewer. An adjustment ends at its first reading within the tolerance, limits included, so that not its reading"
                  " is held against them here but the true voltage of the code that it found.</p>", capability(values),
                  "<h3>Wrong verdicts</h3>", wrong_verdicts(values)]
    parts += ["<h2>Measured values against the truth</h2><p>What the models know, beside what was measured. Of a supply that was"
              " adjusted, the volts that the found code gives, against the target. <code>./run --seed N</code> opens that specimen in the browser (its"
              " last digits differ: there time is real); what is set on every bench is not set there.</p>", truths(values), drift(done)]
    if settings["repeat"] > 1:
        parts += ["<h2>Repeatability</h2><p>The same specimens measured again, with other noise: what part of the tolerance the"
                  " measuring itself uses.</p>", repeats(values)]
    if any(record["case"].startswith(cases.CURVE) for record in everything):
        parts += ["<h2>Operating curves</h2><p>One specimen, its true value moved through the limit. Grey zone: from 99 % good to 1 %."
                  " Guard band (and the one-sided 95 % bound of it): how far the program's limit would have to be moved inwards, so that one that is truly at the limit passes in 1 of 10 000 cases at"
                  " most. The light paths' true value is the laser's lack of power; their limit is in another unit, so that the guard band is"
                  " from the middle of the curve.</p>",
                  operating(everything)]
    rows = matrix.rows({records.key_of(record): record for record in everything})
    if rows:
        parts += ["<h2>Defect matrix</h2>", defect_matrix(rows, done)]
    parts += ["<h2>Each measured value</h2><p>Red: limits; dashed: target.</p>", *map(one_value, values)]
    return ("<!doctype html><html lang=en><meta charset=utf-8><title>K905 production line</title><style>" + STYLE + "</style>\n"
            + "\n".join(parts) + "\n</html>\n")


def write(folder, settings, done):
    records.write_whole(os.path.join(folder, "report.html"), page(settings, records.sorted_records(done)))
