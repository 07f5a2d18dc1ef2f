"""What a line runs: a case is one specimen with what is set on its bench.

A case's key is (case, specimen, run): "" for a specimen as it is, "defect NAME" for one with a defect of the catalogue,
"curve NAME" for one whose true values are moved through a limit.
"""
import fnmatch
import hashlib
from dataclasses import dataclass, field

import curves
import defects
import records
import specimen


@dataclass(frozen=True)
class Case:
    name: str
    specimen: int
    run: int
    job: str
    bench: dict = field(default_factory=dict)
    until: str = ""

    @property
    def key(self):
        return self.name, self.specimen, self.run

    def record(self, program, started, stopped):
        """Runs it: its record. `started` is called with each process, `stopped()` tells that the line ends."""
        run = specimen.Runner(program, self.specimen, self.job, self.bench, self.until, started)
        if self.name.startswith(CURVE):
            found = curves.measure(by_name(curves.SWEEPS, self.name[len(CURVE):]), run, stopped)
        else:
            found = specimen.record_of_steps(run.steps(self.run))
        return {"case": self.name, "specimen": self.specimen, "run": self.run, "job": self.job, **found}


DEFECT, CURVE = "defect ", "curve "


def by_name(rows, name):
    return next(row for row in rows if row.name == name)


def chosen(rows, settings):
    """Those of the job, and of the name that is asked for."""
    only, job = settings["only"], settings["job"]
    return [row for row in rows if job in ("all", row.job) and (only is None or fnmatch.fnmatchcase(row.name, only))]


def plan(numbers, settings):
    """All cases of a line. Defects and curves are those of the first specimen."""
    bench, until = settings["bench"], settings["until"]
    cases = [Case("", number, run, settings["job"], bench, until) for number in numbers for run in range(settings["repeat"])]
    if settings["curves"]:
        cases += [Case(CURVE + row.name, numbers[0], 0, row.job, bench, row.step) for row in chosen(curves.SWEEPS, settings)]
    if settings["defects"]:
        cases += [Case(DEFECT + row.name, numbers[0], 0, row.job, specimen.both(bench, {"set": row.set, "faults": row.faults}))
                  for row in chosen(defects.DEFECTS, settings)]
    return cases


def fingerprint(cases):
    """Of what is run, but for the program: results of another plan do not belong to it."""
    whole = [[case.key, case.job, case.bench, case.until] for case in cases]
    return hashlib.sha256(records.canonical(whole).encode()).hexdigest()[:16]
