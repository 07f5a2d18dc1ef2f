"""The defect matrix: what each step said of each defect, against what the catalogue expects."""
from collections import Counter
from dataclasses import dataclass

import cases
import defects

# Of a cell.
CAUGHT = "caught"  # failed, as it must
CLEAN = "clean"  # passed, as it must
FOLLOWS = "follows"  # failed, as it may
PASSES = "passes"  # passed, and might have failed
MISSED = "missed"  # passed, and must fail
UNEXPECTED = "unexpected"  # failed, and must pass
UNREACHED = "unreached"  # the job ended before it

# Of a row.
VERDICTS = {
    "caught": "the steps that must see it failed, and no other but those that may",
    "good": "inside the limits, and nothing failed",
    "depends": "no step must see it, and one that may did in this specimen",
    "escape": "no step sees it, as expected",
    "false alarm": "inside the limits, and a step failed",
    "surprise": "another step failed than expected, or one passed that must fail",
}


@dataclass(frozen=True)
class Row:
    defect: defects.Defect
    cells: dict  # by step, in the order of the job
    verdict: str
    wrong: str  # what is not as expected; "" if all is


def cells(defect, steps, failed, passed):
    found = {}
    for step in steps:
        if step in failed:
            found[step] = CAUGHT if step in defect.sees else FOLLOWS if step in defect.may else UNEXPECTED
        elif step in passed:
            found[step] = MISSED if step in defect.sees else PASSES if step in defect.may else CLEAN
        else:
            found[step] = UNREACHED
    return found


def row(defect, steps, record):
    failed = {step["step"] for step in record["steps"] if not step["passed"]}
    passed = {step["step"] for step in record["steps"]} - failed
    found = cells(defect, steps, failed, passed)
    missed = [step for step, cell in found.items() if cell == MISSED]
    unexpected = [step for step, cell in found.items() if cell == UNEXPECTED]
    wrong = "; ".join(text for text in (f"passed: {', '.join(missed)}" if missed else "",
                                        f"failed: {', '.join(unexpected)}" if unexpected else "") if text)
    if defect.inside:
        verdict = "false alarm" if wrong else "good"
    elif wrong:
        verdict = "surprise"
    else:
        verdict = "escape" if not failed else "caught" if defect.sees else "depends"
    return Row(defect, found, verdict, wrong)


def order(done, job):
    """The job's steps in their order: of the longest of its records, and what others have besides."""
    names = [list(dict.fromkeys(step["step"] for step in record["steps"])) for record in done.values()
             if record["case"].startswith(cases.DEFECT) and record["job"] == job]
    return list(dict.fromkeys(step for row in sorted(names, key=len, reverse=True) for step in row))


def rows(done):
    """A Row for each defect that was run, in the order of the catalogue."""
    by_name = {record["case"][len(cases.DEFECT):]: record for record in done.values() if record["case"].startswith(cases.DEFECT)}
    steps = {job: order(done, job) for job in (defects.MAIN_BOARD, defects.MODULE)}
    return [row(defect, steps[defect.job], by_name[defect.name]) for defect in defects.DEFECTS if defect.name in by_name]


def counts(found):
    """How many rows of each verdict, in the order of VERDICTS."""
    counted = Counter(one.verdict for one in found)
    return {verdict: counted[verdict] for verdict in VERDICTS}


def summary(found):
    return f"{len(found)} run: " + ", ".join(f"{count} {verdict}" for verdict, count in counts(found).items())
