"""One specimen: the unmodified program does its whole job on it, and a record of it comes back."""
import json
import os
import subprocess

from measurements import measured
from records import LineError

SECONDS = 600  # of real time; what takes longer hangs


def both(bench, more):
    """Two benches, of which the second goes before the first."""
    return {kind: {**bench.get(kind, {}), **more.get(kind, {})} for kind in ("set", "faults")}


class Runner:
    """Runs a specimen's job, again and again if wanted. `started` is called with each process."""

    def __init__(self, program, specimen, job, bench=None, until="", started=None):
        self.program, self.specimen, self.job, self.until, self.started = program, specimen, job, until, started
        self.bench = bench or {}

    def start(self, run, more):
        """Bench in force before the program starts. Another run of a specimen has other noise."""
        start = both(self.bench, more)
        if run:
            start["set"]["noise.seed"] = (self.specimen + run * 0x9E3779B9) & 0xFFFFFFFF
        return start

    def command(self, run, more):
        command = [self.program, "check", "--json", "--seed", str(self.specimen), "--job", self.job]
        start = self.start(run, more)
        if start["set"] or start["faults"]:
            command += ["--start", json.dumps(start)]
        return command + (["--until", self.until] if self.until else [])

    def steps(self, run=0, more=None):
        """The job's steps as `k905 check --json` tells them, with `more` on the bench. LineError where there is no result."""
        # A session of its own: Ctrl-C at the terminal ends the line in order, not this.
        try:
            process = subprocess.Popen(self.command(run, more or {}), stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                       stderr=subprocess.PIPE, start_new_session=True)
        except OSError as error:
            raise LineError(f"{self.program} cannot be started: {error.strerror}") from None
        if self.started:
            self.started(process)
        try:
            out, err = process.communicate(timeout=SECONDS)
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, 9)
            process.communicate()
            raise LineError(f"specimen {self.specimen}: no end within {SECONDS} s") from None
        told = err.decode(errors="replace").strip()
        if process.returncode not in (0, 1) or not out:
            raise LineError(f"specimen {self.specimen}: {told or f'k905 ended with status {process.returncode}'}")
        try:
            return [json.loads(line) for line in out.splitlines()]
        except ValueError as error:
            raise LineError(f"specimen {self.specimen}: what k905 says is no result: {error}") from None


def record_of_steps(steps):
    """What a record holds of a job's steps."""
    rows = []
    for step in steps:
        row = {"step": step["step"], "passed": step["passed"], "seconds": round(step["seconds"], 3), "seen": step["seen"]}
        if not step["passed"]:
            row["wrong"] = step["wrong"]
        rows.append(row)
    return {"passed": all(step["passed"] for step in steps), "seconds": round(sum(step["seconds"] for step in steps), 3),
            "steps": rows, "values": measured(steps)}
