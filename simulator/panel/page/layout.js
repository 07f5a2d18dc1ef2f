// How large the LCD is, and whether a phone shows the keys; the rest of the layout is panel.css's.
import { byId } from "./dom.js";
import { recall, remember } from "./remember.js";

const size = byId("scale");

function resize() {
  document.body.dataset.size = size.value;
}

const last = recall("size");
if ([...size.options].some((option) => option.value === last)) size.value = last;
resize();
size.addEventListener("change", () => {
  remember("size", size.value);
  resize();
  size.blur();
});

byId("unfold").addEventListener("click", () => {
  const unfolded = document.body.classList.toggle("unfolded");
  byId("unfold").setAttribute("aria-expanded", unfolded);
});
