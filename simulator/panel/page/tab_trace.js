// The hardware trace, live: what fct does to registers, buses and the serial line.
import { attempt, download, element } from "./dom.js";
import { ask, instrument, on } from "./link.js";
import { askOrigin } from "./origin.js";

const kinds = ["reg", "fpga", "data", "i2c", "serial", "ioctl", "shell", "sleep", "file"];
const kKept = 20000; // lines on the page
const kRows = 3000; // of them, or groups of them, in the list
const kAtOnce = 2000; // lines of one reply
const kLongestGroup = 6; // lines that repeat together
const kFewest = 3; // times that a group is there before it is shown as one
const kUnfolded = 600; // lines of a group that is opened

const list = element("div", { class: "log trace", role: "listbox", tabindex: 0, "aria-label": "hardware trace" });
const search = element("input", { type: "search", placeholder: "word -word", "aria-label": "words to show, -word to leave out" });
const thread = element("select", { "aria-label": "thread", onchange: () => paint() }, element("option", { value: "" }, "all threads"));
const collapse = element("input", { type: "checkbox", checked: true, onchange: () => paint() });
const state = element("span", { class: "hint" });
const button = (text, work) => element("button", { class: "small", onclick: ({ target }) => attempt(target, work) }, text);
const record = button("Record", () => start()), end = button("Stop", () => stop());
const register = element("div", { class: "row", hidden: true });
const origin = element("div", { class: "answer" });
const boxes = new Map();
let next = null; // number of the first line not yet shown; null: not recording
let recorded = 0; // the start that is recorded, of those of the session
// {id, thread, start, us, number, text, kind, rest}: `rest` is what makes two lines equal; no number: it grows no more
let lines = [];
let ids = 0;
let rows = new Map(); // group's name -> its element
const unfolded = new Set();
let selected = null; // id of the line

// A line is "seconds thread word ...": see the hardware trace. Mostly the word is the kind.
const kKindOf = { temp: "ioctl", rtc: "ioctl", tuning: "file", power: "file" };
function parse(text, number) {
  const [, by, word] = text.match(/^\s*\S+ (\S+) (\S+)/) ?? [null, "", ""];
  if (number !== null && ![...thread.options].some(({ value }) => value === by)) thread.add(new Option(by, by));
  return { id: ++ids, thread: by, start: recorded, us: Math.round(Number.parseFloat(text) * 1e6), number, text, kind: kKindOf[word] ?? word, rest: restOf(text) };
}
const restOf = (text) => text.replace(/^\s*\S+ /, "");

// Words that a line must have, and "-word" that it must not; of the kinds that are ticked.
function filter() {
  const words = search.value.toLowerCase().split(/\s+/).filter(Boolean);
  return ({ kind, thread: of, text }) => {
    if (boxes.has(kind) && !boxes.get(kind).checked) return false;
    if (thread.value !== "" && of !== thread.value) return false;
    const low = text.toLowerCase();
    return words.every((word) => (word.length > 1 && word[0] === "-" ? !low.includes(word.slice(1)) : low.includes(word)));
  };
}

// Lines in groups {first, size, times}: what comes several times in a row is one group, `size` lines `times` over.
function grouped(shown) {
  const groups = [];
  for (let at = 0; at < shown.length;) {
    let best = { first: at, size: 1, times: 1 };
    for (let size = 1; size <= kLongestGroup && at + size * kFewest <= shown.length; ++size) {
      let end = at + size;
      while (end < shown.length && shown[end].rest === shown[end - size].rest) ++end;
      const times = Math.floor((end - at) / size);
      if (times >= kFewest && times * size > best.times * best.size) best = { first: at, size, times };
    }
    groups.push(best);
    at += best.size * best.times;
  }
  return groups;
}

const line = ({ id, text, rest }) =>
  element("div", { role: "option", class: /^\S+ reg /.test(rest) ? "reg" : null, "data-id": id, "aria-selected": String(id === selected) }, text);

// A group's element. It grows in place, so that who has the focus in it keeps it.
function row(shown, { first, size }) {
  const begin = shown[first];
  const open = unfolded.has(begin.id);
  const head = element(
    "div", { class: "group" },
    element("button", {
      class: "small", "aria-expanded": String(open), "aria-label": open ? "fold" : "show the lines",
      onclick: () => {
        if (!unfolded.delete(begin.id)) unfolded.add(begin.id);
        paint();
      },
    }, open ? "▾" : "▸"),
    line({ ...begin, text: [begin.text, ...shown.slice(first + 1, first + size).map((one) => one.rest)].join(" / ") }),
    element("b", {}),
  );
  if (open) head.append(element("div", { class: "lines" }), element("i", { hidden: true }, "... more; Download all has them"));
  return head;
}

function grow(head, shown, { first, size, times }) {
  const last = shown[first + size * times - 1];
  head.querySelector("b").textContent = `× ${times}, to ${last.text.trim().split(" ")[0]}`;
  const inside = head.querySelector(".lines");
  if (!inside) return;
  const wanted = Math.min(size * times, kUnfolded);
  while (inside.childElementCount > wanted) inside.lastChild.remove(); // its last line counts on, and is another one now
  inside.append(...shown.slice(first + inside.childElementCount, first + wanted).map(line));
  head.querySelector("i").hidden = size * times <= kUnfolded;
}

// What had been recorded by a moment.
const by = ({ run, at_us }) => ({ start, us }) => start < run || (start === run && !(us > at_us));
const sofar = () => (instrument.past ? lines.filter(by(instrument.past)) : lines);

function paint() {
  const atEnd = list.scrollTop + list.clientHeight > list.scrollHeight - 20;
  const shown = sofar().filter(filter());
  const groups = (collapse.checked ? grouped(shown) : shown.map((_, first) => ({ first, size: 1, times: 1 }))).slice(-kRows);
  const made = new Map();
  for (const group of groups) {
    const { id } = shown[group.first];
    const repeats = group.times > 1;
    const name = repeats ? `${id} ${group.size} ${unfolded.has(id)}` : id;
    const there = rows.get(name) ?? (repeats ? row(shown, group) : line(shown[group.first]));
    if (repeats) grow(there, shown, group);
    else if (there.textContent !== shown[group.first].text) there.textContent = shown[group.first].text;
    made.set(name, there);
  }
  for (const [name, old] of rows) if (!made.has(name)) old.remove();
  rows = made;
  let place = list.firstChild;
  for (const one of made.values())
    if (one === place) place = place.nextSibling;
    else list.insertBefore(one, place);
  list.dataset.none = sofar().length > 0 ? "No line matches." : "";
  if (atEnd) list.scrollTop = list.scrollHeight;
}

// The register of the chosen line, and where its present value comes from.
function select(id) {
  selected = id;
  for (const one of list.querySelectorAll("[role=option]")) one.setAttribute("aria-selected", String(Number(one.dataset.id) === id));
  const found = lines.find((one) => one.id === id);
  const [, address] = found?.rest.match(/\breg (?:read|write) (0x[0-9a-f]{8})/) ?? [];
  register.hidden = !address;
  if (!address) return;
  const [, known = ""] = found.rest.match(/   ([^ ]+)/) ?? [];
  register.replaceChildren(
    element("span", {}, `${address} ${known}`),
    element(
      "button",
      {
        class: "small", "aria-label": "What wrote this register?",
        onclick: ({ target }) => askOrigin({ register: address }, target, origin),
      },
      "What wrote this?",
    ),
  );
}

// Every section tells while recording goes on.
function told() {
  const recording = next !== null;
  record.disabled = end.disabled = instrument.past !== null;
  state.textContent = instrument.past ? "What was recorded by that moment; return to now to record."
    : !recording ? "stopped" : !instrument.running ? "recording goes on with the next start" : "recording";
  traceTab.button.querySelector(".mark").textContent = recording ? " ●" : "";
  traceTab.button.title = recording ? "recording" : "";
}

async function start() {
  const { next: from } = await ask({ do: "trace", action: "read", limit: 1 });
  await ask({ do: "trace", action: "start" });
  const [{ runs }, { now_us }] = [await ask({ do: "session", from: Number.MAX_SAFE_INTEGER }), await ask({ do: "hello" })];
  recorded = runs.length - 1;
  lines = lines.filter(by({ run: recorded, at_us: now_us })); // what came later was given up
  for (const one of lines) one.number = null;
  next = from;
  told();
}

// What was recorded before the page was loaded, or by another page.
async function recall() {
  const reply = await ask({ do: "trace", action: "read", limit: kAtOnce, explain: true });
  if (next !== null || (reply.lines.length === 0 && !reply.recording)) return;
  recorded = (await ask({ do: "session", from: Number.MAX_SAFE_INTEGER })).runs.length - 1;
  lines = reply.lines.map((text, at) => parse(text, reply.next - reply.lines.length + at));
  if (reply.recording) next = reply.next;
  told();
  paint();
}

// The fct of a restart counts its lines from 0, and records nothing unasked.
let run = null;
on("status", (status) => {
  told();
  paint();
  if (status.past || !status.running || status.run === run) return;
  const first = run === null;
  run = status.run;
  if (next !== null) start().catch(ended);
  else if (first) recall().catch(() => {}); // it is gone, and all it had recorded
});

function ended() {
  next = null;
  told();
}

async function stop() {
  ended();
  await ask({ do: "trace", action: "stop" });
}

async function follow() {
  if (next === null || instrument.past) return;
  const reply = await ask({ do: "trace", action: "read", from: next, limit: kAtOnce, explain: true });
  if (next === null || instrument.past) return;
  const missed = Math.max(0, reply.next - next - reply.lines.length);
  next = reply.next;
  for (const { number, line } of reply.grown) {
    const one = lines.findLast((one) => one.number === number);
    if (one) Object.assign(one, { text: line, rest: restOf(line) });
  }
  if (missed > 0) lines.push(parse(`... ${missed} lines left out; Download all has what is kept`, null));
  const first = reply.next - reply.lines.length;
  lines = lines.concat(reply.lines.map((text, at) => parse(text, first + at))).slice(-kKept);
  paint();
}

search.addEventListener("input", paint);
list.addEventListener("click", ({ target }) => {
  const one = target.closest("[role=option]");
  if (one) select(Number(one.dataset.id));
});
list.addEventListener("keydown", (event) => {
  const step = { ArrowDown: 1, ArrowUp: -1 }[event.key];
  if (!step || event.target !== list) return;
  event.preventDefault();
  const all = [...list.querySelectorAll("[role=option]")];
  const at = all.findIndex((one) => Number(one.dataset.id) === selected);
  const to = all[at < 0 ? all.length - 1 : Math.min(all.length - 1, Math.max(0, at + step))];
  if (!to) return;
  select(Number(to.dataset.id));
  to.scrollIntoView({ block: "nearest" });
});

export const traceTab = {
  id: "trace",
  title: "Trace",
  open(panel) {
    for (const kind of kinds) boxes.set(kind, element("input", { type: "checkbox", checked: true, onchange: paint }));
    panel.append(
      element(
        "div", { class: "row" },
        record, end,
        element("button", { class: "small", onclick: () => { lines = []; select(null); paint(); } }, "Clear"),
        button("Download all", async () => {
          // What the instrument has kept of this start is more than the page has.
          const kept = instrument.past || !instrument.running ? [] : (await ask({ do: "trace", action: "read", explain: true })).lines;
          const all = sofar().filter(({ start }) => kept.length === 0 || start < recorded).map(({ text }) => text).concat(kept);
          download("trace.txt", all.join("\n") + "\n");
        }),
        search, state,
      ),
      element(
        "div", { class: "row" },
        thread,
        ...kinds.map((kind) => element("label", {}, boxes.get(kind), kind)),
        element("label", { title: "what comes again and again is one line with a count" }, collapse, "collapse repeats"),
      ),
      list, register, origin,
      element("p", { class: "hint" }, "Record shows what fct does to the hardware: virtual seconds, thread, what it did, and what that means. Choose a register's line to ask what wrote its present value."),
    );
  },
  look: follow,
};
