// The 18 keys and the knob: by mouse, finger and the PC's keyboard. A key is down while something holds it.
import { byId } from "./dom.js";
import { act, instrument, tell } from "./link.js";

const held = new Set();
const released = new Map(); // key -> when this page let go of it
const kOwnMs = 1000; // so long, what the instrument told may still be this page's own press
const buttons = new Map([...document.querySelectorAll("[data-key]")].map((button) => [button.dataset.key, button]));

const isOff = () => !byId("ended").hidden; // then keys and knob are dead

// Whether keys and knob are dead; says so.
function refused() {
  if (isOff()) tell("problem", `${byId("how").textContent}: keys and knob are dead`);
  return isOff();
}

function hold(key, down, send = true) {
  if (held.has(key) === down || (down && refused())) return;
  if (down) held.add(key);
  else {
    held.delete(key);
    released.set(key, performance.now());
  }
  buttons.get(key).classList.toggle("held", down);
  if (send) act({ do: "key", key, action: down ? "down" : "up" });
}

// Keys that are down on the instrument, whoever holds them: another page, a script.
export function showDown(keys) {
  for (const [key, button] of buttons) {
    const own = held.has(key) || performance.now() - (released.get(key) ?? -kOwnMs) < kOwnMs;
    button.classList.toggle("elsewhere", keys.includes(key) && !own);
  }
}

export function releaseAll() {
  [...held].forEach((key) => hold(key, false));
}
// Without power, or without a launcher, there is nothing to be told.
export function forgetHeld() {
  [...held].forEach((key) => hold(key, false, false));
}

for (const [key, button] of buttons) {
  button.addEventListener("pointerdown", (event) => {
    if (event.button !== 0) return;
    event.preventDefault(); // the focus stays where it is
    event.stopPropagation();
    button.setPointerCapture(event.pointerId);
    hold(key, true);
  });
  for (const kind of ["pointerup", "pointercancel", "lostpointercapture"])
    button.addEventListener(kind, () => hold(key, false));
  // A screen reader clicks without a pointer.
  button.addEventListener("click", (event) => {
    if (event.detail === 0 && event.pointerType === "" && !refused()) act({ do: "key", key, action: "press" });
  });
}

const keyboard = {
  1: "f1", 2: "f2", 3: "f3", 4: "f4", 5: "f5",
  m: "menu", f: "file", escape: "esc", s: "scale", u: "setup", a: "avg", r: "realt", k: "knob",
  arrowup: "up", arrowleft: "left", arrowright: "right", arrowdown: "down", enter: "enter",
};
const byCode = new Map(); // physical key -> instrument key that it holds

// Whether the PC's keys are the instrument's: not while a control of the page has the focus.
function instrumentHasKeys() {
  const focus = document.activeElement;
  return !isOff() && !instrument.past && (!focus || focus === document.body || Boolean(focus.dataset?.key));
}

export function showActing() {
  const acts = instrumentHasKeys() && document.hasFocus();
  byId("acts").textContent = acts ? "on" : "off";
  byId("acts").className = acts ? "ok" : "";
  byId("acts").parentElement.title = acts
    ? "The PC's keys are the instrument's now"
    : "The PC's keys are not the instrument's now; click its screen to give them to it";
  document.querySelector(".screen").classList.toggle("acting", acts);
}
for (const kind of ["focusin", "focusout", "focus", "blur"]) addEventListener(kind, () => setTimeout(showActing));

addEventListener("keydown", (event) => {
  const onKey = document.activeElement?.dataset?.key;
  if (event.ctrlKey || event.altKey || event.metaKey || !instrumentHasKeys()) return;
  const name = event.key.toLowerCase();
  let key = keyboard[name];
  if (onKey && (name === " " || name === "enter")) key = onKey;
  if (name === "+" || name === "-" || name === "=") turn(name === "-" ? -1 : 1);
  else if (key && !event.repeat) {
    byCode.set(event.code, key);
    hold(key, true);
  } else if (!key) return;
  event.preventDefault();
});
addEventListener("keyup", (event) => {
  const key = byCode.get(event.code);
  if (!key) return;
  byCode.delete(event.code);
  hold(key, false);
  event.preventDefault();
});
addEventListener("blur", releaseAll);

// ---- The knob: 20 steps a turn.

const dial = byId("dial");
const kStep = 18; // degrees
let angle = 0;
let wheel = 0;
let drag = null; // {id, at: degrees, left over}

function turn(steps) {
  angle += steps * kStep;
  dial.style.setProperty("--angle", angle + "deg");
  if (!refused()) act({ do: "knob", steps });
}

for (const button of document.querySelectorAll("[data-turn]"))
  button.addEventListener("click", () => {
    turn(Number(button.dataset.turn));
  });

// Of a wheel's turn: browsers tell it in lines (3 a notch) or in pixels that differ (100, 120), most of them also as
// 120 a notch the other way round.
const notches = ({ deltaMode, deltaY, wheelDeltaY }) =>
  deltaMode !== 0 ? deltaY / 3 : wheelDeltaY ? -wheelDeltaY / 120 : deltaY / 100;

dial.addEventListener(
  "wheel",
  (event) => {
    event.preventDefault();
    wheel += notches(event);
    const steps = Math.trunc(wheel);
    if (steps === 0) return;
    wheel -= steps;
    turn(-steps);
  },
  { passive: false },
);

function direction(event) {
  const box = dial.getBoundingClientRect();
  return (
    (Math.atan2(event.clientY - box.top - box.height / 2, event.clientX - box.left - box.width / 2) * 180) / Math.PI
  );
}
dial.addEventListener("pointerdown", (event) => {
  if (event.button !== 0) return;
  event.preventDefault();
  dial.setPointerCapture(event.pointerId);
  drag = { id: event.pointerId, at: direction(event), left: 0 };
});
dial.addEventListener("pointermove", (event) => {
  if (!drag || drag.id !== event.pointerId) return;
  const at = direction(event);
  drag.left += ((at - drag.at + 540) % 360) - 180;
  drag.at = at;
  const steps = Math.trunc(drag.left / kStep);
  if (steps === 0) return;
  drag.left -= steps * kStep;
  turn(steps);
});
for (const kind of ["pointerup", "pointercancel"]) dial.addEventListener(kind, () => (drag = null));
