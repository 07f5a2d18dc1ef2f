// The recorder: what hands do becomes the lines of a script, with the virtual time between them.
import { ask, on, processNow } from "./link.js";
import * as editor from "./script_editor.js";
import { look as timeLook, virtualNow } from "./time.js";

const kRecorded = ["key", "knob", "touch", "set", "fault", "bench", "power_cut", "stop", "restart", "bench_restore"];
const kEndings = ["power_cut", "stop"]; // after these the power is off
const kStarts = ["restart", "bench_restore"]; // after these another fct runs

let since = null; // virtual ms of the last line; null: not recording
let powered = true, past = false; // a moment of the past is shown
let run = null; // of fct, as the launcher counts
let shots = 0;
let lastLine = ""; // what hands asked for last
let sentAt = new WeakMap(); // request that may be recorded once it is done -> virtual ms
let hear = () => {};

export const recording = () => since !== null;
export const onRecord = (hearer) => (hear = hearer);
export const kept = () => ({ since, shots, run, lastLine });

const now = () => (powered && !past ? virtualNow() : since);

// At the end, after the time that has passed until then.
function write(line, at) {
  const wait = Math.round(at - since);
  if (wait > 0) editor.addLine(JSON.stringify({ do: "wait", ms: wait }), true);
  since = Math.max(since, at);
  editor.addLine(line, true);
}

// At the end while a recording goes on; otherwise at the caret.
export function addLine(line) {
  if (since === null) editor.addLine(line, false);
  else write(line, now());
}

export const screenshotName = () => `${String(++shots).padStart(2, "0")}.png`;

on("sent", (request) => {
  if (since === null || past || !kRecorded.includes(request.do)) return;
  sentAt.set(request, now());
  lastLine = request.do;
});
on("done", (request, { control } = {}) => {
  if (since === null || !kRecorded.includes(request.do)) return;
  const { x, y, ...rest } = request; // a name outlasts a place
  write(JSON.stringify(control ? { ...rest, control } : request), sentAt.get(request) ?? since);
});

export function stopRecording(said = "") {
  since = null;
  hear(said);
}

// The time is another fct's: known only after a look.
async function sinceNow(value) {
  since = null;
  await timeLook();
  since = value;
  hear();
}

on("status", async (status) => {
  const before = run;
  run = status.run;
  const wasPowered = powered;
  powered = status.running;
  past = Boolean(status.past);
  if (since === null) return;
  if (before !== null && run !== before) {
    const ours = kStarts.includes(lastLine);
    lastLine = "";
    sentAt = new WeakMap(); // times of the fct before
    return ours ? sinceNow(0) : stopRecording("ended: the instrument was started from elsewhere, or went on from a moment of the past");
  }
  if (wasPowered && !powered && !kEndings.includes(lastLine) && !kStarts.includes(lastLine)) {
    lastLine = "stop";
    editor.addLine(JSON.stringify({ do: "expect", power: "off" }), true); // it ended by itself, or a fault cut the power
  }
});

// A recording that began before the page was loaded goes on.
export async function recall(old, status) {
  shots = old.shots;
  lastLine = old.lastLine;
  if (old.since === null || old.run !== status.run) return;
  await sinceNow(old.since);
}

// `fresh`: the instrument has just been switched on; else the script begins in the middle.
export async function record(fresh) {
  const { set, faults, seed } = await ask({ do: "bench" });
  editor.setText(
    (fresh ? `# Replay with: ./run --check FILE${seed === 1 ? "" : ` --seed ${seed}`}\n` +
        "# The replay begins at power-on, with blank EEPROMs; adjust"
      : "# Begins where the instrument stood: bring it there, then run this \"from now\"; adjust") +
    " the waits where time does not matter.\n");
  shots = 0;
  lastLine = "";
  if (Object.keys(set).length + Object.keys(faults).length > 0)
    editor.addLine(JSON.stringify({ do: "bench", set, faults }), true);
  since = fresh ? 0 : virtualNow();
  hear();
}

// The script begins at power-on: as soon as another fct answers.
export async function restartAndRecord() {
  const before = await processNow();
  await ask({ do: "restart" });
  for (let tries = 0; tries < 200; ++tries) {
    await new Promise((resolve) => setTimeout(resolve, 50));
    const process = await processNow();
    if (process === null || process === before) continue;
    await record(true);
    lastLine = "restart"; // the status may still be to come
    return;
  }
  throw new Error("fct does not start; nothing is recorded");
}
