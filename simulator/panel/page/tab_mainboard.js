// The main board's surroundings: straps, card and stick, clock, supply and battery.
import { element, numberField, show, shows, showSentence } from "./dom.js";
import { set } from "./link.js";
import { valueAt } from "./script.js";
import { faultSwitches } from "./tab_faults.js";

const followers = []; // (state) => void

function check(label, name, path = name) {
  const box = element("input", { type: "checkbox", onchange: () => set(name, box.checked, box) });
  followers.push((state) => show(box, valueAt(state, path)));
  return element("label", { "data-state": path }, box, label);
}

function strap(pin) {
  const box = element("input", { type: "checkbox", onchange: () => set("straps." + pin, box.checked ? 1 : 0, box) });
  followers.push(({ straps }) => show(box, straps[pin].level === 1));
  return element("label", { "data-state": `straps.${pin}.level` }, box, pin.toUpperCase() + " high");
}

function number(label, name, most, path = name) {
  const input = numberField({ label, min: 0, max: most, step: 1, whole: true }, (value, field) => set(name, value, field));
  followers.push((state) => show(input, valueAt(state, path)));
  return element("label", { "data-state": path }, label, input);
}

// As the next start finds it.
const kSides = ["width", "height"];
const sides = kSides.map((side) =>
  numberField({ label: `${side} of the LCD, pixels`, min: 1, max: 4096, step: 1, whole: true },
    (_, field) => set("screen.size", sides.map(({ value }) => Number(value)), field)));
followers.push(({ screen }) => sides.forEach((field, i) => show(field, screen.fitted[i])));
const panelNow = element("span", { class: "hint" });
followers.push(({ screen: { width, height, layout, bits, open }, off }) => {
  panelNow.textContent = off || !open ? "" : `fct has found ${width} × ${height} pixels, ${bits} bits, ${layout}`;
});

const time = element("input", {
  type: "text", size: 19, "aria-label": "clock of the instrument", onchange: () => set("rtc.time", time.value, time),
});
followers.push(({ rtc }) => show(time, rtc.time));
const lines = element("p", { class: "hint" });
followers.push(({ fpga, shell, fpga_loader: loader, keypad }) => {
  showSentence(lines,
    shows("fpga.configured", `FPGA ${fpga.configured ? "configured" : "not configured"}`), " (",
    shows("fpga_loader.received", `${loader.received} bytes loaded`), "); ",
    shows("shell.modules", `modules ${shell.modules.join(", ") || "none"}`), "; ",
    shows("fpga.visible_light", `visible light ${fpga.visible_light ? "on" : "off"}`), "; ",
    shows(fpga.speaker ? "fpga.speaker_tone" : "fpga.speaker", `speaker ${fpga.speaker ? "tone " + fpga.speaker_tone : "off"}`), "; ",
    shows("keypad.down", `keys held: ${keypad.down.join(", ") || "none"}`));
});

export const mainBoardTab = {
  id: "mainboard",
  title: "Board",
  open(panel) {
    panel.append(
      element("h2", {}, "Straps"),
      element("div", { class: "row" }, ...["pb8", "pb9", "pb27"].map(strap)),
      element("p", { class: "hint" }, "They tell which FPGA is fitted; read when fct starts (Restart)."),
      element("h2", {}, "LCD"),
      element("div", { class: "row" },
        ...sides.map((field, i) => element("label", { "data-state": `screen.fitted.${i}` }, kSides[i], field)),
        panelNow),
      element("p", { class: "hint" }, "Like screen.small and screen.bgr565 below, read when fct starts (Restart)."),
      element("h2", {}, "SD card and USB stick"),
      element(
        "div", { class: "row" },
        check("SD card in its slot", "sd.present", "storage.sd.present"),
        number("USB sticks", "usb.sticks", 8, "storage.usb.sticks"),
      ),
      element("h2", {}, "Clock"),
      element("div", { class: "row" }, time, element("span", { class: "hint" }, "YYYY-MM-DD hh:mm:ss")),
      element("h2", {}, "Supply and battery record"),
      element(
        "div", { class: "row" },
        check("mains adapter", "power.dc"),
        check("battery", "power.bat"),
        check("full", "power.full"),
        number("type", "power.type", 3),
        number("level", "power.level", 255),
      ),
      element("h2", {}, "What the board does"),
      lines,
      element("h2", {}, "Faults"),
      faultSwitches((name) => /^(sd|usb|straps|rtc|power|keypad|touch|screen|fpga|bitmap|font)\./.test(name)),
    );
  },
  look(state) {
    for (const follow of followers) follow(state);
  },
};
