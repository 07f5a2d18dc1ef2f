// Where a script is written: a plain text field, beside it the numbers of its lines with their marks, over it a note
// under a line. Lines are counted from 0 here.
import { element } from "./dom.js";
import { difference, moved, readLine } from "./script.js";

const kRow = 18; // pixels a line
const kNoted = 60; // pixels that a note takes below its line, about

const area = element("textarea", {
  class: "script", wrap: "off", spellcheck: "false", autocapitalize: "off", autocomplete: "off", "aria-label": "script",
  rows: 1,
});
const gutter = element("div", { class: "gutter", "aria-hidden": "true", title: "a click: the run stops before this line" });
const band = element("div", { class: "band", hidden: true });
const note = element("div", { class: "note", role: "alert" });
const beneath = element("div", { class: "beneath", hidden: true }, note); // as wide as the longest line; the note stays in view
const box = element("div", { class: "script-box", style: `--row: ${kRow}px` },
  element("div", { class: "sheet" }, gutter, band, area, beneath));

let lines = [""];
let read = [{}];
let signs = []; // of a line: "passed", "failed", or nothing
const unpainted = new Set(); // lines whose sign is new
let stops = new Set();
let current = null; // the line that is done, or would be next
let noted = null; // the line that the note is about
let edited = () => {};
const rows = [];

function paintLine(i) {
  const what = [
    stops.has(i) && "stop", read[i].wrong ? "bad" : signs[i], i === current && "current",
  ].filter(Boolean).join(" ");
  if (rows[i].className !== what) rows[i].className = what;
}

function paint() {
  while (rows.length > lines.length) rows.pop().remove();
  while (rows.length < lines.length) rows.push(gutter.appendChild(element("div", {}, String(rows.length + 1))));
  lines.forEach((_, i) => paintLine(i));
  area.style.minHeight = `${lines.length * kRow + 8}px`;
  area.style.width = `${Math.max(...lines.map((line) => line.length)) + 4}ch`;
  band.hidden = current === null;
  band.style.top = `${4 + (current ?? 0) * kRow}px`;
}

// After any change of the text. What is known of the lines goes with them; of changed ones and those after them it is
// known no more.
function follow() {
  const before = lines;
  lines = area.value.split("\n");
  const change = difference(before, lines);
  if (change) {
    const later = (i) => moved(i, change);
    read.splice(change.first, change.removed, ...lines.slice(change.first, change.first + change.added).map(readLine));
    stops = new Set([...stops].map(later).filter((i) => i >= 0));
    if (current !== null) current = Math.max(0, later(current) < 0 ? Math.min(change.first, lines.length - 1) : later(current));
    signs.length = Math.min(signs.length, change.first);
    tellAt(null);
  }
  paint();
  return change;
}

area.addEventListener("input", () => follow() && edited());
area.addEventListener("keydown", (event) => {
  if (event.key !== "F9") return;
  event.preventDefault();
  toggleStop(caretLine());
});
gutter.addEventListener("click", ({ clientY }) =>
  toggleStop(Math.floor((clientY - gutter.getBoundingClientRect().top - 4) / kRow)));

export const editor = box;
export const onEdit = (hearer) => (edited = hearer);

export const text = () => area.value;
export const scriptLines = () => lines;
export const requestAt = (i) => read[i];
export const hasRequests = () => read.some(({ request, wrong }) => request || wrong);
export const caretLine = () => area.value.slice(0, area.selectionStart).split("\n").length - 1;
export const stopLines = () => [...stops];
export const currentLine = () => current;
export const lock = (locked) => (area.readOnly = locked);

export function toggleStop(i) {
  if (i < 0 || i >= lines.length) return;
  if (!stops.delete(i)) stops.add(i);
  paintLine(i);
  edited();
}

export function setText(value, stopsAt = []) {
  area.value = value.replace(/\r\n?/g, "\n");
  area.setSelectionRange(0, 0);
  [signs, stops, current] = [[], new Set(), null];
  follow();
  stops = new Set(stopsAt.filter((i) => i < lines.length));
  paint();
  edited();
}

// A line of its own, at the end or before the line with the caret, which then stands behind it.
export function addLine(value, atEnd) {
  const line = caretLine();
  const full = atEnd || (line === lines.length - 1 && area.selectionStart === area.value.length);
  const at = full ? area.value.length : lines.slice(0, line).reduce((sum, each) => sum + each.length + 1, 0);
  const gap = full && lines[lines.length - 1] !== "" ? "\n" : "";
  area.setRangeText(`${gap}${value}\n`, at, at, "end");
  follow();
  reveal(caretLine());
  edited();
}

// Seen with the next line that becomes current: a run of many quick lines does not paint each.
export function setSign(i, sign) {
  signs[i] = sign;
  unpainted.add(i);
}
export function clearSigns() {
  signs = [];
  tellAt(null);
  paint();
}

// The line that is done now, or would be next; null: none.
export function setCurrent(i) {
  const before = current;
  current = i;
  for (const each of [...unpainted, before, i]) if (each !== null && each < lines.length) paintLine(each);
  unpainted.clear();
  band.hidden = i === null;
  if (i === null) return;
  band.style.top = `${4 + i * kRow}px`;
  reveal(i);
}

// Says something under a line; null takes it away.
export function tellAt(i, ...said) {
  noted = i;
  beneath.hidden = i === null;
  if (i === null) return;
  beneath.style.top = `${4 + (i + 1) * kRow}px`;
  note.replaceChildren(
    ...said, element("button", { class: "small", "aria-label": "close the note", onclick: () => tellAt(null) }, "×"));
  reveal(i);
}
function reveal(i) {
  const top = i * kRow, bottom = top + kRow + (noted === i ? kNoted : 0);
  if (top < box.scrollTop) box.scrollTop = Math.max(0, top - 3 * kRow);
  else if (bottom > box.scrollTop + box.clientHeight - 8) box.scrollTop = bottom + 3 * kRow - box.clientHeight;
}

paint();
