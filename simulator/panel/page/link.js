// The connection to the launcher: requests of the control interface, and what comes by itself (screen, status, output).
import { complain, revert } from "./dom.js";

const hearers = {};

// Events: "frame" (ArrayBuffer), "status" (object), "lost", "output" ({fresh, bytes}), "sent" (request), "done"
// (request that was not refused, its reply), "problem" (text), "state" (of the models, with `off`: there is no power), "time"
// (virtual microseconds, at a look).
export function on(name, hearer) {
  (hearers[name] ??= []).push(hearer);
}
export function tell(name, ...values) {
  for (const hearer of hearers[name] ?? []) hearer(...values);
}

const toPeople = (reason) =>
  /does not run: .*signal 9/.test(reason) ? "the power is off; Restart switches the instrument on" : reason;

// As the launcher told last: `run`, how often fct has been started; `running`; `past`, {run, at_us} while that moment is
// shown, else null.
export let instrument = { run: 0, running: false, past: null };

let page; // this page's number with the launcher, which lets go of what the page holds when it is gone
let known; // it is, or there is no launcher
const numbered = new Promise((resolve) => (known = resolve));

// One request, one reply. Throws with the reason when it is refused.
export async function ask(request) {
  let reply;
  await numbered;
  try {
    const response = await fetch("api", {
      method: "POST",
      headers: { "Content-Type": "application/json" },
      body: JSON.stringify({ ...request, page }),
    });
    reply = await response.json();
  } catch {
    throw new Error("the launcher does not answer");
  }
  if (!reply.ok) throw new Error(toPeople(reply.error ?? "refused"));
  return reply;
}

// The number of fct's process, another one after each start; null: the power is off.
export const processNow = () => ask({ do: "hello" }).then(({ pid }) => pid, () => null);

// What hands do goes one after the other, so that a release never overtakes its press. Of several moves that wait, and
// of several values for one thing, only the last matters.
const queue = []; // {request, control, resolve}
let sending = false;

const replaces = (request, last) =>
  (request.action === "move" && last.action === "move") ||
  (request.do === "set" && last.do === "set" && request.name === last.name);

// True when it was done. Why it was not is told at `control`, whose old value comes back; without one as a "problem".
export function act(request, control = null) {
  const last = queue[queue.length - 1];
  if (last && replaces(request, last.request)) queue.pop().resolve(true);
  const done = new Promise((resolve) => queue.push({ request, control, resolve }));
  tell("sent", request);
  if (!sending) sendAll();
  return done;
}

async function sendAll() {
  sending = true;
  while (queue.length > 0) {
    const { request, control, resolve } = queue.shift();
    let wrong = "", reply;
    try {
      reply = await ask(request);
    } catch (error) {
      wrong = error.message;
    }
    if (control) complain(control, wrong);
    if (control && wrong) revert(control);
    tell("problem", control ? "" : wrong);
    if (!wrong) tell("done", request, reply);
    resolve(wrong === "");
  }
  sending = false;
}

export const set = (name, value, control) => act({ do: "set", name, value }, control);
export const fault = (name, value, control) => act({ do: "fault", name, value }, control);

export async function file(path) {
  const response = await fetch("files/" + path.split("/").map(encodeURIComponent).join("/"));
  return response.ok ? new Uint8Array(await response.arrayBuffer()) : null;
}

let socket = null;

export function drawn(number) {
  if (socket && socket.readyState === WebSocket.OPEN) socket.send(JSON.stringify({ seen: number }));
}

export function connect() {
  socket = new WebSocket(`ws://${location.host}/live`);
  socket.binaryType = "arraybuffer";
  socket.onmessage = ({ data }) => {
    if (typeof data === "string") {
      instrument = JSON.parse(data);
      page = instrument.page;
      known();
      return tell("status", instrument);
    }
    const kind = String.fromCharCode(new Uint8Array(data, 0, 1)[0]);
    if (kind === "L") tell("frame", data);
    else tell("output", { fresh: kind === "N", bytes: new Uint8Array(data, 1) });
  };
  socket.onclose = () => {
    known();
    tell("lost");
    setTimeout(connect, 1000);
  };
}
