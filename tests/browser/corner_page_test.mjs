// The page of `cali chart --page`: corners moved by mouse, touch and keyboard, and what the program makes of its line.
import assert from "node:assert/strict";
import fs from "node:fs";
import path from "node:path";

import { cali, expectAccessible, expectNoOverflow, given, open, takePictures, temporaryFolder, withBrowser }
  from "./browser.mjs";

const folder = temporaryFolder();
const raw = ["--size", "640x480", "--pattern", "GRBG", "--bits", "12", "--black-level", "64"];
const at = (name) => path.join(folder, name);
const chart = path.join(given.session, "chart_5000K.raw");

const lineOf = (page) => page.$eval("#line", (line) => (line.hidden ? "" : line.textContent));
const statusOf = (page) => page.$eval("#status", (status) => status.textContent);

/// What the line says, held against the form that sessions have.
async function cornersOf(page) {
  const line = await lineOf(page);
  assert.match(line, /^corners = \[(\[-?\d+\.\d, -?\d+\.\d\](, )?){4}\]$/, await statusOf(page));
  return JSON.parse(line.slice("corners = ".length));
}

/// The middle of a handle, and how many pixels of the page a photosite has.
function handleAt(page, patch) {
  return page.$eval(`.handle[aria-label^="Corner by patch ${patch},"] .ring`, (ring) => {
    const box = ring.getBoundingClientRect();
    const scale = document.querySelector("#stage").getScreenCTM().a;
    return { x: box.x + box.width / 2, y: box.y + box.height / 2, scale };
  });
}

async function drag(page, patch, dx, dy) {
  const { x, y, scale } = await handleAt(page, patch);
  // Beside its middle: the corner keeps its distance from the pointer.
  await page.mouse.move(x + 4, y - 3);
  await page.mouse.down();
  await page.mouse.move(x + 4 + dx * scale, y - 3 + dy * scale, { steps: 5 });
  await page.mouse.up();
}

function expectMoved(now, before, corner, dx, dy, tolerance) {
  now.forEach(([x, y], i) => {
    const [wantX, wantY] = i === corner ? [before[i][0] + dx, before[i][1] + dy] : before[i];
    const room = i === corner ? tolerance : 1e-9;
    assert.ok(Math.abs(x - wantX) <= room && Math.abs(y - wantY) <= room,
      `corner ${i + 1}: ${x}, ${y}, expected ${wantX}, ${wantY}`);
  });
}

async function movesCorners(browser) {
  const file = at("found.html");
  const printed = cali(folder, 0, "chart", chart, ...raw, "--page", file);
  const page = await open(browser, file);
  assert.ok(printed.includes(await lineOf(page)), "the page starts with what the program prints");

  let before = await cornersOf(page);
  await drag(page, 1, 60, 45);
  let now = await cornersOf(page);
  expectMoved(now, before, 0, 60, 45, 1.5);

  before = now;
  await page.keyboard.press("Tab");
  await page.keyboard.press("Tab");
  for (const key of ["ArrowLeft", "ArrowLeft", "ArrowUp"]) {
    await page.keyboard.press(key);
  }
  await page.keyboard.down("Shift");
  await page.keyboard.press("ArrowUp");
  await page.keyboard.up("Shift");
  now = await cornersOf(page);
  expectMoved(now, before, 2, -2, -11, 0.01);
  const [x, y] = now[2];
  assert.equal(await page.$eval(":focus", (handle) => handle.getAttribute("aria-valuetext")),
    `x ${x}, y ${y} photosites`);
  await page.keyboard.press("Tab");
  assert.match(await page.$eval(":focus", (handle) => handle.getAttribute("aria-label")), /^Corner by patch 19,/);

  await page.click("#copy");
  await page.waitForFunction(() => document.querySelector("#status").textContent !== "");
  assert.equal(await statusOf(page), "Copied.");
  await takePictures(page, "corners_found");
  await expectNoOverflow(page);
  page.expectQuiet();

  // The program measures where the page showed the patches.
  const session = fs.readFileSync(path.join(given.session, "session.toml"), "utf8");
  assert.ok(session.includes("[colour_matrix]\nfills_frame = true\n"));
  fs.writeFileSync(at("session.toml"), session.replace("fills_frame = true", await lineOf(page)));
  cali(folder, 0, "ccm", chart, "--session", at("session.toml"), "--black-level", "64", "--method", "joint", "--force",
    "--new", "--results", at("by_hand.json"));
  const [matrix] = JSON.parse(fs.readFileSync(at("by_hand.json"), "utf8")).colour_matrix;
  assert.equal(matrix.windows_from, "corners");
  const dots = await page.$$eval("#patches > g", (dots) =>
    dots.map((dot) => dot.getAttribute("transform").match(/translate\(([^ ]+) ([^)]+)\)/).slice(1).map(Number)));
  matrix.windows.forEach(([left, top, width, height], i) => {
    const off = Math.max(Math.abs(left + width / 2 - dots[i][0]), Math.abs(top + height / 2 - dots[i][1]));
    assert.ok(off <= 1.01, `patch ${i + 1}: dot at ${dots[i]}, window ${[left, top, width, height]}`);
  });
  await page.close();
}

/// A finger drags the corner and not the page.
async function movesByTouch(browser) {
  const page = await open(browser, at("found.html"), { width: 390, touch: true });
  const before = await cornersOf(page);
  const { x, y, scale } = await handleAt(page, 19);
  const finger = await page.touchscreen.touchStart(x, y);
  for (let part = 1; part <= 5; ++part) {
    await finger.move(x + part * 6 * scale, y - part * 10 * scale);
  }
  await finger.end();
  expectMoved(await cornersOf(page), before, 3, 30, -50, 2.5);
  assert.equal(await page.evaluate(() => scrollY), 0);
  page.expectQuiet();
  await page.close();
}

/// Corners that cannot be give no line and say why; a step back gives it again.
async function refusesWrongOrders(browser) {
  const file = at("not_found.html");
  cali(folder, 1, "chart", path.join(given.session, "flat_5000K.raw"), ...raw, "--page", file);
  const page = await open(browser, file);
  assert.match(await page.$eval("header", (header) => header.innerText), /The chart is not found: no /);
  const start = await cornersOf(page);
  const middle = [0, 1].map((axis) => start.reduce((sum, corner) => sum + corner[axis] / 4, 0));
  assert.deepEqual(middle.map(Math.round), [320, 240]);

  const width = start[1][0] - start[0][0];
  const height = start[3][1] - start[0][1];
  const wrong = async (said) => {
    assert.equal(await lineOf(page), "");
    assert.match(await statusOf(page), said);
    assert.equal(await page.$eval("#copy", (button) => button.disabled), true);
  };
  await drag(page, 1, 0.7 * width, 0.7 * height);
  await wrong(/The corner by patch 1 lies inside/);
  await page.click("#reset");
  assert.deepEqual(await cornersOf(page), start);
  assert.equal(await statusOf(page), "");

  await drag(page, 1, width + 30, 0);
  await drag(page, 6, -width - 30, 0);
  await wrong(/Two sides cross/);
  await takePictures(page, "corners_crossed");
  await expectNoOverflow(page);
  await drag(page, 24, -width - 30, 0);
  await drag(page, 19, width + 30, 0);
  await wrong(/anticlockwise/);
  await page.click("#reset");

  for (const patch of [6, 24]) {
    await drag(page, patch, 15 - width, 0);
  }
  await wrong(/Patch 1 has 2\.5 x \d+\.\d photosites, expected at least 4 x 4/);
  await page.click("#reset");

  await page.click("#turn");
  assert.deepEqual(await cornersOf(page), [...start.slice(1), start[0]]);
  page.expectQuiet();
  await page.close();
}

/// Where the policy did not hold, or the name were markup, the browser would ask for the picture.
async function survivesNames(browser) {
  const name = "<img src=x onerror=alert(1)>.raw";
  fs.copyFileSync(chart, at(name));
  cali(folder, 0, "chart", name, ...raw, "--page", "name.html");
  const page = await open(browser, at("name.html"));
  assert.equal(await page.$eval("h1 .name", (shown) => shown.textContent), name);
  assert.equal(await page.$$eval("img", (pictures) => pictures.length), 0);
  await cornersOf(page);
  page.expectQuiet();
  await page.close();
}

await withBrowser(async (browser) => {
  await movesCorners(browser);
  await movesByTouch(browser);
  await refusesWrongOrders(browser);
  await survivesNames(browser);
  await expectAccessible(browser, at("found.html"));
  // Colours of what is wrong are others.
  await expectAccessible(browser, at("not_found.html"), async (page) => {
    await page.evaluate(() => document.querySelector("#handles").lastChild.focus());
    for (let i = 0; i < 40; ++i) {
      await page.keyboard.down("Shift");
      await page.keyboard.press("ArrowUp");
    }
    await page.keyboard.up("Shift");
    assert.notEqual(await statusOf(page), "");
  });
});
