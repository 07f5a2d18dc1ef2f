#!/usr/bin/python3
"""What a stepped instrument costs, with the simulator of one build folder, or of two in turns. Each task is told with
what is measured of it; the least of all rounds counts. Two must both know controls by their names."""

import argparse
import collections
import contextlib
import json
import os
import resource
import socket
import statistics
import subprocess
import sys
import tempfile
import time

HOUR_MS = 3600 * 1000


class Instrument(contextlib.ExitStack):
    """A stepped fct of a build folder, with its control socket. Leaving it ends fct."""

    def __init__(self, build):
        super().__init__()
        with contextlib.ExitStack() as parts:
            state = parts.enter_context(tempfile.TemporaryDirectory(prefix="k905-cost-"))
            console = parts.enter_context(open(f"{state}/console.log", "wb"))
            environment = dict(os.environ, LD_PRELOAD=f"{build}/lib/libk905.so", K905_STATE=state,
                               K905_APP=f"{build}/app/fct", K905_MODE="stepped")
            self.process = parts.enter_context(
                subprocess.Popen([f"{build}/bin/fct"], env=environment, stdin=subprocess.DEVNULL, stdout=console,
                                 stderr=console))
            parts.callback(self.process.kill)
            link = parts.enter_context(socket.socket(socket.AF_UNIX))
            self.connect(link, state)
            self.link = link
            self.replies = parts.enter_context(link.makefile("r", encoding="utf-8"))
            self.push(parts.pop_all())

    def connect(self, link, state):
        for _ in range(1000):
            with contextlib.suppress(OSError):
                return link.connect(f"{state}/control.sock")
            if self.process.poll() is not None:
                break
            time.sleep(0.01)
        with open(f"{state}/console.log", encoding="utf-8", errors="replace") as console:
            raise RuntimeError(f"fct does not come up: {console.read()}")

    def ask(self, **request):
        self.link.sendall(json.dumps(request).encode() + b"\n")
        line = self.replies.readline()
        if not line:
            raise RuntimeError(f"{request}: fct has ended")
        reply = json.loads(line)
        if not reply["ok"] or reply.get("met") is False:
            raise RuntimeError(f"{request}: {reply}")
        return reply

    def touch(self, control):
        self.ask(do="until", text=control)
        self.ask(do="until", idle_ms=300)
        self.ask(do="touch", control=control)

    def cpu_seconds(self):
        with open(f"/proc/{self.process.pid}/stat", encoding="ascii") as stat:
            fields = stat.read().rpartition(")")[2].split()
        return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")

    def spent(self, **request):
        """Processor seconds of fct while a request is done."""
        before = self.cpu_seconds()
        self.ask(**request)
        return self.cpu_seconds() - before

    def look(self):
        """Seconds until the texts of the screen are there."""
        before = time.perf_counter()
        self.ask(do="text")
        return time.perf_counter() - before

    def open_main_board(self):
        self.touch("MainBoard_FCT")
        self.ask(do="until", text="Connect")
        self.ask(do="until", idle_ms=300)
        self.ask(do="text")


def idle(build):
    with Instrument(build) as instrument:
        instrument.ask(do="until", text="Welcome to K905_FCT !")
        return instrument.spent(do="advance", ms=12 * HOUR_MS)


def tuning(build):
    with Instrument(build) as instrument:
        for control in ("Opticl_FCT", "APD_Adjust", "Start"):
            instrument.touch(control)
        instrument.ask(do="set", name="module.temperature_rate", value=0.15)
        return instrument.spent(do="until", text="APDTuning over!", limit_ms=24 * HOUR_MS)


def look_unchanged(build):
    with Instrument(build) as instrument:
        instrument.open_main_board()
        return statistics.median(instrument.look() for _ in range(400))


# A button that does no more than tell the time.
def look_changed(build):
    with Instrument(build) as instrument:
        instrument.open_main_board()
        times = []
        for _ in range(100):
            for touch in ({"action": "down", "control": "RTC"}, {"action": "up"}):
                instrument.ask(do="touch", **touch)
                instrument.ask(do="advance", ms=300)
                times.append(instrument.look())
        return statistics.median(times)


def job(build, name):
    def times():
        usage = resource.getrusage(resource.RUSAGE_CHILDREN)
        return usage.ru_utime + usage.ru_stime

    before = times()
    with tempfile.TemporaryDirectory(prefix="k905-cost-") as out:
        subprocess.run([f"{build}/bin/k905", "check", "--job", name, "--out", out], check=True,
                       stdout=subprocess.DEVNULL)
    return times() - before


Task = collections.namedtuple("Task", "what measured measure")
FCT = "processor time of fct"
BOTH = "processor time of fct and its client"
REAL = "real time, median of many"

TASKS = {
    "idle": Task("12 hours of an idle instrument", FCT, idle),
    "main-board": Task("main board's job", BOTH, lambda build: job(build, "main-board")),
    "module": Task("module's job", BOTH, lambda build: job(build, "module")),
    "tuning": Task("whole APD tuning, 25 to 55 degrees", FCT, tuning),
    "look": Task("reading a screen on which nothing has changed", REAL, look_unchanged),
    "look-changed": Task("reading it after a button was pressed or let go", REAL, look_changed),
}


def positive(text):
    number = int(text)
    if number < 1:
        raise ValueError
    return number


def main():
    tasks = "\n".join(f"  {name:14}{task.what} ({task.measured})" for name, task in TASKS.items())
    parser = argparse.ArgumentParser(description=__doc__, epilog=f"tasks:\n{tasks}",
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--rounds", type=positive, default=3, metavar="N", help="3 unless told")
    parser.add_argument("--only", action="append", choices=TASKS, metavar="TASK", help="this task, or these")
    parser.add_argument("build", help="a build folder with fct and k905")
    parser.add_argument("other", nargs="?", help="another, measured in turns with it: the ratio is other / build")
    options = parser.parse_args()
    builds = [os.path.abspath(build) for build in (options.build, options.other) if build]
    for name in options.only or TASKS:
        task = TASKS[name]
        rounds = [[task.measure(build) for build in builds] for _ in range(options.rounds)]
        costs = [min(of_build) for of_build in zip(*rounds)]
        unit, factor = ("ms", 1000) if task.measured == REAL else ("s", 1)
        ratio = f"   ratio {costs[1] / costs[0]:.1f}" if len(costs) == 2 else ""
        figures = "".join(f"{cost * factor:9.2f} {unit:2}" for cost in costs)
        print(f"{task.what:49}{figures}{ratio}   {task.measured}", flush=True)


if __name__ == "__main__":
    sys.exit(main())
