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

export const byId = (id) => document.getElementById(id);

export function download(name, content, type = "text/plain") {
  const url = URL.createObjectURL(new Blob([content], { type }));
  const anchor = element("a", { href: url, download: name });
  anchor.click();
  setTimeout(() => URL.revokeObjectURL(url), 1000);
}

// What a person edits is not overwritten meanwhile.
export function show(input, value) {
  if (document.activeElement === input && input.type !== "checkbox") return;
  if (input.type === "checkbox") input.checked = value;
  else if (input.value !== String(value)) input.value = value;
}
