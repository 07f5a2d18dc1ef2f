// Set-ups of the bench kept under a name or in a link.
import { attempt, element, sure } from "./dom.js";
import { ask, tell } from "./link.js";

// ---- Benches with a name, and links.

const name = element("input", { type: "text", maxlength: 40, placeholder: "name", "aria-label": "name of the set-up" });
const list = element("tbody");
const linkText = element("input", { type: "text", readonly: true, hidden: true, "aria-label": "link", style: "width:100%" });

const button = (text, work, more = {}) =>
  element("button", { class: "small", ...more, onclick: ({ target }) => attempt(target, work) }, text);

async function refresh() {
  const { names } = await ask({ do: "benches" });
  list.replaceChildren(
    ...names.map((one) =>
      element(
        "tr", {},
        element("th", { scope: "row", class: "name", title: one }, one),
        element("td", {}, button("Restore", async () => {
          if (await sure(`Restore "${one}"? The instrument starts again, with the memories kept there.`, "Restore"))
            await change({ do: "bench_restore", name: one });
        }, { "aria-label": `Restore ${one}` })),
        element("td", {}, button("Remove", async () => {
          if (!(await sure(`Remove "${one}"? It is gone then.`, "Remove"))) return;
          await ask({ do: "bench_remove", name: one });
          await refresh();
        }, { "aria-label": `Remove ${one}` })),
      ),
    ),
  );
}

async function save() {
  const { names } = await ask({ do: "benches" });
  if (names.includes(name.value) && !(await sure(`"${name.value}" exists. Replace what it holds?`, "Replace"))) return;
  await ask({ do: "bench_save", name: name.value });
  await refresh();
}

// What changes the instrument is told to the page's other parts.
async function change(request) {
  await ask(request);
  tell("sent", request);
  tell("done", request);
}

const setUp = (set, faults) => change({ do: "bench", set, faults });

const toText = (value) =>
  btoa(String.fromCharCode(...new TextEncoder().encode(JSON.stringify(value))))
    .replaceAll("+", "-").replaceAll("/", "_").replaceAll("=", "");
const fromText = (text) =>
  JSON.parse(new TextDecoder().decode(
    Uint8Array.from(atob(text.replaceAll("-", "+").replaceAll("_", "/")), (c) => c.charCodeAt(0))));

async function makeLink() {
  const { set, faults, seed } = await ask({ do: "bench" });
  linkText.value = `${location.origin}/#bench=${toText({ set, faults, seed })}`;
  linkText.hidden = false;
  linkText.select();
  await navigator.clipboard?.writeText(linkText.value).catch(() => {});
}

const isObject = (value) => typeof value === "object" && value !== null && !Array.isArray(value);

// The set-up in a link; throws when there is none.
function fromLink(text) {
  const bench = fromText(text);
  const { set = {}, faults = {}, seed } = isObject(bench) ? bench : { set: null };
  if (!isObject(set) || !isObject(faults)) throw new Error("no set-up");
  return { set, faults, seed };
}

// A link may come from anybody: what it would do is shown first.
async function offerLink() {
  const found = location.hash.match(/^#bench=(.*)$/);
  if (!found) return;
  const dialog = element("dialog", {
    class: "question", id: "link", onclose: () => {
      dialog.remove();
      history.replaceState(null, "", location.pathname);
    },
  });
  const close = (text) => element("button", { class: "no", onclick: () => dialog.close() }, text);
  document.body.append(dialog);
  dialog.showModal();
  let bench;
  try {
    bench = fromLink(found[1]);
  } catch {
    dialog.append(
      element("p", {}, "The set-up in this link is damaged: the link was cut off or changed on its way. Nothing is set up."),
      element("div", { class: "row" }, close("Close")),
    );
    return;
  }
  const parts = [
    ...Object.entries(bench.set).map(([key, value]) => [key, JSON.stringify(value)]),
    ...Object.entries(bench.faults).map(([key, value]) => ["fault " + key, value === true ? "" : JSON.stringify(value)]),
  ];
  const { seed } = await ask({ do: "bench" }).catch(() => ({}));
  const other = Number.isInteger(bench.seed) && Number.isInteger(seed) && bench.seed !== seed
    ? ` It was made on specimen ${bench.seed}, this is ${seed}: ./run --seed ${bench.seed} starts that one.` : "";
  const answers = element("div", { class: "row" },
    button("Set it up", async () => {
      await setUp(bench.set, bench.faults);
      dialog.close();
    }, { id: "apply-link" }),
    close("Leave the bench as it is"),
  );
  dialog.append(
    element("p", {}, `This link sets the bench up; what it does not name becomes untouched. What matters at start-up takes effect with Restart.${other}`),
    element("div", { class: "parts" }, element("table", {}, element("tbody", {},
      ...parts.map(([key, value]) => element("tr", {}, element("th", { scope: "row" }, key), element("td", {}, value))),
      ...(parts.length === 0 ? [element("tr", {}, element("td", {}, "an untouched bench"))] : []),
    ))),
    answers,
  );
}

export const setupsTab = {
  id: "setups",
  title: "Set-ups",
  open(panel) {
    panel.append(
      element("h2", {}, "Keep this bench"),
      element("div", { class: "row" }, name, button("Save", save)),
      element("p", { class: "hint" },
        "Everything set on the bench, the faults, the specimen, both EEPROMs and the tuning record; not the files on SD card and USB stick. Restore starts the instrument again with them. A link carries settings and faults only."),
      element("table", {}, list),
      element("div", { class: "row" },
        button("Link to this set-up", makeLink),
        button("Untouched bench", async () => {
          if (await sure("Untouched: all settings and faults of the bench go.", "Untouched bench")) await setUp({}, {});
        }),
      ),
      linkText,
    );
    offerLink();
    addEventListener("hashchange", offerLink);
  },
  shown: () => refresh().catch(() => {}),
};
