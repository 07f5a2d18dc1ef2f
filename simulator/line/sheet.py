"""What the report is made of: figures for people, tables, plots, and how they look."""
import html
import io
import math
from collections import Counter

import matplotlib
from matplotlib import pyplot, ticker

matplotlib.use("svg")
pyplot.rcParams.update({"svg.hashsalt": "k905", "font.size": 8, "axes.spines.top": False,
                        "axes.spines.right": False})

FEW_VALUES, MOST_BARS = 12, 40  # of a histogram
BLUE, RED, GREY = "#2b6cb0", "#c53030", "#718096"
STYLE = """
body { font: 15px/1.5 sans-serif; max-width: 62em; margin: 2em auto; padding: 0 1em; color: #1a202c }
h1 { margin-bottom: 0 }
h2 { margin-top: 2em; border-bottom: 1px solid #cbd5e0 }
nav a { margin-right: 1em }
table { border-collapse: collapse; margin: 1em 0 }
td, th { padding: .15em .8em; border-bottom: 1px solid #e2e8f0; text-align: right }
td:first-child, th:first-child, td.text, th.text { text-align: left }
th { font-weight: 600; vertical-align: bottom }
.values { display: grid; grid-template-columns: repeat(auto-fill, minmax(27em, 1fr)); gap: 1em }
.value, .keep { break-inside: avoid }
.value h3 { margin: 0; font-size: 1em }
.value p { margin: .2em 0; font-size: .9em }
code { white-space: nowrap; background: #edf2f7; padding: 0 .3em; border-radius: 3px }
.one { white-space: nowrap }
.bad { color: #c53030; font-weight: 600 }
.note { color: #4a5568 }
svg { max-width: 100%; height: auto }
.matrix { font-size: 11px }
.matrix td, .matrix th { padding: 0 1px; text-align: center }
.matrix td:first-child { text-align: left; white-space: nowrap; padding-right: .5em }
.matrix thead { position: sticky; top: 0; background: #fff }
.matrix th { writing-mode: vertical-rl; transform: rotate(180deg); text-align: left; font-weight: 400 }
.caught { background: #2f855a; color: #fff }
.follows { background: #9ae6b4 }
.missed, .unexpected { background: #c53030; color: #fff; font-weight: 600 }
.unreached { background: #e2e8f0 }
@page { size: A4 landscape; margin: 12mm }
@media print {
  * { -webkit-print-color-adjust: exact; print-color-adjust: exact }
  body { max-width: none; font-size: 11px; margin: 0; padding: 0 }
  nav { display: none }
  h2, h3 { break-after: avoid }
  .matrix thead { position: static }
}
"""


# ---- Figures for people ----


def number(value, digits=4):
    """So many significant digits, without an exponent where it can be read without."""
    if value is None:
        return "-"
    if value == 0 or 1e-4 <= abs(value) < 1e7:
        places = max(0, digits - 1 - int(f"{abs(value):.{digits - 1}e}".split("e")[1]))
        return f"{value:.{places}f}"
    return f"{value:.{digits - 1}e}"


def exact(value):
    """What a screen shows or a limit is: without digits that it does not have."""
    return "-" if value is None else f"{value:.6g}"


PARTS = {"V": ((1, 1, "V"), (1e-4, 1e3, "mV"), (0, 1e6, "µV")), "m": ((1, 1, "m"), (0, 1e3, "mm"))}


def smaller(unit, largest):
    """(factor, unit) in which a value so large reads best."""
    parts = PARTS.get(unit, ((0, 1, unit),))
    return next((factor, part) for least, factor, part in parts if abs(largest) >= least or not largest)


def alike(*values):
    """Texts of numbers with the decimals that the largest of them has."""
    places = len(number(max(values, key=abs), 3).partition(".")[2])
    return [f"{round(value, places) + 0.0:.{places}f}" for value in values]  # no -0.0


def quantity(value, unit, digits=3):
    factor, part = smaller(unit, value)
    return f"{number(factor * value, digits)} {html.escape(part)}"


def percent(value):
    return f"{100 * value:.2f} %"


def opens(specimen):
    return f"<code>./run --seed {specimen}</code>"


# ---- Plots and tables ----


def picture(draw, width, height):
    """An SVG element of what `draw` puts on the axes; inches."""
    figure, axes = pyplot.subplots(figsize=(width, height), layout="constrained")
    draw(axes)
    out = io.StringIO()
    figure.savefig(out, format="svg", metadata={"Date": None, "Creator": None})
    pyplot.close(figure)
    text = out.getvalue()
    return text[text.index("<svg"):]


def bars(axes, values, width):
    """A histogram. Few different values have bars of this width at their places; whole ones, whole bins."""
    counted = Counter(values)
    least, most = min(values), max(values)
    if len(counted) <= FEW_VALUES:
        axes.bar(list(counted), list(counted.values()), width=width, color=BLUE)
        return
    edges = min(MOST_BARS, max(8, len(values) // 10))
    if all_whole(values):
        step = math.ceil((most - least + 1) / MOST_BARS)
        edges = [least - 0.5 + step * i for i in range(int((most - least) // step) + 2)]
    axes.hist(values, bins=edges, color=BLUE, histtype="stepfilled")  # one shape: half the time of forty


def all_whole(values):
    return all(float(value).is_integer() for value in values)


def distribution(values, label, limits=(), target=None, worst=None):
    """Their histogram, with limits, target, and the worst one marked."""

    def draw(axes):
        ends = [*values, *limits]
        if max(ends) == min(ends):
            ends = [ends[0] - 1, ends[0] + 1]
            axes.set_xlim(*ends)
        bars(axes, values, (max(ends) - min(ends)) / 60)
        for limit in limits:
            axes.axvline(limit, color=RED)
        if target is not None:
            axes.axvline(target, color=GREY, linestyle="--")
        if worst is not None:
            axes.plot([worst], [0], "^", color=RED, clip_on=False, zorder=3)
        axes.set_xlabel(label)
        axes.set_ylabel("runs")
        axes.xaxis.set_major_locator(ticker.MaxNLocator(5, integer=all_whole(values)))
        axes.yaxis.set_major_locator(ticker.MaxNLocator(4, integer=True))
        axes.ticklabel_format(useOffset=False)

    return picture(draw, 4, 1.7)


def table(head, rows):
    """Columns whose head begins with a blank hold sentences."""
    sides = [" class=text" if cell.startswith(" ") else "" for cell in head]
    cells = "".join(f"<th{side}>{cell.strip()}</th>" for side, cell in zip(sides, head))
    lines = ["".join(f"<td{side}>{cell}</td>" for side, cell in zip(sides, row)) for row in rows]
    body = "".join(f"<tr>{line}</tr>\n" for line in lines)
    return f"<table><thead><tr>{cells}</tr></thead>{body}</table>\n"


def tile(title, drawn, *lines):
    text = "".join(f"<p>{line}</p>" for line in lines)
    return f"<div class=value><h3>{html.escape(title)}</h3>{drawn}{text}</div>\n"


def tiles(parts):
    return "<div class=values>\n" + "".join(parts) + "</div>\n"
