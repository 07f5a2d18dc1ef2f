// What the operator sees and hears at the instrument besides its screen: visible light and fibre at the optical port, the
// serial plug, the speaker.
import { byId } from "./dom.js";
import { openSection } from "./bench.js";
import { on } from "./link.js";
import { recall, remember } from "./remember.js";

const port = byId("port"), plug = byId("plug"), speaker = byId("speaker");

function tell(sign, text, short, looks) {
  for (const [name, is] of Object.entries(looks)) sign.classList.toggle(name, is);
  sign.title = text;
  sign.setAttribute("aria-label", text);
  sign.lastElementChild.textContent = short;
}

// ---- The speaker's tone, for who wants to hear it. Its pitch is chosen: the tone's code as a period in the 0.1
// microseconds in which the FPGA counts.

const kTicks = 1e7; // a second
const kLoudness = 0.04;
let audible = recall("tone") === "on";
let audio = null; // {context, oscillator}
let sounds = 0; // hertz, 0: silent

function play() {
  const wanted = audible && sounds > 0 && !document.hidden;
  if (!wanted) {
    audio?.context.close();
    audio = null;
    return;
  }
  if (!audio) {
    const context = new AudioContext();
    const oscillator = new OscillatorNode(context, { type: "square" });
    oscillator.connect(new GainNode(context, { gain: kLoudness })).connect(context.destination);
    oscillator.start();
    audio = { context, oscillator };
  }
  audio.oscillator.frequency.value = sounds;
  audio.context.resume(); // which a browser may put off until the page has been clicked
}
document.addEventListener("visibilitychange", play);
for (const kind of ["pointerdown", "keydown"]) addEventListener(kind, () => audio?.context.resume(), true);

// ---- The signs

const kSettles = 1500; // ms after a start or a step in time, in which a look may still be of before
let frames = 0; // on the serial line, when last looked at
let settled = 0; // when a difference is traffic again
let shown = "";
on("status", ({ run, past }) => {
  const now = JSON.stringify([run, past]);
  if (now !== shown) [shown, settled] = [now, performance.now() + kSettles];
});

function show({ fpga, optics, board, off }) {
  const light = fpga.visible_light && !off;
  const metres = optics.fibre_length;
  const length = metres < 1000 ? `${metres} m` : `${metres / 1000} km`;
  tell(
    port,
    `Optical port: ${metres > 0 ? `${length} of fibre plugged in` : "no fibre"}, visible light ${light ? "on" : "off"}. Opens Optics`,
    light ? "light on" : metres > 0 ? length : "no fibre", { fibre: metres > 0, light },
  );
  const now = board.frames + board.replies;
  const traffic = now !== frames && performance.now() > settled && !off;
  frames = now;
  tell(
    plug,
    `Serial port: measurement board ${board.plugged ? "plugged in" : "unplugged"}${traffic ? ", traffic" : ""}. Opens Measurement board`,
    board.plugged ? "board" : "no board", { plugged: board.plugged, link: board.plugged && !off, traffic },
  );
  sounds = fpga.speaker && !off ? Math.min(Math.max(kTicks / Math.max(fpga.speaker_tone, 1), 50), 8000) : 0;
  tell(
    speaker,
    `Speaker: ${sounds ? "sounds" : "silent"}; its tone is ${audible ? "played" : "not played"} here`,
    sounds ? "sounds" : "silent", { sounding: sounds > 0 },
  );
  speaker.setAttribute("aria-pressed", audible);
  play();
}

let last = null;
on("state", (state) => show((last = state)));
on("lost", () => last && show({ ...last, off: true }));
port.addEventListener("click", () => openSection("optics"));
plug.addEventListener("click", () => openSection("board"));
speaker.addEventListener("click", () => {
  audible = !audible;
  remember("tone", audible ? "on" : "off");
  if (last) show(last);
});

// ---- For who comes the first time

const hint = byId("hint");
hint.hidden = recall("hint") === "seen";
byId("hint-seen").addEventListener("click", () => {
  hint.hidden = true;
  remember("hint", "seen");
});
