// Runs a script line by line, each one request to the launcher in turn. "exact": time is held, and moves as the lines
// ask for it, as with ./run --check. "watch": time goes on by itself at the chosen speed.
import { element, sentence } from "./dom.js";
import { ask, instrument, on, processNow, tell } from "./link.js";
import * as editor from "./script_editor.js";
import { held, look as timeLook, speedChosen } from "./time.js";

const kPiece = 0.25; // real seconds that one request of a watched wait takes, so that Stop and Pause are heard
const kShowMs = 50;
const kLimit = 60000; // ms for what is expected, where the line does not tell
const kOther = "ended: the instrument was started again, or went on from another moment";
const kFollowed = ["restart", "bench_restore", "stop", "power_cut"]; // answered when all is done that follows

let state = "idle"; // "running"; "held": stopped at a line, to go on from
let mode = "exact";
let wish = ""; // "stop": the person wants to; "past": a moment of the past is shown; "other": another instrument is there
let was = null; // speed of time before the run; null: the power was off
let fct = null; // its process, by the run's own doing; null: the power is off
let starting = false; // the run is about to know its instrument, or a line of it starts another
let shownAt = 0;
let failed = null; // {line, us}: where a run is held, until time goes on there
let hear = () => {}, hearLine = () => {};

export const runState = () => state;
// What is heard when the state changes, and of each line that is done.
export const onRun = (hearer, ofLine) => ([hear, hearLine] = [hearer, ofLine]);

function become(next, said = "") {
  state = next;
  editor.lock(state === "running");
  hear(said && sentence(said));
}

// Runs of several pages would go on each other's instrument: the launcher lets one of them run.
const claim = (on) => ask({ do: "script", on });

// What a reload finds again: a run that stands at a line.
export const kept = () => (state === "idle" ? null : { mode, was, fct, at: editor.currentLine() });
export function recall(run) {
  ({ mode, was, fct } = run);
  editor.setCurrent(Math.min(run.at ?? 0, editor.scriptLines().length - 1));
  become("held", "the page was loaded again: the script stands at the marked line");
}

const speed = (factor) => ask({ do: "speed", factor }).then(timeLook, () => {}); // without power there is no time

// At the beginning, and after a line that starts or ends fct.
async function pace() {
  await speed(mode === "exact" ? 0 : speedChosen());
  fct = await processNow();
}

async function rest() {
  while (held() && wish === "") await new Promise((resolve) => setTimeout(resolve, 100));
}

// A wait or an expectation in pieces.
async function watched(request, name, left) {
  for (;;) {
    await rest();
    const factor = speedChosen();
    const piece = Math.min(left, Math.max(20, Math.round(1000 * kPiece * (factor === "max" ? 1000 : factor))));
    const reply = await ask({ ...request, [name]: piece });
    left -= piece;
    if (left <= 0 || reply.met || wish !== "") return reply;
  }
}

// The reply to one line. Throws with the reason when it is refused.
async function send(request) {
  if (kFollowed.includes(request.do)) {
    starting = true;
    try {
      return await ask({ wait: true, ...request });
    } finally {
      await pace();
      starting = false;
    }
  }
  if (mode === "watch") {
    await rest();
    const [name, limit] = { wait: ["ms"], expect: ["limit_ms", kLimit] }[request.do] ?? [];
    if (typeof (request[name] ?? limit) === "number") return watched(request, name, request[name] ?? limit);
  }
  return ask(request);
}

// True when the line is done; what is wrong is told under it.
async function doLine(i, request) {
  try {
    const reply = await send(request);
    tell("done", request);
    if (request.do !== "expect" || reply.met) return true;
    if (wish !== "") return true; // nothing is known of it
    editor.tellAt(i, told("expected", reply.expected), told("found", reply.found));
  } catch (error) {
    if (await pastShown()) wish = "past";
    else editor.tellAt(i, told("refused", sentence(error.message)));
  }
  return false;
}

const pastShown = () => fetch("status").then((reply) => reply.json()).then(({ past }) => past !== null, () => false);

const told = (name, text) => element("p", {}, element("b", {}, name), ` ${text}`);

const nextRequest = (from) => {
  const count = editor.scriptLines().length;
  for (let i = from; i < count; ++i) if (editor.requestAt(i).request) return i;
  return count;
};

// Shows where the run is: not every line of many quick ones.
function show(at, count) {
  if (performance.now() - shownAt < kShowMs) return;
  shownAt = performance.now();
  editor.setCurrent(at);
  hearLine(`line ${at + 1} of ${count}`);
}

const isOver = () => wish === "stop" || wish === "other";

// From line `at`, at most `steps` lines, up to line `last` or a stop behind line `before`. Returns where it came to, and what
// to say of it; null: there is nothing more to be done.
async function go(at, steps, last, before) {
  const count = editor.scriptLines().length;
  for (let done = 0; at < count; ++done) {
    show(at, count);
    if (at >= last || editor.stopLines().some((line) => line > before && line <= at))
      return { at, said: `stopped before line ${at + 1}` };
    if (done === steps) return { at, said: `line ${at + 1} is next` };
    if (isOver()) return null;
    const passed = await doLine(at, editor.requestAt(at).request);
    if (isOver()) return null;
    if (wish === "past") return { at, said: `stopped at line ${at + 1}: a moment of the past is shown` };
    editor.setSign(at, passed ? "passed" : "failed");
    if (!passed) return { at, failed: true, said: `failed at line ${at + 1}; the instrument is held at that moment` };
    before = at;
    at = nextRequest(at + 1);
  }
  return null;
}

// Begins, or goes on. Throws when the instrument cannot be made ready.
export async function run({ mode: how, fresh, steps = Infinity, last = Infinity }) {
  const before = state, goesOn = state === "held";
  state = "running"; // for a second click
  starting = true;
  try {
    await claim(true);
  } catch (error) {
    state = before;
    starting = false;
    throw error;
  }
  wish = "";
  if (!goesOn) {
    mode = how;
    become("running", fresh ? "starting the instrument" : "");
    editor.clearSigns();
    editor.setCurrent(nextRequest(0));
    was = await ask({ do: "hello" }).then(({ paused, speed: factor }) => (paused ? 0 : factor), () => null);
    try {
      if (fresh) await begin();
    } catch (error) {
      starting = false;
      await end("");
      throw error;
    }
  } else {
    editor.tellAt(null);
    become("running");
  }
  await pace();
  starting = false;
  const at = nextRequest(editor.currentLine() ?? 0);
  const come = await go(at, steps, last, goesOn ? at : -1);
  if (come === null) return end({ stop: "stopped", other: kOther }[wish] ?? "passed to its end");
  await speed(0);
  editor.setCurrent(come.at);
  failed = come.failed ? { line: come.at, us: await ask({ do: "hello" }).then(({ now_us }) => now_us, () => Infinity) } : null;
  become("held", come.said);
  await claim(false);
}

// The person, or another page, may let time go on.
on("time", (us) => {
  if (state !== "held" || instrument.past || !failed || us <= failed.us) return;
  hear(`Failed at line ${failed.line + 1}; time has gone on since.`);
  failed = null;
});

// As new, on the bench of the first line when that makes one: so that what matters at start-up counts.
async function begin() {
  if (was === null) await send({ do: "restart" }); // the speed of time is told to an instrument that runs
  else await pace();
  const { request } = editor.requestAt(editor.currentLine());
  const { set = {}, faults = {} } = request.do === "bench" ? request : {};
  await send({ do: "restart", fresh: "all", ...(request.do === "bench" && { set, faults }) });
}

// Time goes on as it did before, or as chosen.
async function end(said) {
  await speed(was ?? speedChosen());
  editor.setCurrent(null);
  become("idle", said);
  await claim(false).catch(() => {}); // the launcher is gone
}

// A script's instrument is the one that it began with, or that a line of it started.
on("status", async ({ past }) => {
  if (past && state === "running") wish ||= "past";
  if (state === "idle" || starting || past) return;
  const process = await processNow();
  if (state === "idle" || starting || process === null || process === fct) return;
  if (state === "held") await end(kOther);
  else wish ||= "other";
});

export async function stop() {
  if (state === "held") await end("stopped");
  else wish = "stop";
}
