// The connection to the launcher: requests of the control interface, and what comes by itself (screen, status, output).
const hearers = {};

// Events: "frame" (ArrayBuffer), "status" (object), "lost", "output" ({fresh, bytes}), "sent" (request), "problem" (text).
export function on(name, hearer) {
  (hearers[name] ??= []).push(hearer);
}
export function tell(name, value) {
  for (const hearer of hearers[name] ?? []) hearer(value);
}

// One request, one reply. Throws with the reason when it is refused.
export async function ask(request) {
  let reply;
  try {
    const response = await fetch("api", {
      method: "POST",
      headers: { "Content-Type": "application/json" },
      body: JSON.stringify(request),
    });
    reply = await response.json();
  } catch {
    throw new Error("the launcher does not answer");
  }
  if (!reply.ok) throw new Error(reply.error ?? "refused");
  return reply;
}

// What hands do goes one after the other, so that a release never overtakes its press. Of several moves that wait only
// the last matters.
const queue = [];
let sending = false;

export async function act(request) {
  const last = queue[queue.length - 1];
  if (request.action === "move" && last && last.action === "move") queue.pop();
  queue.push(request);
  tell("sent", request);
  if (sending) return;
  sending = true;
  while (queue.length > 0) {
    try {
      await ask(queue.shift());
      tell("problem", "");
    } catch (error) {
      tell("problem", error.message);
    }
  }
  sending = false;
}

export const set = (name, value) => act({ do: "set", name, value });
export const fault = (name, value) => act({ do: "fault", name, value });

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
    if (typeof data === "string") return tell("status", JSON.parse(data));
    const kind = String.fromCharCode(new Uint8Array(data, 0, 1)[0]);
    if (kind === "L") tell("frame", data);
    else tell("output", { fresh: kind === "N", bytes: new Uint8Array(data, 1) });
  };
  socket.onclose = () => {
    tell("lost");
    setTimeout(connect, 1000);
  };
}
