// Scripts: recorded from what hands do, written, made of clicks, run line by line.
import { byId, complain, download, element, sentence, sure } from "./dom.js";
import { ask, instrument, on } from "./link.js";
import { arm, disarm } from "./pick.js";
import * as editor from "./script_editor.js";
import * as recorder from "./script_record.js";
import * as runner from "./script_run.js";

const kLargest = 1024 * 1024; // bytes of a script that the page takes
const kMemory = "script"; // of this page, by the browser

// ---- The parts

const chosen = (label, options) => element("select", { "aria-label": label }, ...options.map(([value, text, title]) =>
  element("option", { value, title }, text)));
const mode = chosen("how time passes", [
  ["exact", "exact", "time is held, and moves as the lines ask for it: as with ./run --check"],
  ["watch", "watch", "time goes on at the speed chosen above"],
]);
const begin = chosen("where the run begins", [
  ["fresh", "as new, from power-on", "blank EEPROMs; untouched, or on the bench of the script's first line"],
  ["now", "from now", "the instrument as it is"],
]);
const examples = element("select", { "aria-label": "load an example", hidden: true, onchange: () => loadExample() },
  element("option", { value: "" }, "Examples"));
const upload = element("input", {
  type: "file", accept: ".jsonl,.txt,application/jsonl,text/plain", hidden: true, "aria-label": "script file",
  onchange: () => loadFile(),
});
const recorded = element("span", { class: "warn", id: "recording", role: "status" });
const status = element("span", { id: "script-status", role: "status" });
const forbidden = element("p", { class: "bad", id: "script-forbidden", hidden: true });
const line = element("input", {
  type: "text", id: "expectation", placeholder: "a text that must appear, or a line of the script",
  "aria-label": "text that must appear, or a line of the script",
  onkeydown: (event) => event.key === "Enter" && addExpectation(),
});

// What goes wrong is told at the control.
const button = (text, title, work, more = {}) => element("button", {
  class: "small", title, ...more, onclick: async ({ currentTarget }) => {
    try {
      complain(currentTarget, "");
      await work();
    } catch (error) {
      complain(currentTarget, error.message);
    }
  },
}, text);

const buttons = {
  record: button("Restart and record", "starts fct again, so that the script begins at power-on",
    async () => (await mayRestart()) && recorder.restartAndRecord().then(() => (begin.value = "fresh")), { id: "record" }),
  fromNow: button("Record from now", "the script begins where the instrument is now",
    async () => (await mayReplace("A new recording")) && recorder.record(false).then(() => (begin.value = "now"))),
  endRecording: button("End the recording", "", () => recorder.stopRecording()),
  load: button("Load…", "a file of this computer", () => upload.click()),
  save: button("Save", "as a file, for ./run --check FILE", () => download("k905-script.jsonl", editor.text())),
  run: button("Run", "", () => run({}), { id: "run-script" }),
  toCaret: button("To the caret", "runs up to the line with the caret", () => run({ last: editor.caretLine() })),
  step: button("Step", "does one line", () => run({ steps: 1 })),
  stop: button("Stop", "ends the run; time goes on as before it", () => runner.stop()),
  mark: button("●", "the run stops before the line with the caret, or no longer (F9)",
    () => editor.toggleStop(editor.caretLine()), { "aria-label": "stop mark at the caret" }),
  pick: button("Expect…", "click what must be so: a text on the screen, a byte in Memory, a register in Trace, a value with a dotted frame",
    () => (buttons.pick.getAttribute("aria-pressed") === "true" ? disarm() : armed()), { "aria-pressed": "false", id: "pick" }),
  add: button("Add", "puts it into the script: at the caret, while recording at the end", () => addExpectation(), { id: "add-expectation" }),
  shot: button("Screenshot", "a line that keeps a picture of the screen",
    () => recorder.addLine(JSON.stringify({ do: "screenshot", path: recorder.screenshotName() }))),
};

// ---- What is possible now

let ours = ""; // where a run has left an instrument that nobody else has used
let goesOn = null; // a recording from before the page was loaded

function show() {
  const recording = recorder.recording(), state = runner.runState(), running = state === "running";
  const past = instrument.past !== null, off = !instrument.running;
  buttons.run.textContent = state === "held" ? "Continue" : "Run";
  buttons.run.title = state === "held" ? "goes on with the marked line" : "runs the script";
  const barred = recording || running || past;
  for (const name of ["run", "toCaret", "step"]) buttons[name].disabled = barred;
  buttons.stop.disabled = state === "idle";
  for (const control of [mode, begin]) control.disabled = state !== "idle";
  for (const control of [buttons.load, examples]) control.disabled = recording || state !== "idle";
  for (const control of [buttons.record, buttons.fromNow]) control.disabled = recording || state !== "idle" || past;
  buttons.fromNow.disabled ||= off;
  buttons.endRecording.disabled = !recording;
  for (const name of ["add", "shot"]) buttons[name].disabled = running || (recording && past);
  for (const id of ["pause", "speed"]) byId(id).disabled = past || off || (running && mode.value === "exact"); // the lines move the time
  forbidden.hidden = !past;
  forbidden.textContent = "A moment of the past is shown: return to now, or go on from there, to run or record a script.";
  keep();
}

// ---- What a reload finds again

function keep() {
  try {
    sessionStorage.setItem(kMemory, JSON.stringify({
      text: editor.text(), stops: editor.stopLines(), mode: mode.value, begin: begin.value,
      run: runner.kept(), recorder: recorder.kept(),
    }));
  } catch {
    // a page without a memory of its own
  }
}

let soon = 0;
function keepSoon() {
  clearTimeout(soon);
  soon = setTimeout(keep, 300);
}
addEventListener("pagehide", keep);

function recall() {
  let old = null;
  try {
    old = JSON.parse(sessionStorage.getItem(kMemory));
  } catch {
    // see above
  }
  if (!old) return;
  editor.setText(old.text, old.stops);
  mode.value = old.mode;
  begin.value = old.begin;
  if (old.run) runner.recall(old.run);
  if (old.recorder.since !== null) goesOn = old.recorder;
}

// ---- Load

const mayReplace = async (what) =>
  !editor.hasRequests() || sure(`${what} takes the place of the script that stands here.`, "Replace");

const mayRestart = async () => !instrument.running || sure("Restart breaks off what the instrument does." +
  (editor.hasRequests() ? " The new recording takes the place of the script that stands here." : ""), "Restart");

async function take(bytes) {
  if (bytes.byteLength > kLargest) throw new Error("this file is longer than 1 MiB, too long for a script here");
  let text = "";
  try {
    text = new TextDecoder("utf-8", { fatal: true }).decode(bytes);
  } catch {
    // told below
  }
  if (!text || text.includes("\0")) throw new Error("this file is empty, or no text: a script is one request a line");
  if (await mayReplace("What is loaded")) editor.setText(text);
}

async function loadFile() {
  const [file] = upload.files;
  upload.value = "";
  if (!file) return;
  try {
    await take(await file.arrayBuffer());
    complain(buttons.load, "");
  } catch (error) {
    complain(buttons.load, error.message);
  }
}

async function loadExample() {
  const name = examples.value;
  examples.value = "";
  try {
    const response = await fetch(`examples/${name}`);
    await take(await response.arrayBuffer());
    complain(examples, "");
  } catch (error) {
    complain(examples, error.message);
  }
}

async function listExamples() {
  const { names } = await (await fetch("examples")).json();
  examples.append(...names.map((name) => element("option", { value: name }, name.replace(/\.jsonl$/, "").replaceAll("_", " "))));
  examples.hidden = names.length === 0;
}

// ---- Run

// Every line must be a request before the first is done.
function checkLines() {
  const wrong = editor.scriptLines().findIndex((_, i) => editor.requestAt(i).wrong);
  if (wrong < 0) return true;
  editor.tellAt(wrong, element("p", {}, editor.requestAt(wrong).wrong));
  status.textContent = `Line ${wrong + 1} is no request; nothing was run.`;
  return false;
}

// The start of the instrument, and how much has come into it.
async function reached() {
  const [{ run: start }, { runs }] = await Promise.all([fetch("status").then((reply) => reply.json()), ask({ do: "session" })]);
  return `${start} ${runs.at(-1).inputs}`;
}

async function run(how) {
  if (!editor.hasRequests()) {
    status.textContent = "The script is empty: record one, load one, or write a line.";
    return;
  }
  if (!checkLines()) return;
  const fresh = begin.value === "fresh" && runner.runState() === "idle";
  const unused = (await reached()) === ours;
  if (fresh && !unused && !(await sure(
    "The run begins on a new instrument: what this one has in its memories, on its SD card and USB stick is gone then.", "Run")))
    return;
  if (runner.runState() === "running") return; // a second click
  if (runner.runState() === "idle") status.textContent = ""; // of the run before
  await runner.run({ mode: mode.value, fresh, ...how });
  if (fresh || unused) ours = await reached();
}

// ---- Expectations

function armed() {
  buttons.pick.setAttribute("aria-pressed", "true");
  buttons.pick.textContent = "Click it, or Esc";
  arm(taken, () => {
    buttons.pick.setAttribute("aria-pressed", "false");
    buttons.pick.textContent = "Expect…";
  });
}

function taken(request, why) {
  complain(buttons.pick, why);
  if (!request) return;
  scriptsTab.button.click(); // from the section that it was picked in
  line.value = JSON.stringify(request);
  buttons.add.focus();
}

function addExpectation() {
  const written = line.value.trim();
  if (!written || runner.runState() === "running") return;
  recorder.addLine(written.startsWith("{") || written.startsWith("#") ? written : JSON.stringify({ do: "expect", text: written }));
  line.value = "";
}

export const scriptsTab = {
  id: "scripts",
  title: "Scripts",
  open(panel) {
    panel.append(
      element("h2", {}, "Record"),
      element("div", { class: "row" }, buttons.record, buttons.fromNow, buttons.endRecording, recorded),
      element("h2", {}, "Script"),
      element("div", { class: "row" }, buttons.load, examples, buttons.save, upload),
      element("div", { class: "row" }, buttons.run, buttons.toCaret, buttons.step, buttons.stop, buttons.mark),
      element("div", { class: "row" }, element("label", {}, "time", mode), element("label", {}, "begins", begin)),
      forbidden,
      element("p", { class: "hint" }, status),
      editor.editor,
      element("div", { class: "row" }, buttons.pick, line, buttons.add, buttons.shot),
      element("p", { class: "hint" },
        "A line is one request; what begins with # is a comment. ./run --check k905-script.jsonl does the same as an exact run from power-on. A run ends with this page."),
    );
    editor.onEdit(keepSoon);
    recorder.onRecord((said) => {
      recorded.textContent = recorder.recording() ? "recording" : said && sentence(said);
      if (recorder.recording()) status.textContent = "";
      show();
    });
    const say = (said) => {
      status.textContent = said;
      status.classList.toggle("bad", said.startsWith("Failed"));
    };
    runner.onRun((said) => {
      say(said);
      show();
    }, say);
    on("status", (now) => {
      if (goesOn) recorder.recall(goesOn, now);
      goesOn = null;
      show();
    });
    recall();
    show();
    listExamples().catch(() => {}); // the launcher is gone; it is told over the screen
  },
};
