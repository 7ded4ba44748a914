"use strict";

// Coordinates are photosites of the whole frame, as a session has them; handles and labels are in CSS pixels.
const chart = JSON.parse(document.getElementById("chart").textContent);
const places = [
  { patch: 1, name: "top left" },
  { patch: chart.columns, name: "top right" },
  { patch: chart.columns * chart.rows, name: "bottom right" },
  { patch: chart.columns * (chart.rows - 1) + 1, name: "bottom left" },
];
const kStep = 1;
const kWideStep = 10;
const kLensZoom = 4; // over the stage
const kLensSide = 160;
const kLabelDistance = 28;

const byId = (id) => document.getElementById(id);
const stage = byId("stage");
const line = byId("line");

function svg(parent, name, attributes = {}) {
  const element = document.createElementNS("http://www.w3.org/2000/svg", name);
  set(element, attributes);
  parent.append(element);
  return element;
}

function set(element, attributes) {
  for (const [name, value] of Object.entries(attributes)) {
    element.setAttribute(name, value);
  }
}

// A tenth of a photosite is what the session's line has.
const rounded = (photosites) => Math.round(photosites * 10) / 10 + 0;
const first = chart.corners.map(([x, y]) => ({ x: rounded(x), y: rounded(y) }));
let corners = first;
let active = 0;
let told = null; // the corners that line and status are of

// A chart that fills the frame has its corners about the frame's, so there is room around it.
const outside = first.map(({ x, y }) => Math.max(-x, x - chart.width, -y, y - chart.height));
const margin = Math.ceil(Math.max(Math.max(chart.width, chart.height) / 16, ...outside.map((far) => 1.5 * far)));

const step = (from, to) => ({ x: to.x - from.x, y: to.y - from.y });
const cross = (a, b) => a.x * b.y - a.y * b.x;
const between = (a, b) => ({ x: (a.x + b.x) / 2, y: (a.y + b.y) / 2 });

// Chart coordinates, one a cell, to photosites: the plane in perspective that the corners are of.
function mapOf([a, b, c, d]) {
  const right = step(c, b);
  const down = step(c, d);
  const bend = { x: a.x - b.x + c.x - d.x, y: a.y - b.y + c.y - d.y };
  const area = cross(right, down);
  const g = cross(bend, down) / area;
  const h = cross(right, bend) / area;
  return (column, row) => {
    const u = column / chart.columns;
    const v = row / chart.rows;
    const along = (axis) =>
      (u * (b[axis] - a[axis] + g * b[axis]) + v * (d[axis] - a[axis] + h * d[axis]) + a[axis]) / (g * u + h * v + 1);
    return { x: along("x"), y: along("y") };
  };
}

function cellOf(map, patch, edge) {
  const column = patch % chart.columns;
  const row = Math.floor(patch / chart.columns);
  return [map(column + edge, row + edge), map(column + 1 - edge, row + edge),
    map(column + 1 - edge, row + 1 - edge), map(column + edge, row + 1 - edge)];
}

// Across the sides, as the program measures cells.
function sidesOf(cell) {
  const across = step(between(cell[0], cell[3]), between(cell[1], cell[2]));
  const down = step(between(cell[0], cell[1]), between(cell[3], cell[2]));
  const area = Math.abs(cross(across, down));
  return { width: area / Math.hypot(down.x, down.y), height: area / Math.hypot(across.x, across.y) };
}

// Of each corner: 1 where the sides turn clockwise there, as seen.
function turnsAt() {
  return corners.map((corner, i) =>
    Math.sign(cross(step(corners[(i + 3) % 4], corner), step(corner, corners[(i + 1) % 4]))));
}

const order = places.map(({ patch }) => patch).join(", ");

function problemOf(turns, map) {
  const sum = turns[0] + turns[1] + turns[2] + turns[3];
  if (sum === -4) {
    return `The corners ${order} run anticlockwise, as on a mirrored chart. Exchange two opposite ones.`;
  }
  if (sum === 0 && !turns.includes(0)) {
    return `Two sides cross. The corners go round the chart in the order ${order}: exchange two neighbours.`;
  }
  if (sum !== 4) {
    const odd = turns.findIndex((turn) => turn !== (sum > 0 ? 1 : -1));
    return `The corner by patch ${places[odd].patch} lies inside the triangle of the others, or on its edge. ` +
      "Move it out.";
  }
  for (let patch = 0; patch < chart.colours.length; ++patch) {
    const { width, height } = sidesOf(cellOf(map, patch, 0));
    if (Math.min(width, height) < chart.least_cell) {
      return `Patch ${patch + 1} has ${width.toFixed(1)} x ${height.toFixed(1)} photosites, expected at least ` +
        `${chart.least_cell} x ${chart.least_cell}. Move the corners apart.`;
    }
    const { x, y } = map(patch % chart.columns + 0.5, Math.floor(patch / chart.columns) + 0.5);
    if (x < 0 || y < 0 || x > chart.width || y > chart.height) {
      return `Patch ${patch + 1} lies outside the capture.`;
    }
  }
  return "";
}

// Black or white, whichever stands out more.
function inkOn(colour) {
  const linear = [1, 3, 5].map((at) => (parseInt(colour.slice(at, at + 2), 16) / 255) ** 2.2);
  return 0.2126 * linear[0] + 0.7152 * linear[1] + 0.0722 * linear[2] > 0.18 ? "#000000" : "#ffffff";
}

const pointsOf = (points) => points.map(({ x, y }) => `${x},${y}`).join(" ");

function make() {
  set(stage, { viewBox: `${-margin} ${-margin} ${chart.width + 2 * margin} ${chart.height + 2 * margin}` });
  const outline = byId("outline");
  svg(outline, "path", { class: "cells" });
  svg(outline, "polygon", { class: "shadow" });
  svg(outline, "polygon", { class: "sides" });

  const key = byId("key");
  set(key, { viewBox: `0 0 ${chart.columns} ${chart.rows}` });
  chart.colours.forEach((colour, i) => {
    const patch = svg(byId("patches"), "g");
    svg(patch, "circle", { r: 1, fill: colour, stroke: inkOn(colour) });
    svg(patch, "text", { fill: inkOn(colour), dy: "0.36em" }).textContent = i + 1;

    const x = i % chart.columns;
    const y = Math.floor(i / chart.columns);
    svg(key, "rect", { x: x + 0.06, y: y + 0.06, width: 0.88, height: 0.88, fill: colour });
    svg(key, "text", { x: x + 0.5, y: y + 0.5, dy: "0.36em", fill: inkOn(colour) }).textContent = i + 1;
  });

  places.forEach(({ patch, name }, i) => {
    const handle = svg(byId("handles"), "g", {
      class: "handle", tabindex: 0, role: "slider", "aria-label": `Corner by patch ${patch}, ${name} of the chart`,
      "aria-valuemin": -margin, "aria-valuemax": chart.width + margin,
    });
    svg(handle, "circle", { class: "hold", r: 24 });
    svg(handle, "circle", { class: "shadow", r: 11 });
    svg(handle, "circle", { class: "ring", r: 11 });
    svg(handle, "path", { class: "shadow", d: "M-7 0H7M0 -7V7" });
    svg(handle, "path", { class: "cross", d: "M-7 0H7M0 -7V7" });
    const label = svg(handle, "g", { class: "label" });
    svg(label, "rect", { x: -13, y: -11, width: 26, height: 22, rx: 6 });
    svg(label, "text", { dy: "0.36em" }).textContent = patch;
    hold(handle, i);
  });

  const lens = byId("lens");
  svg(lens, "use", { href: "#scene" });
  svg(lens, "path", { class: "shadow" });
  svg(lens, "path", { class: "cross" });
}

function move(i, { x, y }) {
  const within = (value, side) => rounded(Math.min(Math.max(value, -margin), side + margin));
  corners = corners.map((corner, k) => (k === i ? { x: within(x, chart.width), y: within(y, chart.height) } : corner));
  show();
}

function hold(handle, i) {
  let grip = null; // from the pointer to the corner, which does not jump to it
  const at = (event) => new DOMPoint(event.clientX, event.clientY).matrixTransform(stage.getScreenCTM().inverse());
  handle.addEventListener("pointerdown", (event) => {
    if (event.button === 0) {
      handle.setPointerCapture(event.pointerId);
      grip = step(at(event), corners[i]);
      handle.focus();
      event.preventDefault();
    }
  });
  // A finger drags the corner, not the page: `touch-action` does not hold for parts of a picture everywhere.
  handle.addEventListener("touchstart", (event) => event.preventDefault(), { passive: false });
  handle.addEventListener("pointermove", (event) => {
    if (grip) {
      const { x, y } = at(event);
      move(i, { x: x + grip.x, y: y + grip.y });
    }
  });
  handle.addEventListener("lostpointercapture", () => { grip = null; });
  handle.addEventListener("focus", () => {
    active = i;
    show();
  });
  handle.addEventListener("keydown", (event) => {
    const way = { ArrowLeft: [-1, 0], ArrowRight: [1, 0], ArrowUp: [0, -1], ArrowDown: [0, 1] }[event.key];
    if (way && !event.ctrlKey && !event.altKey && !event.metaKey) {
      const far = event.shiftKey ? kWideStep : kStep;
      move(i, { x: corners[i].x + way[0] * far, y: corners[i].y + way[1] * far });
      event.preventDefault();
    }
  });
}

// Away from the chart's middle, or towards it where that leaves the stage.
function labelAt(corner, middle, pixel) {
  const way = step(middle, corner);
  const length = Math.hypot(way.x, way.y) || 1;
  const shift = (axis, side) => {
    const far = way[axis] / length;
    const end = corner[axis] + far * kLabelDistance * pixel;
    return kLabelDistance * (end < -margin || end > side + margin ? -far : far);
  };
  return { x: shift("x", chart.width), y: shift("y", chart.height) };
}

function showPatches(map, pixel) {
  [...byId("patches").children].forEach((patch, i) => {
    const { x, y } = map(i % chart.columns + 0.5, Math.floor(i / chart.columns) + 0.5);
    const { width, height } = sidesOf(cellOf(map, i, 0));
    const radius = Math.min(0.22 * Math.min(width, height) / pixel, 14);
    const [circle, number] = patch.children;
    set(patch, { transform: `translate(${x} ${y}) scale(${pixel})` });
    set(circle, { r: radius });
    set(number, { "font-size": radius, visibility: radius < 8 ? "hidden" : "inherit" });
  });
}

function showHandles(pixel) {
  const middle = between(between(corners[0], corners[1]), between(corners[2], corners[3]));
  [...byId("handles").children].forEach((handle, i) => {
    const { x, y } = corners[i];
    const label = labelAt(corners[i], middle, pixel);
    set(handle, {
      transform: `translate(${x} ${y}) scale(${pixel})`,
      "aria-valuenow": x, "aria-valuetext": `x ${x}, y ${y} photosites`,
    });
    set(handle.querySelector(".label"), { transform: `translate(${label.x} ${label.y})` });
    handle.classList.toggle("active", i === active);
  });
}

function showLens(pixel) {
  const { x, y } = corners[active];
  const half = Math.max(kLensSide * pixel / kLensZoom, 16) / 2;
  const lens = byId("lens");
  set(lens, { viewBox: `${x - half} ${y - half} ${2 * half} ${2 * half}` });
  const arms = `M${x - half} ${y}h${0.8 * half}M${x + half} ${y}h${-0.8 * half}` +
    `M${x} ${y - half}v${0.8 * half}M${x} ${y + half}v${-0.8 * half}`;
  for (const path of lens.querySelectorAll("path")) {
    set(path, { d: arms });
  }
  byId("lens_name").textContent = `Corner by patch ${places[active].patch}: ${x.toFixed(1)}, ${y.toFixed(1)}`;
}

function show() {
  const matrix = stage.getScreenCTM();
  const pixel = matrix && matrix.a > 0 ? 1 / matrix.a : 1; // photosites
  const turns = turnsAt();
  const convex = Math.abs(turns[0] + turns[1] + turns[2] + turns[3]) === 4;
  const map = mapOf(corners);
  const problem = problemOf(turns, map);

  for (const polygon of byId("outline").querySelectorAll("polygon")) {
    set(polygon, { points: pointsOf(corners) });
  }
  let cells = "";
  const lineTo = (from, to) => { cells += `M${from.x} ${from.y}L${to.x} ${to.y}`; };
  for (let column = 1; convex && column < chart.columns; ++column) {
    lineTo(map(column, 0), map(column, chart.rows));
  }
  for (let row = 1; convex && row < chart.rows; ++row) {
    lineTo(map(0, row), map(chart.columns, row));
  }
  set(byId("outline").querySelector(".cells"), { d: cells });
  byId("patches").toggleAttribute("hidden", !convex);
  if (convex) {
    showPatches(map, pixel);
  }
  showHandles(pixel);
  showLens(pixel);

  stage.classList.toggle("wrong", problem !== "");
  if (told !== corners) {
    told = corners;
    tell(problem);
  }
}

function tell(problem) {
  line.replaceChildren();
  if (problem === "") {
    line.append("corners = [");
    corners.forEach(({ x, y }, i) => {
      // Lines break between corners only.
      const pair = document.createElement("span");
      pair.textContent = `[${x.toFixed(1)}, ${y.toFixed(1)}]${i < 3 ? "," : "]"}`;
      line.append(pair, i < 3 ? " " : "");
    });
  }
  line.hidden = problem !== "";
  byId("copy").disabled = problem !== "";
  say(problem, problem !== "");
}

// What is said again is not announced again.
function say(text, wrong) {
  const status = byId("status");
  if (status.textContent !== text) {
    status.textContent = text;
  }
  status.classList.toggle("wrong", wrong);
}

async function copy() {
  try {
    await navigator.clipboard.writeText(line.textContent);
    say("Copied.", false);
  } catch {
    // Pages from files have no clipboard everywhere.
    getSelection().selectAllChildren(line);
    say(document.execCommand("copy") ? "Copied." : "Selected: copy it with Ctrl+C.", false);
  }
}

make();
byId("turn").addEventListener("click", () => {
  corners = [...corners.slice(1), corners[0]];
  show();
});
byId("reset").addEventListener("click", () => {
  corners = first;
  show();
});
byId("copy").addEventListener("click", copy);
new ResizeObserver(show).observe(stage);
show();
