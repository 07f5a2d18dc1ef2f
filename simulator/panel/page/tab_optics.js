// The optical module and what is at its port; the last acquisition as a plot.
import { element, numberField, show } from "./dom.js";
import { ask, file, on, set } from "./link.js";
import { faultSwitches } from "./tab_faults.js";
import { decodeTuning } from "./records.js";

const kFibres = ["none", "5 m", "1 km", "1.5 km"];
const kFinest = 0.04; // metres a sample
const kLeadIn = 512; // samples before the pulse, which a calibration does not count
const kDarkFrom = 10, kDarkTo = 500; // samples before the pulse: the dark level

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
const length = element("span", { class: "hint" });
let connected = ""; // the fibre when last looked at; what is chosen here stays until another is connected
const events = element("tbody");
const custom = element("div", { hidden: true });

function eventRow(at, loss, reflection) {
  const field = (value, label, limits) => {
    const made = numberField({ label, style: "width:6em", ...limits }, (now) => show(made, now ?? ""));
    show(made, value);
    return made;
  };
  const inputs = [
    field(at, "at, metres", { min: 0, max: 200000 }),
    field(loss, "loss, dB", { min: 0, max: 100, step: 0.1 }),
    field(reflection, "reflection, dB", { min: -100, max: 0, step: 1, optional: true }),
  ];
  const row = element(
    "tr", {},
    ...inputs.map((input) => element("td", {}, input)),
    element("td", {}, element("button", { class: "small", onclick: () => row.remove() }, "Remove")),
  );
  row.values = () => {
    const [at, loss, reflection] = inputs.map((input) => (input.value === "" ? null : Number(input.value)));
    return { at, loss, ...(reflection !== null && { reflection }) };
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
        onclick: ({ target }) =>
          set("optics.fibre", [...events.children].map((row) => row.values()).sort((a, b) => a.at - b.at), target),
      },
      "Connect this fibre",
    ),
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
const now = element("span", { class: "num", id: "degrees" });
// A ramp goes on to its end, where there is one; else for ever.
const rate = numberField({ label: "degrees a minute", min: -60, max: 60, step: 0.05 }, () => setRamp(rate));
const end = numberField({ label: "end of the ramp, °C", min: kColdest, max: kHottest, step: 1, optional: true },
  () => setRamp(end));
const ramp = element("span", { class: "warn", id: "ramp" });
function setRamp(field) {
  const speed = Number(rate.value);
  const ends = end.value !== "" && speed !== 0;
  if (field === rate || speed !== 0)
    set("module.temperature_rate", ends ? { to: Number(end.value), rate: Math.abs(speed) } : speed, field);
}
const seed = numberField({ label: "number of the module", min: 0, max: 4294967295, step: 1, whole: true },
  (value, field) => set("module.seed", value, field));
const light = element("input", {
  type: "checkbox", onchange: () => set("optics.light_on_link", light.checked, light),
});
const facts = element("p", { class: "hint num" });

// ---- The plots.

const kMark = "#eda32a";
const kPlotLook = { gridLineColor: "#2d3850", axisLineColor: "#5d7294", legend: "never" };

// A line from top to bottom at `x` of the plot, with its name; false when that is out of sight.
function mark(canvas, area, plot, x, text, row = 0) {
  const at = plot.toDomXCoord(x);
  if (at < area.x || at > area.x + area.w) return false;
  canvas.strokeStyle = canvas.fillStyle = kMark;
  canvas.beginPath();
  canvas.moveTo(at, area.y);
  canvas.lineTo(at, area.y + area.h);
  canvas.stroke();
  canvas.fillText(text, at + 3, area.y + 10 + 12 * row);
  return true;
}

// The last acquisition.

const kNone = "None yet. Opt check and Signal chain make one.";
const kHowToRead = "Point at the trace to read it; drag to zoom, double click for all of it.";
const holder = element("div", { class: "plot", id: "plot", hidden: true });
const cursor = element("p", { class: "num hint", id: "cursor" }, kNone);
const scale = element(
  "select", { "aria-label": "scale of the plot", hidden: true, onchange: () => draw() },
  element("option", { value: "lin" }, "linear (ADC codes)"),
  element("option", { value: "log" }, "5 log10 (dB)"),
);
let graph = null;
let trace = null; // the last reply to "samples"
let offset = null; // of the tuning record, samples; 0 or null: not calibrated
let truth = 0; // where the port really is, in the same samples
let acquisition = 0;
let positions = []; // of peaks, as a calibration prints them: samples of the last acquisition
let found = 0; // when

on("output", ({ bytes }) => {
  for (const [, peak, at] of new TextDecoder().decode(bytes).matchAll(/Position\[(\d+)\]=(\d+)/g)) {
    positions[Number(peak)] = Number(at);
    found = performance.now();
  }
  if (performance.now() - found < 100) draw(true);
});

const metres = (i) => trace.first_metres + i * trace.metres_per_sample;

function darkLevel(samples) {
  const part = samples.slice(kDarkFrom, Math.min(kDarkTo, samples.length));
  return part.reduce((sum, v) => sum + v, 0) / Math.max(1, part.length);
}

function draw(keepZoom = false) {
  const none = !trace || trace.samples.length < 2;
  if (holder.hidden !== none) {
    holder.hidden = scale.hidden = none;
    cursor.textContent = none ? kNone : kHowToRead;
  }
  if (none || holder.clientWidth === 0) return;
  const log = scale.value === "log";
  const dark = darkLevel(trace.samples);
  const points = trace.samples
    .map((v, i) => [metres(i), log ? 5 * Math.log10(Math.max(1, dark - v)) : v])
    .slice(1);
  const marks = (canvas, area, plot) => {
    canvas.strokeStyle = canvas.fillStyle = kMark;
    let row = 0; // names of close ones stay legible
    const vertical = (x, text) => (row += mark(canvas, area, plot, x, text, row));
    vertical(0, "port");
    if (offset) vertical((offset - truth) * kFinest, "calibrated");
    positions.forEach((at, i) => at > 0 && vertical(metres(at + kLeadIn), `peak ${i}`));
    if (!log) {
      const y = plot.toDomYCoord(dark);
      canvas.beginPath();
      canvas.moveTo(area.x, y);
      canvas.lineTo(area.x + area.w, y);
      canvas.stroke();
      canvas.fillText("dark " + dark.toFixed(0), area.x + area.w - 70, y - 3);
    }
  };
  const options = {
    file: points, labels: ["m", log ? "dB" : "code"], colors: ["#6fd0f0"], strokeWidth: 1,
    ...kPlotLook, underlayCallback: marks,
    highlightCallback: (event, x, [point]) => {
      cursor.textContent = `${x.toFixed(2)} m   ${point.yval.toFixed(log ? 2 : 0)} ${log ? "dB" : "(ADC code)"}`;
    },
  };
  if (!graph) graph = new Dygraph(holder, points, options);
  else graph.updateOptions({ ...options, ...(!keepZoom && { dateWindow: null, valueRange: [null, null] }) });
  graph.resize();
}

// ---- The breakdown over the temperature: what the module does, and what its tuning record makes of it.

const curveHolder = element("div", { class: "plot", id: "curve" });
const curveText = element("p", { class: "num hint", id: "curve-text" });
let curve = null;
let curveKey = "";

function drawCurve({ optics, optic, fpga }, apd) {
  if (curveHolder.clientWidth === 0) return;
  const now = optic.temperature;
  const applied = parseInt(fpga.registers.apd, 16);
  const key = JSON.stringify([optics.breakdown_code_at_zero, now.toFixed(1), applied, apd, curveHolder.clientWidth]);
  if (key === curveKey) return;
  curveKey = key;
  const breaks = (t) => optics.breakdown_code_at_zero + t * optics.breakdown_codes_per_degree;
  const works = (t) => (apd ? apd.code + (t - apd.at) * apd.perDegree : null);
  const points = [kColdest, kHottest].map((t) => [t, breaks(t), works(t)]);
  const marks = (canvas, area, plot) => {
    if (!mark(canvas, area, plot, now, "now")) return;
    const y = Math.min(Math.max(plot.toDomYCoord(applied), area.y), area.y + area.h);
    canvas.beginPath();
    canvas.arc(plot.toDomXCoord(now), y, 4, 0, 2 * Math.PI);
    canvas.fill();
  };
  const options = {
    file: points, labels: ["°C", "breakdown", "working point stored"], colors: ["#6fd0f0", "#7ddb8a"], strokeWidth: 1.5,
    ...kPlotLook, underlayCallback: marks,
  };
  if (!curve) curve = new Dygraph(curveHolder, points, options);
  else curve.updateOptions(options);
  curve.resize();
  curveText.textContent =
    `Blue: breaks down, code ${breaks(now).toFixed(0)} at ${now.toFixed(1)} °C. Dot: code applied now, ${applied}` +
    (applied > breaks(now) ? ", beyond breakdown. " : ". ") +
    (apd ? `Green: working point of the tuning record, code ${works(now).toFixed(0)}, ` +
      `${(breaks(now) - works(now)).toFixed(0)} below the breakdown.` : "No tuning record is stored.");
}

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
      element("div", { class: "row" }, element("label", {}, "module number", seed)),
      facts,
      element("h2", {}, "Last acquisition"),
      element("div", { class: "row" }, scale),
      holder, cursor,
      element("h2", {}, "APD codes over the temperature"),
      curveHolder, curveText,
      element("h2", {}, "Faults"),
      faultSwitches((name) => /^(optic|optics|adc)\./.test(name)),
    );
    holder.addEventListener("dblclick", () => draw());
  },
  shown() {
    draw(true);
    curveKey = "";
  },
  async look({ optics, optic, fpga, module, off }) {
    const fitted = JSON.stringify([optics.fibre, optics.fibre_events]);
    if (fitted !== connected) {
      connected = fitted;
      custom.hidden = kFibres.includes(optics.fibre);
      fibre.value = custom.hidden ? optics.fibre : "custom";
      if (!custom.hidden) showEvents(optics.fibre_events);
    }
    length.textContent = optics.fibre_length > 0 ? `${optics.fibre_length} m connected` : "nothing connected";
    show(temperature, module.temperature);
    show(degrees, Number(module.temperature.toFixed(2)));
    now.textContent = module.temperature.toFixed(1) + " °C";
    show(rate, module.temperature_rate);
    if (module.temperature_rate !== 0) show(end, module.temperature_end ?? "");
    ramp.textContent = module.temperature_rate === 0 ? "" : "the temperature changes by itself";
    show(seed, optics.seed);
    show(light, optics.light_on_link > 0);
    facts.textContent = off ? "The power is off." :
      `APD ${optics.apd_volts.toFixed(2)} V, gain ${optics.apd_gain.toFixed(2)}; breaks down at code ` +
      `${optics.breakdown_code.toFixed(0)} now, ${optics.breakdown_code_at_zero.toFixed(0)} at 0 °C and ` +
      `${optics.breakdown_codes_per_degree.toFixed(2)} more a degree; dark code ${optics.dark_code}; ` +
      `${optics.wavelength} nm, pulse ${optics.pulse_nanoseconds} ns`;
    const bytes = optic.tuning_stored ? await file("tuning.bin") : null;
    const record = bytes && bytes.length >= 96 ? decodeTuning(bytes) : null;
    drawCurve({ optics, optic, fpga }, record?.apd);
    if (fpga.acquisitions === acquisition || fpga.acquisition === "running") return;
    acquisition = fpga.acquisitions;
    if (acquisition === 0) {
      trace = null; // gone with the power
      return draw();
    }
    if (performance.now() - found > 1000) positions = [];
    trace = await ask({ do: "samples" });
    truth = optics.offset_samples;
    offset = record ? record.offset : null;
    draw(true);
  },
};
