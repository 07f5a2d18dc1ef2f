// The samples of an acquisition, measured. A trace is {number, wavelength, pulse: metres, first, step: metres, codes, dark,
// noise: of a code}; light is what a sample lies below the dark level, in codes.

const kDarkFrom = 10, kDarkTo = 500; // samples before the pulse: the dark level
const kMetresPerNanosecond = 0.1021; // of a pulse, there and back
const kFloor = 3; // of the noise: what lies below cannot be told from it

export function traceFrom({ acquisition, wavelength, pulse_nanoseconds, first_metres, metres_per_sample, samples }) {
  const part = samples.slice(kDarkFrom, Math.min(kDarkTo, samples.length));
  const dark = part.reduce((sum, v) => sum + v, 0) / Math.max(1, part.length);
  const noise = Math.sqrt(part.reduce((sum, v) => sum + (v - dark) ** 2, 0) / Math.max(1, part.length));
  return {
    number: acquisition, wavelength, pulse: pulse_nanoseconds * kMetresPerNanosecond, first: first_metres,
    step: metres_per_sample, codes: samples, dark, noise,
  };
}

export const metresAt = (trace, i) => trace.first + i * trace.step;
export const lastMetre = (trace) => metresAt(trace, trace.codes.length - 1);
export const sampleAt = (trace, x) =>
  Math.min(Math.max(Math.round((x - trace.first) / trace.step), 1), trace.codes.length - 1); // the first is stale

const decibels = (light) => 5 * Math.log10(light);
export const floorOf = (trace) => decibels(Math.max(1, kFloor * trace.noise));
// dB of sample `i`, the floor where it is lower.
export const levelOf = (trace, i) => Math.max(decibels(Math.max(1, trace.dark - trace.codes[i])), floorOf(trace));

// dB at `x`, of the mean over a pulse's length; null: not to be told from the noise.
export function levelAt(trace, x) {
  const half = Math.floor(trace.pulse / trace.step / 2);
  const at = sampleAt(trace, x);
  const part = trace.codes.slice(Math.max(1, at - half), at + half + 1);
  const light = trace.dark - part.reduce((sum, v) => sum + v, 0) / part.length;
  return light > (kFloor * trace.noise) / Math.sqrt(part.length) ? decibels(light) : null;
}

// What lies between two places of a trace: {distance, loss, perKilometre, fitted}; null where it cannot be told. `fitted`:
// dB a kilometre of the straight line through all samples between.
export function between(trace, a, b) {
  const [from, to] = a < b ? [a, b] : [b, a];
  const distance = to - from;
  const levels = [levelAt(trace, from), levelAt(trace, to)];
  const loss = levels.includes(null) ? null : levels[0] - levels[1];
  let n = 0, x = 0, y = 0, xx = 0, xy = 0;
  for (let i = sampleAt(trace, from); i <= sampleAt(trace, to); ++i) {
    const light = trace.dark - trace.codes[i];
    if (light <= kFloor * trace.noise) continue;
    const at = metresAt(trace, i) - from, level = decibels(light);
    n += 1; x += at; y += level; xx += at * at; xy += at * level;
  }
  const spread = n * xx - x * x;
  const whole = loss !== null && n > 2 && spread > 0;
  return {
    distance, loss,
    perKilometre: loss === null || distance === 0 ? null : (loss / distance) * 1000,
    fitted: whole ? (-(n * xy - x * y) / spread) * 1000 : null,
  };
}

export function csvOf(traces) {
  const rows = ["acquisition,wavelength_nm,metres,adc_code,level_db"];
  for (const trace of traces)
    for (let i = 1; i < trace.codes.length; ++i) {
      const light = trace.dark - trace.codes[i];
      rows.push(`${trace.number},${trace.wavelength},${metresAt(trace, i).toFixed(3)},${trace.codes[i]},` +
        (light >= 1 ? decibels(light).toFixed(3) : ""));
    }
  return rows.join("\n") + "\n";
}

// Rows of all traces by place, [metres, value or null of each]: they may have been sampled differently.
export function merge(traces, valueOf) {
  const next = traces.map(() => 1);
  const rows = [];
  for (;;) {
    let x = Infinity;
    traces.forEach((trace, t) => {
      if (next[t] < trace.codes.length) x = Math.min(x, metresAt(trace, next[t]));
    });
    if (x === Infinity) return rows;
    const row = [x];
    traces.forEach((trace, t) => {
      const here = next[t] < trace.codes.length && metresAt(trace, next[t]) < x + 1e-6;
      row.push(here ? valueOf(trace, next[t]++) : null);
    });
    rows.push(row);
  }
}
