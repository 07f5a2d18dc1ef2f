// Small helpers for building the page.

// element("button", {class: "small", onclick: f}, "Text", child, ...)
export function element(tag, attributes = {}, ...children) {
  const made = document.createElement(tag);
  for (const [name, value] of Object.entries(attributes)) {
    if (value === undefined || value === null || value === false) continue;
    if (name.startsWith("on")) made.addEventListener(name.slice(2), value);
    else if (name === "style") made.style.cssText = value;
    else if (name in made && typeof value !== "string") made[name] = value;
    else made.setAttribute(name, value === true ? "" : value);
  }
  made.append(...children.filter((child) => child !== null && child !== undefined));
  return made;
}

// What shows a value of the state of the models, at that path: a script can expect it.
export const shows = (path, text) => element("span", { "data-state": path }, text);

// A sentence of such values and text between them; what still says the same stays.
export function showSentence(holder, ...parts) {
  const made = element("span", {}, ...parts);
  if (made.textContent !== holder.textContent) holder.replaceChildren(...made.childNodes);
}

export const byId = (id) => document.getElementById(id);

export function download(name, content, type = "text/plain") {
  const url = URL.createObjectURL(new Blob([content], { type }));
  const anchor = element("a", { href: url, download: name });
  anchor.click();
  setTimeout(() => URL.revokeObjectURL(url), 1000);
}

// ---- Fields. They follow the instrument; what a person is just editing is left alone, also with a look at the
// instrument under way that does not know of it yet.

const kUnderWay = 400; // ms
const kSelected = 3000; // ms from what a person has selected to what is typed over it
const editedUntil = new WeakMap(); // field -> when it follows again
const shown = new WeakMap(); // field -> what the instrument told last

addEventListener("input", ({ target }) => {
  editedUntil.set(target, Infinity);
  complain(target, ""); // of what was entered before
}, true);
addEventListener("select", ({ target }) => {
  if (!(editedUntil.get(target) > performance.now())) editedUntil.set(target, performance.now() + kSelected);
}, true);
for (const kind of ["change", "blur"])
  addEventListener(kind, ({ target }) => {
    if (editedUntil.has(target)) editedUntil.set(target, performance.now() + kUnderWay);
  }, true);

function put(input, value) {
  if (input.type === "checkbox") input.checked = value;
  else if (input.value !== String(value)) input.value = value;
}

export function show(input, value) {
  const changed = shown.has(input) && shown.get(input) !== value;
  shown.set(input, value);
  if (changed && complaints.get(input)?.read < performance.now()) complain(input, "");
  if (!(editedUntil.get(input) > performance.now())) put(input, value);
}

// The old value comes back.
export function revert(input) {
  editedUntil.delete(input);
  if (!shown.has(input)) return;
  if (input.validity?.badInput) input.value = 0; // or letters stay where the old value was empty
  put(input, shown.get(input));
}

// "sd.present is true or false" -> a sentence. A name of something stays as it is.
export function sentence(text) {
  const first = text.split(" ")[0];
  const begin = /[."_]/.test(first.slice(0, -1)) ? text : text.charAt(0).toUpperCase() + text.slice(1);
  return /[.!?]$/.test(begin) ? begin : begin + ".";
}

const kReadable = 10000; // ms that a note stays at least, also where the value goes on
const complaints = new WeakMap(); // control -> {note, read: when it has been}: the note beside it

// Says at the control what is wrong with what was asked there; "" takes it away.
export function complain(control, text) {
  complaints.get(control)?.note.remove();
  complaints.delete(control);
  if (!text) return;
  const row = control.closest(".rails tr");
  const said = element("p", { class: "refusal", role: "alert" }, sentence(text));
  const note = row ? element("tr", {}, element("td", { colSpan: row.cells.length }, said)) : said;
  complaints.set(control, { note, read: performance.now() + kReadable });
  const place = control.closest("td, .fault");
  if (row) row.after(note);
  else if (place) place.append(note);
  else (control.closest("label") ?? control).after(note);
}

// What goes wrong with `work` is told at the control.
export async function attempt(control, work) {
  try {
    await work();
    complain(control, "");
  } catch (error) {
    complain(control, error.message);
  }
}

// A field for a number. `send(value, field)` gets what is entered; what is none, or out of range, is refused at the
// field. `optional`: it may be empty, which is null.
export function numberField({ label, min, max, step = "any", whole = false, optional = false, ...more }, send) {
  const wanted = `${label}: a ${whole ? "whole " : ""}number from ${min} to ${max} is expected`;
  const take = () => {
    const empty = field.value === "" && !field.validity.badInput;
    const value = field.value === "" ? null : Number(field.value);
    const good = value === null ? empty && optional : value >= min && value <= max && (!whole || Number.isInteger(value));
    complain(field, good ? "" : wanted);
    if (good) send(value, field);
    else revert(field);
  };
  const field = element("input", {
    type: "number", min: String(min), max: String(max), step: String(step), "aria-label": label, ...more, onchange: take,
    onblur: () => field.validity.badInput && take(), // letters do not change an empty one, says the browser
  });
  return field;
}

// Asks before something that cannot be taken back: true when the answer is `yes`.
export function sure(question, yes) {
  return new Promise((resolve) => {
    const answer = (text, value, kind) => element("button", {
      class: kind, autofocus: !value, onclick: () => {
        resolve(value);
        dialog.remove();
      },
    }, text);
    const dialog = element(
      "dialog", { class: "question", onclose: () => (resolve(false), dialog.remove()) },
      element("p", {}, question),
      element("div", { class: "row" }, answer(yes, true, "danger yes"), answer("Cancel", false, "no")),
    );
    document.body.append(dialog);
    dialog.showModal();
  });
}
