"""One specimen: the unmodified program does its whole job on it, and a record of it comes back."""
import json
import os
import subprocess

from measurements import measured
from records import LineError

SECONDS = 600  # of real time; what takes longer hangs


def start_of(specimen, run, bench=None):
    """Bench in force before the program starts. Another run of a specimen has other noise."""
    bench = bench or {}
    start = {"set": dict(bench.get("set", {})), "faults": dict(bench.get("faults", {}))}
    if run:
        start["set"]["noise.seed"] = (specimen + run * 0x9E3779B9) & 0xFFFFFFFF
    return start


def command_of(program, specimen, run, job, bench=None, until=None):
    command = [program, "check", "--json", "--seed", str(specimen), "--job", job]
    start = start_of(specimen, run, bench)
    if start["set"] or start["faults"]:
        command += ["--start", json.dumps(start)]
    return command + (["--until", until] if until else [])


def steps_of(program, specimen, run, job, bench=None, until=None, started=None):
    """The job's steps as `k905 check --json` tells them. LineError where there is no result."""
    # A session of its own: Ctrl-C at the terminal ends the line in order, not this.
    process = subprocess.Popen(command_of(program, specimen, run, job, bench, until), stdin=subprocess.DEVNULL,
                               stdout=subprocess.PIPE, stderr=subprocess.PIPE, start_new_session=True)
    if started:
        started(process)
    try:
        out, err = process.communicate(timeout=SECONDS)
    except subprocess.TimeoutExpired:
        os.killpg(process.pid, 9)
        process.communicate()
        raise LineError(f"specimen {specimen}: no end within {SECONDS} s") from None
    told = err.decode(errors="replace").strip()
    if process.returncode not in (0, 1) or not out:
        raise LineError(f"specimen {specimen}: {told or f'k905 ended with status {process.returncode}'}")
    try:
        return [json.loads(line) for line in out.splitlines()]
    except ValueError as error:
        raise LineError(f"specimen {specimen}: what k905 says is no result: {error}") from None


def record_of_steps(specimen, run, job, steps):
    values = measured(steps)
    rows = []
    for step in steps:
        row = {"step": step["step"], "passed": step["passed"], "seconds": round(step["seconds"], 3), "seen": step["seen"]}
        if not step["passed"]:
            row["wrong"] = step["wrong"]
        rows.append(row)
    return {"specimen": specimen, "run": run, "job": job, "passed": all(step["passed"] for step in steps),
            "seconds": round(sum(step["seconds"] for step in steps), 3), "steps": rows, "values": values}


def run_specimen(program, specimen, run, job, started=None):
    return record_of_steps(specimen, run, job, steps_of(program, specimen, run, job, started=started))
