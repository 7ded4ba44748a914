// What tests of pages share: a browser without a network, the program, and what every page has to keep.
import assert from "node:assert/strict";
import { spawnSync } from "node:child_process";
import fs from "node:fs";
import { createRequire } from "node:module";
import os from "node:os";
import path from "node:path";
import { pathToFileURL } from "node:url";

const kSkipped = 77; // ctest's SKIP_RETURN_CODE
const kWidths = [390, 1280, 1920];
const kSchemes = ["light", "dark"];

/// What CMake hands over.
export const given = {
  cali: process.env.CALI_PROGRAM,
  session: process.env.CALI_TEST_SESSION,
  packages: process.env.CALI_TEST_PACKAGES,
  browser: process.env.CALI_TEST_BROWSER,
  screenshots: process.env.CALI_TEST_SCREENSHOTS,
};
for (const [what, value] of [["npm packages", given.packages], ["chromium", given.browser]]) {
  if (!value || !fs.existsSync(value)) {
    console.log(`skipped: there are no ${what}: '${value}'`);
    process.exit(kSkipped);
  }
}
const require = createRequire(path.join(given.packages, "node_modules", "/"));
const { default: puppeteer } = await import(pathToFileURL(require.resolve("puppeteer-core")));
const axe = fs.readFileSync(require.resolve("axe-core/axe.min.js"), "utf8");

/// A new folder, gone at the end of the process.
export function temporaryFolder() {
  const folder = fs.mkdtempSync(path.join(os.tmpdir(), "cali_browser_"));
  process.on("exit", () => fs.rmSync(folder, { recursive: true, force: true, maxRetries: 5 }));
  return folder;
}

/// Runs the program in `folder` and gives what it printed.
export function cali(folder, status, ...words) {
  const run = spawnSync(given.cali, words, { cwd: folder, encoding: "utf8" });
  assert.equal(run.status, status, `cali ${words.join(" ")}: ${run.error ?? ""}${run.stdout}${run.stderr}`);
  return run.stdout;
}

/// Gives `work` a browser, which ends with it.
export async function withBrowser(work) {
  const profile = temporaryFolder();
  const browser = await puppeteer.launch({
    executablePath: given.browser,
    headless: true,
    userDataDir: profile,
    args: ["--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run", "--disable-background-networking",
      "--disable-component-update", "--disable-sync"],
  });
  try {
    await work(browser);
  } finally {
    await browser.close();
  }
}

/// Opens a page file. `page.expectQuiet()` fails on what the page complained of, and on every request beside the page's
/// own.
export async function open(browser, file, { width = 1280, scheme = "light", touch = false } = {}) {
  const page = await browser.newPage();
  page.setDefaultTimeout(120_000); // beside other tests, on two cores
  const url = pathToFileURL(file).href;
  const complaints = [];
  page.on("console", (message) => {
    if (["error", "warn"].includes(message.type())) {
      complaints.push(`console: ${message.text()}`);
    }
  });
  page.on("pageerror", (error) => complaints.push(`page: ${error.stack ?? error}`));
  page.on("request", (request) => {
    if (request.url() !== url && !request.url().startsWith("data:")) {
      complaints.push(`request: ${request.url()}`);
    }
  });
  page.on("dialog", (dialog) => {
    complaints.push(`dialog: ${dialog.message()}`);
    void dialog.dismiss();
  });
  page.expectQuiet = () => assert.deepEqual(complaints, [], file);
  await page.setViewport({ width, height: 900, hasTouch: touch });
  await page.emulateMediaFeatures([{ name: "prefers-color-scheme", value: scheme }]);
  await page.goto(url);
  return page;
}

/// Fails where the document is wider than the window, or a text than its box.
export async function expectNoOverflow(page) {
  const height = page.viewport().height;
  for (const width of kWidths) {
    await page.setViewport({ ...page.viewport(), width, height });
    const wide = await page.evaluate(() => {
      const found = [];
      const root = document.documentElement;
      if (root.scrollWidth > root.clientWidth) {
        found.push(`the document: ${root.scrollWidth} in ${root.clientWidth}`);
      }
      const texts = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT);
      while (texts.nextNode()) {
        const box = texts.currentNode.parentElement;
        if (texts.currentNode.data.trim() === "" || box.closest("svg, script, style") || !box.checkVisibility()) {
          continue;
        }
        // The nearest box that has a width of its own; one that scrolls may hold more than it shows.
        let block = box;
        while (block.clientWidth === 0 && block.parentElement) {
          block = block.parentElement;
        }
        const scrolls = ["auto", "scroll"].includes(getComputedStyle(block).overflowX);
        const range = document.createRange();
        range.selectNodeContents(texts.currentNode);
        const text = range.getBoundingClientRect();
        const room = block.getBoundingClientRect();
        if (!scrolls && (text.left < room.left - 1 || text.right > room.right + 1)) {
          found.push(`<${block.localName}> ${texts.currentNode.data.trim().slice(0, 60)}: ` +
            `${text.left} to ${text.right} in ${room.left} to ${room.right}`);
        }
      }
      return found;
    });
    assert.deepEqual(wide, [], `texts wider than their boxes at ${width} pixels`);
  }
}

/// Loads the file again, where the page's policy does not hold, for the tool that looks for barriers; both schemes, and
/// `prepare` brings that page to a state.
export async function expectAccessible(browser, file, prepare = async () => {}) {
  for (const scheme of kSchemes) {
    const page = await browser.newPage();
    await page.setBypassCSP(true);
    await page.emulateMediaFeatures([{ name: "prefers-color-scheme", value: scheme }]);
    await page.goto(pathToFileURL(file).href);
    await prepare(page);
    await page.evaluate(axe);
    const violations = await page.evaluate(async () => {
      // A drawing is one picture with a name; its thousands of marks would take the tool minutes.
      const result = await globalThis.axe.run({ exclude: [[".canvas"]] },
        { runOnly: ["wcag2a", "wcag2aa", "wcag21a", "wcag21aa", "wcag22aa", "best-practice"] });
      return result.violations.flatMap(({ id, nodes }) =>
        nodes.map((node) => `${id}: ${node.html.slice(0, 120)}: ${node.failureSummary}`));
    });
    assert.deepEqual(violations, [], `${path.basename(file)}, ${scheme}`);
    await page.close();
  }
}

/// Pictures of a page in both schemes and two widths, for people.
export async function takePictures(page, name) {
  fs.mkdirSync(given.screenshots, { recursive: true });
  const viewport = page.viewport();
  for (const scheme of kSchemes) {
    await page.emulateMediaFeatures([{ name: "prefers-color-scheme", value: scheme }]);
    for (const width of [390, 1280]) {
      await page.setViewport({ ...viewport, width });
      await page.screenshot({ path: path.join(given.screenshots, `${name}_${scheme}_${width}.png`), fullPage: true });
    }
  }
  await page.setViewport(viewport);
}
