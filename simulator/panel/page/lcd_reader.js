// The LCD for who does not see it, or has no pointer: its texts, what of them is new, and its touch targets as buttons
// that lie over them. The instrument is asked when its screen has changed and then stood still; never while it rests.
import { byId, element } from "./dom.js";
import { lift, press } from "./lcd.js";
import { ask, instrument, on } from "./link.js";

const kStillMs = 300;
const kApartMs = 1000; // between two looks
const kLatestMs = 2000; // for a screen that never stands still
const kTapMs = 90; // a touch lasts at least
const kHand = "keyboard"; // the finger's name

const lcd = byId("lcd"), targets = byId("targets"), texts = byId("lcd-texts"), news = byId("lcd-news");

let firstChange = null; // since the last look
let lookedAt = -kApartMs;
let timer = 0;

function changed() {
  const now = performance.now();
  firstChange ??= now;
  if (document.hidden) return;
  clearTimeout(timer);
  const due = Math.max(Math.min(now + kStillMs, firstChange + kLatestMs), lookedAt + kApartMs);
  timer = setTimeout(look, due - now);
}

const asRead = ({ at: [x, y] }, { at: [otherX, otherY] }) => y - otherY || x - otherX;

async function look() {
  if (document.hidden || !instrument.running) return;
  firstChange = null;
  lookedAt = performance.now();
  try {
    showTexts((await ask({ do: "text" })).runs.map(({ text }) => text.trim().replace(/\s+/g, " ")));
    const { controls } = await ask({ do: "controls" });
    showTargets(controls.filter(({ at, enabled }) => at && enabled !== undefined).sort(asRead));
  } catch {
    if (!instrument.running) return;
    showTargets([]); // what is wrong is told over the screen
  }
}

let known = [];
function showTexts(lines) {
  const fresh = lines.filter((line) => line && !known.includes(line));
  known = lines;
  texts.replaceChildren(...lines.map((line) => element("li", {}, line)));
  if (fresh.length > 0) news.textContent = fresh.join(". ");
}

// ---- The targets. A key of the PC that is down on one is a finger.

let finger = null; // {since}

function touch(at) {
  if (finger) return;
  finger = { since: performance.now() };
  press(kHand, at);
}
function release() {
  if (!finger) return;
  const { since } = finger;
  finger = null;
  setTimeout(() => lift(kHand), Math.max(0, since + kTapMs - performance.now()));
}
const presses = ({ key }) => key === " " || key === "Enter";
addEventListener("keyup", (event) => {
  if (finger && presses(event)) {
    event.preventDefault();
    release();
  }
});
addEventListener("blur", release);

function target({ picture, at: [x, y] }, place) {
  const percent = (v, whole) => `${(100 * v) / whole}%`;
  return element("button", {
    "data-place": place,
    style: `left: ${percent(picture.x, lcd.width)}; top: ${percent(picture.y, lcd.height)}; ` +
      `width: ${percent(picture.w, lcd.width)}; height: ${percent(picture.h, lcd.height)}`,
    onkeydown: (event) => {
      if (!presses(event)) return;
      event.preventDefault();
      if (!event.repeat) touch({ x, y });
    },
    onclick: ({ detail }) => { // of a screen reader
      if (detail !== 0) return;
      touch({ x, y });
      release();
    },
  });
}

// Of a screen that only changed its looks the buttons stay, and with them the focus. On another screen it goes to the
// first.
function showTargets(controls) {
  const places = controls.map(({ name, at }) => `${at} ${name}`);
  if (places.join() !== [...targets.children].map(({ dataset }) => dataset.place).join()) {
    const inside = targets.contains(document.activeElement);
    const where = document.activeElement?.dataset?.place;
    targets.replaceChildren(...controls.map((control, i) => target(control, places[i])));
    if (inside) (targets.children[Math.max(0, places.indexOf(where))] ?? byId("port")).focus();
  }
  const times = {};
  controls.forEach(({ name, enabled }, i) => {
    const called = name.trim() || "button without a name";
    times[called] = (times[called] ?? 0) + 1;
    const button = targets.children[i];
    button.setAttribute("aria-label", times[called] > 1 ? `${called} (${times[called]})` : called);
    button.setAttribute("aria-disabled", !enabled);
  });
}

lcd.addEventListener("frame", changed);
document.addEventListener("visibilitychange", () => firstChange !== null && changed());
on("status", ({ running }) => {
  if (running) return changed();
  release();
  showTexts([]);
  showTargets([]);
});
