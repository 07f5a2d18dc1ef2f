// Set-ups of the bench kept under a name or in a link, and scripts of what hands did.
import { complain, download, element, sure } from "./dom.js";
import { ask, on, tell } from "./link.js";
import { look as timeLook, virtualNow } from "./time.js";

// ---- Benches with a name, and links.

const name = element("input", { type: "text", maxlength: 40, placeholder: "name", "aria-label": "name of the set-up" });
const list = element("tbody");
const linkText = element("input", { type: "text", readonly: true, hidden: true, "aria-label": "link", style: "width:100%" });

// What goes wrong is told at the control.
async function attempt(control, work) {
  try {
    await work();
    complain(control, "");
  } catch (error) {
    complain(control, error.message);
  }
}

const button = (text, work, more = {}) =>
  element("button", { class: "small", ...more, onclick: ({ target }) => attempt(target, work) }, text);

async function refresh() {
  const { names } = await ask({ do: "benches" });
  list.replaceChildren(
    ...names.map((one) =>
      element(
        "tr", {},
        element("th", { scope: "row", class: "name", title: one }, one),
        element("td", {}, button("Restore", async () => {
          if (await sure(`Restore "${one}"? The instrument starts again, with the memories kept there.`, "Restore"))
            await ask({ do: "bench_restore", name: one });
        })),
        element("td", {}, button("Remove", async () => {
          if (!(await sure(`Remove "${one}"? It is gone then.`, "Remove"))) return;
          await ask({ do: "bench_remove", name: one });
          await refresh();
        })),
      ),
    ),
  );
}

async function save() {
  const { names } = await ask({ do: "benches" });
  if (names.includes(name.value) && !(await sure(`"${name.value}" exists. Replace what it holds?`, "Replace"))) return;
  await ask({ do: "bench_save", name: name.value });
  await refresh();
}

async function setUp(set, faults) {
  const request = { do: "bench", set, faults };
  await ask(request);
  tell("sent", request);
  tell("done", request);
}

const toText = (value) =>
  btoa(String.fromCharCode(...new TextEncoder().encode(JSON.stringify(value))))
    .replaceAll("+", "-").replaceAll("/", "_").replaceAll("=", "");
const fromText = (text) =>
  JSON.parse(new TextDecoder().decode(
    Uint8Array.from(atob(text.replaceAll("-", "+").replaceAll("_", "/")), (c) => c.charCodeAt(0))));

async function makeLink() {
  const { set, faults, seed } = await ask({ do: "bench" });
  linkText.value = `${location.origin}/#bench=${toText({ set, faults, seed })}`;
  linkText.hidden = false;
  linkText.select();
  await navigator.clipboard?.writeText(linkText.value).catch(() => {});
}

const isObject = (value) => typeof value === "object" && value !== null && !Array.isArray(value);

// The set-up in a link; throws when there is none.
function fromLink(text) {
  const bench = fromText(text);
  const { set = {}, faults = {}, seed } = isObject(bench) ? bench : { set: null };
  if (!isObject(set) || !isObject(faults)) throw new Error("no set-up");
  return { set, faults, seed };
}

// A link may come from anybody: what it would do is shown first.
async function offerLink() {
  const found = location.hash.match(/^#bench=(.*)$/);
  if (!found) return;
  const dialog = element("dialog", {
    class: "question", id: "link", onclose: () => {
      dialog.remove();
      history.replaceState(null, "", location.pathname);
    },
  });
  const close = (text) => element("button", { class: "no", onclick: () => dialog.close() }, text);
  document.body.append(dialog);
  dialog.showModal();
  let bench;
  try {
    bench = fromLink(found[1]);
  } catch {
    dialog.append(
      element("p", {}, "The set-up in this link is damaged: the link was cut off or changed on its way. Nothing is set up."),
      element("div", { class: "row" }, close("Close")),
    );
    return;
  }
  const parts = [
    ...Object.entries(bench.set).map(([key, value]) => [key, JSON.stringify(value)]),
    ...Object.entries(bench.faults).map(([key, value]) => ["fault " + key, value === true ? "" : JSON.stringify(value)]),
  ];
  const { seed } = await ask({ do: "bench" }).catch(() => ({}));
  const other = Number.isInteger(bench.seed) && Number.isInteger(seed) && bench.seed !== seed
    ? ` It was made on specimen ${bench.seed}, this is ${seed}: ./run --seed ${bench.seed} starts that one.` : "";
  const answers = element("div", { class: "row" },
    button("Set it up", async () => {
      await setUp(bench.set, bench.faults);
      dialog.close();
    }, { id: "apply-link" }),
    close("Leave the bench as it is"),
  );
  dialog.append(
    element("p", {}, `This link sets the bench up; what it does not name becomes untouched. What matters at start-up takes effect with Restart.${other}`),
    element("div", { class: "parts" }, element("table", {}, element("tbody", {},
      ...parts.map(([key, value]) => element("tr", {}, element("th", { scope: "row" }, key), element("td", {}, value))),
      ...(parts.length === 0 ? [element("tr", {}, element("td", {}, "an untouched bench"))] : []),
    ))),
    answers,
  );
}

// ---- The recorder: one request a line, with the virtual time between them.

const kRecorded = ["key", "knob", "touch", "set", "fault", "bench", "power_cut"];
const script = element("textarea", { class: "script", spellcheck: false, "aria-label": "script", oninput: () => keep() });
const recording = element("span", { class: "warn", id: "recording" });
const expected = element("input", { type: "text", placeholder: "text that must appear", style: "flex:1", "aria-label": "expected text" });
let since = null; // virtual ms of the last line; null: not recording
let shots = 0;
let run = null; // of fct, as the launcher counts

// A reload finds the recording as it was.
function keep() {
  try {
    sessionStorage.setItem("recording", JSON.stringify({ script: script.value, since, shots, run }));
  } catch {
    // a page without a memory of its own
  }
}

// True when a recording goes on that began before this page was loaded.
function recall(now) {
  let kept = null;
  try {
    kept = JSON.parse(sessionStorage.getItem("recording"));
  } catch {
    // see above
  }
  if (!kept) return false;
  script.value = kept.script;
  shots = kept.shots;
  since = kept.run === now ? kept.since : null;
  return since !== null;
}

function add(line) {
  script.value += JSON.stringify(line) + "\n";
  script.scrollTop = script.scrollHeight;
  keep();
}

function mark() {
  const now = virtualNow();
  const wait = Math.round(now - since);
  if (wait > 0) add({ do: "wait", ms: wait });
  since = now;
}

on("sent", (request) => {
  if (since === null || !kRecorded.includes(request.do)) return;
  mark();
  add(request);
});

function stopRecording(why) {
  since = null;
  recording.textContent = why;
  keep();
}

// A power cut or a restart cannot be replayed beyond.
on("status", async (status) => {
  const first = run === null;
  run = status.run;
  if (first && recall(run)) {
    const from = since;
    since = null; // until the time is known again
    await timeLook();
    since = from;
    recording.textContent = "recording";
  }
  if (!status.running && since !== null) stopRecording("ended with fct");
});

async function record(from) {
  const { set, faults, seed } = await ask({ do: "bench" });
  script.value =
    `# Replay with: ./run --check FILE${seed === 1 ? "" : ` --seed ${seed}`}\n` +
    "# The replay begins at power-on, with blank EEPROMs; adjust the waits where time does not matter.\n";
  shots = 0;
  if (Object.keys(set).length + Object.keys(faults).length > 0) add({ do: "bench", set, faults });
  since = from;
  recording.textContent = "recording";
  keep();
}

const mayRecord = async () =>
  since === null && !/^[^#]/m.test(script.value) ||
  sure("A new recording takes the place of the script that stands here.", "Record");

const running = () => ask({ do: "hello" }).then(({ pid }) => pid, () => null);

// The script begins at power-on: as soon as another fct answers.
async function restartAndRecord() {
  const before = await running();
  await ask({ do: "restart" });
  for (let tries = 0; tries < 200; ++tries) {
    await new Promise((resolve) => setTimeout(resolve, 50));
    const now = await running();
    if (now !== null && now !== before) return record(0);
  }
  throw new Error("fct does not start; nothing is recorded");
}

export const setupsTab = {
  id: "setups",
  title: "Set-ups",
  open(panel) {
    panel.append(
      element("h2", {}, "Keep this bench"),
      element("div", { class: "row" }, name, button("Save", save)),
      element("p", { class: "hint" },
        "Everything set on the bench, the faults, the specimen, both EEPROMs and the tuning record; not the files on SD card and USB stick. Restore starts the instrument again with them. A link carries settings and faults only."),
      element("table", {}, list),
      element("div", { class: "row" },
        button("Link to this set-up", makeLink),
        button("Untouched bench", async () => {
          if (await sure("Untouched: all settings and faults of the bench go.", "Untouched bench")) await setUp({}, {});
        }),
      ),
      linkText,
      element("h2", {}, "Record a script"),
      element("div", { class: "row" },
        button("Restart and record", async () => (await mayRecord()) && restartAndRecord(),
          { id: "record", title: "starts fct again, so that the script begins at power-on" }),
        button("Record from now", async () => (await mayRecord()) && record(virtualNow())),
        element("button", {
          class: "small",
          onclick: () => stopRecording(""),
        }, "Stop"),
        recording,
      ),
      element("div", { class: "row" }, expected,
        element("button", {
          class: "small",
          onclick: () => {
            if (!expected.value) return;
            if (since !== null) mark();
            add({ do: "expect", text: expected.value, limit_ms: 60000 });
            expected.value = "";
          },
        }, "Expect"),
        element("button", {
          class: "small",
          onclick: () => {
            if (since !== null) mark();
            add({ do: "screenshot", path: `${String(++shots).padStart(2, "0")}.png` });
          },
        }, "Screenshot"),
      ),
      script,
      element("div", { class: "row" },
        element("button", { class: "small", onclick: () => download("k905-script.jsonl", script.value) }, "Download the script"),
      ),
      element("p", { class: "hint" }, "./run --check k905-script.jsonl replays it and tells whether the texts appeared."),
    );
    offerLink();
    addEventListener("hashchange", offerLink);
  },
  shown: () => refresh().catch(() => {}),
};
