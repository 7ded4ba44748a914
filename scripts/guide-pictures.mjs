// Simulates sessions, calibrates them, and takes pictures of their reports' figures and of the captures themselves.
// Argument: the folder for the pictures.
import assert from "node:assert/strict";
import { spawnSync } from "node:child_process";
import fs from "node:fs";
import path from "node:path";

import { cali, given, open, temporaryFolder, withBrowser } from "../tests/browser/browser.mjs";

const kMostBytes = 60000;
const kReportBytes = 120000;
const kTogether = 700000;
const kWidth = 520; // of a window that lays figures out in one column
const kLight = "5000 K";
const kCaptureTitle = "The capture";
const kBin = 6;
const kPedestal = 64;
const target = path.resolve(process.argv[2]);

// Beside size and lights: what the simulator is told, and what is calibrated of it.
const kSessions = {
  good: ["--chart perspective", ""],
  light_leak: ["--fault light-leak=20", "blc"],
  dust: ["--fault dust", "blc,lsc"],
  tilt: ["--fault tilt", "blc,lsc"],
  flat_clipped: ["--fault flat-clipping=1.6", "blc,lsc"],
  grey_on_chart: ["--fault grey-on-chart", "blc,lsc,awb"],
  grey_exchanged: ["", "blc,lsc,awb"],
  chart_shift: ["--fault chart-shift", ""],
  chart_clipped: ["--fault chart-clipping", ""],
  wrong_light: ["--fault wrong-light", ""],
  flicker: ["--fault flicker", "blc,noise"],
  series_clipped: ["--fault series-clipping=1.5", "blc,noise"],
};

// Name, session, calibration, figure's title.
const kFigures = [
  ["dark_histogram", "good", "black_level", "Samples by code"],
  ["dark_histogram_leak", "light_leak", "black_level", "Samples by code"],
  ["dark_map", "good", "black_level", "Level of blocks"],
  ["dark_map_leak", "light_leak", "black_level", "Level of blocks"],
  ["flat_map", "good", "lens_shading", "Green after mesh"],
  ["flat_map_dust", "dust", "lens_shading", "Green after mesh"],
  ["flat_profile", "good", "lens_shading", "Through the centre"],
  ["flat_profile_tilt", "tilt", "lens_shading", "Through the centre"],
  ["flat_profile_clipped", "flat_clipped", "lens_shading", "Through the centre"],
  ["grey_curve", "good", "white_balance_curve", "Lights and the fitted curve"],
  ["grey_curve_exchanged", "grey_exchanged", "white_balance_curve", "Lights and the fitted curve"],
  ["chart_windows", "good", "colour_matrix", kCaptureTitle],
  ["chart_windows_shift", "chart_shift", "colour_matrix", kCaptureTitle],
  ["chart_bars", "good", "colour_matrix", "CIEDE2000 by patch"],
  ["chart_bars_clipped", "chart_clipped", "colour_matrix", "CIEDE2000 by patch"],
  ["chart_plane", "good", "colour_matrix", "From reference"],
  ["chart_plane_light", "wrong_light", "colour_matrix", "From reference"],
  ["noise_deviation", "good", "noise", "Standard deviation"],
  ["noise_deviation_flicker", "flicker", "noise", "Standard deviation"],
  ["noise_transfer", "good", "noise", "Photon transfer"],
  ["noise_transfer_clipped", "series_clipped", "noise", "Photon transfer"],
];

// Name, session, capture, and whether the window of the gains is drawn.
const kCaptures = [
  ["flat_capture", "good", "flat_5000K.pgm", false],
  ["flat_capture_dust", "dust", "flat_5000K.pgm", false],
  ["grey_capture", "good", "grey_5000K.pgm", true],
  ["grey_capture_chart", "grey_on_chart", "grey_5000K.pgm", true],
];

const root = temporaryFolder();
const resultsOf = (session) => JSON.parse(fs.readFileSync(path.join(root, session, "results.json"), "utf8"));

/// One light is enough unless a curve is to be seen.
const lightsOf = (session) => (["good", "grey_exchanged"].includes(session) ? [2850, 4000, 5000, 6500] : [5000]);

function exchange(one, other) {
  fs.renameSync(one, one + ".kept");
  fs.renameSync(other, one);
  fs.renameSync(one + ".kept", other);
}

function prepare(session, fault, only) {
  const folder = path.join(root, session);
  const lights = lightsOf(session).map(String);
  cali(root, 0, "simulate", session, "--size", "1440x1080", "--format", "pgm", "--illuminants", ...lights,
    ...(fault ? fault.split(" ") : []));
  if (session === "grey_exchanged") {
    exchange(path.join(folder, "grey_4000K.pgm"), path.join(folder, "grey_6500K.pgm"));
  }
  const words = ["calibrate", "session.toml", "--report", "report.html", ...(only ? ["--only", only] : [])];
  // A failed check is what some of them are for.
  const run = spawnSync(given.cali, words, { cwd: folder, encoding: "utf8" });
  assert.ok([0, 1].includes(run.status), run.stderr);
  assert.ok(fs.existsSync(path.join(folder, "report.html")), run.stderr);
  for (const line of new Set(run.stderr.match(/(warn|fail): .* is [\d.]+/g))) {
    console.log(`${session}: ${line}`);
  }
}

function written(name, most = kMostBytes) {
  const file = path.join(target, `${name}.png`);
  const bytes = fs.statSync(file).size;
  assert.ok(bytes <= most, `${file} has ${bytes} bytes, at most ${most} are wanted`);
  console.log(`${name}.png: ${bytes} bytes`);
}

/// Photographs of few colours make smaller files: each component in steps of `step`.
async function withFewColours(browser, file, step) {
  const page = await browser.newPage();
  await page.setContent("<canvas></canvas>");
  const made = await page.evaluate(async (bytes, size) => {
    const image = new Image();
    image.src = "data:image/png;base64," + bytes;
    await image.decode();
    const canvas = document.querySelector("canvas");
    Object.assign(canvas, { width: image.width, height: image.height });
    const context = canvas.getContext("2d");
    context.drawImage(image, 0, 0);
    const pixels = context.getImageData(0, 0, image.width, image.height);
    // What is nearly white are the page's own colours.
    pixels.data.forEach((value, i) => {
      pixels.data[i] = value > 230 ? value : size * Math.round(value / size);
    });
    context.putImageData(pixels, 0, 0);
    return canvas.toDataURL("image/png").split(",")[1];
  }, fs.readFileSync(file).toString("base64"), step);
  fs.writeFileSync(file, Buffer.from(made, "base64"));
  await page.close();
}

async function pictureOfFigure(browser, name, session, calibration, title) {
  const page = await open(browser, path.join(root, session, "report.html"), { width: kWidth });
  if (title === kCaptureTitle) {
    // Noise makes large files.
    await page.setViewport({ ...page.viewport(), deviceScaleFactor: 0.75 });
    await page.$$eval("image", (images) => images.forEach((image) => (image.style.filter = "blur(1px)")));
  }
  const figure = await page.evaluateHandle((key, light, begin) => {
    const section = document.getElementById(key).closest("section");
    const figures = [...section.querySelectorAll("figure")]
      .filter((one) => one.querySelector("figcaption").textContent.startsWith(begin));
    const of = (one) => one.closest("article").querySelector("h3").textContent;
    const chosen = figures.find((one) => of(one).includes(light)) || figures[0];
    // The list of its data is for the page.
    chosen?.querySelector(".data")?.remove();
    return chosen;
  }, calibration, kLight.replace(" ", ""), title);
  const element = figure.asElement();
  assert.ok(element, `${session}: no figure "${title}" of ${calibration}`);
  const file = path.join(target, `guide_${name}.png`);
  await element.screenshot({ path: file });
  page.expectQuiet();
  await page.close();
  if (title === kCaptureTitle) {
    await withFewColours(browser, file, 17);
  }
  written(`guide_${name}`);
}

/// Means of kBin x kBin photosites of a capture, balanced: what a viewer would show of it.
function picture(session, capture) {
  const data = fs.readFileSync(path.join(root, session, capture));
  const head = /^P5\s(\d+)\s(\d+)\s(\d+)\s/.exec(data.subarray(0, 40).toString("latin1"));
  const [width, height, most] = head.slice(1).map(Number);
  const at = (x, y) => data.readUInt16BE(head[0].length + 2 * (y * width + x)) - kPedestal;
  const light = resultsOf("good").white_balance.find((one) => one.illuminant_k === 5000);
  const gains = [light.unrounded.red.value, 1, light.unrounded.blue.value];
  const shown = { width: width / kBin, height: height / kBin, bytes: [] };
  const cells = (kBin / 2) ** 2;
  for (let top = 0; top < height; top += kBin) {
    for (let left = 0; left < width; left += kBin) {
      const sums = [0, 0, 0];
      for (let y = top; y < top + kBin; y += 2) {
        for (let x = left; x < left + kBin; x += 2) {
          sums[0] += at(x, y) / cells;
          sums[1] += (at(x + 1, y) + at(x, y + 1)) / (2 * cells);
          sums[2] += at(x + 1, y + 1) / cells;
        }
      }
      for (const [c, sum] of sums.entries()) {
        const share = sum * gains[c] / (most - kPedestal);
        shown.bytes.push(255 * Math.min(Math.max(share, 0), 1) ** (1 / 2.2));
      }
      shown.bytes.push(255);
    }
  }
  return shown;
}

async function pictureOfCapture(browser, name, session, capture, marked) {
  const page = await browser.newPage();
  const window = marked ? resultsOf("good").white_balance[0].window : null;
  const shown = picture(session, capture);
  await page.setContent("<canvas></canvas>");
  await page.evaluate(({ width, height, bytes }, box, bin) => {
    const canvas = document.querySelector("canvas");
    Object.assign(canvas, { width, height });
    const context = canvas.getContext("2d");
    context.putImageData(new ImageData(new Uint8ClampedArray(bytes), width, height), 0, 0);
    if (box) {
      const [x, y, w, h] = [box.x, box.y, box.width, box.height].map((value) => value / bin);
      context.lineWidth = 2;
      context.strokeStyle = "#000000";
      context.strokeRect(x, y, w, h);
    }
  }, shown, window, kBin);
  const element = await page.$("canvas");
  const file = path.join(target, `guide_${name}.png`);
  await element.screenshot({ path: file });
  await page.close();
  await withFewColours(browser, file, 3);
  written(`guide_${name}`);
}

/// The beginning of a report and one calibration; what lies between is left out.
async function pictureOfReport(browser) {
  const page = await open(browser, path.join(root, "good", "report.html"), { width: 1180 });
  await page.evaluate((light) => {
    const kept = document.getElementById("colour_matrix").closest("section");
    for (const article of kept.querySelectorAll("article")) {
      if (!article.querySelector("h3").textContent.includes(light)) {
        article.remove();
      }
    }
    document.querySelectorAll("section.calibration").forEach((one) => one === kept || one.remove());
    for (const heading of document.querySelectorAll("main > h2")) {
      for (let next = heading; ["Findings", "Inputs"].includes(heading.textContent) && next;) {
        const gone = next;
        next = next.nextElementSibling;
        next = next && !["H2", "SECTION"].includes(next.nodeName) ? next : null;
        gone.remove();
      }
    }
    dispatchEvent(new Event("beforeprint")); // draws once more, as wide as there is room now
  }, kLight.replace(" ", ""));
  await page.setViewport({ ...page.viewport(), height: 1365, deviceScaleFactor: 0.56 });
  await page.$$eval("image", (images) => images.forEach((image) => (image.style.filter = "blur(2px)")));
  const file = path.join(target, "report.png");
  await page.screenshot({ path: file });
  page.expectQuiet();
  await page.close();
  await withFewColours(browser, file, 17);
  written("report", kReportBytes);
}

for (const [session, [fault, only]] of Object.entries(kSessions)) {
  prepare(session, fault, only);
}
await withBrowser(async (browser) => {
  for (const figure of kFigures) {
    await pictureOfFigure(browser, ...figure);
  }
  for (const capture of kCaptures) {
    await pictureOfCapture(browser, ...capture);
  }
  await pictureOfReport(browser);
});
const together = fs.readdirSync(target).reduce((sum, name) => sum + fs.statSync(path.join(target, name)).size, 0);
assert.ok(together <= kTogether + kReportBytes, `${together} bytes together`);
