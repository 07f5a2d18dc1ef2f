// The front panel and its bench: puts the parts together and says whether fct runs.
import { byId, sentence, sure } from "./dom.js";
import { act, ask, connect, on } from "./link.js";
import { forgetHeld, releaseAll, showActing } from "./keys.js";
import "./layout.js";
import "./lcd.js";
import "./lcd_reader.js";
import "./signs.js";
import "./time.js";
import "./timeline.js";
import "./origin.js";
import { openBench } from "./bench.js";

const message = byId("message");
on("problem", (text) => (message.textContent = text && sentence(text)));

let ran = false;

function showStatus(running, how, advice, lines, restartable) {
  if (running !== ran) for (const note of document.querySelectorAll(".refusal")) note.remove(); // of before
  ran = running;
  byId("power").classList.toggle("off", !running);
  byId("power").setAttribute("aria-label", running ? "running" : "not running");
  byId("ended").hidden = running;
  showActing();
  if (running) {
    message.textContent = "";
    return;
  }
  forgetHeld();
  byId("how").textContent = how;
  byId("advice").textContent = advice;
  const list = byId("lines");
  list.hidden = lines.length === 0;
  list.textContent = lines.join("\n");
  list.scrollTop = list.scrollHeight; // the last lines tell most
  byId("restart").hidden = byId("restart-fresh").hidden = !restartable;
}

function describe(how) {
  if (/signal 9/.test(how))
    return ["The power is off", "It was cut, by hand or by a fault. Restart switches the instrument on again, its memories as they were left."];
  if (/crashed/.test(how)) return [how, "The instrument's program broke down. Its last lines of output:"];
  if (/ended/.test(how)) return [how, "The instrument's program has ended. Its last lines of output:"];
  return ["fct does not run", how || "It has not been started."];
}

on("status", (status) => {
  byId("restart-now").disabled = status.past !== null;
  showStatus(status.running, ...describe(status.how), status.lines, true);
});
on("lost", () =>
  showStatus(
    false,
    "Connection lost",
    "The launcher does not answer. If it has ended, start it again with ./run; this page then goes on by itself.",
    [],
    false,
  ),
);

for (const [id, request, question] of [
  ["restart", { do: "restart" }, null],
  ["restart-now", { do: "restart" }, "Restart breaks off what the instrument does."],
  ["restart-fresh", { do: "restart", fresh: true }, "A new instrument has blank EEPROMs and no tuning record; those of this one are gone."],
])
  byId(id).addEventListener("click", async () => {
    const asks = question !== null && !(id === "restart-now" && byId("ended").hidden === false);
    if (asks && !(await sure(question, "Restart"))) return;
    releaseAll();
    act(request);
  });

byId("skip").addEventListener("click", () => byId("port").focus());
openBench(ask);
connect();
