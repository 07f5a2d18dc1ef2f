"""report.html: what a line's records say, in one file without anything from elsewhere."""
import html
import os
from collections import Counter
from dataclasses import dataclass, field

from matplotlib import ticker

import cases
import curves
import figures
import matrix
import records
from sheet import (BLUE, GREY, RED, STYLE, alike, distribution, exact, number, opens, percent, picture,
                   quantity, smaller, table, tile, tiles)

SHIFT_HOURS = 8
LEAST_SHARE = 1e-4  # of the cycle time, for a row of its own
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
        """Of the known rows: truth - target of an adjustment; else value - truth."""
        return [row[2] - row[3] if self.target is None else row[3] - self.target for row in self.known()]

    def judged(self):
        """What is held against the limits: the reading; of an adjustment what it reached, as its loop ends at
        any reading within them. Once of each specimen: its further runs are no others."""
        return [row[3] if self.target is not None else row[2] for row in self.first()]

    def first(self):
        """The row of each specimen's first run that came so far."""
        found = {}
        for row in self.rows:
            found.setdefault(row[0], row)
        return list(found.values())

    def error_name(self):
        """A calibration finds, a check reads."""
        if self.target is not None:
            return "true - target"
        return "found - true" if self.unit in FOUND else "read - true"


def collect(done):
    values = {}
    for record in done:
        steps = {step["step"]: step["passed"] for step in record["steps"]}
        for value in record["values"]:
            entry = values.setdefault(value["name"], Value(value))
            judged_by_step = "target" in value or "low" not in value
            passed = steps[value["step"]] if judged_by_step else value["low"] < value["value"] < value["high"]
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
        note = f"{100 * low:.2f} to {percent(high)} with 95 % confidence"
        return f"{hits} of {whole} = {percent(part)} <span class=note>({note})</span>"

    asked = {key: html.escape(settings[key]) for key in ("specimens", "job", "until", "program")}
    until = f", up to {asked['until']}" if asked["until"] else ""
    rows = [["Specimens", f"{asked['specimens']}, job {asked['job']}{until}"],
            ["Program", f"<code>{asked['program']}</code> <span class=note>(fingerprint)</span>"]]
    if settings["bench"]:
        bench = html.escape(records.canonical(settings["bench"]))
        rows.append(["Set on every bench", f"<code>{bench}</code>"])
    rows.append(["First-pass yield", of(sum(record["passed"] for record in first), len(first))])
    tries = settings["repeat"]
    if tries > 1:
        rows.append([f"Yield, if one of {tries} tries is enough", of(sum(passed.values()), len(passed))])
    else:
        rows.append(["Yield", "the same: each was tried once"])
    if seconds:
        minutes = figures.mean(seconds) / 60
        rows.append(["Cycle time of what passed, without the operator",
                     f"{minutes:.1f} min of the instrument's time"])
        if not until:
            a_shift = SHIFT_HOURS * 60 / minutes
            rows.append([f"A shift of {SHIFT_HOURS} hours", f"{a_shift:.1f} specimens a station"])
    return table(["", " "], rows)


def pareto(done):
    failures, first = {}, Counter()
    for record in done:
        failed = [step["step"] for step in record["steps"] if not step["passed"]]
        for step in failed:
            failures.setdefault(step, []).append(record["specimen"])
        first.update(failed[:1])
    if not failures:
        return "<p>No step failed.</p>"
    rows = sorted(failures.items(), key=lambda row: (-len(row[1]), row[0]))

    def draw(axes):
        shown = rows[:15][::-1]
        axes.barh([name for name, _ in shown], [len(who) for _, who in shown], color=RED)
        axes.set_xlabel("failures, runs")
        axes.xaxis.set_major_locator(ticker.MaxNLocator(integer=True))

    def few(specimens):
        own = sorted(set(specimens))
        return ", ".join(map(opens, own[:3])) + (f", {len(own) - 3} more" if len(own) > 3 else "")

    return picture(draw, 6, 0.5 + 0.22 * min(15, len(rows))) + table(
        ["step", "failed, runs", "was the first to fail", " specimens"],
        [[html.escape(name), len(who), first[name], few(who)] for name, who in rows])


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
    if len(short) > 1:
        rows = rows[:len(rows) - len(short)]
        rows.append((f"{len(short)} others together", sum(row[1] for row in short), None))
    text = table(["step", "mean, minutes", "longest, minutes", "share"],
                 [[html.escape(step), f"{middle:.3f}", "-" if longest is None else f"{longest:.3f}",
                   percent(middle / whole)] for step, middle, longest in rows])
    if "APD tuning" in times:
        text += """<p>APD tuning lasts as long as the module takes from 24 to 55 degrees, which the bench
            warms by 0.15 degrees a minute.</p>"""
    return text


def index_text(index):
    if index is None:
        return "no scatter"
    return f"{number(index[0], 3)} <span class=note>({number(index[1], 3)} to {number(index[2], 3)})</span>"


def one_value(value):
    values, unit = value.values(), html.escape(value.unit)
    scatter = figures.deviation(values)
    if scatter:
        lines = [f"mean {number(figures.mean(values), 6)} {unit}, deviation {quantity(scatter, value.unit)}"]
    else:
        lines = [f"{exact(values[0])} {unit} in each run"]
    judged, limits = value.judged(), (value.low, value.high)
    which = "true values" if value.target is not None else "values"
    if value.low is not None:
        target = f", target {exact(value.target)} {unit}" if value.target is not None else ""
        lines.append(f"limits {exact(value.low)} to {exact(value.high)} {unit}{target}")
        if figures.deviation(judged):
            lines.append(f"of the {which}: Cp {index_text(figures.cp(judged, *limits))}, "
                         f"Cpk {index_text(figures.cpk(judged, *limits))}")
    if len(set(judged)) > 1:
        far = figures.farthest([(row[0], one, *limits) for row, one in zip(value.first(), judged)])
        out = "out" if value.low is not None else "from the mean"
        lines.append(f"{which} farthest {out}: " + ", ".join(
            f"<span class=one>{exact(one)} {unit} {opens(specimen)}</span>" for specimen, one in far))
    label = f"{'found' if value.unit in FOUND else 'read'}, {value.unit}"
    shown = limits if value.low is not None else ()
    return tile(f"{value.step}: {value.name}", distribution(values, label, shown, value.target), *lines)


def capability(values):
    """The values with limits, the least capable first."""
    rows = []
    for value in values:
        if value.low is not None:
            index = figures.cpk(value.judged(), value.low, value.high)
            rows.append((index[0] if index else float("inf"), value, index))
    rows.sort(key=lambda row: (row[0], row[1].name))
    return table(["value", "of", "low", "high", "mean", "unit", "deviation", "Cpk (95 % confidence)"],
                 [[html.escape(value.name), "reading" if value.target is None else "truth", exact(value.low),
                   exact(value.high), number(figures.mean(value.judged()), 6), html.escape(value.unit),
                   quantity(figures.deviation(value.judged()), value.unit), index_text(index)]
                  for _, value, index in rows])


def truly_outside(record):
    return any("low" in value and "truth" in value and not value["low"] <= value["truth"] <= value["high"]
               for value in record["values"])


def wrong_verdicts(values, done):
    """Where the models know better than the verdict."""
    rows = []
    for value in values:
        if value.low is None or not value.known():
            continue
        bad = [row for row in value.known() if not value.low <= row[3] <= value.high]
        good = [row for row in value.known() if value.low <= row[3] <= value.high]
        rows.append([html.escape(value.name), len(bad), sum(row[4] for row in bad),
                     len(good), sum(not row[4] for row in good)])
    told = [row for row in rows if row[2] or row[4]]
    passed, failed = ([record for record in done if record["passed"] is verdict] for verdict in (True, False))
    escaped, innocent = sum(map(truly_outside, passed)), sum(not truly_outside(record) for record in failed)
    text = f"""<p>Of {len(passed)} runs that passed, {escaped} have a value that is truly outside its limits;
        of {len(failed)} that failed, {innocent} have no such value. Of {len(rows)} values, {len(told)} had
        a verdict that the truth contradicts.</p>"""
    return text + (table(["value", "truly outside its limits, runs", "of these passed", "truly inside, runs",
                          "of these failed"], told) if told else "")


# ---- Calibrations ----


@dataclass
class Calibration:
    """What a calibration found, against the truth."""

    name: str
    unit: str
    error: str  # what less what
    limits: tuple = ()  # of the error
    errors: list = field(default_factory=list)  # (error, specimen)

    def largest(self):
        """(error, specimen)."""
        return max(self.errors, key=lambda row: abs(row[0]))

    def row(self):
        only, (worst, specimen) = [error for error, _ in self.errors], self.largest()
        factor, unit = smaller(self.unit, worst)
        told = alike(*(factor * one for one in (figures.mean(only), figures.deviation(only), worst)))
        return [html.escape(self.name), self.error, *told, unit, opens(specimen) if worst else "-"]

    def tile(self):
        worst = self.largest()[0]
        factor, unit = smaller(self.unit, worst)
        drawn = distribution([factor * error for error, _ in self.errors], f"{self.error}, {unit}",
                             [factor * limit for limit in self.limits], 0, factor * worst)
        _, _, middle, scatter, most, unit, command = self.row()
        return tile(self.name, drawn, f"mean {middle} {unit}, deviation {scatter} {unit}",
                    f"largest (&#9650;) {most} {unit} {command}")


def of_value(value):
    return Calibration(value.name, value.unit, value.error_name(),
                       errors=[(error, row[0]) for error, row in zip(value.errors(), value.known())])


def setting_errors(done):
    """(specimen, found - true of the APD's setting at 0 degrees, of its slope), codes."""
    lines = []
    for record in done:
        found = {value["name"]: value for value in record["values"]}
        pair = [found.get(name) for name in ("setting at 0 degrees", "breakdown slope")]
        if all(pair):
            lines.append((record["specimen"], *(value["value"] - value["truth"] for value in pair)))
    return lines


def setting_at(lines, degrees):
    """What a stored calibration gives at a temperature: setting at 0 degrees + slope x temperature."""
    return Calibration(f"breakdown at {degrees} degrees", "codes", "found - true",
                       errors=[(at_zero + slope * degrees, specimen) for specimen, at_zero, slope in lines])


def calibrations(values, done):
    """The targets of an adjustment are taken together: VDD, APD."""
    found = {}
    for value in values:
        if value.target is not None:
            name = value.name.split()[0]
            limits = tuple(round(limit - value.target, 6) for limit in (value.low, value.high))
            empty = Calibration(f"{name}, all targets", value.unit, value.error_name(), limits)
            found.setdefault(name, empty).errors += of_value(value).errors
        elif value.unit in FOUND and not value.name.endswith(" V code"):
            found[value.name] = of_value(value)
    lines = setting_errors(done)
    if lines:
        found["at 25"] = setting_at(lines, 25)
    return [one for one in found.values() if one.errors]


ERRORS = ["value", "error", "mean", "deviation", "largest", "unit", "its specimen"]


def calibration_errors(found):
    if not found:
        return ""
    return ("<h3>Calibrations</h3>" + table(ERRORS, [one.row() for one in found])
            + "<p>Red: limits within which the program adjusts; dashed: no error; triangle: the largest.</p>"
            + tiles(one.tile() for one in found))


def truths(values, known):
    """Those that the calibrations do not have already."""
    have = {one.name for one in known}
    rows = [of_value(value).row() for value in values if value.name not in have and value.known()]
    return "<h3>Readings, and each target of an adjustment</h3>" + table(ERRORS, rows) if rows else ""


def drift(done):
    lines = setting_errors(done)
    if not lines:
        return ""
    rows = [[f"{degrees} degrees", *setting_at(lines, degrees).row()[2:]] for degrees in (-10, 0, 25, 40, 55)]
    return """<div class=keep><h3>Drift over temperature</h3><p>Of the APD's supply, which follows the
        breakdown by the stored setting and slope: found - true, codes of 9.7 mV. The other calibrations are
        kept as they were found; the models give their supplies and zeros no drift.</p>
        """ + table(["at", *ERRORS[2:]], rows) + "</div>"


def repeats(values):
    rows = []
    for value in values:
        groups = {}
        for specimen, _, one, *_ in value.rows:
            groups.setdefault(specimen, []).append(one)
        scatter = figures.repeatability(groups.values())
        if scatter is not None:
            used = percent(6 * scatter / (value.high - value.low)) if value.low is not None else "-"
            rows.append([html.escape(value.name), quantity(scatter, value.unit),
                         quantity(figures.deviation(value.values()), value.unit), used])
    return table(["value", "deviation of one specimen", "deviation of all",
                  "6 deviations of one, of the tolerance"], rows)


# ---- Operating curves ----


def curve_plot(sweep, fits):
    """Against the limit where there is one; the line is the mean of all."""
    moved = {name: (sweep.limits or {}).get(name, 0.0) for name in fits}
    ends = [x - moved[name] for name, (points, _) in fits.items() for x, _, _ in points]
    factor, unit = smaller(sweep.unit, max(ends) - min(ends))

    def draw(axes):
        for name, (points, _) in fits.items():
            axes.plot([factor * (x - moved[name]) for x, _, _ in points],
                      [100 * hits / count for _, hits, count in points], ".", markersize=3, color=BLUE)
        width = figures.mean([fit.width for _, fit in fits.values()])
        middle = figures.mean([fit.middle - moved[name] for name, (_, fit) in fits.items()])
        if width:
            line = figures.Fit(middle, width, next(iter(fits.values()))[1].side, 0.0)
            grid = [min(ends) + (max(ends) - min(ends)) * i / 200 for i in range(201)]
            axes.plot([factor * x for x in grid], [100 * line.good(x) for x in grid], color=GREY, linewidth=1)
        if sweep.limits:
            axes.axvline(0, color=RED)
        axes.set_xlabel(f"{'true value - limit' if sweep.limits else 'laser weaker by'}, {unit}")
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
            factor, unit = smaller(sweep.unit, most)
            what = sweep.name if len(sweep.inside) == 1 else f"{name}, {sweep.name}"
            if fit.width:
                grey = quantity(fit.grey(), sweep.unit)
            else:
                grey = f"&lt; {quantity(abs(points[1][0] - points[0][0]), sweep.unit, 2)}"
            guard, bound = number(factor * band, 3), number(factor * most, 3)
            rows.append([html.escape(what), exact(limit), number(fit.middle, 6), sweep.unit, grey,
                         f"{guard} {unit} <span class=note>(at most {bound})</span>"])
        if fits:
            plots.append(tile(sweep.name, curve_plot(sweep, fits)))
    text = table(["limit of", "limit", "verdict changes at", "unit", "grey zone", "guard band"], rows)
    text += tiles(plots)
    if lost:
        text += f"<p class=bad>No change of the verdict was found for {html.escape(', '.join(lost))}.</p>"
    return text


# ---- Defects ----

MARKS = {matrix.CAUGHT: "&#9679;", matrix.CLEAN: "&#183;", matrix.FOLLOWS: "&#9675;", matrix.PASSES: "&#183;",
         matrix.MISSED: "?", matrix.UNEXPECTED: "!", matrix.UNREACHED: ""}


def defect_matrix(rows, specimens):
    failed = [record for record in specimens if not record["passed"]]
    parts = [table(["verdict", "rows", " meaning"],
                   [[verdict, count, matrix.VERDICTS[verdict]]
                    for verdict, count in matrix.counts(rows).items()]),
             f"<p>Of {len(specimens)} runs without a defect {len(failed)} failed.</p>"]
    wrong, needed = " not as expected", " what a check would need, or why none sees it"
    for verdict, told in (("surprise", wrong), ("false alarm", wrong), ("escape", needed)):
        own = [[html.escape(row.defect.name), html.escape(row.wrong if told is wrong else row.defect.why)]
               for row in rows if row.verdict == verdict]
        if own:
            parts.append(f"<h3>{verdict.capitalize()}: {matrix.VERDICTS[verdict]}</h3>")
            parts.append(table(["defect", told], own))
    parts.append("""<p>&#9679; failed, as it must; &#9675; failed, as it may; &#183; passed; ? passed, and
        must fail; ! failed, and must pass; grey: the job ended before it. A defect's name tells its reason
        when the pointer rests on it.</p>""")
    for job in dict.fromkeys(row.defect.job for row in rows):
        own = [row for row in rows if row.defect.job == job]
        head = "".join(f"<th>{html.escape(step)}</th>" for step in own[0].cells)
        lines = "".join(f'<tr><td title="{html.escape(row.defect.why)}">{html.escape(row.defect.name)}</td>'
                        + "".join(f"<td class={cell}>{MARKS[cell]}</td>" for cell in row.cells.values())
                        + "</tr>\n" for row in own)
        parts.append(f"<h3>Job {html.escape(job)}</h3>"
                     f"<table class=matrix><thead><tr><td></td>{head}</tr></thead>{lines}</table>")
    return "\n".join(parts)


def page(settings, everything):
    done = [record for record in everything if not record["case"]]
    values = collect(done)
    found = calibrations(values, done)
    parts = []

    def section(title, *texts):
        parts.append((title, "".join(texts)))

    section("Failures by step", pareto(done))
    section("Cycle time by step", "<p>Of the instrument's own time, without the operator.</p>",
            cycle_times(done))
    if any(value.low is not None for value in values):
        section("Values against their limits", """<p>Cpk: the distance of the mean to the nearer limit,
            divided by three standard deviations. Of values that are normally distributed, 1.33 leaves 32 in
            a million beyond that limit, 1 leaves 1350; supplies are spread evenly, which leaves fewer. An
            adjustment ends at its first reading within the tolerance, limits included, so that not its
            reading is held against them here but the true voltage of the code that it found.</p>""",
                capability(values),
                "<div class=keep><h3>Wrong verdicts</h3>", wrong_verdicts(values, done), "</div>")
    if values:
        section("Errors against the truth", f"""<p>The error of each run, by what the models know. Of a supply
            that was adjusted, the volts that the found code gives, less the target. {opens('N')} opens that
            specimen in the browser (its last digits differ: there time is real); what is set on every bench
            is not set there.</p>""",
                calibration_errors(found), drift(done), truths(values, found))
    if settings["repeat"] > 1:
        section("Repeatability", """<p>The same specimens measured again, with other noise: what part of the
            tolerance the measuring itself uses. Cp and Cpk elsewhere are of the first runs.</p>""",
                repeats(values))
    swept = [record for record in everything if record["case"].startswith(cases.CURVE)]
    if swept:
        section("Operating curves", f"""<p>Specimen {swept[0]["specimen"]}, its true value moved through the
            limit, with other noise in each run. Grey zone: from 99 % good to 1 %. Guard band (and the
            one-sided 95 % bound of it): how far the program's limit would have to be moved inwards, so that
            one that is truly at the limit passes in 1 of 10 000 cases at most. The light paths' true value
            is the laser's lack of power; their limit is in another unit, so that the guard band is from the
            middle of the curve. Red: the limit; a board's supplies are shown together, each against its
            own.</p>""", operating(everything))
    rows = matrix.rows({records.key_of(record): record for record in everything})
    if rows:
        one = next(record["specimen"] for record in everything if record["case"].startswith(cases.DEFECT))
        section("Defect matrix", f"<p>Specimen {one} with each defect, one run each.</p>",
                defect_matrix(rows, done))
    section("Each measured value", "<p>Red: limits; dashed: target.</p>", tiles(map(one_value, values)))
    names = [title.split()[0].lower() for title, _ in parts]
    links = " ".join(f"<a href=#{name}>{title}</a>" for name, (title, _) in zip(names, parts))
    texts = "".join(f"<h2 id={name}>{title}</h2>{text}\n" for name, (title, text) in zip(names, parts))
    return f"""<!doctype html><html lang=en><meta charset=utf-8><title>K905 production line</title>
<style>{STYLE}</style>
<h1>K905 production line</h1>{summary(settings, done)}<nav>{links}</nav>
{texts}</html>
"""


def write(folder, settings, done):
    records.write_whole(os.path.join(folder, "report.html"), page(settings, records.sorted_records(done)))
