// The breakdown over the temperature: what the module does, and what its tuning record makes of it.
import { element } from "./dom.js";
import { kPlotLook, mark } from "./plot.js";

const kColdest = -40, kHottest = 85; // of the module

const holder = element("div", { class: "plot", id: "curve" });
const text = element("p", { class: "num hint", id: "curve-text" });
let curve = null;
let shown = "";

export const apdParts = [holder, text];

export function forgetApd() {
  shown = "";
}

// `apd`: the working point of the tuning record, if there is one.
export function showApd({ optics, optic, fpga, off }, apd) {
  if (holder.clientWidth === 0) return;
  const now = optic.temperature;
  const applied = off ? null : parseInt(fpga.registers.apd, 16);
  const key = JSON.stringify([optics.breakdown_code_at_zero, now.toFixed(1), applied, apd, holder.clientWidth]);
  if (key === shown) return;
  shown = key;
  const breaks = (t) => optics.breakdown_code_at_zero + t * optics.breakdown_codes_per_degree;
  const works = (t) => (apd ? apd.code + (t - apd.at) * apd.perDegree : null);
  const points = [kColdest, kHottest].map((t) => [t, breaks(t), works(t)]);
  const codes = points.flatMap(([, ...each]) => each).concat(applied).filter((code) => code !== null);
  const margin = 0.06 * (Math.max(...codes) - Math.min(...codes));
  const marks = (canvas, area, plot) => {
    if (!mark(canvas, area, plot, now, "now")) return;
    if (applied === null) return;
    canvas.beginPath();
    canvas.arc(plot.toDomXCoord(now), plot.toDomYCoord(applied), 4, 0, 2 * Math.PI);
    canvas.fill();
  };
  const options = {
    file: points, labels: ["°C", "breakdown", "working point stored"], colors: ["#6fd0f0", "#7ddb8a"], strokeWidth: 1.5,
    ...kPlotLook, xlabel: "module temperature, °C", ylabel: "APD code", underlayCallback: marks,
    valueRange: [Math.min(...codes) - margin, Math.max(...codes) + margin], // with the dot, too
  };
  if (!curve) curve = new Dygraph(holder, points, options);
  else curve.updateOptions(options);
  curve.resize();
  text.textContent =
    `Blue: breaks down, code ${breaks(now).toFixed(0)} at ${now.toFixed(1)} °C. ` +
    (off ? "No code is applied: the power is off. " :
      `Dot: code applied now, ${applied}${applied > breaks(now) ? ", beyond breakdown" : ""}. `) +
    (apd ? `Green: working point of the tuning record, code ${works(now).toFixed(0)}, ` +
      `${(breaks(now) - works(now)).toFixed(0)} below the breakdown.` : "No working point is stored.");
}
