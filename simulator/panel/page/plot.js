// What the plots of the page have in common.

const kMark = "#eda32a";
// One finger on a plot scrolls the page, two zoom.
const own = Dygraph.defaultInteractionModel;
const byTwo = (handle) => (event, ...more) => event.touches.length > 1 && handle(event, ...more);
export const kHands = { ...own, touchstart: byTwo(own.touchstart), touchmove: byTwo(own.touchmove) };

export const kPlotLook = { interactionModel: kHands, gridLineColor: "#2d3850", axisLineColor: "#9fb0c6", legend: "never", xLabelHeight: 16, yLabelWidth: 16 };

// A line from top to bottom at `x` of the plot, with its name; false when that is out of sight.
export function mark(canvas, area, plot, x, text, row = 0) {
  const at = plot.toDomXCoord(x);
  if (at < area.x || at > area.x + area.w) return false;
  canvas.strokeStyle = canvas.fillStyle = kMark;
  canvas.beginPath();
  canvas.moveTo(at, area.y);
  canvas.lineTo(at, area.y + area.h);
  canvas.stroke();
  canvas.fillText(text, at + 3, area.y + 10 + 12 * row);
  return true;
}

// A line from side to side at `y`, with its name at the right.
export function level(canvas, area, plot, y, text) {
  const at = plot.toDomYCoord(y);
  if (at < area.y || at > area.y + area.h) return;
  canvas.strokeStyle = canvas.fillStyle = kMark;
  canvas.beginPath();
  canvas.moveTo(area.x, at);
  canvas.lineTo(area.x + area.w, at);
  canvas.stroke();
  canvas.fillText(text, area.x + area.w - canvas.measureText(text).width - 4, at - 3);
}

const kFont = "12px sans-serif";
const kLine = 18; // pixels
const kGap = 16; // between two texts, and at both edges

// Where texts stand that follow each other in so much room, in lines.
function flow(canvas, texts, room) {
  let x = kGap, row = 0;
  return texts.map(([text, colour]) => {
    const width = canvas.measureText(text).width;
    if (x > kGap && x + width > room - kGap) [x, row] = [kGap, row + 1];
    const place = { text, colour, x, row };
    x += width + kGap;
    return place;
  });
}

// The plot in `holder` as it stands, below it texts, each [text, colour]: a PNG.
export function picture(holder, texts) {
  const box = holder.getBoundingClientRect();
  const out = document.createElement("canvas");
  const measure = out.getContext("2d");
  measure.font = kFont;
  const places = flow(measure, texts, box.width);
  const scale = devicePixelRatio, below = kLine * (places.at(-1).row + 1) + 8;
  out.width = box.width * scale;
  out.height = (box.height + below) * scale;
  const canvas = out.getContext("2d");
  canvas.scale(scale, scale);
  canvas.fillStyle = "#192130";
  canvas.fillRect(0, 0, box.width, box.height + below);
  for (const part of holder.querySelectorAll("canvas")) {
    const { left, top, width, height } = part.getBoundingClientRect();
    canvas.drawImage(part, left - box.left, top - box.top, width, height);
  }
  canvas.textAlign = "center";
  canvas.textBaseline = "middle";
  for (const text of holder.querySelectorAll(".dygraph-axis-label, .dygraph-label, .cursor:not([hidden])")) {
    const at = text.getBoundingClientRect();
    const { color, font } = getComputedStyle(text);
    canvas.save();
    canvas.fillStyle = color;
    canvas.font = font;
    if (text.classList.contains("cursor")) {
      canvas.fillRect(at.left - box.left + at.width / 2, at.top - box.top, 1, at.height);
      canvas.translate(at.left - box.left + at.width / 2 + 8, at.top - box.top + 8);
    } else canvas.translate(at.left - box.left + at.width / 2, at.top - box.top + at.height / 2);
    if (text.matches(".dygraph-ylabel")) canvas.rotate(-Math.PI / 2);
    canvas.fillText(text.textContent, 0, 0);
    canvas.restore();
  }
  canvas.font = kFont;
  canvas.textAlign = "left";
  for (const { text, colour, x, row } of places) {
    canvas.fillStyle = colour;
    canvas.fillText(text, x, box.height + 10 + kLine * row);
  }
  return new Promise((resolve) => out.toBlob(resolve, "image/png"));
}
