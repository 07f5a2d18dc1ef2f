// Virtual time: its clock, its speed, its pause.
import { byId } from "./dom.js";
import { act, ask, on, tell } from "./link.js";

let running = false;
let told = { us: 0, at: 0, speed: 0 }; // virtual microseconds at a moment of this page

// Virtual milliseconds since power-on, as far as known.
export function virtualNow() {
  return told.us / 1000 + (performance.now() - told.at) * told.speed;
}

export async function look() {
  if (!running || document.hidden) return;
  try {
    const hello = await ask({ do: "hello" });
    const still = hello.paused || hello.speed === 0; // or moved by a script
    told = { us: hello.now_us, at: performance.now(), speed: still || hello.speed === "max" ? 0 : hello.speed };
    const pause = byId("pause");
    pause.setAttribute("aria-pressed", still);
    pause.textContent = still ? "Go on" : "Pause";
    tell("time", hello.now_us);
    const speed = byId("speed");
    if (!still && document.activeElement !== speed) {
      const text = String(hello.speed);
      if (![...speed.options].some((option) => option.value === text)) speed.add(new Option(text + " x", text));
      speed.value = text;
    }
  } catch {
    told.speed = 0;
  }
}

// "0:05.3", from an hour on "1:00:05.3".
export function clockText(ms) {
  const tenths = Math.floor(Math.max(0, ms) / 100);
  const two = (number) => String(number).padStart(2, "0");
  const hours = Math.floor(tenths / 36000), minutes = Math.floor(tenths / 600) % 60;
  return `${hours > 0 ? `${hours}:${two(minutes)}` : minutes}:${two(Math.floor(tenths / 10) % 60)}.${tenths % 10}`;
}

const paint = () => (byId("clock").textContent = clockText(virtualNow()));

// Without power it stands where it came to, as far as that is known: at least `us`. Returns where.
export function endedAt(us) {
  told = { us: Math.max(told.us, us), at: performance.now(), speed: 0 };
  return told.us;
}

on("status", (status) => {
  running = status.running;
  if (!running) told.speed = 0;
  look();
});
on("lost", () => {
  running = false;
  told.speed = 0;
});

// What the person wants: the speed that is chosen, and whether time is held all the same.
export const speedChosen = () => (byId("speed").value === "max" ? "max" : Number(byId("speed").value));
export const held = () => byId("pause").getAttribute("aria-pressed") === "true";

byId("pause").addEventListener("click", async () => {
  const factor = held() ? speedChosen() : 0;
  await act({ do: "speed", factor });
  look();
});
byId("speed").addEventListener("change", async ({ target }) => {
  await act({ do: "speed", factor: speedChosen() });
  target.blur();
  look();
});
setInterval(look, 1000);
setInterval(paint, 100);
