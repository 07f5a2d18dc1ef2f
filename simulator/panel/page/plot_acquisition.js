// The last acquisitions plotted: overlaid, with the fibre's true events, and two cursors that measure.
import { download, element } from "./dom.js";
import { on } from "./link.js";
import { between, csvOf, floorOf, lastMetre, levelAt, levelOf, merge, metresAt, sampleAt, traceFrom } from "./acquisition.js";
import { kHands, kPlotLook, level, mark, picture } from "./plot.js";

const kFinest = 0.04; // metres a sample
const kLeadIn = 512; // samples before the pulse, which a calibration does not count
const kKept = 2; // traces of each wavelength
const kColours = { 1310: "#6fd0f0", 1550: "#f29ac0", 1625: "#b9a2ff" };
const kOther = "#9fb0c6"; // no laser lit
const kEvent = "#7ddb8a";

const kNone = "None yet. Opt check and Signal chain make one.";
const kHowTo = matchMedia("(pointer: coarse)").matches
  ? "Two fingers zoom, Fit shows the fibre. A and B are dragged."
  : "Drag to zoom, double click to fit the fibre. A and B are dragged, or moved by arrow keys (Shift: a sample); " +
    "+ and − zoom there, 0 fits.";

const holder = element("div", { class: "plot tall", id: "plot", role: "group", "aria-label": "traces", hidden: true });
const pointed = element("p", { class: "num hint", id: "cursor" }, kNone);
const measured = element("p", { class: "num", id: "measured", hidden: true });
const kept = element("div", { class: "row", id: "kept-traces", role: "group", "aria-label": "traces shown", hidden: true });
const trueEvents = element("tbody");
const eventTable = element(
  "table", { id: "true-events", hidden: true },
  element("caption", {}, "True events of the fibre"),
  element("thead", {}, element("tr", {},
    ...["", "at, m", "loss, dB", "reflection, dB"].map((text) => element("th", { class: "num" }, text)))),
  trueEvents,
);
const scale = element(
  "select", { "aria-label": "scale of the plot", onchange: () => draw() },
  element("option", { value: "lin" }, "linear (ADC codes)"),
  element("option", { value: "log" }, "5 log10 (dB)"),
);
const button = (text, onclick, title) => element("button", { class: "small", onclick, title }, text);
const tools = element(
  "div", { class: "row", hidden: true },
  scale,
  button("Fit", () => fit(), "the fibre fills the plot"),
  button("All", () => show(extent()), "every sample"),
  button("CSV", () => download("trace.csv", csvOf(shown()), "text/csv"), "the shown traces, a sample a line"),
  button("PNG", async () => download("trace.png", await picture(holder, legend()), "image/png"),
    "the plot as it stands"),
);

let graph = null;
let traces = []; // newest last; with `hidden`
let sight = { start: Infinity, number: 0 }; // the last one that has been at the moment that is shown
let view = null; // [from, to] metres; null: the fibre
let fibre = { length: 0, events: [] };
let port = { calibrated: null, truth: 0 }; // samples of the finest time base; calibrated: of the tuning record
let positions = []; // of peaks, as a calibration prints them: samples of the last acquisition
let found = 0; // when

export const acquisitionParts = [tools, kept, holder, measured, pointed, eventTable];

const isLog = () => scale.value === "log";
const isThere = ({ start, number }) => start < sight.start || (start === sight.start && number <= sight.number);
const there = () => traces.filter(isThere);
const shown = () => there().filter((trace) => !trace.hidden);
const newest = () => shown().at(-1) ?? there().at(-1);
const colourOf = ({ wavelength }) => kColours[wavelength] ?? kOther;
const nameOf = ({ start, number, wavelength }) =>
  `${start === sight.start ? "" : `start ${start + 1}, `}${number}: ` + (wavelength in kColours ? `${wavelength} nm` : "no light");
// Of two of a wavelength the older one is dashed.
const isOlder = (trace) => there().findLast(({ wavelength }) => wavelength === trace.wavelength) !== trace;
// What a picture of the plot says below it: the traces in their colours, and what is measured, each as [text, colour].
const legend = () => [
  ...shown().map((trace) => [nameOf(trace) + (isOlder(trace) ? " (dashed)" : ""), colourOf(trace)]),
  ...measured.textContent.split("   ").map((text) => [text, "#e3ecf4"]),
];
const clamp = (v, [low, high]) => Math.min(Math.max(v, low), high);

on("output", ({ bytes }) => {
  for (const [, peak, at] of new TextDecoder().decode(bytes).matchAll(/Position\[(\d+)\]=(\d+)/g)) {
    positions[Number(peak)] = Number(at);
    found = performance.now();
  }
  if (performance.now() - found < 100) draw();
});

// ---- What is in sight

const extent = () => [metresAt(newest(), 1), lastMetre(newest())];

// The fibre with some metres before and behind it; without one every sample.
function fitted() {
  const [first, last] = extent();
  const range = [
    Math.max(first, -Math.max(5, 0.05 * fibre.length)), Math.min(last, fibre.length + Math.max(15, 0.2 * fibre.length)),
  ];
  return fibre.length === 0 || range[0] >= range[1] ? [first, last] : range; // it may end before the port
}
function show(range) {
  view = range;
  draw(true);
}
function fit() {
  show(null);
}
function zoom(factor, x) {
  const [from, to] = view ?? fitted();
  const [first, last] = extent();
  show([Math.max(first, x - (x - from) * factor), Math.min(last, x + (to - x) * factor)]);
}

// ---- Cursors

const cursors = ["A", "B"].map((name) => {
  const cursor = { name, at: 0, held: false }; // held: put there by hand
  cursor.handle = element("div", {
    class: "cursor", role: "slider", tabindex: 0, "aria-label": `cursor ${name}, metres`,
    onpointerdown: (event) => {
      if (event.button !== 0) return;
      event.stopPropagation(); // not the plot's zoom
      cursor.handle.setPointerCapture(event.pointerId);
    },
    onpointermove: (event) => {
      if (!cursor.handle.hasPointerCapture(event.pointerId)) return;
      place(cursor, graph.toDataXCoord(event.clientX - holder.getBoundingClientRect().left));
    },
    onkeydown: (event) => {
      const [from, to] = view ?? fitted();
      const step = event.shiftKey ? newest().step : Math.max(newest().step, (to - from) / 200);
      const moves = { ArrowLeft: -step, ArrowRight: step, PageDown: -10 * step, PageUp: 10 * step, Home: from - cursor.at, End: to - cursor.at };
      if (event.key in moves) place(cursor, cursor.at + moves[event.key]);
      else if (event.key === "+" || event.key === "-") zoom(event.key === "+" ? 0.5 : 2, cursor.at);
      else if (event.key === "0") fit();
      else return;
      event.preventDefault();
    },
  }, name);
  return cursor;
});

function place(cursor, x) {
  const trace = newest();
  for (const each of cursors) each.held = true;
  cursor.at = metresAt(trace, sampleAt(trace, x));
  const [from, to] = view ?? fitted();
  if (cursor.at < from || cursor.at > to) {
    const aside = cursor.at < from ? cursor.at - from : cursor.at - to;
    return show([from + aside, to + aside]);
  }
  showCursors();
}

function showCursors() {
  const area = graph.getArea();
  const trace = newest();
  if (!trace) return; // the plot draws itself anew also while it is out of sight
  for (const { name, at, handle } of cursors) {
    const x = graph.toDomXCoord(at), value = levelAt(trace, at);
    handle.hidden = x < area.x - 1 || x > area.x + area.w + 1;
    handle.style.left = `${x}px`;
    handle.style.height = `${area.h}px`;
    handle.setAttribute("aria-valuenow", at.toFixed(2));
    handle.setAttribute("aria-valuetext", `${name} at ${at.toFixed(2)} metres, ${value === null ? "below the noise" : value.toFixed(2) + " dB"}`);
  }
  const [a, b] = cursors.map(({ at }) => at);
  const { distance, loss, perKilometre, fitted: line } = between(trace, a, b);
  const told = (value, unit, digits) => (value === null ? `–` : value.toFixed(digits)) + `\u00a0${unit}`;
  measured.textContent = shown().length === 0 ? "" :
    `${nameOf(trace)}   A ${a.toFixed(2)} m   B ${b.toFixed(2)} m   distance ${told(distance, "m", 2)}   ` +
    (loss === null ? "loss: below the noise" :
      `loss ${told(loss, "dB", 2)}   ${told(perKilometre, "dB/km", 2)}   fitted line ${told(line, "dB/km", 2)}`);
}

// ---- The plot

function marks(canvas, area, plot) {
  const trace = newest();
  if (!trace) return;
  canvas.save();
  canvas.setLineDash([3, 4]);
  canvas.strokeStyle = canvas.fillStyle = kEvent;
  fibre.events.forEach(({ at }, i) => {
    const x = plot.toDomXCoord(at);
    if (x < area.x || x > area.x + area.w) return;
    canvas.beginPath();
    canvas.moveTo(x, area.y);
    canvas.lineTo(x, area.y + area.h);
    canvas.stroke();
    canvas.fillText(i + 1, x + 3, area.y + area.h - 4);
  });
  canvas.restore();
  let row = 1; // names of close ones stay legible, and below those of the cursors
  const vertical = (x, text) => (row += mark(canvas, area, plot, x, text, row));
  vertical(0, "port");
  if (port.calibrated !== null) vertical((port.calibrated - port.truth) * kFinest, "calibrated");
  positions.forEach((at, i) => at > 0 && vertical(metresAt(trace, at + kLeadIn), `peak ${i}`));
  if (isLog()) level(canvas, area, plot, floorOf(trace), "noise");
  else level(canvas, area, plot, trace.dark, "dark " + trace.dark.toFixed(0));
}

// With `anew` the levels in sight fill the plot again.
function draw(anew = false) {
  const none = there().length === 0;
  if (holder.hidden !== none) {
    holder.hidden = tools.hidden = measured.hidden = kept.hidden = none;
    pointed.textContent = none ? kNone : kHowTo;
  }
  if (none || holder.clientWidth === 0) return;
  const log = isLog(), all = shown();
  const points = merge(all, log ? levelOf : (trace, i) => trace.codes[i]);
  if (!cursors[0].held) {
    const [from, to] = fibre.length > 0 && fibre.length <= lastMetre(newest()) ? [0, fibre.length] : fitted();
    cursors.forEach((cursor, i) =>
      (cursor.at = metresAt(newest(), sampleAt(newest(), from + (to - from) * (i === 0 ? 0.1 : 0.9)))));
  }
  const options = {
    file: points.length > 0 ? points : [[0, null]], labels: ["m", ...all.map(nameOf)], colors: all.map(colourOf), strokeWidth: 1,
    series: Object.fromEntries(all.map((trace) => [nameOf(trace), { strokePattern: isOlder(trace) ? [4, 3] : null }])),
    connectSeparatedPoints: true, ...kPlotLook, dateWindow: view ?? fitted(),
    ...(anew && { valueRange: [null, null] }),
    xlabel: "metres from the port", ylabel: log ? "level, dB" : "ADC code", axes: { y: { axisLabelWidth: 48 } },
    underlayCallback: marks,
    drawCallback: (plot) => plot === graph && showCursors(),
    zoomCallback: (from, to) => (view = [from, to]),
    interactionModel: { ...kHands, dblclick: fit },
    highlightCallback: (event, x, found_) => {
      pointed.textContent = `${x.toFixed(2)} m   ` +
        found_.map(({ name, yval }) => `${name}  ${yval.toFixed(log ? 2 : 0)} ${log ? "dB" : "(ADC code)"}`).join("   ");
    },
    unhighlightCallback: () => (pointed.textContent = kHowTo),
  };
  if (all.length === 0) Object.assign(options, { labels: ["m", ""], colors: [kOther] });
  if (!graph) {
    graph = new Dygraph(holder, options.file, options);
    holder.append(...cursors.map(({ handle }) => handle));
  } else graph.updateOptions(options);
  graph.resize();
  showCursors();
}

export const redrawAcquisition = () => draw();
new ResizeObserver(() => draw()).observe(holder);

function listKept() {
  kept.replaceChildren(
    ...there().map((trace) =>
      element(
        "label", {},
        element("input", { type: "checkbox", checked: !trace.hidden, onchange: ({ target }) => {
          trace.hidden = !target.checked;
          draw(true);
        } }),
        element("i", { class: isOlder(trace) ? "swatch older" : "swatch", style: `--c:${colourOf(trace)}` }),
        nameOf(trace),
      ),
    ),
  );
}

// Of each wavelength the newest is shown unasked, while its fibre is plugged in. `reply.start`: of the instrument, which
// begins to count at each. One that is there already comes again after a way into the past.
export function keepTrace(reply) {
  if (reply.samples.length < 2) return;
  const trace = { ...traceFrom(reply), start: reply.start, fibre: fibre.length };
  if (performance.now() - found > 1000) positions = [];
  traces = traces.filter((other) => ["start", "wavelength", "number"].some((name) => other[name] !== trace[name]));
  const alike = traces.filter((other) => other.wavelength === trace.wavelength);
  for (const other of traces) other.hidden ||= alike.includes(other) || other.fibre !== trace.fibre;
  traces = traces.filter((other) => other !== alike[alike.length - kKept]);
  const later = traces.findIndex(({ start, number }) => start === trace.start && number > trace.number);
  traces.splice(later < 0 ? traces.length : later, 0, trace);
  listKept();
  draw();
}

// The acquisition that was the last one at the moment that is shown, and the start that counted it. Those after it are out of
// sight in the past, and given up where the instrument has gone on from there.
export function showUntil(start, number, past) {
  if (sight.start !== start || sight.number !== number) {
    sight = { start, number };
    listKept();
    draw();
  }
  if (past || traces.every(isThere)) return;
  traces = there();
  listKept();
}

// `calibrated`: the tuning record's offset, null without one.
export function showFibre(optics, calibrated) {
  const events = optics.true_events;
  const now = { fibre: { length: optics.fibre_length, events }, port: { calibrated, truth: optics.offset_samples } };
  if (JSON.stringify(now) === JSON.stringify({ fibre, port })) return;
  if (now.fibre.length !== fibre.length) {
    view = null;
    for (const cursor of cursors) cursor.held = false;
  }
  ({ fibre, port } = now);
  eventTable.hidden = events.length === 0;
  trueEvents.replaceChildren(
    ...events.map(({ at, loss, reflection }, i) =>
      element(
        "tr", {},
        ...[i + 1 === events.length ? `${i + 1} end` : i + 1, at, loss, reflection ?? "none"].map((text) =>
          element("td", { class: "num" }, String(text))),
      ),
    ),
  );
  draw(true);
}
