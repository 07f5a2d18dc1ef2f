// Every fault of the simulator as a switch, with what it does and what the operator then sees.
import { complain, element, revert, show } from "./dom.js";
import { ask, fault } from "./link.js";

// What faults that take a value start with.
const values = {
  "board.reply_late": 6000,
  "board.wrong": { offset: 0.1 },
  "optic.register_stuck": { register: "0x3000002e", value: 0 },
  "optic.temperature_wrong": { offset: 10 },
  "fpga.ddr": 2,
  "adc.wrong": { offset: 0.1 },
  "dac.wrong": { dac: "att0", offset: 0.05 },
  "optics.bad_connector": 4,
  "optics.laser_weak": 8,
  "optics.photodiode": { responsivity: 0.1 },
  "optics.receiver": { dead_channel: 6301 },
  "optics.fibre_bent": { at: 100, loss: 8 },
  "optics.fibre_longer": 5,
  "module.eeprom_stuck": { address: 128, value: 0 },
  "module.eeprom_line": { data: 3, level: 0 },
  "module.eeprom_worn": 1,
  "module.eeprom_cut": { after: 200, damage: "prefix" },
  "mainboard.eeprom_stuck": { address: 5, value: 0 },
  "mainboard.eeprom_line": { data: 0, level: 0 },
  "mainboard.eeprom_worn": 1,
  "mainboard.eeprom_cut": { after: 100, damage: "prefix" },
  "bitmap.missing": "bg_desk.bmp",
  "bitmap.broken": "bg_desk.bmp",
  "keypad.dead": "f1",
  "keypad.stuck": "f1",
  "keypad.swapped": ["f1", "f2"],
  "keypad.knob": "reversed",
  "touch.offset": [40, 40],
  "touch.dead": { x: 0, y: 320, w: 800, h: 80 },
};

const places = []; // {wanted, holder, switches}: where switches stand
let known = []; // as "faults" lists them

function addSwitch(place, info) {
  const value = values[info.name] === undefined
    ? null
    : element("input", {
        class: "value", "aria-label": `value of ${info.name}`, value: JSON.stringify(values[info.name]),
        onchange: () => box.checked && turn(value),
      });
  if (value) show(value, value.value); // what a refusal goes back to
  const box = element("input", { type: "checkbox", id: `fault-${place.id}-${info.name}`, onchange: () => turn(box) });
  const forget = () => [box, value].forEach((one) => one && complain(one, "")); // what was wrong before
  const turn = (control) => {
    let wanted = box.checked;
    forget();
    if (wanted && value)
      try {
        wanted = JSON.parse(value.value);
      } catch {
        complain(control, `a number, "text", [list] or {object} is expected${value.value && `, not ${value.value}`}`);
        return revert(control);
      }
    fault(info.name, wanted, control);
  };
  const row = element(
    "div", { class: "fault" },
    box,
    element("label", { class: "name", for: box.id }, info.name),
    element("span", { class: "what" }, info.what),
    element("span", { class: "sees" }, "→ " + info.operator_sees),
    value,
  );
  place.holder.append(row);
  place.switches.set(info.name, { box, value, row, forget });
}

// Switches of the faults whose name `wanted` accepts. They follow what the instrument says.
export function faultSwitches(wanted) {
  const place = { id: places.length, wanted, holder: element("div", { class: "faults" }), switches: new Map() };
  places.push(place);
  return place.holder;
}

// `set`: the values of those that are set, by name.
export async function followFaults(set) {
  if (known.length === 0) {
    known = (await ask({ do: "faults" })).faults;
    for (const place of places) known.filter(({ name }) => place.wanted(name)).forEach((info) => addSwitch(place, info));
  }
  for (const { switches } of places)
    for (const [name, { box, value, row }] of switches) {
      const isOn = name in set;
      show(box, isOn);
      if (value && isOn) show(value, JSON.stringify(set[name]));
      row.classList.toggle("on", isOn);
    }
}

const search = element("input", { type: "search", placeholder: "search", "aria-label": "search faults" });

export const faultsTab = {
  id: "faults",
  title: "Faults",
  open(panel) {
    const all = faultSwitches(() => true);
    const { switches } = places.at(-1);
    const none = element("p", { class: "hint", role: "status" });
    const sift = () => {
      for (const row of all.children)
        row.hidden = !row.textContent.toLowerCase().includes(search.value.toLowerCase());
      none.textContent = [...all.children].some((row) => !row.hidden) ? "" : `No fault has "${search.value}" in its name or description.`;
    };
    search.addEventListener("input", sift);
    const clear = element(
      "button",
      {
        class: "small",
        onclick: () => [...switches].forEach(([name, { box, forget }]) => {
          forget();
          if (box.checked) fault(name, false, clear);
        }),
      },
      "Clear all",
    );
    panel.append(
      element("div", { class: "row" }, search, clear),
      element("p", { class: "hint" }, "Those that matter at start-up take effect with Restart."),
      none, all,
    );
  },
};
