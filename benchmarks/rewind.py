#!/usr/bin/python3
"""How long the ways into the past take, in a session of a busy hour: 3600 inputs, one a second. Real seconds, sorted."""

import argparse
import contextlib
import json
import os
import random
import subprocess
import tempfile
import time
import urllib.error
import urllib.request

SECONDS = 3600
KEYS = ("menu", "f1", "f2", "f3", "up", "down", "left", "right", "enter", "scale")
TOUCHES = ("MainBoard_FCT", "Back")  # in turns: what one opens the other leaves
SHOWN = 3  # seconds that a person looks at a moment before going on from it


class Panel(contextlib.ExitStack):
    """A launcher with its instrument. Leaving it ends both."""

    def __init__(self, k905):
        super().__init__()
        with contextlib.ExitStack() as parts:
            folder = parts.enter_context(tempfile.TemporaryDirectory(prefix="k905-rewind-"))
            self.session = f"{folder}/state/session.jsonl"
            environment = {**os.environ, "K905_BENCHES": f"{folder}/benches", "XDG_RUNTIME_DIR": folder}
            launcher = parts.enter_context(subprocess.Popen(
                [k905, "panel", "--port", "9100", "--state", f"{folder}/state"], env=environment,
                stdout=subprocess.PIPE, text=True))
            parts.callback(launcher.terminate)
            self.url = launcher.stdout.readline().split(" at ")[1].split()[0]
            self.push(parts.pop_all())

    def ask(self, **request):
        call = urllib.request.Request(f"{self.url}api", json.dumps(request).encode(),
                                      {"Content-Type": "application/json"})
        try:
            with urllib.request.urlopen(call, timeout=600) as answer:
                reply = json.load(answer)
        except urllib.error.HTTPError as error:
            reply = json.load(error)
        if not reply["ok"]:
            raise RuntimeError(f"{request}: {reply}")
        return reply

    def spent(self, **request):
        begin = time.monotonic()
        self.ask(**request)
        return time.monotonic() - begin

    def now(self):
        return self.ask(do="hello")["now_us"]


def make_hour(panel, chance):
    panel.ask(do="until", text=TOUCHES[0], limit_ms=20000)
    panel.ask(do="speed", factor=0)
    for second in range(SECONDS):
        panel.ask(**(
            {"do": "key", "key": chance.choice(KEYS), "action": "press"},
            {"do": "knob", "steps": chance.choice((-1, 1))},
            {"do": "set", "name": "module.temperature", "value": 20 + 20 * chance.random()},
            {"do": "touch", "control": TOUCHES[second // 4 % 2]})[second % 4])
        panel.ask(do="advance", ms=1000)
    panel.ask(do="speed", factor=1)


def back(panel, seconds, rest=4):
    """From the present, and to it again."""
    took = panel.spent(do="rewind", to_us=int(panel.now() - seconds * 1e6))
    panel.ask(do="now")
    time.sleep(rest)
    return took


def back_from_shown(panel, chance, steps):
    """From a moment that is shown; the slowest of the steps."""
    at = int(panel.now() - chance.uniform(60, SECONDS - 100) * 1e6)
    panel.ask(do="rewind", to_us=at)
    time.sleep(SHOWN)
    took = []
    for _ in range(steps):
        at -= int(chance.uniform(0.5, 2) * 1e6)
        took.append(panel.spent(do="rewind", to_us=at))
    panel.ask(do="now")
    time.sleep(SHOWN)
    return max(took)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("k905", help="the launcher of a build")
    parser.add_argument("--times", type=int, default=6, metavar="N", help="of each way, 6 unless told")
    options = parser.parse_args()
    chance = random.Random(1)
    with Panel(options.k905) as panel:
        begin = time.monotonic()
        make_hour(panel, chance)
        size, inputs = os.path.getsize(panel.session), len(panel.ask(do="session")["inputs"])
        print(f"made in {time.monotonic() - begin:.0f} s: {inputs} inputs, {size // 1000} KB")
        time.sleep(20)  # those that follow come near
        ways = {
            "0.5 to 2 s back from the present": lambda: back(panel, chance.uniform(0.5, 2)),
            "20 s back": lambda: back(panel, 20),
            "any moment": lambda: back(panel, chance.uniform(30, SECONDS)),
            f"0.5 to 2 s back from one shown for {SHOWN} s": lambda: back_from_shown(panel, chance, 1),
            "the slowest of four such steps at once": lambda: back_from_shown(panel, chance, 4),
            "what wrote a register": lambda: panel.spent(do="origin", register="vdd"),
            "since when a text stands": lambda: panel.spent(do="origin", text=panel.ask(do="text")["runs"][0]["text"]),
        }
        for name, way in ways.items():
            print(f"{name:42}" + " ".join(f"{took:6.3f}" for took in sorted(way() for _ in range(options.times))), flush=True)


if __name__ == "__main__":
    main()
