// "What wrote this?": from a value to the moment that made it, and there. A text is picked on the LCD, with the button
// beside the time line or Alt and a click; registers and EEPROM bytes are asked about where they are shown.
import { byId, complain, element, sentence } from "./dom.js";
import { ask, on } from "./link.js";
import { arm, disarm, textUnder } from "./pick.js";
import { clockText } from "./time.js";
import { describe, goTo, isLastStart } from "./timeline.js";

const seconds = (us) => `${(us / 1e6).toFixed(6).replace(/0{1,3}$/, "")} s` + (us < 60e6 ? "" : ` (${clockText(us / 1000)})`);

// The answer as a person reads it.
function tellOrigin(origin) {
  if (!origin.found) return sentence(`${origin.value ? `${origin.value}: ` : ""}${origin.why}`);
  const { what, explained, before, thread, at_us, run, input, texts = [], last } = origin;
  const parts = [
    `${what.startsWith("\"") ? "Drawn" : "Written"} ${seconds(at_us)} after ${isLastStart(run) ? "power-on" : `the power-on of start ${run + 1}`}` +
      `${thread && thread !== "-" ? ` by thread ${thread}` : ""}: ${what}${explained ? ` (${explained})` : ""}${before ? `, ${before} before` : ""}.`,
  ];
  if (input) parts.push(`Before it from outside: ${describe(input)}, ${((at_us - input.at_us) / 1e6).toFixed(1)} s earlier.`);
  if (last) parts.push("The power went with it.");
  parts.push(texts.length ? `The screen then showed: ${texts.slice(0, 4).join(" · ")}${texts.length > 4 ? " ..." : ""}` : "The screen then showed no text.");
  return parts.join(" ");
}

// Asks at a control; the answer, with the way there, comes into `place`.
export async function askOrigin(question, control, place) {
  complain(control, "");
  place.replaceChildren(element("p", { class: "hint", role: "status" }, "Looking through the session ... ",
    element("button", { class: "small", onclick: () => ask({ do: "origin", stop: true }).catch(() => {}) }, "Cancel")));
  control.disabled = true;
  try {
    const origin = await ask({ do: "origin", ...question });
    place.replaceChildren(
      element(
        "div", { class: "origin", role: "status" },
        element("span", {}, tellOrigin(origin)),
        origin.found
          ? element("button", { class: "small", onclick: () => goTo(origin.run, origin.at_us - (origin.last ? 1 : 0)) }, "Go there")
          : null,
        element("button", { class: "small", "aria-label": "close the answer", onclick: () => place.replaceChildren() }, "✕"),
      ),
    );
  } catch (error) {
    place.replaceChildren();
    complain(control, error.message);
  }
  control.disabled = false;
  place.scrollIntoView({ block: "nearest" });
}

// ---- A text on the LCD

const answer = byId("found");
const button = element(
  "button",
  {
    class: "small", "aria-label": "What wrote this text?", title: "then a click on a text of the screen; or Alt and a click at any time", "aria-pressed": "false",
    onclick: () => (button.getAttribute("aria-pressed") === "true" ? disarm() : armed()),
  },
  "What wrote this?",
);
byId("timeline").append(button);
on("status", ({ running, past }) => {
  button.disabled = !running && !past;
  if (button.disabled && button.getAttribute("aria-pressed") === "true") disarm();
});

function armed() {
  arm(asked, () => {
    button.setAttribute("aria-pressed", false);
    answer.replaceChildren();
  }, true);
  button.setAttribute("aria-pressed", true);
  answer.replaceChildren(element("p", { class: "hint", role: "status" }, "Click on a text of the screen. Esc ends it."));
}

function asked(found, why) {
  if (!found) return answer.replaceChildren(element("p", { class: "refusal", role: "alert" }, sentence(why)));
  const { text, x, y } = found;
  askOrigin({ text, x, y }, button, answer);
}

// Before the finger reaches the instrument.
addEventListener("pointerdown", async (event) => {
  if (event.target !== byId("lcd") || event.button !== 0 || !event.altKey) return;
  event.stopPropagation();
  event.preventDefault();
  try {
    asked(await textUnder(event));
  } catch (error) {
    asked(null, error.message);
  }
}, true);
