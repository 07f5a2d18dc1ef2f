// The module's EEPROM page by page, the tuning record, and the power cut.
import { download, element, numberField, show } from "./dom.js";
import { act, fault, file } from "./link.js";
import { decodeTuning, describePage, kPages, kPageSize, moduleRecord, page } from "./records.js";

const colours = {
  valid: { "module record": "#6fd0f0", parameters: "#4f9a6a", checksums: "#5d82c8", journal: "#8a72c0" },
  blank: { "module record": "#27414d", parameters: "#24372f", checksums: "#28344f", journal: "#322c47", unused: "#1c2230" },
  damaged: "#e0523a", pending: "#eda32a", spare: "#4a5770",
};
const colourOf = ({ region, health }) => colours[health][region] ?? colours[health];

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
const cells = [];
let image = null;
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

function showPage(number) {
  open = number;
  cells.forEach((cell, i) => cell.classList.toggle("open", i === number));
  if (number < 0 || !image) return;
  const what = describePage(image, number, moduleRecord(image));
  heading.textContent = `Page ${number}: ${what.region}, ${what.health}. ${what.text}`;
  dump.hidden = false;
  dump.textContent = hexLines(page(image, number), number * kPageSize);
  fields.replaceChildren(
    ...what.fields.map(([name, value]) =>
      element("tr", {}, element("th", {}, name), element("td", { class: "num" }, value)),
    ),
  );
}

async function read(state) {
  const eeprom = await file("module.at24c512");
  const record = state.optic.tuning_stored ? await file("tuning.bin") : null;
  if (eeprom && eeprom.length === kPages * kPageSize) {
    image = eeprom;
    const inForce = moduleRecord(image);
    const count = {};
    cells.forEach((cell, number) => {
      const what = describePage(image, number, inForce);
      count[what.health] = (count[what.health] ?? 0) + 1;
      const colour = colourOf(what);
      if (cell.colour === colour) return;
      cell.colour = colour;
      cell.style.setProperty("--c", colour);
      cell.setAttribute("aria-label", `page ${number}, ${what.region}, ${what.health}`);
      cell.title = `page ${number}: ${what.region}, ${what.health}`;
    });
    summary.textContent = inForce
      ? Object.entries(count).map(([health, n]) => `${n} ${health}`).join(", ")
      : "The store has not been opened yet: there is no module record.";
    if (open >= 0) showPage(open);
  }
  const rows = record && record.length >= 96 ? decodeTuning(record).rows : [];
  tuning.replaceChildren(
    ...rows.map(([name, value]) =>
      element("tr", {}, element("th", {}, name), element("td", { class: "num" }, value)),
    ),
    ...(rows.length === 0 ? [element("tr", {}, element("td", { class: "hint" }, "Nothing is stored: never calibrated."))] : []),
  );
}

export const memoryTab = {
  id: "memory",
  title: "Memory",
  open(panel) {
    for (let number = 0; number < kPages; ++number) {
      const cell = element("button", { onclick: () => showPage(number), tabindex: number === 0 ? "0" : "-1" });
      cells.push(cell);
    }
    map.append(...cells);
    map.addEventListener("keydown", (event) => {
      const step = { ArrowRight: 1, ArrowLeft: -1, ArrowDown: 32, ArrowUp: -32 }[event.key];
      if (!step) return;
      const next = Math.min(kPages - 1, Math.max(0, cells.indexOf(document.activeElement) + step));
      cells[next].focus();
      event.preventDefault();
    });
    const key = (colour, text) => element("span", {}, element("i", { style: `--c:${colour}` }), text);
    panel.append(
      element("h2", {}, "Power"),
      element(
        "div", { class: "row" },
        element("button", { class: "danger small", id: "cut", onclick: ({ target }) => act({ do: "power_cut" }, target) }, "Cut the power now"),
        "or after", bytes, "more EEPROM bytes, leaving", damage,
        element(
          "button",
          {
            class: "danger small",
            onclick: ({ target }) =>
              fault("module.eeprom_cut", { after: Number(bytes.value), damage: damage.value }, target),
          },
          "Arm",
        ),
      ),
      element("h2", {}, "The module's EEPROM, 512 pages of 128 bytes"),
      map,
      element(
        "p", { class: "key-colours" },
        ...Object.entries(colours.valid).map(([region, colour]) => key(colour, region)),
        key(colours.damaged, "damaged"), key(colours.pending, "pending journal slot"),
        key(colours.spare, "not in use"), key(colours.blank.parameters, "blank (dark)"),
      ),
      summary, heading, dump,
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
