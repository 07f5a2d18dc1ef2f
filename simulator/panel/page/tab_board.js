// The measurement board: its plug, its rails and what is wrong with its link.
import { element, numberField, show, shows, showSentence } from "./dom.js";
import { set } from "./link.js";
import { faultSwitches } from "./tab_faults.js";

// What the main-board and module checks take for good, volts at the board's input.
const limits = {
  TP97: [1.01909, 1.12636], TP103: [0.97251, 1.07488], TP109: [1.00235, 1.10786], TP105: [0.95, 1.05],
  TP107: [0.98315, 1.08664], TP113: [0.98315, 1.08664], TP100: [0.95311, 1.05344], TP99: [0.96259, 1.06391],
  TP57: [1.00235, 1.10786], TP24: [1.00235, 1.10786], TP114: [0.93373, 1.14123], TP36: [0.93373, 1.14123],
  TP68: [0.93373, 1.14123], TP111: [0.98561, 1.08935],
};
const kMost = 2.6; // volts that a slider reaches

const kMargin = 0.005; // volts inside or outside a limit: far beyond the noise of a reading
const plug = element("input", { type: "checkbox", onchange: () => set("board.plugged", plug.checked, plug) });
const link = element("span", { class: "hint" });
const analog = element("p", { class: "hint num" });
const body = element("tbody");
const rows = new Map();

function addRow(name, volts) {
  const hold = (value, control) => set("board.rail." + name, value, control);
  const band = limits[name];
  const percent = (v) => `${((100 * v) / kMost).toFixed(1)}%`;
  const slider = element("input", {
    type: "range", min: 0, max: kMost, step: 0.001, "aria-label": `${name}, volts`,
    oninput: () => hold(Number(slider.value), slider),
  });
  const value = numberField({ label: `${name}, volts`, min: 0, max: 10, step: 0.001, "data-state": `board.rails.${name}` }, hold);
  const free = element(
    "button",
    {
      class: "small", title: "held by hand; back to what the board makes", "aria-label": `Free ${name}`, hidden: true,
      onclick: () => hold(null, free),
    },
    "Free",
  );
  const step = (sign, volts, text) => element("button", {
    class: "small", title: `${name} ${text}, ${volts.toFixed(3)} V`, "aria-label": `${name} ${text}`,
    onclick: ({ target }) => hold(Number(volts.toFixed(4)), target),
  }, sign);
  const row = element(
    "tr", {},
    element("th", { scope: "row" }, name),
    element("td", band ? { class: "banded", style: `--low:${percent(band[0])};--high:${percent(band[1])}` } : {}, slider),
    element("td", {}, value),
    element(
      "td", { class: "good num hint" },
      ...(band ? [
        element("span", {}, `${band[0].toFixed(3)}–${band[1].toFixed(3)}`), " ",
        element(
          "span", { class: "edges" },
          step("‹", band[0] - kMargin, "just below the good band"), step("[", band[0] + kMargin, "just inside, low"),
          step("]", band[1] - kMargin, "just inside, high"), step("›", band[1] + kMargin, "just above the good band"),
        ),
      ] : []),
    ),
    element("td", {}, free),
  );
  rows.set(name, { slider, value, free, row });
  // Those with limits are the ones a check looks at: first.
  const before = band ? [...body.children].find((other) => !limits[other.firstChild.textContent]) : null;
  body.insertBefore(row, before ?? null);
  return rows.get(name);
}

export const boardTab = {
  id: "board",
  title: "Measurement board",
  open(panel) {
    panel.append(
      element("h2", {}, "Serial link"),
      element("div", { class: "row" }, element("label", {}, plug, "plugged in"), link),
      element("h2", {}, "Readings that the optical module makes"),
      analog,
      element("h2", {}, "Rails, volts at the board's input"),
      element(
        "table", { class: "rails" },
        element("thead", {}, element("tr", {}, ...["rail", "", "volts", "good", ""].map((t) => element("th", {}, t)))),
        body,
      ),
      element("h2", {}, "Faults of the link"),
      faultSwitches((name) => /^(board|serial)\./.test(name)),
    );
  },
  look({ board, off }) {
    show(plug, board.plugged);
    showSentence(link,
      shows("board.frames", `requests ${board.frames}`), ", ", shows("board.replies", `replies ${board.replies}`));
    showSentence(analog, ...(off ? ["The power is off."] : [
      shows("board.vdd", `Vdd ${board.vdd.toFixed(3)} V`), "   ", shows("board.apd", `Apd ${board.apd.toFixed(2)} V`), "   ",
      shows("board.att0", `Att0 ${(board.att0 * 1000).toFixed(1)} mV`), "   ",
      shows("board.att1", `Att1 ${(board.att1 * 1000).toFixed(1)} mV`),
    ]));
    for (const [name, volts] of Object.entries(board.rails)) {
      const row = rows.get(name) ?? addRow(name, volts);
      show(row.slider, volts.toFixed(3));
      show(row.value, Number(volts.toFixed(4)));
      const band = limits[name];
      row.value.className = "num " + (band ? (volts > band[0] && volts < band[1] ? "ok" : "bad") : "");
      const held = board.held.includes(name);
      row.free.hidden = !held;
      row.row.classList.toggle("held", held);
    }
  },
};
