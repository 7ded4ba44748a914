// The report in a browser: what good, failing, partial, hostile and many results look like, on any screen and on paper.
// With the argument --update the golden text is written again.
import assert from "node:assert/strict";
import fs from "node:fs";
import path from "node:path";

import { cali, expectAccessible, expectNoOverflow, open, takePictures, temporaryFolder, withBrowser } from "./browser.mjs";

const folder = temporaryFolder();
const at = (name) => path.join(folder, name);
const golden = path.join(import.meta.dirname, "report_golden.txt");
const small = ["--format", "raw", "--dark-frames", "2", "--read-noise", "2"];

function simulate(name, size, status, ...more) {
  cali(folder, 0, "simulate", name, "--size", size, ...small, ...more);
  cali(folder, status, "calibrate", `${name}/session.toml`, "--report", `${name}.html`);
  return at(`${name}.html`);
}

/// Numbers differ by what compilers and machines make of the last digits; words and order do not.
const wordsOf = (text) => text.replace(/-?\d+(\.\d+)?(e[-+]\d+)?/g, "#").replace(/[ \t]+/g, " ").trim();

const openAll = (page, which = "details") =>
  page.$$eval(which, (all) => all.forEach((one) => { one.open = true; }));

/// Every chart has marks of its own beside the axes, and its data as a table of as many rows as points.
async function expectDrawn(page, least) {
  await openAll(page);
  await page.waitForFunction(() =>
    [...document.querySelectorAll("figure.chart .data")].every((one) => one.querySelector("table")));
  const found = await page.evaluate(() => {
    const charts = JSON.parse(document.getElementById("charts").textContent);
    return [...document.querySelectorAll("figure.chart")].map((figure, i) => {
      const data = charts[i];
      const rows = figure.querySelector(".data table").tBodies[0].rows.length;
      const marks = figure.querySelectorAll(".canvas svg path").length;
      const box = figure.querySelector(".canvas").getBoundingClientRect();
      const drawing = figure.querySelector(".canvas svg");
      return {
        title: data.title,
        // A map has a mark for each value; a plot its axes' lines and more.
        drawn: drawing !== null && (data.values ? marks >= data.values.filter((one) => one !== null).length : marks > 8),
        wide: drawing !== null && Math.abs(drawing.getBoundingClientRect().width - box.width) < 2,
        data: rows === (data.values ? data.rows
          : data.series.reduce((sum, series) => sum + series.points.length, 0) + data.bands.length),
      };
    });
  });
  assert.ok(found.length >= least, `${found.length} charts, expected ${least} or more`);
  assert.deepEqual(found.filter(({ drawn, wide, data }) => !drawn || !wide || !data), []);
  await page.$$eval("details.data", (all) => all.forEach((one) => { one.open = false; }));
}

async function expectPrinted(page) {
  const paper = Buffer.from(await page.pdf({ format: "A4" }));
  assert.equal(paper.subarray(0, 5).toString(), "%PDF-");
  const pages = paper.toString("latin1").match(/\/Type\s*\/Page[^s]/g) ?? [];
  assert.ok(pages.length > 1, `${pages.length} pages`);
}

/// All that every report has to keep.
async function expectSound(browser, file, least, look = async () => {}) {
  const page = await open(browser, file);
  await look(page);
  await expectNoOverflow(page);
  await page.setViewport({ width: 1280, height: 900 });
  await expectDrawn(page, least);
  await page.emulateMediaFeatures([{ name: "prefers-color-scheme", value: "dark" }]);
  await expectDrawn(page, least);
  await expectPrinted(page);
  page.expectQuiet();
  await page.close();
}

/// With all that folds open, but for the data of all charts but one: they would take the tool minutes.
const expectNoBarriers = (browser, file) => expectAccessible(browser, file, async (page) => {
  await openAll(page, "details:not(.data)");
  await page.$eval("details.data", (first) => { first.open = true; });
});

function expectGolden(text) {
  if (process.argv.includes("--update")) {
    fs.writeFileSync(golden, text);
  }
  const wanted = fs.readFileSync(golden, "utf8").split("\n");
  text.split("\n").forEach((line, i) => assert.equal(line, wanted[i], `line ${i + 1} of ${golden}`));
  assert.equal(text.split("\n").length, wanted.length);
}

const stateOf = (page, calibration) => page.$$eval("table", (tables, name) => {
  const rows = [...tables.find((one) => one.caption?.textContent === "Verdicts").tBodies[0].rows];
  return rows.find((row) => row.cells[0].textContent === name).cells[1].textContent;
}, calibration);

await withBrowser(async (browser) => {
  const good = simulate("good", "640x480", 0, "--illuminants", "2850", "4000", "5000");
  assert.ok(fs.statSync(good).size < 2e6);
  cali(folder, 0, "report", "good/results.json", "--out", "again.html");
  assert.ok(fs.readFileSync(good).equals(fs.readFileSync(at("again.html"))), "a report of the results file differs");
  await expectSound(browser, good, 30, async (page) => {
    assert.equal(await stateOf(page, "Lens shading"), "pass");
    const paper = await page.evaluate(() => getComputedStyle(document.body).backgroundColor);
    await page.emulateMediaFeatures([{ name: "prefers-color-scheme", value: "dark" }]);
    assert.notEqual(await page.evaluate(() => getComputedStyle(document.body).backgroundColor), paper);
    await takePictures(page, "report");
    await page.emulateMediaFeatures([{ name: "prefers-color-scheme", value: "light" }]);
    await openAll(page, "details:not(.data)");
    expectGolden(wordsOf(await page.$eval("main", (main) => main.innerText)));
    // Sorted by a number, by keyboard and back by mouse.
    const column = (index) => page.$$eval("details table.sortable", (tables, cell) =>
      [...tables.find((one) => one.caption.textContent === "Inputs").tBodies[0].rows].map((row) =>
        row.cells[cell].textContent), index);
    const button = await page.evaluateHandle(() =>
      [...document.querySelectorAll("table")].find((one) => one.caption?.textContent === "Inputs")
        .tHead.rows[0].cells[0].querySelector("button"));
    await button.focus();
    await page.keyboard.press("Enter");
    const names = await column(0);
    assert.deepEqual(names, [...names].sort((a, b) => a.localeCompare(b)));
    await button.click();
    assert.deepEqual(await column(0), [...names].reverse());
    assert.equal(await page.evaluate((one) => one.closest("th").ariaSort, button), "descending");
  });

  await expectNoBarriers(browser, good);

  // Without its script the page still says what there is to say.
  const still = await browser.newPage();
  await still.setJavaScriptEnabled(false);
  await still.goto(`file://${good}`);
  assert.match(await still.$eval("main", (main) => main.textContent), /Verdicts[^]*Colour matrix[^]*mean_rr/);
  await still.close();

  const bad = simulate("bad", "320x240", 1, "--illuminants", "5000", "--fault", "grey-dim=0.01");
  await expectSound(browser, bad, 5, async (page) => {
    assert.equal(await stateOf(page, "White balance"), "fail");
    const finding = await page.$eval("main", (main) => main.innerText.match(/grey_level[^]{0,400}/)[0]);
    assert.match(finding, /expose/i);
  });

  await expectNoBarriers(browser, bad);

  cali(folder, 0, "blc", "good/dark_1.raw", "--session", "good/session.toml", "--results", "partial.json");
  cali(folder, 0, "report", "partial.json", "--out", "partial.html");
  await expectSound(browser, at("partial.html"), 2, async (page) => {
    assert.equal(await stateOf(page, "Colour matrix"), "not done");
    assert.equal(await stateOf(page, "Black level"), "pass");
  });

  // Markup in every text of the results that may come from outside.
  const hostile = "</script><img src=x onerror=document.title='broken'>&amp;\"'";
  const results = JSON.parse(fs.readFileSync(at("bad/results.json"), "utf8"));
  for (const section of Object.values(results)) {
    for (const entry of Array.isArray(section) ? section : []) {
      entry.made?.in_force?.forEach((setting) => { setting.value += hostile; });
      entry.made?.options?.forEach((option) => { option.value += hostile; });
      entry.made?.inputs?.forEach((input) => { input.file += hostile.replaceAll("/", ""); input.digest += hostile; });
      entry.levels?.forEach((level) => { level.name += hostile; });
      entry.file = entry.file && entry.file + hostile.replaceAll("/", "");
    }
  }
  results.findings.forEach((finding) => { finding.message += hostile; finding.place += hostile; });
  fs.writeFileSync(at("hostile.json"), JSON.stringify(results));
  cali(folder, 0, "report", "hostile.json", "--out", "hostile.html");
  await expectSound(browser, at("hostile.html"), 5, async (page) => {
    await openAll(page);
    assert.equal(await page.$$eval("img", (images) => images.length), 0);
    assert.doesNotMatch(await page.title(), /broken/);
    assert.ok((await page.$eval("main", (main) => main.innerText)).includes(hostile));
  });

  // Ten units, of which one has another black level.
  const units = [];
  for (let i = 1; i <= 10; ++i) {
    const unit = `unit ${i} <b>`;
    cali(folder, 0, "simulate", unit, "--size", "192x128", ...small, "--illuminants", "5000", "--series-levels", "0", "--seed", String(i),
      ...(i === 4 ? ["--fault", "light-leak=100"] : []));
    cali(folder, 0, "calibrate", `${unit}/session.toml`, "--only", "blc", "--force");
    units.push(`${unit}/results.json`);
  }
  fs.writeFileSync(at("units.txt"), `# all\n\n${units.join("\n")}\n`);
  cali(folder, 0, "report", "--list", "units.txt", "--out", "units.html");
  await expectSound(browser, at("units.html"), 12, async (page) => {
    const text = await page.$eval("main", (main) => main.innerText);
    assert.match(text, /unit 10 <b>/);
    const off = await page.$$eval("table", (tables) =>
      [...tables.find((one) => one.caption?.textContent.startsWith("Figures off")).tBodies[0].rows].map((row) =>
        [row.cells[0].textContent, row.cells[2].textContent]));
    assert.ok(off.some(([unit, figure]) => unit === "unit 4 <b>" && figure.startsWith("mean_")), JSON.stringify(off));
    await takePictures(page, "units");
  });
  await expectNoBarriers(browser, at("units.html"));
});
