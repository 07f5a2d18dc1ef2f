// Scripts: one request of the control interface a line. Nothing here knows the page or an instrument.

// What a line can ask for.
const kRequests = [
  "key", "knob", "touch", "text", "controls", "screenshot", "state", "samples", "hello", "quantities", "set", "faults",
  "fault", "bench", "speed", "until", "advance", "trace", "history", "watch", "threads", "calls", "fail_call", "origin", "stop",
  "power_cut", "wait", "expect", "restart", "benches", "bench_save", "bench_restore", "bench_remove",
];

const isObject = (value) => typeof value === "object" && value !== null && !Array.isArray(value);

// {request} of a line; {wrong}, a sentence, when it is none; {} when it says nothing: blank, or a comment.
export function readLine(text) {
  const bare = text.trim();
  if (bare === "" || bare[0] === "#") return {};
  let request = null;
  try {
    request = JSON.parse(bare);
  } catch {
    // told below
  }
  if (!isObject(request) || typeof request.do !== "string")
    return { wrong: 'This is no request: one line of JSON with "do" is expected, as {"do":"wait","ms":100}.' };
  if (!kRequests.includes(request.do)) return { wrong: `There is no request "${request.do}".` };
  return { request };
}

// What an edit changed: from line `first` on, `removed` lines became `added` ones. null: nothing.
export function difference(before, after) {
  const most = Math.min(before.length, after.length);
  let first = 0, last = 0;
  while (first < most && before[first] === after[first]) ++first;
  while (last < most - first && before[before.length - 1 - last] === after[after.length - 1 - last]) ++last;
  const removed = before.length - first - last, added = after.length - first - last;
  return removed === 0 && added === 0 ? null : { first, removed, added };
}

// Where a line is after that edit; -1: it is gone.
export function moved(line, { first, removed, added }) {
  if (line < first) return line;
  if (line >= first + removed) return line + added - removed;
  return line < first + added ? line : -1;
}

// The value at a path into the state of the models, names with dots between.
export function valueAt(state, path) {
  return path.split(".").reduce((value, name) => value?.[name], state);
}

// An expected state. A number that is no count may differ a little.
export function expectState(path, value) {
  if (typeof value !== "number" || Number.isInteger(value)) return { do: "expect", state: path, value };
  return { do: "expect", state: path, value: Number(value.toPrecision(4)), within: Number((Math.abs(value) / 50).toPrecision(1)) };
}
