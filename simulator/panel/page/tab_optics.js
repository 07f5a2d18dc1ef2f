// The optical module and what is at its port; its acquisitions and its breakdown as plots.
import { element, numberField, show } from "./dom.js";
import { ask, file, instrument, set } from "./link.js";
import { acquisitionParts, keepTrace, redrawAcquisition, showFibre, showUntil } from "./plot_acquisition.js";
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
      if (fibre.value !== "custom") set("optics.fibre", fibre.value, fibre);
    },
  },
  ...kFibres.map((name) => element("option", { value: name }, name)),
  element("option", { value: "custom" }, "custom"),
);
const length = element("span", { class: "hint", "data-state": "optics.fibre_length" });
let connected = ""; // the fibre when last looked at; what is chosen here stays until another is connected
let edited = false; // the events below; a fibre that is connected elsewhere does not take their place
const events = element("tbody", { oninput: () => (edited = true) });
const pending = element("span", { class: "hint" });
const custom = element("div", { hidden: true });

function eventRow(at, loss, reflection) {
  const field = (value, label, limits) => {
    const made = numberField({ label, style: "width:6em", ...limits }, (now) => show(made, now ?? ""));
    show(made, value);
    return made;
  };
  const names = ["at, metres", "loss, dB", "reflection, dB"];
  const inputs = [
    field(at, names[0], { min: 0, max: 200000 }),
    field(loss, names[1], { min: 0, max: 100, step: 0.1 }),
    field(reflection, names[2], { min: -100, max: 0, step: 1, optional: true }),
  ];
  const remove = element("button", { class: "small", onclick: () => (row.remove(), numberEvents(), (edited = true)) }, "Remove");
  const row = element(
    "tr", {},
    ...inputs.map((input) => element("td", {}, input)),
    element("td", {}, remove),
  );
  row.values = () => {
    const [at, loss, reflection] = inputs.map((input) => (input.value === "" ? null : Number(input.value)));
    return { at, loss, ...(reflection !== null && { reflection }) };
  };
  row.named = (number) => {
    remove.setAttribute("aria-label", `Remove event ${number}`);
    inputs.forEach((input, i) => input.setAttribute("aria-label", `event ${number}, ${names[i]}`));
  };
  events.append(row);
  numberEvents();
}
const ownEvents = () => [...events.children].map((row) => row.values()).sort((a, b) => a.at - b.at);
const asText = (list) => JSON.stringify(list.map(({ at, loss, reflection = null }) => [at, loss, reflection]));
const areConnected = (list) => asText(ownEvents()) === asText(list);
const numberEvents = () => [...events.children].forEach((row, i) => row.named(i + 1));

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
    element("button", { class: "small", onclick: () => (eventRow(2000, 0.2, ""), (edited = true)) }, "Splice or connector"),
    element(
      "button",
      {
        class: "small",
        onclick: async ({ target }) => {
          if (await set("optics.fibre", ownEvents(), target)) edited = false;
        },
      },
      "Connect this fibre",
    ),
    pending,
  ),
  element("p", { class: "hint" }, "The last event is the fibre's end. A splice has no reflection."),
);
function showEvents(list) {
  events.replaceChildren();
  for (const { at, loss, reflection } of list) eventRow(at, loss, reflection ?? "");
}
showEvents([{ at: 500, loss: 0.3, reflection: -45 }, { at: 1000, loss: 0.1 }, { at: 1500, loss: 0, reflection: -14.5 }]);

const temperature = element("input", {
  type: "range", min: -40, max: 85, step: 0.5, "aria-label": "module temperature",
  oninput: () => set("module.temperature", Number(temperature.value), temperature),
});
const kColdest = -40, kHottest = 85; // of the module
const degrees = numberField({ label: "module temperature, °C", min: kColdest, max: kHottest, step: 0.1 },
  (value, field) => set("module.temperature", value, field));
const now = element("span", { class: "num", id: "degrees", "data-state": "module.temperature" });
// A ramp goes on to its end, where there is one; else for ever.
const rate = numberField({ label: "degrees a minute", min: -60, max: 60, step: 0.05 }, () => setRamp(rate));
const end = numberField({ label: "end of the ramp, °C", min: kColdest, max: kHottest, step: 1, optional: true },
  () => setRamp(end));
show(end, ""); // what a refusal goes back to
const ramp = element("span", { class: "warn", id: "ramp" });
function setRamp(field) {
  const speed = Number(rate.value);
  const ends = end.value !== "" && speed !== 0;
  if (field === rate || speed !== 0)
    set("module.temperature_rate", ends ? { to: Number(end.value), rate: Math.abs(speed) } : speed, field);
}
const seed = numberField({ label: "number of the module", style: "width:10em", min: 0, max: 4294967295, step: 1, whole: true },
  (value, field) => set("module.seed", value, field));
const noise = numberField({ label: "number of the noise", style: "width:10em", min: 0, max: 4294967295, step: 1, whole: true, optional: true },
  (value, field) => set("noise.seed", value, field));
const light = element("input", {
  type: "checkbox", onchange: () => set("optics.light_on_link", light.checked, light),
});
const facts = element("p", { class: "hint num" });
let seen = { of: "" }; // the acquisition that was looked at last, by wavelength; of which start

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
        element("label", {}, "temperature", temperature), degrees, now,
      ),
      element("div", { class: "row" },
        element("label", {}, "ramp", rate, "°C a minute"), element("label", {}, "to", end, "°C"), ramp,
      ),
      element("div", { class: "row" }, element("label", {}, "module number", seed),
        element("label", { "data-state": "noise.seed", title: "another run of chance for the noise of receiver and measurement board; empty: their own" },
          "noise", noise)),
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
  async look({ optics, optic, fpga, module, noise: chance, run: start, past, off }) {
    const fitted = JSON.stringify([optics.fibre, optics.fibre_events]);
    if (fitted !== connected) {
      connected = fitted;
      custom.hidden = kFibres.includes(optics.fibre);
      fibre.value = custom.hidden ? optics.fibre : "custom";
      if (!custom.hidden && !edited && !areConnected(optics.fibre_events)) showEvents(optics.fibre_events);
    }
    pending.textContent = areConnected(optics.fibre_events) ? "" : "not connected";
    length.textContent = optics.fibre_length > 0 ? `${optics.fibre_length} m connected` : "nothing connected";
    show(temperature, module.temperature);
    show(degrees, Number(module.temperature.toFixed(2)));
    now.textContent = module.temperature.toFixed(1) + " °C";
    show(rate, module.temperature_rate);
    if (module.temperature_rate !== 0 || past) show(end, module.temperature_end ?? ""); // else it may be entered before the rate
    ramp.textContent = module.temperature_rate === 0 ? "" : "the temperature changes by itself";
    show(seed, optics.seed);
    show(noise, chance.seed ?? "");
    show(light, optics.light_on_link > 0);
    const volts = (code) => optics.apd_line[0] + code * optics.apd_line[1];
    facts.textContent = off ? "The power is off." :
      `APD ${optics.apd_volts.toFixed(2)} V, gain ${optics.apd_gain.toFixed(2)}; breaks down at DAC code ` +
      `${optics.breakdown_code.toFixed(0)} (${volts(optics.breakdown_code).toFixed(2)} V) now, ` +
      `${optics.breakdown_code_at_zero.toFixed(0)} at 0 °C and ` +
      `${optics.breakdown_codes_per_degree.toFixed(2)} codes more a degree; dark level ADC code ${optics.dark_code}; ` +
      `${optics.wavelength} nm, pulse ${optics.pulse_nanoseconds} ns`;
    const bytes = optic.tuning_stored ? await file("tuning.bin") : null;
    const record = bytes && bytes.length >= 96 ? decodeTuning(bytes) : null;
    showApd({ optics, optic, fpga, off }, record && record.apd.code !== 0 ? record.apd : null); // 0: it was never tuned
    showFibre(optics, record && record.offset !== 0 ? record.offset : null); // 0: the fibre offset was never measured
    const last = fpga.last_acquisitions, of = `${instrument.run} ${start}`;
    if (seen.of !== of) seen = { of }; // acquisitions are counted from 1 again
    for (const [wavelength, number] of Object.entries(last).sort(([, one], [, other]) => one - other)) {
      if (seen[wavelength] === number || fpga.acquisition === "running") continue;
      const reply = await ask({ do: "samples", wavelength });
      last[wavelength] = seen[wavelength] = reply.acquisition; // which may be a later one
      keepTrace({ ...reply, start });
    }
    showUntil(start, Math.max(0, ...Object.values(last)), past);
  },
};
