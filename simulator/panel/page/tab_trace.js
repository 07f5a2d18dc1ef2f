// The hardware trace, live: what fct does to registers, buses and the serial line.
import { download, element } from "./dom.js";
import { ask, on } from "./link.js";

const kinds = ["reg", "fpga", "data", "i2c", "serial", "ioctl", "shell", "sleep", "file"];
const registers = {
  "0x30000002": "CTRLOUT", "0x3000000a": "CURRENT0", "0x3000000c": "CURRENT1", "0x3000000e": "ATT0",
  "0x30000010": "ATT1", "0x30000012": "VDD", "0x30000014": "APD", "0x30000016": "APD_BIAS", "0x30000018": "PULSE",
  "0x3000001a": "SAMPLES", "0x3000001c": "SAMPLES_HIGH", "0x3000001e": "AVERAGES", "0x30000020": "PERIOD",
  "0x30000022": "DELAY_HIGH", "0x30000024": "DELAY_LOW", "0x3000002e": "ACQUIRE", "0x30000030": "PULSE_MODE",
  "0x30000032": "MEMORY", "0x30000082": "SPEAKER_ON", "0x30000084": "SPEAKER_TONE",
};
const kShown = 5000; // lines on the page
const kAtOnce = 1000; // lines of one reply

const list = element("pre", { class: "log", tabindex: 0, "aria-label": "hardware trace" });
const search = element("input", { type: "search", placeholder: "word -word", "aria-label": "words to show, -word to leave out" });
const state = element("span", { class: "hint" });
const boxes = new Map();
let next = null; // number of the first line not yet shown; null: not recording
let lines = [];

// Phase table entries are 32 registers in a row.
function name(address) {
  const number = Number(address);
  if (number >= 0x30000034 && number < 0x30000074) return `PHASE[${(number - 0x30000034) / 2}]`;
  return registers[address] ?? "";
}

const decode = (line) =>
  line.replace(/^(.*?\breg (?:read|write) (0x[0-9a-f]{8}).*)$/, (all, text, address) => {
    const known = name(address);
    return known ? `${text}   ${known}` : text;
  });

// A line is "seconds thread kind what": see the hardware trace.
const kindOf = (line) => line.split(" ").filter(Boolean)[2];

// Words that a line must have, and "-word" that it must not.
function wantedBy(line) {
  const box = boxes.get(kindOf(line));
  if (box && !box.checked) return false;
  const low = line.toLowerCase();
  return search.value.toLowerCase().split(/\s+/).filter(Boolean).every((word) =>
    word.length > 1 && word[0] === "-" ? !low.includes(word.slice(1)) : low.includes(word));
}

// Every section tells while recording goes on.
function told(recording) {
  state.textContent = recording ? "recording" : "stopped";
  traceTab.button.querySelector(".mark").textContent = recording ? " ●" : "";
  traceTab.button.title = recording ? "recording" : "";
}

function paint() {
  const atEnd = list.scrollTop + list.clientHeight > list.scrollHeight - 20;
  list.textContent = lines.filter(wantedBy).join("\n");
  if (atEnd) list.scrollTop = list.scrollHeight;
}

async function start() {
  const { next: from } = await ask({ do: "trace", action: "read", limit: 1 });
  await ask({ do: "trace", action: "start" });
  next = from;
  told(true);
}

// The fct of a restart counts its lines from 0, and records nothing unasked.
let run = null;
on("status", (status) => {
  if (status.running && status.run !== run && next !== null) start().catch(() => (next = null));
  run = status.run;
});

async function stop() {
  next = null;
  told(false);
  await ask({ do: "trace", action: "stop" });
}

async function follow() {
  if (next === null) return;
  const reply = await ask({ do: "trace", action: "read", from: next, limit: kAtOnce });
  if (next === null) return;
  const missed = Math.max(0, reply.next - next - reply.lines.length);
  next = reply.next;
  if (reply.lines.length === 0) return;
  if (missed > 0) lines.push(`... ${missed} lines left out; Download all has what is kept`);
  lines = lines.concat(reply.lines.map(decode)).slice(-kShown);
  paint();
}

search.addEventListener("input", paint);

export const traceTab = {
  id: "trace",
  title: "Trace",
  open(panel) {
    for (const kind of kinds) boxes.set(kind, element("input", { type: "checkbox", checked: true, onchange: paint }));
    panel.append(
      element(
        "div", { class: "row" },
        element("button", { class: "small", onclick: () => start().catch(() => {}) }, "Record"),
        element("button", { class: "small", onclick: () => stop().catch(() => {}) }, "Stop"),
        element("button", { class: "small", onclick: () => { lines = []; paint(); } }, "Clear"),
        element(
          "button",
          {
            class: "small",
            onclick: async () => {
              const all = await ask({ do: "trace", action: "read" });
              download("trace.txt", all.lines.map(decode).join("\n") + "\n");
            },
          },
          "Download all",
        ),
        search, state,
      ),
      element("div", { class: "row" }, ...kinds.map((kind) => element("label", {}, boxes.get(kind), kind))),
      list,
      element("p", { class: "hint" }, "Record shows what fct does to the hardware: virtual seconds, thread, what it did; equal lines in a row are counted."),
    );
  },
  look: follow,
};
