// The main board's surroundings: straps, card and stick, clock, supply and battery.
import { element, numberField, show } from "./dom.js";
import { set } from "./link.js";
import { faultSwitches } from "./tab_faults.js";

const followers = []; // (state) => void

function check(label, name, from) {
  const box = element("input", { type: "checkbox", onchange: () => set(name, box.checked, box) });
  followers.push((state) => show(box, from(state)));
  return element("label", {}, box, label);
}

function strap(pin) {
  const box = element("input", { type: "checkbox", onchange: () => set("straps." + pin, box.checked ? 1 : 0, box) });
  followers.push(({ straps }) => show(box, straps[pin].level === 1));
  return element("label", {}, box, pin.toUpperCase() + " high");
}

function number(label, name, most, from) {
  const input = numberField({ label, min: 0, max: most, step: 1, whole: true }, (value, field) => set(name, value, field));
  followers.push((state) => show(input, from(state)));
  return element("label", {}, label, input);
}

const time = element("input", {
  type: "text", size: 19, "aria-label": "clock of the instrument", onchange: () => set("rtc.time", time.value, time),
});
followers.push(({ rtc }) => show(time, rtc.time));
const lines = element("p", { class: "hint" });
followers.push(({ fpga, shell, fpga_loader: loader, keypad }) => {
  lines.textContent =
    `FPGA ${fpga.configured ? "configured" : "not configured"} (${loader.received} bytes loaded); ` +
    `modules ${shell.modules.join(", ") || "none"}; visible light ${fpga.visible_light ? "on" : "off"}; ` +
    `speaker ${fpga.speaker ? "tone " + fpga.speaker_tone : "off"}; keys held: ${keypad.down.join(", ") || "none"}`;
});

export const mainBoardTab = {
  id: "mainboard",
  title: "Board",
  open(panel) {
    panel.append(
      element("h2", {}, "Straps"),
      element("div", { class: "row" }, ...["pb8", "pb9", "pb27"].map(strap)),
      element("p", { class: "hint" }, "They tell which FPGA is fitted; read when fct starts (Restart)."),
      element("h2", {}, "SD card and USB stick"),
      element(
        "div", { class: "row" },
        check("SD card in its slot", "sd.present", ({ storage }) => storage.sd.present),
        number("USB sticks", "usb.sticks", 8, ({ storage }) => storage.usb.sticks),
      ),
      element("h2", {}, "Clock"),
      element("div", { class: "row" }, time, element("span", { class: "hint" }, "YYYY-MM-DD hh:mm:ss")),
      element("h2", {}, "Supply and battery record"),
      element(
        "div", { class: "row" },
        check("mains adapter", "power.dc", ({ power }) => power.dc),
        check("battery", "power.bat", ({ power }) => power.bat),
        check("full", "power.full", ({ power }) => power.full),
        number("type", "power.type", 3, ({ power }) => power.type),
        number("level", "power.level", 255, ({ power }) => power.level),
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
