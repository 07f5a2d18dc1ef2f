// What fct wrote: its output live, and its files on SD card and USB stick, with its trace dumps plotted.
import { download, element } from "./dom.js";
import { file, on } from "./link.js";
import { kPlotLook } from "./plot.js";

const kKept = 200_000; // characters of the output

const output = element("pre", { class: "log", tabindex: 0, "aria-label": "standard output" });
const files = element("tbody");
const viewTitle = element("h2", {}, "");
const view = element("pre", { class: "log", hidden: true, tabindex: 0, "aria-label": "content of the file" });
const plot = element("div", { class: "plot", hidden: true });
let decoder = null;
let graph = null;
let listed = "";

on("output", ({ fresh, bytes }) => {
  // Its titles are GBK.
  if (fresh || !decoder) decoder = new TextDecoder("gbk");
  const atEnd = output.scrollTop + output.clientHeight > output.scrollHeight - 20;
  const text = (fresh ? "" : output.textContent) + decoder.decode(bytes, { stream: true });
  output.textContent = text.slice(-kKept);
  if (atEnd) output.scrollTop = output.scrollHeight;
});

const size = (bytes) => (bytes < 10000 ? `${bytes} B` : `${(bytes / 1024).toFixed(0)} KiB`);

// A trace dump is numbers, one a line or with something between.
function numbersIn(text) {
  const words = text.trim().split(/[\s,;]+/);
  const numbers = words.map(Number);
  return words.length >= 50 && numbers.every(Number.isFinite) ? numbers : null;
}

const called = (path) => path.replace(/^root/, "");

async function openFile(path) {
  const bytes = await file(path);
  if (!bytes) return;
  viewTitle.textContent = called(path);
  const binary = bytes.subarray(0, 4096).includes(0);
  const text = binary ? "" : new TextDecoder("gbk").decode(bytes);
  const numbers = numbersIn(text);
  plot.hidden = !numbers;
  view.hidden = Boolean(numbers);
  view.textContent = binary ? `${bytes.length} bytes, not text; download it.` : text.slice(-kKept);
  view.scrollTop = view.scrollHeight;
  viewTitle.scrollIntoView({ block: "start" });
  if (!numbers) return;
  graph?.destroy();
  graph = new Dygraph(plot, numbers.map((v, i) => [i, v]), {
    labels: ["sample", "code"], colors: ["#6fd0f0"], strokeWidth: 1, ...kPlotLook, legend: "follow",
  });
}

async function list() {
  const response = await fetch("files");
  const found = (await response.json()).files.sort((a, b) => b.modified - a.modified);
  const text = JSON.stringify(found);
  if (text === listed) return;
  listed = text;
  files.replaceChildren(
    ...found.map(({ path, size: bytes }) =>
      element(
        "tr", {},
        element("th", { scope: "row" }, called(path)),
        element("td", { class: "num" }, size(bytes)),
        element("td", {}, element("button", { class: "small", "aria-label": `Show ${called(path)}`, onclick: () => openFile(path) }, "Show")),
        element(
          "td", {},
          element("button", {
            class: "small", "aria-label": `Download ${called(path)}`,
            onclick: async () =>
              download(path.split("/").pop(), (await file(path)) ?? "", "application/octet-stream"),
          }, "Download"),
        ),
      ),
    ),
  );
}

export const logsTab = {
  id: "logs",
  title: "Logs",
  open(panel) {
    panel.append(
      element("h2", {}, "Standard output"),
      output,
      element(
        "div", { class: "row" },
        element(
          "button",
          { class: "small", "aria-label": "Download the output", onclick: () => download("console.txt", output.textContent) },
          "Download",
        ),
      ),
      element("h2", {}, "Files"),
      element("p", { class: "hint" }, "The test log is on the SD card (fct_log.txt), trace dumps on the USB stick."),
      element("table", {}, files),
      viewTitle, view, plot,
    );
  },
  shown() {
    output.scrollTop = output.scrollHeight;
    list().catch(() => {});
  },
  look: list,
};
