// Set-ups of the bench kept under a name or in a link, and scripts of what hands did.
import { download, element } from "./dom.js";
import { act, ask, on, tell } from "./link.js";
import { virtualNow } from "./time.js";

// ---- Benches with a name, and links.

const name = element("input", { type: "text", maxlength: 40, placeholder: "name", "aria-label": "name of the set-up" });
const list = element("tbody");
const banner = element("div", { class: "banner", hidden: true, role: "alert" });
const linkText = element("input", { type: "text", readonly: true, hidden: true, "aria-label": "link", style: "width:100%" });

async function attempt(work) {
  try {
    await work();
    tell("problem", "");
  } catch (error) {
    tell("problem", error.message);
  }
}

async function refresh() {
  const { names } = await ask({ do: "benches" });
  list.replaceChildren(
    ...names.map((one) =>
      element(
        "tr", {},
        element("th", { scope: "row" }, one),
        element(
          "td", {},
          element("button", { class: "small", onclick: () => attempt(() => ask({ do: "bench_restore", name: one })) }, "Restore"),
        ),
        element(
          "td", {},
          element("button", {
            class: "small",
            onclick: () => attempt(async () => {
              await ask({ do: "bench_remove", name: one });
              await refresh();
            }),
          }, "Remove"),
        ),
      ),
    ),
  );
}

const toText = (value) =>
  btoa(String.fromCharCode(...new TextEncoder().encode(JSON.stringify(value))))
    .replaceAll("+", "-").replaceAll("/", "_").replaceAll("=", "");
const fromText = (text) =>
  JSON.parse(new TextDecoder().decode(
    Uint8Array.from(atob(text.replaceAll("-", "+").replaceAll("_", "/")), (c) => c.charCodeAt(0))));

async function makeLink() {
  const [{ set, faults }, { seed }] = [await ask({ do: "bench" }), await ask({ do: "hello" })];
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
  const found = location.hash.match(/^#bench=([\w-]+)$/);
  if (!found) return;
  let bench;
  try {
    bench = fromLink(found[1]);
  } catch {
    return tell("problem", "this link's set-up is damaged");
  }
  const close = () => {
    banner.hidden = true;
    history.replaceState(null, "", location.pathname);
  };
  const parts = [
    ...Object.entries(bench.set).map(([key, value]) => `${key} = ${JSON.stringify(value)}`),
    ...Object.entries(bench.faults).map(([key, value]) => `fault ${key}` + (value === true ? "" : ` = ${JSON.stringify(value)}`)),
  ];
  const { seed } = await ask({ do: "hello" }).catch(() => ({}));
  const other = Number.isInteger(bench.seed) && Number.isInteger(seed) && bench.seed !== seed
    ? ` It was made on specimen ${bench.seed}, this is ${seed}: ./run --seed ${bench.seed} starts that one.` : "";
  banner.replaceChildren(
    element("p", { style: "margin:0 0 6px" }, `This link sets the bench up: ${parts.join(", ") || "untouched"}. What matters at start-up takes effect with Restart.${other}`),
    element("div", { class: "row" },
      element("button", {
        class: "small", id: "apply-link",
        onclick: () => attempt(async () => {
          const request = { do: "bench", set: bench.set, faults: bench.faults };
          await ask(request);
          tell("sent", request);
          close();
        }),
      }, "Set it up"),
      element("button", { class: "small", onclick: close }, "Leave the bench as it is"),
    ),
  );
  banner.hidden = false;
}

// ---- The recorder: one request a line, with the virtual time between them.

const kRecorded = ["key", "knob", "touch", "set", "fault", "bench", "power_cut"];
const script = element("textarea", { class: "script", spellcheck: false, "aria-label": "script" });
const recording = element("span", { class: "warn", id: "recording" });
const expected = element("input", { type: "text", placeholder: "text that must appear", style: "flex:1", "aria-label": "expected text" });
let since = null; // virtual ms of the last line; null: not recording
let shots = 0;

function add(line) {
  script.value += JSON.stringify(line) + "\n";
  script.scrollTop = script.scrollHeight;
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
}

// A power cut or a restart cannot be replayed beyond.
on("status", ({ running }) => {
  if (!running && since !== null) stopRecording("ended with fct");
});

async function record(from) {
  const [{ set, faults }, { seed }] = [await ask({ do: "bench" }), await ask({ do: "hello" })];
  script.value =
    `# Replay with: ./run --check FILE${seed === 1 ? "" : ` --seed ${seed}`}\n` +
    "# The replay begins at power-on, with blank EEPROMs; adjust the waits where time does not matter.\n";
  shots = 0;
  if (Object.keys(set).length + Object.keys(faults).length > 0) add({ do: "bench", set, faults });
  since = from;
  recording.textContent = "recording";
}

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
    document.querySelector(".bench").prepend(banner);
    panel.append(
      element("h2", {}, "Keep this bench"),
      element("div", { class: "row" }, name,
        element("button", {
          class: "small",
          onclick: () => attempt(async () => {
            await ask({ do: "bench_save", name: name.value });
            await refresh();
          }),
        }, "Save"),
      ),
      element("p", { class: "hint" },
        "Everything set on the bench, the faults, the specimen, both EEPROMs and the tuning record; not the files on SD card and USB stick. Restore starts the instrument again with them. A link carries settings and faults only."),
      element("table", {}, list),
      element("div", { class: "row" },
        element("button", { class: "small", onclick: () => attempt(makeLink) }, "Link to this set-up"),
        element("button", { class: "small", onclick: () => attempt(async () => {
          await ask({ do: "bench", set: {}, faults: {} });
          tell("sent", { do: "bench", set: {}, faults: {} });
        }) }, "Untouched bench"),
      ),
      linkText,
      element("h2", {}, "Record a script"),
      element("div", { class: "row" },
        element("button", {
          class: "small", id: "record",
          onclick: () => attempt(restartAndRecord),
          title: "starts fct again, so that the script begins at power-on",
        }, "Restart and record"),
        element("button", { class: "small", onclick: () => attempt(() => record(virtualNow())) }, "Record from now"),
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
