#!/usr/bin/env python3
"""A virtual production line: the job on many specimens, their results, and a report. `./run --line --help` tells all."""
import argparse
import contextlib
import hashlib
import json
import os
import pathlib
import re
import signal
import sys
import threading
import time
from concurrent.futures import FIRST_COMPLETED, ThreadPoolExecutor, wait

import cases
import defects
import matrix
import records
from curves import Stopped
from records import LineError

TREE = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
# What a verdict depends on. Not the compiler and the system's libraries: machines that share a line are to be alike.
SOURCES = ("CMakeLists.txt", "CMakePresets.json", "cmake", "gui", "device", "measure", "screens", "assets",
           "simulator/CMakeLists.txt", "simulator/interpose", "simulator/models", "simulator/panel",
           "simulator/line/cases.py", "simulator/line/specimen.py", "simulator/line/measurements.py",
           "simulator/line/curves.py")
NO_SOURCES = re.compile(r"^simulator/panel/page/|(^|/)[.#]|~$|/__pycache__/")  # nor the page, nor what editors leave
FORMAT = 2
INTERRUPTED = 130


def whole_numbers(text):
    """1-1000, or 7, or 1-10,20: a sorted list without doubles."""
    numbers = set()
    for part in text.split(","):
        low, dash, high = part.partition("-")
        if not low.isdigit() or (dash and not high.isdigit()):
            raise argparse.ArgumentTypeError(f"'{text}' is no list of numbers as 1-1000 or 3,7,20-29")
        first, last = int(low), int(high) if dash else int(low)
        if first > last or last > 0xFFFFFFFF:
            raise argparse.ArgumentTypeError(f"'{part}': from the smaller to the larger, at most {0xFFFFFFFF}")
        if last - first >= 1_000_000:
            raise argparse.ArgumentTypeError(f"'{part}' is more than a million specimens")
        numbers.update(range(first, last + 1))
    return sorted(numbers)


def as_text(numbers):
    """The list as ranges."""
    parts = []
    for number in numbers:
        if parts and parts[-1][1] == number - 1:
            parts[-1][1] = number
        else:
            parts.append([number, number])
    return ",".join(f"{low}-{high}" if low != high else str(low) for low, high in parts)


def positive(text):
    if not text.isdigit() or not 1 <= int(text) <= 100_000:
        raise argparse.ArgumentTypeError(f"'{text}' is not a whole number from 1 to 100000")
    return int(text)


def bench(text):
    try:
        value = json.loads(text)
    except ValueError as error:
        raise argparse.ArgumentTypeError(f"no JSON: {error}") from None
    if not isinstance(value, dict) or not set(value) <= {"set", "faults"} or not all(isinstance(one, dict) for one in value.values()):
        raise argparse.ArgumentTypeError('as {"set": {NAME: VALUE}, "faults": {NAME: VALUE}}')
    return value


def shard(text):
    part, slash, count = text.partition("/")
    if not slash or not part.isdigit() or not count.isdigit() or not 1 <= int(part) <= int(count):
        raise argparse.ArgumentTypeError(f"'{text}' is no share as 1/4 (the first of four)")
    return int(part), int(count)


def arguments_of(words):
    parser = argparse.ArgumentParser(
        prog="./run --line", formatter_class=argparse.RawDescriptionHelpFormatter,
        description="Does the whole job on many specimens, each another board, module and noise, several at a time, and "
        "writes\nresults.jsonl, results.csv, junit.xml and report.html.",
        epilog="Ctrl-C ends in order: the specimens that run are finished and written, a curve is given up; --resume goes on.\n"
        "Exit status: 0 all was run, whatever the verdicts; 1 not; 2 misused; 130 interrupted.")
    parser.add_argument("--specimens", type=whole_numbers, default=whole_numbers("1-20"), metavar="LIST",
                        help="their numbers, as 1-1000 or 3,7,20-29 (default 1-20)")
    parser.add_argument("--job", choices=["main-board", "module", "all"], default="all", help="(default all)")
    parser.add_argument("--repeat", type=positive, default=1, metavar="N",
                        help="each specimen so many times, with other noise each time (default 1)")
    parser.add_argument("--until", default="", metavar="STEP", help="the last step of the specimens' job")
    parser.add_argument("--bench", type=bench, default={}, metavar="JSON",
                        help='set on every bench, as {"set": {"module.temperature": 40}, "faults": {"board.wrong": {"noise": 3}}}')
    parser.add_argument("--defects", action="store_true", help="the first specimen with each defect of the job's catalogue, too")
    parser.add_argument("--curves", action="store_true", help="its true values moved through their limits, too")
    parser.add_argument("--only", metavar="PATTERN", help="only defects and curves of this name, as 'key*'")
    parser.add_argument("--jobs", type=positive, default=len(os.sched_getaffinity(0)), metavar="N",
                        help="instruments at a time (default: one for each processor)")
    parser.add_argument("--out", default="build/line", metavar="DIR", help="folder of the results (default build/line)")
    parser.add_argument("--shard", type=shard, metavar="I/N", help="only the I-th of N parts, to be merged afterwards")
    parser.add_argument("--program", default=os.path.join(TREE, "build/dev/bin/k905"), metavar="FILE", help=argparse.SUPPRESS)
    parser.add_argument("--resume", action="store_true", help="go on with what is in the folder")
    parser.add_argument("--merge", nargs="+", metavar="DIR", help="put the results of these folders together, run nothing")
    return parser.parse_args(words)


def fingerprint(tree=TREE):
    """Of all that a verdict depends on: results of different programs do not belong together."""
    digest = hashlib.sha256()
    for top in SOURCES:
        path = pathlib.Path(tree, top)
        for file in sorted(path.rglob("*")) if path.is_dir() else [path]:
            name = file.relative_to(tree).as_posix()
            if file.is_file() and not NO_SOURCES.search(name):
                digest.update(name.encode() + b"\0" + file.read_bytes())
    return digest.hexdigest()[:16]


def failed(record):
    """A specimen that did not pass; a defect's failures are what it is run for."""
    return not record["case"] and not record["passed"]


def weight(name):
    """About how many specimens' whole jobs a case takes as long as: a curve is some 500 runs of a part of one."""
    return 50 if name.startswith(cases.CURVE) else 1


class Progress:
    """A bar on a terminal, a line now and then otherwise."""

    EVERY = 10  # seconds between plain lines

    def __init__(self, done, wanted, out=sys.stderr):
        self.out, self.whole, self.first, self.done = out, len(wanted), len(done), len(done)
        self.failed, self.gone = sum(map(failed, done.values())), 0
        self.left = sum(weight(name) for name, *_ in wanted) - sum(weight(name) for name, *_ in done)
        self.bar, self.runs, self.lock = out.isatty(), 0, threading.RLock()
        self.began = self.told = time.monotonic()
        self.tell()

    def add(self, record):
        with self.lock:
            self.done += 1
            self.failed += failed(record)
            self.gone += weight(record["case"])
            self.left -= weight(record["case"])
            if self.bar or time.monotonic() - self.told >= self.EVERY:
                self.tell()

    def run(self):
        """The program is started; a curve does so some hundred times. From any thread."""
        with self.lock:
            self.runs += 1
            if time.monotonic() - self.told >= (1 if self.bar else self.EVERY):
                self.tell()

    def tell(self):
        self.told = time.monotonic()
        ran, took = self.done - self.first, self.told - self.began
        rate = ran / took if took > 0 else 0
        text = f"{self.done} of {self.whole}, {self.failed} failed"
        if ran:
            left = round(self.left * took / self.gone)
            pace = f"{rate:.1f} a second" if rate >= 0.1 else f"{60 * rate:.1f} a minute"
            text += f", {pace}, {left // 60}:{left % 60:02d} left"
        if self.runs > self.done:  # curves
            text += f", {self.runs} runs"
        if self.bar:
            full = 30 * self.done // max(1, self.whole)
            print(f"\r[{'#' * full}{'.' * (30 - full)}] {text}\033[K", end="", file=self.out, flush=True)
        else:
            print(text, file=self.out, flush=True)

    def end(self):
        self.tell()
        if self.bar:
            print(file=self.out, flush=True)


def warn(text):
    print(f"line: {text}", file=sys.stderr, flush=True)


def prepare(options):
    """The folder, its settings; what is to be run, and what it holds of that already."""
    settings = {"format": FORMAT, "program": fingerprint(), "job": options.job, "repeat": options.repeat,
                "specimens": as_text(options.specimens), "until": options.until, "bench": options.bench,
                "defects": options.defects, "curves": options.curves, "only": options.only}
    jobs = [options.job] if options.job != "all" else [defects.MAIN_BOARD, defects.MODULE]
    if options.until and not any(options.until in defects.steps_of_jobs()[job] for job in jobs):
        raise LineError(f"--until: the job has no step '{options.until}'")
    unknown = defects.unknown_names(options.bench)
    if unknown:
        raise LineError(f"--bench: no model has '{unknown[0]}'")
    whole = cases.plan(options.specimens, settings)
    if options.only is not None and not any(case.name for case in whole):
        raise LineError(f"no defect and no curve is called '{options.only}' (with --defects, --curves)")
    settings["plan"] = cases.fingerprint(whole)
    if options.shard:
        settings["shard"] = "%d/%d" % options.shard
    try:
        os.makedirs(options.out, exist_ok=True)
    except OSError as error:
        raise LineError(f"{options.out} cannot be made: {error.strerror}") from None
    if not os.path.exists(os.path.join(options.out, records.SETTINGS)):
        if os.path.exists(os.path.join(options.out, records.RESULTS)):
            raise LineError(f"{options.out} holds results without {records.SETTINGS}: not of a line, or not whole")
        records.write_whole(os.path.join(options.out, records.SETTINGS), records.canonical(settings) + "\n")
    elif not options.resume:
        raise LineError(f"{options.out} holds a line already: go on with --resume, remove it, or choose another --out")
    else:
        held = records.read_settings(options.out)
        for key in sorted(set(settings) | set(held), key=lambda key: (key == "plan", key)):
            if held.get(key) != settings.get(key):
                raise LineError(f"{options.out} holds another line: {key} is {held.get(key, 'not set')}, "
                                f"asked for is {settings.get(key, 'none')}")
    wanted = {case.key: case for case in whole}
    if options.shard:
        wanted = {case.key: case for case in whole[options.shard[0] - 1::options.shard[1]]}
    done = records.read_results(options.out, lambda text: warn(text + "; it is run again"))
    strange = sorted(set(done) - set(wanted))
    if strange:
        raise LineError(f"{options.out} holds a result of {records.name_of(strange[0])}, which is not of this line")
    return wanted, done


def run(options):
    plan = prepare(options)
    with records.locked(options.out):
        return run_missing(options, *plan)


def run_missing(options, wanted, done):
    if options.resume:
        records.write_results(options.out, done)  # without damaged lines and a half one at the end
    missing = [case for key, case in wanted.items() if key not in done]
    progress = Progress(done, wanted)
    done.clear()  # the file has them; so many specimens take no more memory than few
    stop, interrupted, at_once = threading.Event(), threading.Event(), threading.Event()
    running = set()
    problems = []

    def started(process):
        with progress.lock:
            running.difference_update([one for one in running if one.returncode is not None])
            running.add(process)
        progress.run()

    def interrupt(*_):
        if interrupted.is_set():  # the second time nothing is waited for
            at_once.set()
            for process in [one for one in list(running) if one.returncode is None]:
                with contextlib.suppress(ProcessLookupError):
                    os.killpg(process.pid, signal.SIGKILL)
        stop.set()
        interrupted.set()
        warn("ends at once" if at_once.is_set() else "ends when what runs is finished; once more: at once")

    handlers = {number: signal.signal(number, interrupt) for number in (signal.SIGINT, signal.SIGTERM)}
    try:
        with contextlib.closing(records.Appending(options.out)) as results, ThreadPoolExecutor(options.jobs) as pool:
            waiting, futures = list(reversed(missing)), set()
            while futures or (waiting and not stop.is_set()):
                while waiting and len(futures) < options.jobs and not stop.is_set():
                    case = waiting.pop()
                    futures.add(pool.submit(case.record, options.program, started, stop.is_set))
                for future in wait(futures, return_when=FIRST_COMPLETED).done:
                    futures.remove(future)
                    try:
                        record = future.result()
                    except Stopped:
                        continue
                    except LineError as error:
                        if at_once.is_set():
                            continue  # it was killed
                        problems.append(str(error))
                        if progress.done == progress.first and len(problems) >= options.jobs:
                            stop.set()  # nothing works: no need to try a thousand times
                        continue
                    try:
                        results.add(record)
                    except LineError as error:
                        stop.set()
                        problems.append(str(error))
                        continue
                    progress.add(record)
    finally:
        for number, handler in handlers.items():
            signal.signal(number, handler)
    progress.end()
    for problem in dict.fromkeys(problems):
        warn(problem)
    if progress.done < len(wanted):
        warn(f"{len(wanted) - progress.done} of {len(wanted)} are missing; --resume goes on")
        return INTERRUPTED if interrupted.is_set() and not problems else 1
    finish(options.out, records.read_results(options.out, warn))
    return 0


def finish(folder, done):
    """All that is made of the records; the same bytes for the same records. No report of a part."""
    settings = records.read_settings(folder)
    rows = matrix.rows(done)
    records.write_results(folder, done)
    records.write_csv(folder, done)
    records.write_junit(folder, done, [(row.defect.name, row.wrong) for row in rows])
    if "shard" not in settings:
        import report  # takes a second, which nobody should wait for before the line starts

        report.write(folder, settings, done)
    specimens = [record for record in done.values() if not record["case"]]
    whole = "" if "shard" in settings else ", report.html"
    print(f"{sum(record['passed'] for record in specimens)} of {len(specimens)} passed; {folder}/results.jsonl, results.csv, "
          f"junit.xml{whole}")
    if rows:
        print("defects: " + matrix.summary(rows))


def merge(options):
    merged, done = None, {}
    for folder in options.merge:
        settings = records.read_settings(folder)
        settings.pop("shard", None)
        if merged is not None and settings != merged:
            key = next(key for key in sorted(set(merged) | set(settings)) if merged.get(key) != settings.get(key))
            raise LineError(f"{folder} does not belong to {options.merge[0]}: {key} is {settings.get(key)}, there "
                            f"{merged.get(key)}")
        merged = settings
        for key, record in records.read_results(folder, warn).items():
            if done.setdefault(key, record) != record:
                raise LineError(f"{folder}: {records.name_of(key)} has another result there than in a folder before it")
    if any(os.path.realpath(folder) == os.path.realpath(options.out) for folder in options.merge):
        raise LineError("--out is one of the folders that are merged; choose another")
    wanted = cases.plan(whole_numbers(merged["specimens"]), merged)
    if cases.fingerprint(wanted) != merged["plan"]:
        raise LineError(f"{options.merge[0]} is of another catalogue of defects and curves than this program's")
    missing = [case.key for case in wanted if case.key not in done]
    if missing:
        told = as_text(sorted({key[1] for key in missing if not key[0]})) or records.name_of(missing[0])
        raise LineError(f"{len(missing)} results are missing: {told[:200]}; nothing was written")
    try:
        os.makedirs(options.out, exist_ok=True)
    except OSError as error:
        raise LineError(f"{options.out} cannot be made: {error.strerror}") from None
    if os.path.exists(os.path.join(options.out, records.SETTINGS)) and not options.resume:
        raise LineError(f"{options.out} holds a line already: remove it, or choose another --out")
    records.write_whole(os.path.join(options.out, records.SETTINGS), records.canonical(merged) + "\n")
    finish(options.out, done)
    return 0


def main(words):
    options = arguments_of(words)
    try:
        return merge(options) if options.merge else run(options)
    except LineError as error:
        warn(error)
        return 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
