"""The statistics of the report. Formulas stand with their function; distributions are SciPy's."""
import math

from scipy import stats

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
