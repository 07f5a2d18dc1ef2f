#!/usr/bin/python3
"""usage: measure.py K905: how fast a key gets to its picture, the screen to the page, what that costs, and what an idle
panel costs."""

import mmap
import os
import random
import statistics
import sys
import tempfile
import time

sys.dont_write_bytecode = True  # the sources stay clean
from panel_page import Panel

CHANGES = 400
PRESSES = 100
WATCH = 10.0  # seconds of an idle panel
WIDTH, HEIGHT = 800, 480

# Notes for each frame when it was drawn (milliseconds since 1970), its size, and the pixel at 0,0 that numbers it.
LISTEN = """
window.frames_ = [];
const lcd = document.getElementById('lcd'), context = lcd.getContext('2d');
lcd.addEventListener('frame', ({detail}) => {
  const [r, g, b] = context.getImageData(0, 0, 1, 1).data;
  const number = (r >> 3 << 11) | (g >> 2 << 5) | b >> 3;
  window.frames_.push([performance.timeOrigin + performance.now(), detail.bytes, number]);
});"""


# Milliseconds from a key of the PC to the first picture on the page that follows it, on the key check screen.
PRESS = """
const [number, done] = arguments;
const lcd = document.getElementById('lcd'), took = [];
const key = (kind) => document.body.dispatchEvent(new KeyboardEvent(kind, {key: 'a', code: 'KeyA', bubbles: true}));
const frame = () => new Promise((seen) => lcd.addEventListener('frame', seen, {once: true}));
const pause = () => new Promise((over) => setTimeout(over, 150 + Math.random() * 50));
(async () => {
  for (let i = 0; i < number; ++i) {
    for (const kind of ['keydown', 'keyup']) {
      const seen = frame(), begin = performance.now();
      key(kind);
      await seen;
      took.push(performance.now() - begin);
      await pause();
    }
  }
  done(took);
})();"""


def framebuffer(pid):
    for name in os.listdir(f"/proc/{pid}/fd"):
        path = f"/proc/{pid}/fd/{name}"
        if "k905-lcd" in os.readlink(path):
            file = os.open(path, os.O_RDWR)
            return mmap.mmap(file, WIDTH * HEIGHT * 2)
    raise RuntimeError("fct has no screen")


def cpu_seconds(pid):
    with open(f"/proc/{pid}/stat", encoding="ascii") as stat:
        fields = stat.read().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def share(pid, before):
    """Of a core, of what the process took since it had taken `before` seconds, WATCH seconds ago."""
    return f"{(cpu_seconds(pid) - before) / WATCH * 100:.1f} % of a core"


def frames(panel):
    found = panel.browser.execute_script("const all = window.frames_; window.frames_ = []; return all;")
    return [(at, size, int(number)) for at, size, number in found]


def latencies(panel, screen, paint):
    """Milliseconds from each change to its picture on the page."""
    changed = {}
    for number in range(1, CHANGES + 1):
        paint(number)
        screen[0:2] = number.to_bytes(2, "little")
        changed[number] = time.time() * 1000
        time.sleep(0.03 + random.random() * 0.03)
    time.sleep(0.5)
    arrived = {}
    sizes = []
    for at, size, number in frames(panel):
        arrived.setdefault(number, at)
        sizes.append(size)
    return sorted(arrived[n] - changed[n] for n in changed if n in arrived), sizes


def tell(title, values, sizes):
    print(f"{title}: {len(values)} of {CHANGES} changes seen; median {statistics.median(values):.1f} ms, "
          f"99 % {values[int(len(values) * 0.99) - 1]:.1f} ms, most {values[-1]:.1f} ms; "
          f"{statistics.mean(sizes):.0f} bytes a frame")


def main():
    panel = Panel(sys.argv[1], tempfile.gettempdir())
    try:
        panel.open()
        panel.tab("setups")  # asks for nothing but the state
        panel.touch("MainBoard_FCT", "Key Check")
        panel.touch("Key Check", "Anti")
        panel.browser.execute_script("document.activeElement.blur()")
        panel.browser.set_script_timeout(120)
        took = sorted(panel.browser.execute_async_script(PRESS, PRESSES))
        print(f"key to picture: {len(took)} presses and releases; median {statistics.median(took):.1f} ms, "
              f"99 % {took[int(len(took) * 0.99) - 1]:.1f} ms, most {took[-1]:.1f} ms")
        pid = panel.ask(do="hello")["pid"]
        screen = framebuffer(pid)
        panel.browser.execute_script(LISTEN)
        tell("one tile", *latencies(panel, screen, lambda number: None))

        def whole(number):
            screen[:] = bytes([number % 251]) * len(screen)
        values, sizes = latencies(panel, screen, whole)
        tell("whole screen", values, sizes)
        begin = time.monotonic()
        while time.monotonic() - begin < 3:
            screen[:] = os.urandom(1) * len(screen)
        seconds = time.monotonic() - begin
        painted = frames(panel)
        print(f"repaint without end: {len(painted) / seconds:.0f} frames/s, "
              f"{sum(size for _, size, _ in painted) / seconds / 1e6:.1f} MB/s")
        time.sleep(1)
        frames(panel)
        before = {p: cpu_seconds(p) for p in (panel.launcher.pid, pid)}
        time.sleep(WATCH)
        for name, process in (("launcher", panel.launcher.pid), ("fct", pid)):
            print(f"idle, one page open: {name} {share(process, before[process])}")
        idle = frames(panel)
        print(f"idle: {sum(size for _, size, _ in idle) / WATCH:.0f} bytes/s of screen")
        panel.browser.get("about:blank")
        time.sleep(1)
        before = cpu_seconds(panel.launcher.pid)
        time.sleep(WATCH)
        print(f"idle, no page open: launcher {share(panel.launcher.pid, before)}")
    finally:
        panel.close()


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    main()
