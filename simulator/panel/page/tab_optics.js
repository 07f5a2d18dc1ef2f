// The optical module and what is at its port; its acquisitions and its breakdown as plots.
import { element, show } from "./dom.js";
import { ask, file, set } from "./link.js";
import { acquisitionParts, keepTrace, redrawAcquisition, showFibre } from "./plot_acquisition.js";
import { apdParts, forgetApd, showApd } from "./plot_apd.js";
import { faultSwitches } from "./tab_faults.js";
import { decodeTuning } from "./records.js";

const kFibres = ["none", "5 m", "1 km", "1.5 km"];

const fibre = element(
  "select",
  {
    "aria-label": "fibre",
    onchange: () => {
      custom.hidden = fibre.value !== "custom";
      if (fibre.value !== "custom") set("optics.fibre", fibre.value);
    },
  },
  ...kFibres.map((name) => element("option", { value: name }, name)),
  element("option", { value: "custom" }, "custom"),
);
const length = element("span", { class: "hint" });
let connected = null; // the fibre when last looked at; what is chosen here stays until another is connected
const events = element("tbody");
const custom = element("div", { hidden: true });

function eventRow(at, loss, reflection) {
  const field = (value, step, label) =>
    element("input", { type: "number", step, value: String(value), "aria-label": label, style: "width:6em" });
  const inputs = [field(at, 1, "at, metres"), field(loss, 0.1, "loss, dB"), field(reflection, 1, "reflection, dB")];
  const row = element(
    "tr", {},
    ...inputs.map((input) => element("td", {}, input)),
    element("td", {}, element("button", { class: "small", onclick: () => row.remove() }, "Remove")),
  );
  row.values = () => {
    const [a, l, r] = inputs.map((input) => (input.value === "" ? null : Number(input.value)));
    return { at: a ?? 0, loss: l ?? 0, ...(r !== null && { reflection: r }) };
  };
  events.append(row);
}

custom.append(
  element(
    "table", {},
    element(
      "thead", {},
      element("tr", {}, ...["at, metres", "loss, dB", "reflection, dB", ""].map((text) => element("th", {}, text))),
    ),
    events,
  ),
  element(
    "div", { class: "row" },
    element("button", { class: "small", onclick: () => eventRow(2000, 0.2, "") }, "Splice or connector"),
    element(
      "button",
      {
        class: "small",
        onclick: () =>
          set("optics.fibre", [...events.children].map((row) => row.values()).sort((a, b) => a.at - b.at)),
      },
      "Connect this fibre",
    ),
  ),
  element("p", { class: "hint" }, "The last event is the fibre's end. A splice has no reflection."),
);
eventRow(500, 0.3, -45);
eventRow(1000, 0.1, "");
eventRow(1500, 0, -14.5);

const temperature = element("input", {
  type: "range", min: -40, max: 85, step: 0.5, "aria-label": "module temperature",
  oninput: () => set("module.temperature", Number(temperature.value)),
});
const degrees = element("span", { class: "num" });
const rate = element("input", {
  type: "number", min: -60, max: 60, step: 0.5, value: "0", "aria-label": "degrees a minute",
  onchange: () => set("module.temperature_rate", Number(rate.value)),
});
const seed = element("input", {
  type: "number", min: 0, max: 4294967295, "aria-label": "number of the module",
  onchange: () => set("module.seed", Number(seed.value)),
});
const light = element("input", {
  type: "checkbox", onchange: () => set("optics.light_on_link", light.checked),
});
const facts = element("p", { class: "hint num" });
let acquisition = 0; // that was looked at last

export const opticsTab = {
  id: "optics",
  title: "Optics",
  open(panel) {
    panel.append(
      element("h2", {}, "At the module's port"),
      element(
        "div", { class: "row" },
        element("label", {}, "fibre", fibre), length,
        element("label", {}, light, "light on the link"),
      ),
      custom,
      element("h2", {}, "Module"),
      element(
        "div", { class: "row" },
        element("label", {}, "temperature", temperature), degrees,
        element("label", {}, "ramp", rate, "°C a minute"),
      ),
      element("div", { class: "row" }, element("label", {}, "module number", seed)),
      facts,
      element("h2", {}, "Last acquisitions"),
      ...acquisitionParts,
      element("h2", {}, "APD codes over the temperature"),
      ...apdParts,
      element("h2", {}, "Faults"),
      faultSwitches((name) => /^(optic|optics|adc)\./.test(name)),
    );
  },
  shown() {
    redrawAcquisition();
    forgetApd();
  },
  async look({ optics, optic, fpga }) {
    if (optics.fibre !== connected) {
      connected = optics.fibre;
      custom.hidden = kFibres.includes(connected);
      fibre.value = custom.hidden ? connected : "custom";
    }
    length.textContent = optics.fibre_length > 0 ? `${optics.fibre_length} m connected` : "nothing connected";
    show(temperature, optic.temperature);
    degrees.textContent = optic.temperature.toFixed(1) + " °C";
    show(seed, optics.seed);
    show(light, optics.light_on_link > 0);
    facts.textContent =
      `APD ${optics.apd_volts.toFixed(2)} V, gain ${optics.apd_gain.toFixed(2)}; breaks down at code ` +
      `${optics.breakdown_code.toFixed(0)} now, ${optics.breakdown_code_at_zero.toFixed(0)} at 0 °C and ` +
      `${optics.breakdown_codes_per_degree.toFixed(2)} more a degree; dark code ${optics.dark_code}; ` +
      `${optics.wavelength} nm, pulse ${optics.pulse_nanoseconds} ns`;
    const bytes = optic.tuning_stored ? await file("tuning.bin") : null;
    const record = bytes && bytes.length >= 96 ? decodeTuning(bytes) : null;
    showApd({ optics, optic, fpga }, record?.apd);
    showFibre(optics, record && record.offset !== 0 ? record.offset : null); // 0: the fibre offset was never measured
    if (fpga.acquisitions === acquisition || fpga.acquisition === "running") return;
    acquisition = fpga.acquisitions;
    keepTrace(await ask({ do: "samples" }));
  },
};
