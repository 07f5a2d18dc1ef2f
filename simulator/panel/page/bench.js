// The bench: its sections as tabs. A section is {id, title, open(panel), look?(state), shown?()}; the one that
// is open is given the state of the models twice a second, also while the power is `off`: the launcher always
// knows it. `run` and `past` tell of which start of the session it is, and whether of a moment that is shown.
import { byId, element } from "./dom.js";
import { ask, instrument, on, tell } from "./link.js";
import { showDown } from "./keys.js";
import { recall, remember } from "./remember.js";
import { boardTab } from "./tab_board.js";
import { opticsTab } from "./tab_optics.js";
import { memoryTab } from "./tab_memory.js";
import { mainBoardTab } from "./tab_mainboard.js";
import { logsTab } from "./tab_logs.js";
import { traceTab } from "./tab_trace.js";
import { faultsTab, followFaults } from "./tab_faults.js";
import { setupsTab } from "./tab_setups.js";
import { scriptsTab } from "./tab_scripts.js";

const tabs = [boardTab, opticsTab, memoryTab, mainBoardTab, logsTab, traceTab, faultsTab, setupsTab, scriptsTab];
const kLookMs = 500;
let current = null;
let connected = false;
let busy = false;

function select(tab, focus) {
  current = tab;
  for (const other of tabs) {
    const chosen = other === tab;
    other.button.setAttribute("aria-selected", chosen);
    other.button.tabIndex = chosen ? 0 : -1;
    other.panel.hidden = !chosen;
  }
  byId("panels").scrollTop = 0;
  if (focus) tab.button.focus();
  remember("tab", tab.id);
  tab.shown?.();
  look();
}

export function openSection(id) {
  select(tabs.find((tab) => tab.id === id));
  current.button.scrollIntoView({ block: "nearest" });
}

async function look() {
  if (!current || busy || document.hidden || !connected) return;
  busy = true;
  try {
    const { state: models, run, past } = await ask({ do: "state" });
    const state = { ...models, run, past, off: !instrument.running };
    markFaults(Object.keys(state.faults).length);
    await followFaults(state.faults);
    showDown(state.keypad.down);
    tell("state", state);
    if (instrument.running || current !== traceTab) await current.look?.(state); // a trace is the running program's
  } catch (error) {
    if (error.constructor !== Error) console.error(error); // what is wrong with a request is told over the screen
  }
  busy = false;
}

function markFaults(count) {
  const mark = faultsTab.button.querySelector(".mark");
  mark.textContent = count === 0 ? "" : ` ${count}`;
}

export function openBench() {
  for (const tab of tabs) {
    tab.button = element(
      "button",
      {
        role: "tab", id: "tab-" + tab.id, "aria-controls": "panel-" + tab.id,
        onclick: () => select(tab),
        onkeydown: (event) => {
          const step = { ArrowRight: 1, ArrowLeft: -1 }[event.key];
          if (step) select(tabs[(tabs.indexOf(tab) + step + tabs.length) % tabs.length], true);
        },
      },
      tab.title,
      element("span", { class: "mark" }),
    );
    tab.panel = element("section", {
      class: "tab", role: "tabpanel", id: "panel-" + tab.id, "aria-labelledby": "tab-" + tab.id,
    });
    byId("tabs").append(tab.button);
    byId("panels").append(tab.panel);
    tab.open(tab.panel);
  }
  const last = recall("tab");
  select(tabs.find((tab) => tab.id === last) ?? tabs[0]);
  on("status", () => {
    connected = true;
    look();
  });
  on("done", ({ do: what }) => ["set", "fault", "bench", "power_cut"].includes(what) && look());
  on("lost", () => (connected = false));
  setInterval(look, kLookMs);
}
