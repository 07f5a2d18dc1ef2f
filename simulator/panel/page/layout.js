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
// Whatever stands above and below the LCD, as much as it is just now: the keys stay in the window.
const instrument = document.querySelector(".instrument");
const observer = new ResizeObserver(() => {
  const around = instrument.offsetHeight - byId("lcd").offsetHeight + 2 * Number.parseFloat(getComputedStyle(document.body).paddingTop);
  document.body.style.setProperty("--around", `${around}px`);
});
for (const part of instrument.children) observer.observe(part);

size.addEventListener("change", () => {
  remember("size", size.value);
  resize();
  size.blur();
});

byId("unfold").addEventListener("click", () => {
  const unfolded = document.body.classList.toggle("unfolded");
  byId("unfold").setAttribute("aria-expanded", unfolded);
});
