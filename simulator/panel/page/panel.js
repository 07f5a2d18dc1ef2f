// The front panel: shows the LCD as it changes and sends what the hands do, in the order in which they do it.
"use strict";

const lcd = document.getElementById("lcd");
const ended = document.getElementById("ended");
const message = document.getElementById("message");
const power = document.getElementById("power");

// ---- Requests, one after the other: a release never overtakes its press.

const queue = [];
let sending = false;

async function post(path, body) {
  const reply = await fetch(path, {
    method: "POST",
    headers: { "Content-Type": "application/json" },
    body: JSON.stringify(body),
  });
  return reply.json();
}

async function send(request) {
  // Of several moves that wait only the last matters.
  const last = queue[queue.length - 1];
  if (request.action === "move" && last && last.action === "move") queue.pop();
  queue.push(request);
  if (sending) return;
  sending = true;
  while (queue.length > 0) {
    try {
      const reply = await post("api", queue.shift());
      message.textContent = reply.ok ? "" : reply.error;
    } catch {
      queue.length = 0;
      lost();
    }
  }
  sending = false;
}

// ---- The LCD.

const context = lcd.getContext("2d", { alpha: false });

async function watch() {
  let frame = 0;
  for (;;) {
    try {
      const reply = await fetch("screen?since=" + frame);
      if (reply.status !== 200) continue;
      const rows = Number(reply.headers.get("X-Rows"));
      const pixels = new Uint8ClampedArray(await reply.arrayBuffer());
      context.putImageData(new ImageData(pixels, lcd.width, rows), 0, Number(reply.headers.get("X-Top")));
      frame = reply.headers.get("X-Frame");
    } catch {
      lost();
      await pause(1000);
    }
  }
}

// Where on the LCD; outside it while a finger slides off.
function place(event) {
  const box = lcd.getBoundingClientRect();
  const clamp = (v, top) => Math.min(Math.max(Math.round(v), 0), top);
  return {
    x: clamp(((event.clientX - box.left) * lcd.width) / box.width, lcd.width - 1),
    y: clamp(((event.clientY - box.top) * lcd.height) / box.height, lcd.height - 1),
  };
}

let touching = null; // id of the pointer that is down
let touched = null; // where it was last
let moveDue = 0;

lcd.addEventListener("pointerdown", (event) => {
  if (touching !== null || event.button !== 0) return;
  touching = event.pointerId;
  touched = place(event);
  lcd.setPointerCapture(touching);
  send({ do: "touch", action: "down", ...touched });
});
lcd.addEventListener("pointermove", (event) => {
  if (event.pointerId !== touching) return;
  touched = place(event);
  if (event.timeStamp < moveDue) return;
  moveDue = event.timeStamp + 30;
  send({ do: "touch", action: "move", ...touched });
});
for (const kind of ["pointerup", "pointercancel"])
  lcd.addEventListener(kind, (event) => {
    if (event.pointerId !== touching) return;
    touching = null;
    send({ do: "touch", action: "up", ...touched });
  });

// ---- Keys: a key is down while the mouse, a finger or the PC's key holds it.

const held = new Set();

function hold(key, down) {
  if (held.has(key) === down) return;
  if (down) held.add(key);
  else held.delete(key);
  document.querySelector(`[data-key="${key}"]`).classList.toggle("down", down);
  send({ do: "key", key, action: down ? "down" : "up" });
}

for (const button of document.querySelectorAll("[data-key]")) {
  const key = button.dataset.key;
  button.addEventListener("pointerdown", (event) => {
    if (event.button !== 0) return;
    button.setPointerCapture(event.pointerId);
    hold(key, true);
  });
  for (const kind of ["pointerup", "pointercancel", "lostpointercapture"])
    button.addEventListener(kind, () => hold(key, false));
}

const keyboard = {
  1: "f1", 2: "f2", 3: "f3", 4: "f4", 5: "f5",
  m: "menu", f: "file", escape: "esc", s: "scale", u: "setup", a: "avg", r: "realt", k: "knob",
  arrowup: "up", arrowleft: "left", arrowright: "right", arrowdown: "down", enter: "enter",
};

addEventListener("keydown", (event) => {
  if (event.ctrlKey || event.altKey || event.metaKey || !ended.hidden) return;
  const name = event.key.toLowerCase();
  if (name === "+" || name === "-" || name === "=") turn(name === "-" ? -1 : 1);
  else if (name in keyboard) {
    if (!event.repeat) hold(keyboard[name], true);
  } else return;
  event.preventDefault();
});
addEventListener("keyup", (event) => {
  const name = event.key.toLowerCase();
  if (name in keyboard) hold(keyboard[name], false);
});
addEventListener("blur", () => [...held].forEach((key) => hold(key, false)));

// ---- The knob.

const knob = document.getElementById("knob");
let angle = 0;
let wheel = 0;

function turn(steps) {
  angle += steps * 18;
  knob.style.setProperty("--angle", angle + "deg");
  send({ do: "knob", steps });
}
for (const button of document.querySelectorAll("[data-turn]"))
  button.addEventListener("click", () => turn(Number(button.dataset.turn)));
knob.addEventListener(
  "wheel",
  (event) => {
    event.preventDefault();
    wheel += event.deltaMode === 0 ? event.deltaY / 60 : event.deltaY;
    const steps = Math.trunc(wheel);
    if (steps === 0) return;
    wheel -= steps;
    turn(-steps);
  },
  { passive: false },
);

// ---- Whether fct runs.

const pause = (ms) => new Promise((done) => setTimeout(done, ms));

function show(running, how, lines, restartable) {
  power.classList.toggle("off", !running);
  power.title = running ? "running" : "ended";
  ended.hidden = running;
  document.getElementById("how").textContent = how;
  const list = document.getElementById("lines");
  list.hidden = lines.length === 0;
  if (list.textContent !== lines.join("\n")) {
    list.textContent = lines.join("\n");
    list.scrollTop = list.scrollHeight; // the last lines tell most
  }
  document.getElementById("restart").hidden = !restartable;
}

function lost() {
  show(false, "The launcher has ended. Start ./run again; this page then goes on.", [], false);
}

async function watchStatus() {
  for (;;) {
    try {
      const status = await (await fetch("status")).json();
      show(status.running, status.how, status.lines, true);
    } catch {
      lost();
    }
    await pause(700);
  }
}

document.getElementById("restart").addEventListener("click", async () => {
  held.clear();
  document.querySelectorAll(".down").forEach((button) => button.classList.remove("down"));
  await post("restart", {});
});

watch();
watchStatus();
