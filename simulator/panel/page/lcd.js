// The LCD: shows what changed, and is touched.
import { byId } from "./dom.js";
import { act, drawn, on } from "./link.js";

const lcd = byId("lcd");
const context = lcd.getContext("2d", { alpha: false });

// RGB565 to the canvas's bytes: red, green, blue, opaque.
const from565 = new Uint32Array(65536);
for (let v = 0; v < 65536; ++v) {
  const r = v >> 11, g = (v >> 5) & 63, b = v & 31;
  from565[v] = (0xff000000 | (((b << 3) | (b >> 2)) << 16) | (((g << 2) | (g >> 4)) << 8) | ((r << 3) | (r >> 2))) >>> 0;
}

function convert(bytes, at, bits, count) {
  const out = new Uint32Array(count);
  if (bits === 16) {
    const pixels = new Uint16Array(bytes.buffer, bytes.byteOffset + at, count);
    for (let i = 0; i < count; ++i) out[i] = from565[pixels[i]];
  } else {
    for (let i = 0, p = at; i < count; ++i, p += bits / 8)
      out[i] = (0xff000000 | (bytes[p] << 16) | (bytes[p + 1] << 8) | bytes[p + 2]) >>> 0;
  }
  return new Uint8ClampedArray(out.buffer);
}

// See FrameLog::Message for the bytes.
on("frame", (buffer) => {
  const head = new DataView(buffer);
  const bytes = new Uint8Array(buffer);
  const bits = head.getUint8(1), count = head.getUint16(2, true), number = head.getUint32(4, true);
  const [width, height] = [8, 10].map((n) => head.getUint16(n, true));
  if (lcd.width !== width || lcd.height !== height) {
    Object.assign(lcd, { width, height });
    document.body.style.setProperty("--aspect", width / height);
  }
  const kHead = 12;
  let at = kHead + 8 * count;
  for (let i = 0; i < count; ++i) {
    const [x, y, width, height] = [0, 2, 4, 6].map((n) => head.getUint16(kHead + 8 * i + n, true));
    context.putImageData(new ImageData(convert(bytes, at, bits, width * height), width, height), x, y);
    at += (width * height * bits) / 8;
  }
  drawn(number);
  lcd.dispatchEvent(new CustomEvent("frame", { detail: { number, bytes: buffer.byteLength } }));
});

// ---- Fingers: as many as the hand has on it, two of them count. One that slides off stays at the edge.

const fingers = new Map();
let moveDue = 0;

function place(event) {
  const box = lcd.getBoundingClientRect();
  const clamp = (v, top) => Math.min(Math.max(Math.floor(v), 0), top);
  return {
    x: clamp(((event.clientX - box.left) * lcd.width) / box.width, lcd.width - 1),
    y: clamp(((event.clientY - box.top) * lcd.height) / box.height, lcd.height - 1),
  };
}

function touch(action) {
  const [first, second] = fingers.values();
  if (!first) return act({ do: "touch", action: "up" });
  act({ do: "touch", action, ...first, ...(second && { x2: second.x, y2: second.y }) });
}

// Where a swipe on the LCD scrolls the page (panel.css), a first finger counts once it has rested or lifts.
const kRestMs = 250;
const kTapMs = 90;
let resting = null; // {id, at, timer}
const scrolls = () => getComputedStyle(lcd).touchAction !== "none";

// A finger by its name: the pointer's number, or what stands for one.
export function press(id, at) {
  fingers.set(id, at);
  touch("down");
}
function rested() {
  if (!resting) return;
  clearTimeout(resting.timer);
  press(resting.id, resting.at);
  resting = null;
}
export function lift(id) {
  if (fingers.delete(id)) touch("move");
}

lcd.addEventListener("pointerdown", (event) => {
  if (event.button !== 0 || fingers.size === 2) return;
  event.preventDefault();
  document.activeElement?.blur(); // the keyboard is the instrument's again
  lcd.setPointerCapture(event.pointerId);
  rested();
  if (event.pointerType === "touch" && fingers.size === 0 && scrolls())
    resting = { id: event.pointerId, at: place(event), timer: setTimeout(rested, kRestMs) };
  else press(event.pointerId, place(event));
});
lcd.addEventListener("pointermove", (event) => {
  if (!fingers.has(event.pointerId)) return;
  fingers.set(event.pointerId, place(event));
  if (event.timeStamp < moveDue) return;
  moveDue = event.timeStamp + 16;
  touch("move");
});
lcd.addEventListener("pointerup", (event) => {
  if (resting?.id === event.pointerId) {
    rested();
    setTimeout(() => lift(event.pointerId), kTapMs);
    return;
  }
  const last = fingers.get(event.pointerId), now = place(event);
  if (!last) return;
  if (last.x !== now.x || last.y !== now.y) {
    fingers.set(event.pointerId, now);
    touch("move");
  }
  lift(event.pointerId);
});
lcd.addEventListener("pointercancel", (event) => {
  if (resting?.id === event.pointerId) {
    clearTimeout(resting.timer);
    resting = null;
  }
  lift(event.pointerId);
});
// A finger that counts is the instrument's: it no longer scrolls.
lcd.addEventListener("touchmove", (event) => fingers.size > 0 && event.preventDefault(), { passive: false });
