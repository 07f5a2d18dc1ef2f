#!/usr/bin/env python3
"""The production line, as a person starts it: runs, breaks, shares, and what is wrong with a folder.

line_test.py K905 [TEST...]
"""
import csv
import dataclasses
import io
import math
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest
import unittest.mock
import xml.etree.ElementTree as xml


TREE = os.path.dirname(os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__)))))
LINE = os.path.join(TREE, "simulator/line/line.py")
sys.path.insert(0, os.path.dirname(LINE))
import cases  # noqa: E402
import curves  # noqa: E402
import defects  # noqa: E402
import line  # noqa: E402
import matrix  # noqa: E402
import measurements  # noqa: E402
import records  # noqa: E402
import specimen  # noqa: E402

# numpy, figures (SciPy) and report (matplotlib) take a second of processor time: only where they are wanted.

FILES = ["line.json", "results.jsonl", "results.csv", "junit.xml", "report.html"]
K905 = ""
STUB = os.path.join(os.path.dirname(os.path.abspath(__file__)), "stub_k905.py")


def command(*words, program=STUB):
    return [sys.executable, "-B", LINE, "--program", program, *map(str, words)]


class Line(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="k905-line-")
        self.addCleanup(shutil.rmtree, self.folder)

    def path(self, *names):
        return os.path.join(self.folder, *names)

    def run_line(self, *words, status=0, program=STUB):
        done = subprocess.run(command(*words, program=program), capture_output=True, text=True)
        self.assertEqual(status, done.returncode, done.stdout + done.stderr)
        return done.stdout + done.stderr

    def bytes_of(self, folder, files=FILES):
        def content(name):
            with open(self.path(folder, name), "rb") as file:
                return file.read()

        return {name: content(name) for name in files}

    def records_of(self, folder):
        return records.read_results(self.path(folder), self.fail)

    def assert_shows(self, page, text):
        """Without the page in the message."""
        self.assertTrue(text in page, f"{text} is not on the page")

    def page_of(self, folder):
        import report

        with open(self.path(folder, "report.html"), encoding="utf-8") as file:
            return file.read()

    def test_a_record_holds_verdicts_values_and_the_truth(self):
        self.run_line("--specimens", "7", "--job", "main-board", "--out", self.path("a"), program=K905)
        held = self.records_of("a")
        self.assertEqual([("", 7, 0)], list(held))
        record = held["", 7, 0]
        self.assertTrue(record["passed"])
        steps = {step["step"]: step for step in record["steps"]}
        self.assertIn("Arm Eeprom Check OK!", steps["Arm EEPROM"]["seen"])
        self.assertIn("Knob anticlockwise", steps)
        self.assertGreater(steps["Auto"]["seconds"], 3)
        values = {value["name"]: value for value in record["values"]}
        self.assertEqual(15, len(values))
        rail = values["TP97"]
        self.assertEqual(("V", 1.01909, 1.12636), (rail["unit"], rail["low"], rail["high"]))
        self.assertIn(f"OK  TP97:   {rail['value']:.5f}V", steps["Voltages"]["seen"])
        # The board's noise is a thousandth.
        self.assertNotEqual(rail["value"], rail["truth"])
        self.assertAlmostEqual(rail["value"], rail["truth"], delta=0.006)
        # For spreadsheets and CI servers.
        with open(self.path("a", "results.csv"), newline="") as file:
            rows = list(csv.DictReader(file))
        self.assertEqual([f"{rail['value']}"], [row["value"] for row in rows if row["name"] == "TP97"])
        self.assertEqual(len(steps) + 15, len(rows))
        suites = xml.parse(self.path("a", "junit.xml")).getroot().findall("testsuite")
        self.assertEqual(["specimen 7"], [suite.get("name") for suite in suites])
        self.assertEqual(len(steps), len(suites[0].findall("testcase")))
        self.assertEqual([], suites[0].findall("testcase/failure"))

    def test_a_module_s_values_are_those_of_its_screens(self):
        self.run_line("--specimens", "7", "--job", "module", "--shard", "1/1", "--out", self.path("a"), program=K905)
        record = self.records_of("a")["", 7, 0]
        values = {value["name"]: value for value in record["values"]}
        expected = [row.name for row in measurements.MEASUREMENTS if row.step not in ("Voltages", "ADC", "Battery")]
        self.assertEqual(expected, list(values))
        steps = {step["step"]: step["seen"] for step in record["steps"]}
        for volts in ("45.0", "25.0"):
            reading, code = values[f"APD {volts} V"], values[f"APD {volts} V code"]
            self.assertIn(f"Ad: {reading['value']:.1f}V reg:0x{code['value']:04x}", steps["Adjust APD"])
            self.assertAlmostEqual(float(volts), reading["truth"], delta=0.2)
        reading, code = values["VDD 1.5 V"], values["VDD 1.5 V code"]
        self.assertRegex(steps["Adjust VDD"], rf"Ad: +{reading['value']:.1f}V reg:0x{code['value']:04x}$")
        self.assertIn(f"reg:0x{values['ATT0 code']['value']:x}", steps["Adjust ATT0"])
        self.assertIn(f"offset = {values['offset']['value']:.0f} ", steps["Fibre offset"])
        # A calibration comes near the truth, and is not it.
        for name, within in {"ATT0 code": 40, "ATT1 code": 40, "offset": 10, "breakdown at the start": 30, "breakdown slope": 1,
                             "setting at 0 degrees": 40}.items():
            self.assertAlmostEqual(values[name]["truth"], values[name]["value"], delta=within, msg=name)
            self.assertNotEqual(values[name]["truth"], values[name]["value"], name)

    def test_any_number_of_jobs_a_break_and_shares_give_the_same_bytes(self):
        whole = ["--specimens", "1-6", "--repeat", 2]
        self.run_line(*whole, "--jobs", 3, "--out", self.path("whole"))
        expected = self.bytes_of("whole")
        # Broken off after the first result, in order.
        process = subprocess.Popen(command(*whole, "--jobs", 1, "--out", self.path("broken")), stderr=subprocess.PIPE,
                                   stdout=subprocess.DEVNULL, text=True)
        while not os.path.exists(self.path("broken", "results.jsonl")) or not self.records_of("broken"):
            time.sleep(0.01)
        process.send_signal(signal.SIGINT)
        told = process.communicate()[1]
        self.assertEqual(130, process.returncode, told)
        self.assertRegex(told, "of 12 are missing; --resume goes on")
        self.assertIn(len(self.records_of("broken")), range(1, 12))
        self.assertIn("holds a line already", self.run_line(*whole, "--out", self.path("broken"), status=1))
        self.run_line(*whole, "--out", self.path("broken"), "--resume")
        self.assertEqual(expected, self.bytes_of("broken"))
        # Shares, by GNU parallel as on several machines.
        done = subprocess.run(["parallel", "--will-cite", "-j2", *command(*whole), "--shard", "{}/5", "--out", self.path("share{}"),
                               ":::", *"12345"], capture_output=True, text=True)
        self.assertEqual(0, done.returncode, done.stderr)
        shares = [self.path(f"share{i}") for i in (3, 1, 2, 5, 4)]
        self.assertEqual([3, 3, 2, 2, 2], [len(self.records_of(f"share{i}")) for i in range(1, 6)])
        self.run_line("--merge", *shares, "--out", self.path("merged"))
        self.assertEqual(expected, self.bytes_of("merged"))
        told = self.run_line("--merge", *shares[1:], "--out", self.path("part"), status=1)
        self.assertIn("2 results are missing: 2,4; nothing was written", told)
        self.assertFalse(os.path.exists(self.path("part")))

    def test_a_second_break_ends_at_once(self):
        process = subprocess.Popen(command("--specimens", "1-9", "--jobs", 2, "--out", self.path("a")), stderr=subprocess.PIPE,
                                   stdout=subprocess.DEVNULL, text=True, env=dict(os.environ, STUB_SECONDS="60"))
        self.assertIn("0 of 9", process.stderr.readline())
        time.sleep(0.5)
        began = time.monotonic()
        process.send_signal(signal.SIGINT)
        self.assertIn("ends when what runs is finished", process.stderr.readline())
        process.send_signal(signal.SIGINT)
        told = process.communicate(timeout=30)[1]
        self.assertEqual(130, process.returncode, told)
        self.assertIn("ends at once", told)
        self.assertNotIn("status -9", told)
        self.assertLess(time.monotonic() - began, 20)

    def test_a_program_that_does_not_start_is_not_tried_for_each_specimen(self):
        told = self.run_line("--specimens", "1-50", "--jobs", 2, "--out", self.path("a"), status=1, program="/nonexistent/k905")
        self.assertLessEqual(told.count("cannot be started: No such file or directory"), 4)
        self.assertIn("50 of 50 are missing", told)

    def test_a_curve_takes_its_time_in_what_is_left(self):
        out, now = io.StringIO(), 0
        with unittest.mock.patch("time.monotonic", side_effect=lambda: now):
            wanted = [("", number, 0) for number in range(1, 11)] + [("curve x", 1, 0), ("curve y", 1, 0)]
            progress = line.Progress({("", 1, 0): {"case": "", "passed": False}}, wanted, out)
            for name in ("", "", "curve x"):
                now += 20
                progress.add({"case": name, "passed": True})
        told = out.getvalue().splitlines()
        self.assertEqual("1 of 12, 1 failed", told[0])
        # A curve stands for 50 specimens: 108 are left after the first in 20 s, 57 after 52 in 60 s.
        self.assertEqual(["1 of 12, 1 failed", "2 of 12, 1 failed, 3.0 a minute, 36:00 left", "4 of 12, 1 failed, 3.0 a minute, 1:06 left"],
                         [told[0], told[1], told[3]])

    def test_repeats_of_a_specimen_differ_in_noise_only(self):
        run = specimen.Runner(K905, 5, "main-board", until="Voltages")
        first, second = (specimen.record_of_steps(run.steps(number))["values"] for number in (0, 1))
        self.assertEqual([value["truth"] for value in first], [value["truth"] for value in second])
        self.assertEqual(13, len(first))
        for one, other in zip(first, second):
            self.assertNotEqual(one["value"], other["value"], one["name"])

    def test_a_bad_specimen_fails_and_its_values_are_there_all_the_same(self):
        bench = {"set": {"board.rail.TP97": 0.9}, "faults": {"usb.missing": True}}
        record = cases.Case("", 3, 0, "main-board", bench, "USB").record(K905, lambda process: None, lambda: False)
        self.assertFalse(record["passed"])
        failed = {step["step"]: step["wrong"] for step in record["steps"] if not step["passed"]}
        self.assertEqual({"Voltages", "USB"}, set(failed))
        self.assertIn("F.  TP97:", failed["Voltages"])
        self.assertEqual("End", record["steps"][-1]["step"])
        self.assertEqual("USB", record["steps"][-2]["step"])
        values = {value["name"]: value for value in record["values"]}
        self.assertAlmostEqual(0.9, values["TP97"]["value"], delta=0.006)
        self.assertEqual(0.9, values["TP97"]["truth"])
        records.write_junit(self.folder, {("", 3, 0): record}, [("a defect", ""), ("another", "passed: USB")])
        suites = xml.parse(self.path("junit.xml")).getroot().findall("testsuite")
        self.assertEqual([("specimen 3", "2"), ("defects", "1")], [(suite.get("name"), suite.get("failures")) for suite in suites])
        failures = suites[0].findall("testcase/failure")
        self.assertEqual(2, len(failures))
        self.assertIn("TP97", failures[0].get("message"))
        self.assertEqual(["passed: USB"], [failure.get("message") for failure in suites[1].findall("testcase/failure")])

    def test_a_damaged_line_is_named_and_run_again(self):
        whole = ["--specimens", "1-5", "--shard", "1/1", "--out", self.path("a")]
        files = FILES[:-1]  # no report of a part
        self.run_line(*whole)
        expected = self.bytes_of("a", files)
        lines = expected["results.jsonl"].decode().splitlines(keepends=True)
        digit = re.search(r'"value":1\.(\d)', lines[1]).start(1)
        lines[1] = lines[1][:digit] + str((int(lines[1][digit]) + 1) % 10) + lines[1][digit + 1:]
        lines[2] = "\0" * 40 + "\n"
        lines[3] = "[1]\n"
        lines[4] = lines[4][:300]
        with open(self.path("a", "results.jsonl"), "w") as file:
            file.writelines(lines)
        told = self.run_line(*whole, "--resume")
        for number in (2, 3, 4, 5):
            self.assertRegex(told, rf"line {number} is damaged \(.*\); it is run again")
        self.assertIn("1 of 5, 0 failed", told)
        self.assertEqual(expected, self.bytes_of("a", files))

    def test_a_folder_that_cannot_hold_results_is_told(self):
        one = ["--specimens", "1", "--shard", "1/1"]
        self.assertIn("cannot be made: Not a directory", self.run_line(*one, "--out", "/dev/null/x", status=1))
        self.run_line(*one, "--out", self.path("a"))
        told = self.run_line("--specimens", "1-2", "--shard", "1/1", "--out", self.path("a"), "--resume", status=1)
        self.assertIn("holds another line: specimens is 1, asked for is 1-2", told)
        with open(self.path("a", "line.json"), "w") as file:
            file.write("{")
        self.assertIn("line.json is damaged", self.run_line(*one, "--out", self.path("a"), "--resume", status=1))
        os.remove(self.path("a", "line.json"))
        self.assertIn("holds results without line.json", self.run_line(*one, "--out", self.path("a"), status=1))
        self.assertIn("holds no line", self.run_line("--merge", self.path("b"), "--out", self.path("c"), status=1))

    def test_a_full_disk_loses_nothing_that_was_written(self):
        # The file may grow to so many bytes.
        script = ("import resource, signal, sys, line\n"
                  "signal.signal(signal.SIGXFSZ, signal.SIG_IGN)\n"
                  "resource.setrlimit(resource.RLIMIT_FSIZE, (1500, 1500))\n"
                  "sys.exit(line.main(sys.argv[1:]))\n")
        words = ["--program", STUB, "--specimens", "1-9", "--jobs", "3", "--out", self.path("a")]
        done = subprocess.run([sys.executable, "-B", "-c", script, *words], capture_output=True, text=True,
                              env=dict(os.environ, PYTHONPATH=os.path.dirname(LINE)))
        self.assertEqual(1, done.returncode, done.stderr)
        told = re.findall("cannot be written: (?:File too large|no room); --resume goes on when it can", done.stderr)
        self.assertTrue(told)
        self.assertEqual(sorted(set(told)), sorted(told), "once each")
        held = self.records_of("a")
        self.assertLessEqual({number for _, number, _ in held}, set(range(1, 10)))
        self.assertIn(len(held), (1, 2, 3, 4))

    def test_the_report_has_the_numbers_of_the_results(self):
        import numpy
        import report

        self.run_line("--specimens", "1-20", "--repeat", 2, "--out", self.path("a"))
        page = self.page_of("a")
        with open(self.path("a", "results.csv"), newline="") as file:
            rows = list(csv.DictReader(file))
        self.assert_shows(page, "<td>First-pass yield</td><td class=text>16 of 20 = 80.00 %")
        self.assert_shows(page, "<td>USB</td><td>8</td><td>8</td>")
        times = numpy.array([[float(row["seconds"]), int(row["passed"])] for row in rows if row["seconds"]]).reshape(40, 2, 2)
        seconds = times[times[:, :, 1].all(axis=1), :, 0].sum(axis=1).mean()  # a failed step lasts as long as it is waited for
        self.assert_shows(page, f"{seconds / 60:.1f} min of the instrument's time")
        self.assert_shows(page, f"{8 * 3600 / seconds:.1f} specimens a station")
        own = [row for row in rows if row["name"] == "TP97"]
        read = numpy.array([float(row["value"]) for row in own])
        low, high = float(own[0]["low"]), float(own[0]["high"])
        middle, scatter = read.mean(), read.std(ddof=1)
        self.assert_shows(page, f"mean {report.number(middle, 6)} V, deviation {report.number(1000 * scatter, 3)} mV")
        first = numpy.array([float(row["value"]) for row in own if row["run"] == "0"])  # further runs are no other specimens
        capable = min(high - first.mean(), first.mean() - low) / (3 * first.std(ddof=1))
        self.assert_shows(page, f"Cpk {report.number(capable, 3)} ")
        pairs = numpy.array([[float(row["value"]) for row in own if row["specimen"] == str(one)] for one in range(1, 21)])
        again = numpy.sqrt(pairs.var(axis=1, ddof=1).mean())
        self.assert_shows(page, f"<td>{report.number(1000 * again, 3)} mV</td>")
        error = max((read - numpy.array([float(row["truth"]) for row in own])).tolist(), key=abs)
        self.assert_shows(page, f"<td>{report.number(1000 * error, 3)}</td><td>mV</td>")
        far = own[::2][int(numpy.argmin(numpy.minimum(first - low, high - first)))]
        self.assert_shows(page, f"farthest out: <span class=one>{report.exact(float(far['value']))} V <code>./run --seed {far['specimen']}</code>")
        failing = ", ".join(f"<code>./run --seed {one}</code>" for one in (5, 10, 15))
        self.assert_shows(page, f"<td class=text>{failing}, 1 more</td>")
        self.assertNotRegex(page, "https?://(?!www.w3.org|purl.org|creativecommons.org)")  # names of formats only

    def test_a_verdict_is_held_against_the_truth_and_a_second_try_counts(self):
        import report

        def record(number, run, passed, *values):
            steps = [{"step": "Adjust", "passed": passed, "seconds": 1.0, "seen": ""}]
            return {"case": "", "specimen": number, "run": run, "job": "module", "passed": passed, "seconds": 1.0, "steps": steps,
                    "values": [dict({"step": "Adjust", "unit": "V", "low": 1.0, "high": 2.0}, **value) for value in values]}

        rail, loop = {"name": "rail"}, {"name": "loop", "target": 1.5}
        done = [record(1, 0, False, dict(rail, value=2.01, truth=1.99), dict(loop, value=1.5, truth=1.5)),
                record(1, 1, True, dict(rail, value=1.99, truth=2.01), dict(loop, value=2.0, truth=2.04)),
                record(2, 0, False, dict(rail, value=2.1, truth=2.2), dict(loop, value=2.0, truth=1.9)),
                record(2, 1, False, dict(rail, value=1.5, truth=1.5), dict(loop, value=2.1, truth=2.1))]
        values = {value.name: value for value in report.collect(done)}
        shown = " ".join(report.wrong_verdicts(list(values.values()), done).split())
        self.assertIn("Of 1 runs that passed, 1 have a value that is truly outside its limits; of 3 that failed, 1 have no such value.", shown)
        self.assertIn("Of 2 values, 2 had a verdict", shown)
        self.assertIn("<td>rail</td><td>2</td><td>1</td><td>2</td><td>1</td>", shown)
        self.assertIn("<td>loop</td><td>2</td><td>1</td><td>2</td><td>2</td>", shown)
        self.assertEqual([2.01, 2.1], values["rail"].judged())  # of the first runs
        self.assertEqual([1.5, 1.9], values["loop"].judged())
        late = report.collect([record(3, 1, True, dict(rail, value=1.2, truth=1.2))])[0]  # run 0 did not come so far
        self.assertEqual([1.2], late.judged())
        summary = report.summary({"specimens": "1-2", "job": "module", "until": "", "bench": {}, "repeat": 2, "program": "x"}, done)
        self.assertIn("<td>First-pass yield</td><td class=text>0 of 2 = 0.00 %", summary)
        self.assertIn("<td>Yield, if one of 2 tries is enough</td><td class=text>1 of 2 = 50.00 %", summary)

    def test_calibrations_are_shown_with_their_errors_in_numbers_that_read_well(self):
        import numpy
        import report

        def record(number, *values):
            return {"specimen": number, "run": 0, "passed": True, "steps": [{"step": "Adjust", "passed": True}],
                    "values": [dict(zip(("step", "name", "unit", "value", "truth", "low", "high", "target"), ("Adjust", *value)))
                               for value in values]}

        done = [record(number, ("VDD 3.0 V", "V", 3.0, 3.0 + 0.001 * number, 2.95, 3.05, 3.0),
                       ("VDD 1.5 V", "V", 1.5, 1.5 - 0.002 * number, 1.45, 1.55, 1.5), ("VDD 1.5 V code", "codes", 1050 + number, 1050),
                       ("setting at 0 degrees", "codes", 4000 + number, 4000), ("breakdown slope", "codes a degree", 10.0 - 0.2 * number, 10.0),
                       ("temperature", "degrees", 25.0, 25.0)) for number in range(1, 31)]
        values = report.collect(done)
        found = report.calibrations(values, done)
        self.assertEqual(["VDD, all targets", "setting at 0 degrees", "breakdown slope", "breakdown at 25 degrees"], [one.name for one in found])
        numbers = numpy.arange(1, 31)
        errors = numpy.concatenate([numbers, -2.0 * numbers])  # mV
        supply, *_, slope, warm = found
        command = "<code>./run --seed 30</code>"
        self.assertEqual(["VDD, all targets", "true - target", f"{errors.mean():.1f}", f"{errors.std(ddof=1):.1f}", "-60.0", "mV", command],
                         supply.row())
        self.assertEqual((-0.05, 0.05), supply.limits)
        self.assertEqual(["found - true", "-3.10", f"{0.2 * numbers.std(ddof=1):.2f}", "-6.00", "codes a degree", command], slope.row()[1:])
        self.assertEqual((-120, 30), warm.largest())  # 30 - 25 x 6
        shown = report.calibration_errors(found)
        self.assertEqual(4, shown.count("<svg"))
        self.assertIn(f"<p>largest (&#9650;) -60.0 mV {command}</p>", shown)
        rest = report.truths(values, found)
        self.assertEqual([True, True, True, False, False], [f"<td>{name}</td>" in rest for name in
                         ("VDD 1.5 V", "VDD 1.5 V code", "temperature", "breakdown slope", "setting at 0 degrees")])
        self.assertIn("<td>0.00</td><td>0.00</td><td>0.00</td><td>degrees</td><td>-</td>", rest)
        # Numbers as they read best.
        self.assertEqual(["1.20 V", "-0.259 mV", "6.10 µV", "0.00 V", "12.0 codes", "173 mm"], [report.quantity(value, unit) for value, unit in (
            (1.2, "V"), (-2.59e-4, "V"), (6.1e-6, "V"), (0.0, "V"), (12, "codes"), (0.173, "m"))])
        self.assertEqual(["-115", "-34", "0"], report.alike(-115.2, -34.0, -0.2))
        self.assertEqual(["39.9", "2539", "1.00235", "-"], [report.exact(value) for value in (39.9, 2539, 1.0023469, None)])
        self.assertEqual(["1.00", "0.999", "1.00e-06"], [report.number(value, 3) for value in (0.9996, 0.9994, 1e-6)])

    def test_statistics_are_those_of_the_tables(self):
        import figures

        values = [1.0, 2.0, 3.0, 4.0, 5.0]
        self.assertEqual(3.0, figures.mean(values))
        self.assertAlmostEqual(1.5811388, figures.deviation(values), 6)
        self.assertEqual(0.0, figures.deviation([7.0]))
        # chi-square with 4 degrees of freedom: 0.484419 and 11.143287 at 2.5 and 97.5 %.
        for expected, found in zip((0.632456, 0.220096, 1.055620), figures.cp(values, 0, 6)):
            self.assertAlmostEqual(expected, found, 5)
        # 1.959964 (1/45 + 0.4/8)^0.5 = 0.526722
        for expected, found in zip((0.632456, 0.105734, 1.159178), figures.cpk(values, 0, 6)):
            self.assertAlmostEqual(expected, found, 4)
        self.assertAlmostEqual(1 / (3 * 1.5811388), figures.cpk(values, 2, 9)[0], 6)
        self.assertIsNone(figures.cp([2.0, 2.0], 1, 3))
        self.assertIsNone(figures.cpk([2.0, 2.0], 1, 3))
        # 8 of 10: the textbook's 0.4439 to 0.9748; none of 20: the rule of three's 1 - 0.025^(1/20).
        for expected, found in zip((0.8, 0.4439, 0.9748), figures.share(8, 10)):
            self.assertAlmostEqual(expected, found, 4)
        for expected, found in zip((0.0, 0.0, 0.168433), figures.share(0, 20)):
            self.assertAlmostEqual(expected, found, 5)
        self.assertEqual(1.0, figures.share(3, 3)[2])
        self.assertAlmostEqual(1.632993, figures.repeatability([[1, 3], [2, 2, 5], [9]]), 6)
        self.assertIsNone(figures.repeatability([[1], [2]]))
        self.assertEqual([(1, 1.5), (4, 9.5), (2, 5)], figures.farthest(
            [(1, 1.5, 1, 10), (4, 9.0, 1, 10), (4, 9.5, 1, 10), (2, 5, 1, 10), (3, 6, 1, 10)]))
        self.assertEqual([(2, -9)], figures.farthest([(1, 1, None, None), (2, -9, None, None), (3, 2, None, None)], 1))

    # ---- Defects ----

    ROWS = ("TP97 too low", "TP97 almost too high", "key F1 dead", "keys Left and Enter swapped", "knob dead clockwise", "EEPROM data line 7 low",
            "touch panel with dead rows", "USB port dead", "DDR not ready", "ADC 0.1 V low", "module: ADC open", "laser 10 dB weak",
            "amplifier channel 6303 dead")

    def test_rows_of_the_matrix_are_as_the_catalogue_expects(self):
        self.assertEqual(len(self.ROWS), len([row for row in defects.DEFECTS if row.name in self.ROWS]))
        found = {}
        for case in cases.plan([11], {"bench": {}, "until": "", "only": None, "job": "all", "repeat": 1, "curves": False, "defects": True}):
            if case.name[len(cases.DEFECT):] in self.ROWS:
                sees = cases.by_name(defects.DEFECTS, case.name[len(cases.DEFECT):]).sees
                until = "" if not sees or sees[-1].startswith(("Key", "Knob")) else sees[-1]  # what must see it, and what comes before
                found[case.key] = dataclasses.replace(case, until=until).record(K905, lambda process: None, lambda: False)
        rows = matrix.rows(found)
        self.assertEqual([("", row.defect.name) for row in rows], [(row.wrong, row.defect.name) for row in rows])
        verdicts = {row.defect.name: row.verdict for row in rows}
        self.assertEqual(("good", "escape"), (verdicts.pop("TP97 almost too high"), verdicts.pop("EEPROM data line 7 low")))
        self.assertEqual({"caught"}, set(verdicts.values()))

    def test_the_matrix_tells_what_is_not_as_expected(self):
        row = defects.Defect("main-board", "x", ("B", "C"), "why", may=("D",), set={"x": 1})

        def judged(defect, *failed, reached="ABCDE"):
            record = {"steps": [{"step": step, "passed": step not in failed} for step in reached]}
            return matrix.row(defect, list("ABCDE"), record)

        self.assertEqual(("caught", ""), (judged(row, "B", "C").verdict, judged(row, "B", "C").wrong))
        self.assertEqual(["clean", "caught", "caught", "follows", "clean"], list(judged(row, "B", "C", "D").cells.values()))
        self.assertEqual(["clean", "caught", "unreached", "unreached", "unreached"], list(judged(row, "B", reached="AB").cells.values()))
        self.assertEqual("caught", judged(row, "B", reached="AB").verdict)
        self.assertEqual(("surprise", "passed: C"), (judged(row, "B").verdict, judged(row, "B").wrong))
        self.assertEqual("passed: B, C; failed: A", judged(row, "A").wrong)
        self.assertEqual("surprise", judged(row).verdict)
        blind = defects.Defect("main-board", "x", (), "why", may=("D",), set={"x": 1})
        self.assertEqual(["escape", "depends", "surprise"], [judged(blind, *failed).verdict for failed in ("", "D", "E")])
        good = defects.Defect("main-board", "x", (), "why", set={"x": 1}, inside=True)
        self.assertEqual(["good", "false alarm"], [judged(good, *failed).verdict for failed in ("", "E")])
        self.assertEqual("6 run: 1 caught, 1 good, 0 depends, 1 escape, 1 false alarm, 2 surprise",
                         matrix.summary([judged(row, "B", "C"), judged(row), judged(blind), judged(blind, "E"), judged(good), judged(good, "A")]))

    def test_defects_and_curves_are_chosen_by_name(self):
        told = self.run_line("--specimens", "1", "--defects", "--only", "no such*", "--out", self.path("a"), status=1)
        self.assertIn("no defect and no curve is called 'no such*'", told)
        told = self.run_line("--specimens", "4", "--defects", "--only", "USB port d*", "--out", self.path("a"))
        self.assertIn("1 of 1 passed", told)
        self.assertIn("defects: 2 run: 0 caught, 0 good, 0 depends, 0 escape, 0 false alarm, 2 surprise", told)
        self.assertEqual([("", 4, 0), ("defect USB port dead", 4, 0), ("defect USB port doubled", 4, 0)], sorted(self.records_of("a")))
        page = self.page_of("a")
        self.assert_shows(page, "<h3>Surprise: another step failed")
        self.assert_shows(page, "<td class=text>passed: USB</td>")

    def test_only_one_line_at_a_time_writes_into_a_folder(self):
        self.run_line("--specimens", "1", "--out", self.path("a"))
        with records.locked(self.path("a")):
            told = self.run_line("--specimens", "1", "--out", self.path("a"), "--resume", status=1)
        self.assertIn("another line is writing into", told)

    # ---- Operating curves ----

    class Made:
        """Stands for a specimen.Runner: a step that says good above its limit, with normal noise."""

        def __init__(self, limit, noise, seed=1):
            import numpy

            self.limit, self.noise, self.chance, self.runs = limit, noise, numpy.random.default_rng(seed), 0

        def steps(self, run, more):
            self.runs += 1
            texts = [f"OK  {name}: " for name, x in more["set"].items() if x + self.noise * self.chance.normal() > self.limit]
            return [{"step": "Voltages", "texts": texts, "state": {}}]

    SWEEP = curves.Sweep("made", "main-board", "Voltages", "V", lambda name: rf"^OK +{name}: ", lambda values: {"set": values}, {"x": 1.1}, {"x": 0.9})

    def curve_of(self, *made):
        import figures

        found = curves.measure(self.SWEEP, self.Made(*made), lambda: False)
        return figures.fit(found["curve"]["x"]), found

    def test_a_curve_is_found_where_it_is_and_as_wide_as_it_is(self):
        fit, found = self.curve_of(1.0, 0.002)
        self.assertEqual(curves.POINTS, len(found["curve"]["x"]))
        self.assertAlmostEqual(1.0, fit.middle, delta=0.0005)
        self.assertAlmostEqual(0.002, fit.width, delta=0.0005)
        self.assertEqual(1, fit.side)
        self.assertAlmostEqual(4.652696 * fit.width, fit.grey(), 7)  # 2 x 2.326348
        # One that is truly at the limit passes by the noise alone: 1 in 10 000 lies 3.719016 deviations out.
        self.assertAlmostEqual(3.719016 * fit.width, fit.guard_band()[0], 7)
        self.assertAlmostEqual(0.003, fit.guard_band(fit.middle + 0.003)[0] - fit.guard_band()[0], 7)
        self.assertGreater(fit.guard_band(1.0)[1], fit.guard_band(1.0)[0])

    def test_a_worse_step_shows_in_its_curve(self):
        usual, _ = self.curve_of(1.0, 0.002)
        loud, _ = self.curve_of(1.0, 0.006)
        shifted, _ = self.curve_of(1.01, 0.002)
        self.assertAlmostEqual(3, loud.grey() / usual.grey(), delta=0.6)
        self.assertAlmostEqual(0.01, shifted.middle - usual.middle, delta=0.001)
        # Good from 1.01 on instead of 1.0: the limit could go outwards by that.
        self.assertAlmostEqual(0.01, usual.guard_band(1.0)[0] - shifted.guard_band(1.0)[0], delta=0.004)

    def test_a_curve_without_noise_is_narrower_than_its_points(self):
        import figures

        fit, found = self.curve_of(1.0, 0.0)
        self.assertEqual(0.0, fit.width)
        self.assertAlmostEqual(1.0, fit.middle, delta=0.0001)
        # One partial point says nothing of the width but that it is less than a step.
        for points, middle in (([[0, 20, 20], [1, 7, 20], [2, 0, 20]], 1), ([[0, 0, 20], [1, 0, 20], [2, 19, 20]], 2),
                               ([[0, 20, 20], [1, 20, 20], [2, 20, 20]], 2.5)):
            narrow = figures.fit(points)
            self.assertEqual((middle, 0.0), (narrow.middle, narrow.width))
            self.assertEqual((0.0, 0.5 + 3.719016 / 2), (narrow.guard_band()[0], round(narrow.guard_band()[1], 6)))
        # One that says anything anywhere is no wider than ten grids.
        self.assertAlmostEqual(40, figures.fit([[0, 2, 3], [1, 1, 3], [2, 1, 3], [3, 2, 3]]).width, delta=1)
        self.assertEqual({}, curves.measure(self.SWEEP, self.Made(2.0, 0.0), lambda: False)["curve"])
        with self.assertRaises(curves.Stopped):
            curves.measure(self.SWEEP, self.Made(1.0, 0.0), lambda: True)

    def test_a_supply_s_curve_lies_at_its_limit_and_in_the_report(self):
        import figures
        import report

        sweep = cases.by_name(curves.SWEEPS, "module's supplies, high")
        near = {side: {rail: limit + volts for rail, limit in sweep.limits.items()} for side, volts in (("inside", -0.002), ("outside", 0.002))}
        with unittest.mock.patch.multiple(curves, HALVINGS=4, CERTAIN=2, POINTS=5, REPEATS=3):
            found = curves.measure(dataclasses.replace(sweep, **near), specimen.Runner(K905, 2, "module", until=sweep.step), lambda: False)
        self.assertEqual({"TP18", "TP16", "TP17"}, set(found["curve"]))
        for rail, points in found["curve"].items():
            self.assertAlmostEqual(sweep.limits[rail], figures.fit(points).middle, delta=0.001)
        shown = report.operating([{"case": cases.CURVE + sweep.name, **found}])
        self.assertIn("<td>TP18, module&#x27;s supplies, high</td><td>1.10786</td>", shown)
        self.assertEqual(1, shown.count("<svg"))

    def test_probit_s_answer_is_that_of_a_search_over_a_fine_grid(self):
        import numpy
        import figures

        points = [[-2, 1, 20], [-1, 4, 20], [0, 9, 20], [1, 16, 20], [2, 19, 20]]
        fit = figures.fit(points)
        phi = numpy.vectorize(lambda z: 0.5 * (1 + math.erf(z / math.sqrt(2))))
        best = (-math.inf, 0, 0)
        for middle in numpy.arange(-0.5, 0.5, 0.01):
            for width in numpy.arange(0.8, 2.5, 0.01):
                chance = phi((numpy.array([x for x, _, _ in points]) - middle) / width)
                likely = sum(hits * math.log(p) + (count - hits) * math.log(1 - p) for p, (_, hits, count) in zip(chance, points))
                best = max(best, (likely, middle, width))
        self.assertAlmostEqual(best[1], fit.middle, delta=0.0051)
        self.assertAlmostEqual(best[2], fit.width, delta=0.0051)

    # ---- A model made worse ----

    def test_readings_made_worse_show_in_yield_capability_and_matrix(self):
        import figures
        import report

        worse = {"usual": {}, "loud": {"faults": {"board.wrong": {"noise": 3}}}, "shifted": {"faults": {"board.wrong": {"offset": 0.045}}}}
        rows, passed, capable, scatter = {}, {}, {}, {}
        for name, bench in worse.items():
            held = [cases.Case("", number, 0, "main-board", bench, "Voltages").record(K905, lambda process: None, lambda: False)
                    for number in range(1, 11)]
            passed[name] = sum(record["passed"] for record in held)
            values = report.collect(held)
            errors = [error for value in values for error in value.errors()]
            self.assertEqual(130, len(errors))
            scatter[name] = figures.deviation(errors)
            self.assertAlmostEqual(0.045 if name == "shifted" else 0, figures.mean(errors), delta=0.0003)
            rail = next(value for value in values if value.name == "TP97")
            capable[name] = figures.cpk(rail.values(), rail.low, rail.high)[0]
            almost = cases.by_name(defects.DEFECTS, "TP97 almost too high")
            steps = specimen.Runner(K905, 2, "main-board", bench, "Voltages").steps(0, {"set": almost.set})
            rows[name] = matrix.row(almost, [step["step"] for step in steps], specimen.record_of_steps(steps)).verdict
        self.assertAlmostEqual(3, scatter["loud"] / scatter["usual"], delta=0.2)
        self.assertAlmostEqual(1, scatter["shifted"] / scatter["usual"], delta=0.01)
        self.assertEqual({"usual": "good", "loud": "good", "shifted": "false alarm"}, rows)  # 3 mV are four deviations of the loud one
        self.assertEqual((10, 10), (passed["usual"], passed["loud"]))
        self.assertLess(passed["shifted"], 5)
        self.assertGreater(capable["usual"], 1.33)
        self.assertLess(capable["shifted"], 0.5)

    def test_another_picture_or_compiler_option_is_another_program_and_the_page_is_not(self):
        def written(name, text):
            os.makedirs(os.path.dirname(self.path(name)), exist_ok=True)
            with open(self.path(name), "w") as file:
                file.write(text)
            return line.fingerprint(self.folder)

        for name in line.SOURCES:
            if "." in name:
                written(name, "")
        whole = written("assets/svg/icons.svg", "<svg/>")
        for name in ("simulator/panel/page/link.js", "gui/.paint.cpp.swp", "gui/paint.cpp~", "gui/__pycache__/x.pyc", "docs/line.md"):
            self.assertEqual(whole, written(name, "x"), name)
        for name in ("assets/svg/icons.svg", "assets/svg/new.css", "CMakePresets.json", "cmake/k905.cmake", "simulator/panel/client.cpp",
                     "simulator/line/cases.py"):
            whole, before = written(name, "x"), whole
            self.assertNotEqual(before, whole, name)

    def test_numbers_of_specimens_are_read_and_wrong_ones_refused(self):
        self.assertEqual([1, 2, 3, 7], line.whole_numbers("7,1-3,2"))
        self.assertEqual("1-3,7,9-10", line.as_text([1, 2, 3, 7, 9, 10]))
        for words in (["--specimens", "3-1"], ["--specimens", "x"], ["--specimens", "1-"], ["--specimens", "1-4294967296"],
                      ["--jobs", "0"], ["--repeat", "two"], ["--bench", "[1]"], ["--bench", '{"x": {}}'], ["--bench", "{"], ["--shard", "3/2"], ["--shard", "1"], ["--job", "both"], ["--x"]):
            told = self.run_line(*words, "--out", self.path("a"), status=2)
            self.assertIn("usage:", told, words)
        for words, wrong in ((["--until", "Nope"], "the job has no step 'Nope'"),
                             (["--job", "module", "--until", "Voltages"], "the job has no step 'Voltages'"),
                             (["--bench", '{"faults": {"usb.mising": true}}'], "no model has 'usb.mising'"),
                             (["--bench", '{"set": {"board.rale.TP97": 1}}'], "no model has 'board.rale.TP97'")):
            self.assertIn(wrong, self.run_line(*words, "--out", self.path("a"), status=1))
        self.assertFalse(os.path.exists(self.path("a")))


if __name__ == "__main__":
    K905 = os.path.abspath(sys.argv.pop(1))
    unittest.main()
