"""The line's results: one JSON object a line a case, and what is made of them for others.

docs/line.md describes the format. A record holds no time of day, host or duration of this machine, so that the same
specimens give the same bytes wherever they are run.
"""
import contextlib
import csv
import fcntl
import json
import os
import xml.etree.ElementTree as xml
import zlib

RESULTS = "results.jsonl"
SETTINGS = "line.json"
CSV_COLUMNS = ["case", "specimen", "run", "step", "passed", "seconds", "name", "value", "unit", "low", "high", "target", "truth"]


class LineError(Exception):
    """What a person has to know and can do something about."""


def canonical(value):
    return json.dumps(value, sort_keys=True, separators=(",", ":"), ensure_ascii=False)


def line_of(record):
    """The record as its line, with a checksum of the rest of it."""
    text = canonical(record)
    return canonical(dict(record, check="%08x" % zlib.crc32(text.encode()))) + "\n"


def record_of(line):
    """The record of a line; ValueError tells what is wrong with it."""
    record = json.loads(line)
    if not isinstance(record, dict):
        raise ValueError("not an object")
    check = record.pop("check", None)
    if check != "%08x" % zlib.crc32(canonical(record).encode()):
        raise ValueError("its checksum is not its own")
    return record


def key_of(record):
    return record["case"], record["specimen"], record["run"]


def name_of(key):
    """A case for people."""
    case, specimen, run = key
    return (f"{case}, " if case else "") + f"specimen {specimen}" + (f" run {run}" if run else "")


def read_settings(folder):
    path = os.path.join(folder, SETTINGS)
    try:
        with open(path, encoding="utf-8") as file:
            settings = json.load(file)
        if not isinstance(settings, dict):
            raise ValueError("not an object")
        return settings
    except OSError as error:
        raise LineError(f"{folder} holds no line: {path}: {error.strerror}") from None
    except ValueError as error:
        raise LineError(f"{path} is damaged: {error}") from None


def write_whole(path, text):
    """The file is the old one or the new one at any moment."""
    new = path + ".new"
    try:
        with open(new, "w", encoding="utf-8", newline="") as file:
            file.write(text)
            file.flush()
            os.fsync(file.fileno())
        os.replace(new, path)
    except OSError as error:
        try:
            os.remove(new)
        except OSError:
            pass
        raise LineError(f"{path} cannot be written: {error.strerror}") from None


@contextlib.contextmanager
def locked(folder):
    """Only one line at a time writes into a folder."""
    with open(os.path.join(folder, SETTINGS), "rb") as file:
        try:
            fcntl.flock(file, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except OSError:
            raise LineError(f"another line is writing into {folder}") from None
        yield


def read_results(folder, warn):
    """{(case, specimen, run): record} of a folder. Calls warn with a text for each damaged line: its case is missing."""
    path = os.path.join(folder, RESULTS)
    records = {}
    try:
        with open(path, encoding="utf-8", errors="replace") as file:
            for number, line in enumerate(file, 1):
                try:
                    record = record_of(line)
                    key = key_of(record)
                except (ValueError, KeyError) as error:
                    warn(f"{path}: line {number} is damaged ({error})")
                    continue
                if key in records and records[key] != record:
                    raise LineError(f"{path}: line {number}: {name_of(key)} has two results")
                records[key] = record
    except FileNotFoundError:
        pass
    except OSError as error:
        raise LineError(f"{path} cannot be read: {error.strerror}") from None
    return records


def sorted_records(records):
    return [records[key] for key in sorted(records)]


def write_results(folder, records):
    write_whole(os.path.join(folder, RESULTS), "".join(line_of(record) for record in sorted_records(records)))


class Appending:
    """The results as they come: each line is whole in the file, or not in it."""

    def __init__(self, folder):
        self.path = os.path.join(folder, RESULTS)
        try:
            self.file = open(self.path, "ab", buffering=0)
        except OSError as error:
            raise LineError(f"{self.path} cannot be written: {error.strerror}") from None

    def add(self, record):
        line = line_of(record).encode()
        before = os.fstat(self.file.fileno()).st_size
        try:
            if self.file.write(line) == len(line):
                return
            reason = "no room"
        except OSError as error:
            reason = error.strerror
        os.ftruncate(self.file.fileno(), before)
        raise LineError(f"{self.path} cannot be written: {reason}; --resume goes on when it can")

    def close(self):
        self.file.close()


class _Text:
    """What the csv module writes to."""

    def __init__(self):
        self.parts = []

    def write(self, text):
        self.parts.append(text)


def write_csv(folder, records):
    """A row a step, a row a value and a row a point of a curve, for spreadsheets."""
    text = _Text()
    rows = csv.writer(text)
    rows.writerow(CSV_COLUMNS)
    for record in sorted_records(records):
        who = list(key_of(record))
        for name, points in record.get("curve", {}).items():
            for x, hits, count in points:
                rows.writerow([*who, "", "", "", name, hits / count, "share good", "", "", "", x])
        values = {}
        for value in record.get("values", []):
            values.setdefault(value["step"], []).append(value)
        for step in record.get("steps", []):
            head = [*who, step["step"]]
            rows.writerow(head + [int(step["passed"]), step["seconds"]] + [""] * 7)
            for value in values.get(step["step"], []):
                rows.writerow(head + ["", ""] + [value.get(column, "") for column in CSV_COLUMNS[6:]])
    write_whole(os.path.join(folder, "results.csv"), "".join(text.parts))


def write_junit(folder, records, defects=()):
    """A suite a specimen, a case a step; times are the instrument's. `defects`: (name, what is wrong with its row of the matrix)."""
    suites = xml.Element("testsuites", name="K905 line")
    for record in sorted_records(records):
        if record["case"]:
            continue
        name = name_of(key_of(record))
        failed = [step for step in record["steps"] if not step["passed"]]
        suite = xml.SubElement(suites, "testsuite", name=name, tests=str(len(record["steps"])), failures=str(len(failed)),
                               errors="0", time=f"{record['seconds']:.1f}")
        for step in record["steps"]:
            case = xml.SubElement(suite, "testcase", classname=name, name=step["step"], time=f"{step['seconds']:.1f}")
            if not step["passed"]:
                xml.SubElement(case, "failure", message=step["wrong"].split("\n")[0]).text = step["wrong"]
    if defects:
        suite = xml.SubElement(suites, "testsuite", name="defects", tests=str(len(defects)),
                               failures=str(sum(bool(wrong) for _, wrong in defects)), errors="0")
        for name, wrong in defects:
            case = xml.SubElement(suite, "testcase", classname="defects", name=name)
            if wrong:
                xml.SubElement(case, "failure", message=wrong)
    xml.indent(suites)
    write_whole(os.path.join(folder, "junit.xml"),
                '<?xml version="1.0" encoding="UTF-8"?>\n' + xml.tostring(suites, encoding="unicode") + "\n")
