// The EEPROMs page by page, the module's with what it means; the tuning record, and the power cut.
import { complain, download, element, numberField, show } from "./dom.js";
import { act, fault, file } from "./link.js";
import { askOrigin } from "./origin.js";
import { decodeTuning, describePage, kPages, kPageSize, moduleRecord, page } from "./records.js";

// A page that is blank is hollow in the colour of its region; the others differ in more than their colour, too (panel.css).
const regions = {
  "module record": "#6fd0f0", parameters: "#5fb37c", checksums: "#7d9fe0", journal: "#a992e0", unused: "#9fb0c6",
};
const colours = { damaged: "#ff7a5c", pending: "#eda32a", spare: "#9fb0c6" };
const colourOf = ({ region, health }) => colours[health] ?? regions[region];

const map = element("div", { class: "map", role: "group", "aria-label": "pages of the EEPROM" });
const summary = element("p", { class: "hint" });
const heading = element("p", { "aria-live": "polite" });
const dump = element("pre", { class: "hex", hidden: true });
const fields = element("tbody");
const tuning = element("tbody");
const bytes = numberField({ label: "bytes", min: 0, max: 65536, step: 1, whole: true, value: "200" }, () => {});
show(bytes, 200);
const damage = element(
  "select", { "aria-label": "what the cut leaves" },
  element("option", { value: "prefix" }, "a prefix of the write"),
  element("option", { value: "half" }, "one byte half programmed"),
  element("option", { value: "page" }, "the page spoilt"),
);
const memory = element(
  "select", { "aria-label": "memory of the byte" },
  element("option", { value: "module" }, "the module's EEPROM"),
  element("option", { value: "mainboard" }, "the main board's EEPROM"),
);
const address = element("input", {
  type: "text", size: "7", value: "0x0000", "aria-label": "address of the byte",
  onchange: () => {
    const at = wantedByte();
    complain(address, at === null ? "address of the byte: a whole number from 0 to 65535, or 0x0000 to 0xffff, is expected" : "");
    if (at === null) address.value = hexAddress(chosen);
    else choose(at);
  },
});
const origin = element("div", { class: "answer" });
const kHexAt = 6; // letters before the first byte of a line
const cells = [];
let image = null; // of the module's
let boards = null; // of the main board's, once it has been asked for
let chosen = 0; // byte that is asked about
let open = -1;

function hexLines(data, from) {
  const lines = [];
  for (let at = 0; at < data.length; at += 16) {
    const row = [...data.subarray(at, at + 16)];
    const text = row.map((b) => (b >= 32 && b < 127 ? String.fromCharCode(b) : "·")).join("");
    lines.push(`${(from + at).toString(16).padStart(4, "0")}  ${row.map((b) => b.toString(16).padStart(2, "0")).join(" ")}  ${text}`);
  }
  return lines.join("\n");
}

const hexAddress = (at) => "0x" + at.toString(16).padStart(4, "0");
function wantedByte() {
  const at = /^\s*(0x[0-9a-f]+|\d+)\s*$/i.test(address.value) ? Number(address.value) : NaN;
  return at >= 0 && at < kPages * kPageSize ? at : null;
}

function choose(at) {
  chosen = at;
  address.value = hexAddress(at);
  showPage(Math.floor(at / kPageSize));
}
const isModules = () => memory.value === "module";

// Of the open page as it is written out; the chosen byte is marked. What is unchanged stays, as does what a person selects
// in it.
let painted = "";
function paintDump() {
  const text = hexLines(page(isModules() ? image : boards, open), open * kPageSize);
  const at = chosen - open * kPageSize;
  if (painted === text + at + memory.value) return;
  painted = text + at + memory.value;
  if (at < 0 || at >= kPageSize) {
    dump.textContent = text;
    return;
  }
  const from = Math.floor(at / 16) * (text.indexOf("\n") + 1) + kHexAt + 3 * (at % 16);
  dump.replaceChildren(text.slice(0, from), element("mark", {}, text.slice(from, from + 2)), text.slice(from + 2));
}

// The byte under a click, from the place of its letters: the font's are all as wide.
function byteAt(event) {
  const range = document.createRange();
  range.selectNodeContents(dump);
  const box = range.getBoundingClientRect();
  const lines = dump.textContent.split("\n");
  const row = Math.floor(((event.clientY - box.top) * lines.length) / box.height);
  const column = Math.floor(((event.clientX - box.left) * lines[0].length) / box.width) - kHexAt;
  const at = Math.floor(column / 3);
  return row >= 0 && row < lines.length && at >= 0 && at < 16 ? open * kPageSize + row * 16 + at : null;
}

function showPage(number) {
  open = number;
  cells.forEach((cell, i) => cell.classList.toggle("open", isModules() && i === number));
  if (number < 0 || !(isModules() ? image : boards)) return;
  const what = isModules() ? describePage(image, number, moduleRecord(image)) : { fields: [] };
  heading.textContent = isModules() ? `Page ${number}: ${what.region}, ${what.health} (${what.text}).`
    : `Page ${number} of the main board's EEPROM.`;
  dump.hidden = false;
  dump.dataset.memory = memory.value;
  paintDump();
  fields.replaceChildren(
    ...what.fields.map(([name, value]) =>
      element("tr", {}, element("th", {}, name), element("td", { class: "num" }, value)),
    ),
  );
}

async function read(state) {
  cut.disabled = state.off;
  const plan = state.faults[kArmed];
  armed.hidden = disarm.hidden = plan === undefined;
  if (plan !== undefined) armed.textContent = `armed: after ${plan.after ?? plan} bytes`;
  const eeprom = await file("module.at24c512");
  if (!isModules()) boards = await file("mainboard.eeprom");
  const record = state.optic.tuning_stored ? await file("tuning.bin") : null;
  if (eeprom && eeprom.length === kPages * kPageSize) {
    image = eeprom;
    const inForce = moduleRecord(image);
    const count = {};
    cells.forEach((cell, number) => {
      const what = describePage(image, number, inForce);
      count[what.health] = (count[what.health] ?? 0) + 1;
      const looks = `${what.health} of ${what.region}`;
      if (cell.looks === looks) return;
      cell.looks = looks;
      cell.style.setProperty("--c", colourOf(what));
      cell.className = what.health + (number === open ? " open" : "");
      cell.setAttribute("aria-label", `page ${number}, ${what.region}, ${what.health}`);
      cell.title = `page ${number}: ${what.region}, ${what.health}`;
    });
    summary.textContent = inForce
      ? Object.entries(count).map(([health, n]) => `${n} ${health}`).join(", ")
      : "The store has not been opened yet: there is no module record.";
    if (open >= 0 && isModules()) showPage(open);
  }
  if (open >= 0 && !isModules()) showPage(open);
  const rows = record && record.length >= 96 ? decodeTuning(record, state.optics).rows : [];
  tuning.replaceChildren(
    ...rows.map(([name, value]) =>
      element("tr", {}, element("th", {}, name), element("td", { class: "num" }, value)),
    ),
    ...(rows.length === 0 ? [element("tr", {}, element("td", { class: "hint" }, "Nothing is stored: never calibrated."))] : []),
  );
}

const kArmed = "module.eeprom_cut";
const armed = element("span", { class: "warn", id: "armed", hidden: true });
const disarm = element("button", { class: "small", hidden: true, onclick: ({ target }) => fault(kArmed, false, target) }, "Disarm");
const cut = element("button", { class: "danger small", id: "cut", onclick: ({ target }) => act({ do: "power_cut" }, target) }, "Cut the power now");

export const memoryTab = {
  id: "memory",
  title: "Memory",
  open(panel) {
    for (let number = 0; number < kPages; ++number) {
      const cell = element("button", { onclick: () => (memory.value = "module", choose(number * kPageSize)), tabindex: number === 0 ? "0" : "-1" });
      cells.push(cell);
    }
    map.append(...cells);
    map.addEventListener("keydown", (event) => {
      const columns = getComputedStyle(map).gridTemplateColumns.split(" ").length;
      const step = { ArrowRight: 1, ArrowLeft: -1, ArrowDown: columns, ArrowUp: -columns }[event.key];
      if (!step) return;
      const next = Math.min(kPages - 1, Math.max(0, cells.indexOf(document.activeElement) + step));
      cells[next].focus();
      event.preventDefault();
    });
    dump.addEventListener("click", (event) => {
      const at = byteAt(event);
      if (at !== null) choose(at);
    });
    memory.addEventListener("change", async () => {
      if (!isModules()) boards = await file("mainboard.eeprom");
      choose(chosen);
    });
    const key = (colour, health, text) =>
      element("span", {}, element("i", { class: health, style: `--c:${colour}` }), text);
    panel.append(
      element("h2", {}, "Power"),
      element(
        "div", { class: "row" },
        cut,
        "or after", bytes, "more EEPROM bytes, leaving", damage,
        element(
          "button",
          {
            class: "danger small",
            onclick: ({ target }) =>
              fault(kArmed, { after: Number(bytes.value), damage: damage.value }, target),
          },
          "Arm",
        ),
        armed, disarm,
      ),
      element("h2", {}, "The module's EEPROM, 512 pages of 128 bytes"),
      map,
      element(
        "p", { class: "key-colours" },
        ...Object.entries(regions).filter(([region]) => region !== "unused").map(([region, colour]) => key(colour, "valid", region)),
        key(colours.damaged, "damaged", "damaged"), key(colours.pending, "pending", "pending journal slot"),
        key(colours.spare, "spare", "not in use"), key(regions.parameters, "blank", "blank (hollow)"),
      ),
      summary, heading, dump,
      element(
        "div", { class: "row" },
        "Byte", address, "of", memory,
        element(
          "button",
          {
            class: "small", "aria-label": "What wrote this byte?",
            onclick: ({ target }) => askOrigin({ memory: memory.value, at: chosen }, target, origin),
          },
          "What wrote this?",
        ),
      ),
      origin,
      element("table", {}, fields),
      element(
        "div", { class: "row" },
        element(
          "button",
          { class: "small", onclick: () => image && download("module.at24c512", image, "application/octet-stream") },
          "Download the image",
        ),
      ),
      element("h2", {}, "Tuning record"),
      element("table", {}, tuning),
    );
  },
  look: read,
};
