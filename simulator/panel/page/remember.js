// What this browser keeps of the page: strings by name.

export function recall(name) {
  try {
    return localStorage.getItem(name);
  } catch {
    return null; // a page without a memory of its own
  }
}

export function remember(name, value) {
  try {
    localStorage.setItem(name, value);
  } catch {
    // see above
  }
}
