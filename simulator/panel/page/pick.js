// Picking by a click: what lies under the pointer and can be expected is outlined, and a click on it gives the expectation.
import { byId, element } from "./dom.js";
import { ask } from "./link.js";
import { expectState, valueAt } from "./script.js";

const kTextHeight = 16; // of the font
const kReach = 6; // pixels of the LCD beside a text that still mean it
const kRenewMs = 300;

const outline = element("div", { class: "pick-outline", hidden: true });
document.body.append(outline);

let armed = null; // {taken(expectation), ended(), textsOnly}
let runs = []; // texts on the LCD
let timer = 0;
let last = { x: -1, y: -1 }; // where the pointer was, of the window

const lcd = byId("lcd");

// ---- What can be picked: {box, make()} at a place of the window, or null.

function textAt(x, y, target) {
  if (target !== lcd) return null;
  const place = lcd.getBoundingClientRect();
  const scale = place.width / lcd.width;
  const px = (x - place.left) / scale, py = (y - place.top) / scale;
  const run = runs.find((one) => px >= one.x - kReach && px <= one.x + one.w + kReach &&
    py >= one.y - kReach && py <= one.y + kTextHeight + kReach);
  if (!run) return null;
  const { text, x: left, y: top, w } = run;
  return {
    box: new DOMRect(place.left + (left - 2) * scale, place.top + (top - 2) * scale, (w + 4) * scale, (kTextHeight + 4) * scale),
    make: () => ({ do: "expect", text, x: left, y: top, w, h: kTextHeight }),
  };
}

function stateAt(x, y, target) {
  const shown = target.closest("[data-state]");
  if (!shown) return null;
  const path = shown.dataset.state;
  return {
    box: shown.getBoundingClientRect(),
    make: async () => expectState(path, valueAt((await ask({ do: "state" })).state, path)),
  };
}

// Where in the text of an element a place is, as an index.
function indexAt(holder, x, y) {
  const caret = document.caretPositionFromPoint?.(x, y);
  const old = caret ? null : document.caretRangeFromPoint(x, y);
  const [node, offset] = caret ? [caret.offsetNode, caret.offset] : [old?.startContainer, old?.startOffset];
  if (!holder.contains(node)) return -1;
  const before = document.createRange();
  before.setStart(holder, 0);
  before.setEnd(node, offset);
  return before.toString().length;
}

// The box around letters of an element's text.
function lettersBox(holder, first, end) {
  const range = document.createRange();
  const walker = document.createTreeWalker(holder, NodeFilter.SHOW_TEXT);
  for (let from = 0; walker.nextNode();) {
    const node = walker.currentNode, to = from + node.length;
    if (first >= from && first < to) range.setStart(node, first - from);
    if (end > from && end <= to) range.setEnd(node, end - from);
    from = to;
  }
  return range.getBoundingClientRect();
}

// "0080  4b 39 30 ...  text": 16 bytes a line.
function byteAt(x, y, target) {
  const dump = target.closest("#panel-memory pre.hex");
  const at = dump ? indexAt(dump, x, y) : -1;
  if (at < 0) return null;
  const from = dump.textContent.lastIndexOf("\n", at - 1) + 1;
  const number = Math.floor((at - from - 6) / 3);
  if (number < 0 || number > 15) return null;
  const first = from + 6 + 3 * number;
  const address = parseInt(dump.textContent.slice(from, from + 4), 16) + number;
  return {
    box: lettersBox(dump, first, first + 2),
    make: () => ({
      do: "expect", memory: dump.dataset.memory, at: `0x${address.toString(16).padStart(4, "0")}`, bytes: dump.textContent.slice(first, first + 2),
    }),
  };
}

// A line of the trace; of several that are shown as one the access under the pointer.
function registerAt(x, y, target) {
  const line = target.closest("#panel-trace .trace [role=option]");
  const all = line ? [...line.textContent.matchAll(/reg (?:write|read) (0x[0-9a-f]{8})(?: ->)? (0x[0-9a-f]{4})/g)] : [];
  if (all.length === 0) return null;
  const at = indexAt(line, x, y);
  const { index, 0: access, 1: register, 2: value } = all.findLast((one) => one.index <= at) ?? all[0];
  return { box: lettersBox(line, index, index + access.length), make: () => ({ do: "expect", register, value }) };
}

function candidate({ x, y }) {
  const target = document.elementFromPoint(x, y);
  if (!target) return null;
  const found = textAt(x, y, target);
  return found || armed.textsOnly ? found : stateAt(x, y, target) ?? byteAt(x, y, target) ?? registerAt(x, y, target);
}

// ---- Armed

function show() {
  const found = candidate(last);
  outline.hidden = !found;
  if (!found) return;
  const { left, top, width, height } = found.box;
  outline.style.cssText = `left:${left}px;top:${top}px;width:${width}px;height:${height}px`;
}

async function renew() {
  const own = armed;
  try {
    ({ runs } = await ask({ do: "text" }));
  } catch {
    runs = []; // without power there is none
  }
  if (armed !== own) return;
  show();
  timer = setTimeout(renew, kRenewMs);
}

export function disarm() {
  if (!armed) return;
  const { ended } = armed;
  armed = null;
  clearTimeout(timer);
  outline.hidden = true;
  document.body.classList.remove("picking", "picking-all");
  ended();
}

// The next click on something that can be expected is `taken`, as an expectation; null and why, when it gives none, as on
// the LCD where no text stands. `ended` comes before, or when nothing is picked any more.
export function arm(taken, ended, textsOnly = false) {
  disarm();
  armed = { taken, ended, textsOnly };
  document.body.classList.add("picking");
  document.body.classList.toggle("picking-all", !textsOnly);
  renew();
}

// The text of the LCD under a place now, as an expectation. Throws when none stands there.
export async function textUnder({ clientX, clientY }) {
  ({ runs } = await ask({ do: "text" }));
  const found = textAt(clientX, clientY, lcd);
  if (!found) throw new Error("no text stands there");
  return found.make();
}

const follow = (event) => {
  if (!armed) return;
  last = { x: event.clientX, y: event.clientY };
  show();
};
addEventListener("pointermove", follow, true);
// A press is not for what lies under it, nor for the LCD.
for (const kind of ["pointerdown", "mousedown"])
  addEventListener(kind, (event) => {
    if (!armed) return;
    follow(event);
    if (outline.hidden && event.target !== lcd) return;
    event.preventDefault();
    event.stopImmediatePropagation();
  }, true);
addEventListener("click", async (event) => {
  if (!armed) return;
  follow(event);
  const found = candidate(last);
  if (!found && event.target !== lcd) return;
  event.preventDefault();
  event.stopImmediatePropagation();
  const own = armed;
  let expectation = null, why = "";
  try {
    expectation = await (found ? found.make() : textUnder(event)); // it may have come this moment
  } catch (error) {
    why = error.message;
  }
  if (armed !== own) return;
  disarm();
  own.taken(expectation, why);
}, true);
addEventListener("keydown", (event) => {
  if (!armed || event.key !== "Escape") return;
  event.preventDefault();
  event.stopImmediatePropagation();
  disarm();
}, true);
