#!/usr/bin/python3
"""usage: simulator.py [--rounds N] [--only WORD] BUILD [OTHER]: what a stepped instrument costs, with the simulator of one
build folder or two in turns (both must know controls by name). Processor time of fct and its client together, least of
all rounds; ratio OTHER / BUILD."""

import argparse
import json
import os
import re
import resource
import socket
import subprocess
import sys
import tempfile
import time

HOUR_MS = 3600 * 1000


class Instrument:
    """A stepped fct of a build folder, with its control socket."""

    def __init__(self, build):
        self.folder = tempfile.TemporaryDirectory(prefix="k905-cost-")
        state = self.folder.name
        environment = dict(os.environ, LD_PRELOAD=f"{build}/lib/libk905.so", K905_STATE=state,
                           K905_APP=f"{build}/app/fct", K905_MODE="stepped")
        self.console = open(f"{state}/console.log", "wb")
        self.process = subprocess.Popen([f"{build}/bin/fct"], env=environment, stdin=subprocess.DEVNULL,
                                        stdout=self.console, stderr=self.console)
        self.socket = socket.socket(socket.AF_UNIX)
        for _ in range(1000):
            try:
                self.socket.connect(f"{state}/control.sock")
                break
            except OSError:
                time.sleep(0.01)
        self.replies = self.socket.makefile("r", encoding="utf-8")

    def ask(self, **request):
        self.socket.sendall(json.dumps(request).encode() + b"\n")
        reply = json.loads(self.replies.readline())
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

    def end(self):
        self.process.kill()
        self.process.wait()
        self.socket.close()
        self.console.close()
        self.folder.cleanup()


def spent(instrument, **request):
    """Processor seconds of fct while a request is done, with which the instrument has served."""
    before = instrument.cpu_seconds()
    instrument.ask(**request)
    cost = instrument.cpu_seconds() - before
    instrument.end()
    return cost


def idle(build):
    """12 hours of an idle instrument"""
    instrument = Instrument(build)
    instrument.ask(do="until", text="Welcome to K905_FCT !")
    return spent(instrument, do="advance", ms=12 * HOUR_MS)


def tuning(build):
    """whole APD tuning, 25 to 55 degrees"""
    instrument = Instrument(build)
    for control in ("Opticl_FCT", "APD_Adjust", "Start"):
        instrument.touch(control)
    instrument.ask(do="set", name="module.temperature_rate", value=0.15)
    return spent(instrument, do="until", text="APDTuning over!", limit_ms=24 * HOUR_MS)


def look(build):
    """reading a screen on which nothing has changed (real time)"""
    instrument = Instrument(build)
    instrument.touch("MainBoard_FCT")
    instrument.ask(do="until", text="Connect")
    instrument.ask(do="until", idle_ms=300)
    instrument.ask(do="text")
    count = 400
    before = time.perf_counter()
    for _ in range(count):
        instrument.ask(do="text", w=0)
    cost = (time.perf_counter() - before) / count
    instrument.end()
    return cost


def job(build, name):
    def times():
        usage = resource.getrusage(resource.RUSAGE_CHILDREN)
        return usage.ru_utime + usage.ru_stime

    before = times()
    with tempfile.TemporaryDirectory(prefix="k905-cost-") as out:
        subprocess.run([f"{build}/bin/k905", "check", "--job", name, "--out", out], check=True,
                       stdout=subprocess.DEVNULL)
    return times() - before


def main_board(build):
    """main board's job"""
    return job(build, "main-board")


def module(build):
    """module's job"""
    return job(build, "module")


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--rounds", type=int, default=3)
    parser.add_argument("--only", default="")
    parser.add_argument("builds", nargs="+", metavar="BUILD")
    options = parser.parse_args()
    builds = [os.path.abspath(build) for build in options.builds]
    for task in (idle, main_board, module, tuning, look):
        if not re.search(options.only, task.__name__):
            continue
        cost = [min(costs) for costs in zip(*([task(build) for build in builds] for _ in range(options.rounds)))]
        unit, factor = ("s", 1) if cost[0] > 0.05 else ("ms", 1000)
        ratio = f"   ratio {cost[1] / cost[0]:.1f}" if len(cost) == 2 else ""
        print(f"{task.__doc__:55}" + "".join(f"{one * factor:9.2f} {unit}" for one in cost) + ratio, flush=True)


if __name__ == "__main__":
    sys.exit(main())
