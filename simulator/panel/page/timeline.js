// The time line under the LCD: what the instrument has done since power-on, and the way back to any moment of it.
import { byId, element, sure } from "./dom.js";
import { ask, on, tell } from "./link.js";
import { clockText, endedAt, virtualNow } from "./time.js";

const kLookMs = 1000;
const kKinds = {
  hand: ["a hand", "#9fb0c6"],
  bench: ["the bench", "#6fd0f0"],
  fault: ["a fault", "#eda32a"],
  power: ["power", "#ff8a6a"],
  screen: ["a screen", "#6fd08c"],
  acquisition: ["an acquisition", "#c9a0ff"],
  eeprom: ["an EEPROM write", "#e8e07a"],
};
const kOfRequest = {
  key: "hand", knob: "hand", touch: "hand", set: "bench", bench: "bench", fault: "fault", fail_call: "fault",
  stop: "power", power_cut: "power",
};

let inputs = []; // of the start that is shown: {at_us, request, control}
let history = []; // of the same: {kind, first_us, last_us, count}
let end = 0; // microseconds, as far as it goes
let past = null; // {run, at_us} while a moment of the past is shown
let running = false;
let start = 0; // status.run: how often fct has been started
let starts = []; // of the session: {inputs, last_us}
let told = -1; // the start that inputs and history are of
let wanted = null; // the moment last asked for: {run, to_us}
let asking = false;

const seconds = (us) => clockText(us / 1000);

const slider = element("input", { type: "range", min: 0, max: 1, step: 1, value: 1, "aria-label": "moment of the session" });
const marks = element("div", { class: "marks" });
const said = element("span", { class: "said" });
const range = element(
  "select", { "aria-label": "how much of the session the line shows" },
  element("option", { value: "0" }, "all"),
  element("option", { value: "600" }, "10 min"),
  element("option", { value: "60" }, "1 min"),
);
const button = (text, title, onclick) => element("button", { class: "small", title, "aria-label": title, onclick }, text);
const back = button("⏮", "to the moment before the last input", () => jump(-1));
const forth = button("⏭", "to the moment after the next input", () => jump(1));
const toNow = button("Return to now", "leaves the past; the instrument goes on where it stood", () => leave("now"));
const goOn = button("Go on from here", "gives up what came later", async () => {
  if (await sure("Go on from this moment? What came later is given up; it stays in the state folder as a session of its own.", "Go on from here"))
    leave("branch");
});
const chosen = element("select", {
  "aria-label": "start of the instrument", hidden: true,
  onchange: () => {
    const run = Number(chosen.value);
    if (run === starts.length - 1) leave("now");
    else go(starts[run].last_us, run);
  },
});
const line = byId("timeline");
line.append(chosen, back, element("div", { class: "line" }, marks, slider), forth, range, said, toNow, goOn);

const position = () => (past ? past.at_us : end);
const from = () => (range.value === "0" ? 0 : Math.max(0, Math.min(position(), end) - Number(range.value) * 1e6));
const until = () => (range.value === "0" ? end : Math.min(end, from() + Number(range.value) * 1e6));

export function describe({ request, control }) {
  const { do: what, ...rest } = request;
  if (control) {
    rest.x = `on "${control}"`;
    delete rest.y;
  }
  return [what, ...Object.values(rest).map((value) => (typeof value === "object" ? JSON.stringify(value) : value))].join(" ");
}

function tellTime() {
  const text = past ? `the past: ${seconds(past.at_us)} of ${seconds(end)}` : clockText(virtualNow());
  if (said.textContent === text) return;
  said.setAttribute("aria-live", past ? "polite" : "off"); // nobody wants to hear a clock
  said.textContent = text;
}

function show() {
  const low = from(), high = Math.max(until(), low + 1);
  slider.min = Math.floor(low / 1000);
  slider.max = Math.ceil(high / 1000);
  if (wanted === null) slider.value = Math.round(position() / 1000);
  slider.setAttribute("aria-valuetext", seconds(position()));
  tellTime();
  chosen.hidden = starts.length < 2;
  if (chosen.length !== starts.length)
    chosen.replaceChildren(...starts.map((_, run) => element("option", { value: String(run) }, `start ${run + 1}`)));
  if (document.activeElement !== chosen || wanted === null) chosen.value = String(shownRun());
  line.classList.toggle("past", past !== null);
  toNow.hidden = goOn.hidden = past === null;
  back.disabled = past !== null && !inputs.some((input) => input.at_us <= past.at_us);
  forth.disabled = past === null || !inputs.some((input) => input.at_us > past.at_us);
  const all = [
    ...history.map(({ kind, first_us, count }) => ({ kind, us: first_us, text: count > 1 ? `${kKinds[kind][0]}, ${count} together` : kKinds[kind][0] })),
    ...inputs.map((input) => ({ kind: kOfRequest[input.request.do] ?? "bench", us: input.at_us, text: describe(input) })),
  ].filter(({ us }) => us >= low && us <= high);
  marks.replaceChildren(
    ...all.slice(-600).map(({ kind, us, text }) =>
      element("i", {
        title: `${seconds(us)} ${text}`,
        style: `left: ${(100 * (us - low)) / (high - low)}%; background: ${kKinds[kind][1]}`,
      })),
  );
}

// Of the starts of the session, counted from 0.
const shownRun = () => (past ? past.run : starts.length - 1);

// Only what is new is asked for; of an earlier start the marks reach as far as it has been shown. What is shown may be
// another start by the time of the answer: that is left to the next look.
async function lookOnce() {
  if (document.hidden || asking) return;
  const subject = () => `${start} ${past?.run}`;
  const asked = subject();
  try {
    const request = { do: "session", ...(past && { run: past.run }) };
    let session = await ask({ ...request, from: inputs.length });
    if (subject() !== asked) return;
    if (session.run !== told) {
      [told, inputs, history, end] = [session.run, [], [], 0];
      session = await ask({ ...request, run: told });
      if (subject() !== asked) return;
    }
    inputs = inputs.concat(session.inputs);
    starts = session.runs;
    const current = session.run === session.runs.length - 1;
    if (current && session.now_us !== undefined) end = session.now_us;
    else end = Math.max(end, session.runs[session.run].last_us, past ? past.at_us : 0);
    if (current && !running) end = endedAt(end);
    if (past || running) {
      const { marks } = await ask({ do: "history" });
      if (subject() !== asked) return;
      if (!past || marks.length > history.length) history = marks;
    }
  } catch {
    // what is wrong with the instrument is told over its screen
  }
  show();
}

// One look at a time. Who asks for one during another gets the next, which sees what is so by then.
let last = Promise.resolve(), next = null;
const look = () => (next ??= last.finally(() => {
  next = null;
  return (last = lookOnce());
}));

// Of several moments that are asked for while one is made only the last matters.
async function go(us, run = shownRun()) {
  wanted = { run, to_us: Math.max(0, Math.round(us)) };
  if (asking) return;
  asking = true;
  while (wanted !== null) {
    const to = wanted;
    try {
      const there = await ask({ do: "rewind", ...to });
      past = { run: there.run, at_us: there.at_us };
      tell("problem", "");
    } catch (error) {
      tell("problem", error.message);
    }
    if (wanted === to) wanted = null;
  }
  asking = false;
  if (past && past.run !== told) await look();
  show();
}

// Shows that moment of the session.
export const goTo = (run, us) => go(us, run);
export const isLastStart = (run) => run === starts.length - 1;

async function jump(direction) {
  await look();
  if (told === -1) await look(); // another start has come meanwhile
  const here = position();
  if (direction > 0) {
    const next = inputs.find((input) => input.at_us > here);
    if (next) go(next.at_us);
  } else {
    const before = inputs.filter((input) => input.at_us <= here).pop();
    if (before) go(before.at_us - 1);
    else tell("problem", "nothing has come from outside since power-on");
  }
}

async function leave(how) {
  try {
    await ask({ do: how });
    past = null;
  } catch (error) {
    tell("problem", error.message);
  }
  look();
}

slider.addEventListener("input", () => go(Math.min(Number(slider.value) * 1000, end))); // it goes by milliseconds
slider.addEventListener("keydown", (event) => {
  const step = { ArrowLeft: -1e5, ArrowRight: 1e5, PageDown: -1e7, PageUp: 1e7 }[event.key];
  if (!step) return;
  event.preventDefault();
  go(Math.min(position() + step, end));
});
range.addEventListener("change", show);

on("status", (status) => {
  if (status.run !== start) [start, inputs, history, end, told] = [status.run, [], [], 0, -1];
  past = status.past;
  running = status.running;
  line.hidden = false;
  look();
});
on("lost", () => (line.hidden = true));
setInterval(look, kLookMs);
setInterval(tellTime, 100);
