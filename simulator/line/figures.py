"""The statistics of the report. Formulas stand with their function; distributions are SciPy's."""
import math
from dataclasses import dataclass

from scipy import optimize, stats

CONFIDENCE = 0.95


def mean(values):
    return math.fsum(values) / len(values)


def deviation(values):
    """Standard deviation of a sample (n - 1); 0 of one value."""
    if len(values) < 2:
        return 0.0
    middle = mean(values)
    return math.sqrt(math.fsum((value - middle) ** 2 for value in values) / (len(values) - 1))


def share(hits, count):
    """(share, low, high): Clopper-Pearson bounds of a probability from `hits` of `count`."""
    tail = (1 - CONFIDENCE) / 2
    low = stats.beta.ppf(tail, hits, count - hits + 1) if hits > 0 else 0.0
    high = stats.beta.ppf(1 - tail, hits + 1, count - hits) if hits < count else 1.0
    return hits / count, float(low), float(high)


def cp(values, low, high):
    """(Cp, low, high) = (high - low) / 6 s, with bounds from the chi-square distribution of s; None without scatter."""
    scatter, count = deviation(values), len(values)
    if scatter == 0:
        return None
    index = (high - low) / (6 * scatter)
    tail = (1 - CONFIDENCE) / 2
    bounds = (math.sqrt(stats.chi2.ppf(part, count - 1) / (count - 1)) for part in (tail, 1 - tail))
    return (index, *(float(index * bound) for bound in bounds))


def cpk(values, low, high):
    """(Cpk, low, high): distance of the mean to the nearer limit over 3 s, with Bissell's bounds; None without scatter."""
    scatter, count = deviation(values), len(values)
    if scatter == 0:
        return None
    middle = mean(values)
    index = min(high - middle, middle - low) / (3 * scatter)
    half = float(stats.norm.ppf((1 + CONFIDENCE) / 2)) * math.sqrt(1 / (9 * count) + index * index / (2 * (count - 1)))
    return index, index - half, index + half


def repeatability(groups):
    """Pooled standard deviation within groups of repeated measurements; None without repeats."""
    squares = freedom = 0
    for values in groups:
        if len(values) > 1:
            squares += deviation(values) ** 2 * (len(values) - 1)
            freedom += len(values) - 1
    return math.sqrt(squares / freedom) if freedom else None


def farthest(rows, count=3):
    """The (specimen, value) pairs that lie farthest out of [(specimen, value, low, high)]: nearest to or beyond a limit, or,
    without limits, farthest from the mean."""
    middle = mean([row[1] for row in rows])

    def room(row):
        _, value, low, high = row
        return -abs(value - middle) if low is None else min(value - low, high - value)

    found = {}
    for row in sorted(rows, key=lambda row: (room(row), row[0])):
        found.setdefault(row[0], row[1])  # each specimen once
    return list(found.items())[:count]


# ---- Operating curves ----

PASSES_BAD = 1e-4  # the chance of passing a bad one that the guard band leaves


@dataclass(frozen=True)
class Fit:
    """A normal distribution's curve: good with Phi(side (x - middle) / width)."""

    middle: float
    width: float  # one standard deviation; 0: narrower than the points are apart
    side: int  # 1: good above; -1: good below
    step: float  # between the points
    covariance: tuple = None  # of middle and width

    def good(self, x):
        return float(stats.norm.cdf(self.side * (x - self.middle) / self.width)) if self.width else float(self.side * (x - self.middle) > 0)

    def grey(self):
        """Width of the zone in which the verdict is good in 1 to 99 % of the runs."""
        return 2 * float(stats.norm.ppf(0.99)) * self.width

    def guard_band(self, limit=None):
        """(distance, its one-sided 95 % bound) by which the program's limit would have to be moved inwards, so that one whose true value is
        at `limit` passes with PASSES_BAD at most; without a limit: one at the middle."""
        far = -float(stats.norm.ppf(PASSES_BAD))
        shift = 0.0 if limit is None else self.side * (limit - self.middle)
        if not self.width:  # at most half a step, around a middle that is somewhere in it
            return shift, shift + self.step / 2 + far * self.step / 2
        slopes = (0.0 if limit is None else -self.side, far)
        variance = sum(slopes[i] * slopes[j] * self.covariance[i][j] for i in (0, 1) for j in (0, 1))
        band = shift + far * self.width
        return band, band + float(stats.norm.ppf(0.95)) * math.sqrt(max(0.0, variance))


def fit(points):
    """The Fit of [[true value, runs that said good, runs], ...] by maximum likelihood (probit)."""
    points = sorted(points)
    side = 1 if points[-1][1] * points[0][2] > points[0][1] * points[-1][2] else -1
    step = points[1][0] - points[0][0]
    first = points[0][0]
    rows = [((x - first) / step, side, hits, count) for x, hits, count in points]  # in steps of the grid
    unsure = [x for x, hits, count in points if 0 < hits < count]
    if len(unsure) < 2:  # says nothing of the width
        beyond = first - step if side > 0 else points[-1][0] + step  # where none of the points is bad
        bad = [x for x, hits, _ in points if hits == 0] or [beyond]
        edge = (max(bad) if side > 0 else min(bad)) + side * step / 2
        return Fit(unsure[0] if unsure else edge, 0.0, side, step)

    def surprise(parameters):
        middle, logarithm = parameters
        width = math.exp(logarithm)
        whole = 0.0
        for x, sign, hits, count in rows:
            z = sign * (x - middle) / width
            whole -= hits * stats.norm.logcdf(z) + (count - hits) * stats.norm.logcdf(-z)
        return whole

    # Where as many say bad below as good above: a start near the end.
    start = sum((1 - hits / count if side > 0 else hits / count) for _, _, hits, count in rows) - 0.5
    bounds = ((-10 * len(rows), 10 * len(rows)), (math.log(0.01), math.log(10 * len(rows))))
    found = optimize.minimize(surprise, (start, 0.5), method="Nelder-Mead", bounds=bounds, options={"xatol": 1e-6, "fatol": 1e-9, "maxiter": 2000}).x
    middle, width = float(found[0]), math.exp(float(found[1]))
    # Fisher's information of middle and width.
    information = [[0.0, 0.0], [0.0, 0.0]]
    for x, sign, _, count in rows:
        z = sign * (x - middle) / width
        likely = float(stats.norm.cdf(z))
        if 0 < likely < 1:
            weight = count * float(stats.norm.pdf(z)) ** 2 / (likely * (1 - likely))
            slopes = (-sign / width, -z / width)
            for i in (0, 1):
                for j in (0, 1):
                    information[i][j] += weight * slopes[i] * slopes[j]
    (a, b), (_, d) = information
    determinant = a * d - b * b
    covariance = tuple(tuple(value * step**2 / determinant for value in row) for row in ((d, -b), (-b, a)))
    return Fit(first + middle * step, width * step, side, step, covariance)
