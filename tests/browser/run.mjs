// The handset's page in a real browser, as an operator uses it. node run.mjs; each step says what it found.
import { atEnd, boot, browser, endAll, handset, scratchFile, serve, until } from "./browser.mjs";
import assert from "node:assert/strict";
import { readFileSync } from "node:fs";

const begun = Date.now();
const problems = [];
let passed = 0, failed = 0;

async function step(name, act) {
  const from = Date.now();
  try {
    await act();
    assert.deepEqual(problems.splice(0), [], "the page reported errors");
    ++passed;
    console.log(`OK   browser: ${name} (${Date.now() - from} ms)`);
  } catch (error) {
    ++failed;
    console.log(`FAIL browser: ${name}\n     ${error.stack?.split("\n").slice(0, 6).join("\n     ")}`);
  }
}

async function open(context, url) {
  const page = await context.newPage();
  page.on("pageerror", (error) => problems.push(error.message));
  page.on("console", (line) => line.type() === "error" && !line.text().includes("WebSocket") && problems.push(line.text()));
  await page.goto(url);
  return page;
}

// ---- as an operator: what stands on the screen is asked of the handset, where it stands is touched in the page ----

const texts = (window) => [...(window.texts ?? []), ...(window.children ?? []).flatMap(texts)];
async function screen(name) {
  const dump = JSON.parse(await handset("dump", "-n", name));
  const windows = dump.windows.filter((window) => window.visible);
  const tall = windows.filter(({ rect }) => rect[3] - rect[1] >= dump.height / 5);
  const front = tall.at(-1);
  const soft = windows.flatMap(function all(window) { return [...(window.softkeys ? [window.softkeys] : []), ...(window.children ?? []).flatMap(all)]; }).at(-1);
  return { ...dump, front, all: windows.flatMap(texts), texts: front ? texts(front) : [], soft: soft ?? [],
    covers: front && front.rect[3] - front.rect[1] >= dump.height };
}
const shows = async (name, text) => (await screen(name)).texts.find((each) => each.text === text);
async function tap(page, dump, x, y) {
  const box = await page.locator("#screen").boundingBox();
  await page.mouse.click(box.x + (x / dump.width) * box.width, box.y + (y / dump.height) * box.height, { delay: 40 });
}
async function tapText(page, name, text) {
  const found = await until(`'${text}' on the screen`, () => shows(name, text));
  await tap(page, await screen(name), (found.rect[0] + found.rect[2]) / 2, (found.rect[1] + found.rect[3]) / 2);
}
const key = (page, name) => page.locator(`[data-key=${name}]`).click({ delay: 60 });
const pixel = (page, x, y) => page.evaluate(([px, py]) => {
  const canvas = document.getElementById("screen");
  return [...canvas.getContext("2d").getImageData(px * canvas.width, py * canvas.height, 1, 1).data].slice(0, 3).join(" ");
}, [x, y]);

// The display, the vibrator and the keys, each with its verdict; see virtual/rootfs/tki_config.ini.
function config() {
  const short = { TKI_LCD: 1, TKI_VIBRATOR: 1, TKI_KEYS: 1 };
  let section = "";
  return readFileSync(new URL("../../virtual/rootfs/tki_config.ini", import.meta.url), "utf8").split("\n").map((line) => {
    section = /^\[(.*)\]/.exec(line)?.[1] ?? section;
    if (line.startsWith("enable=") && section.startsWith("TKI_")) return `enable=${short[section] ?? 0}`;
    if (section === "TKI_LCD" && line.startsWith("parameter=")) return "parameter=colornum:1";
    return line;
  }).join("\n");
}

async function main() {
  const { writeFileSync } = await import("node:fs");
  writeFileSync(scratchFile("short.ini"), config());
  // In the foreground, so that the page that comes with it is the one under test.
  atEnd(() => handset("wipe", "-n", "left"));
  const left = await serve("run", "-n", "left", "--config", scratchFile("short.ini"), "--storage", "faults");
  await boot("right", "--size", "480x800");
  const first = await browser();
  const page = await open(first, left.url);

  await step("the address's key is kept out of the address, and nothing is shown without it", async () => {
    await page.waitForSelector("#state[data-state=running]");
    assert.equal(new URL(page.url()).hash, "#/left");
    const other = await browser();
    const stranger = await open(other, page.url());
    await stranger.waitForFunction(() => document.getElementById("main").textContent.includes("lacks"));
    assert.equal(await stranger.locator("canvas").count(), 0);
    await other.close();
  });

  await step("an automatic run by clicking ends with every verdict in the table", async () => {
    await until("a screen with something on it", async () => (await page.locator("#screen").getAttribute("width")) === "720");
    await tapText(page, "left", "Device tests");
    await tapText(page, "left", "Automatic run");
    await until("the colour", async () => (await screen("left")).covers && (await pixel(page, .5, .5)) !== "0 0 0");
    assert.match(await pixel(page, .5, .5), /^255 255 25[45]$/);
    await until("the display's question", async () => {
      if (await shows("left", "Were all colours clean and even?")) return true;
      await tap(page, await screen("left"), 360, 640);
    });
    await key(page, "pass");
    await until("the vibrator's question", async () => (await shows("left", "Vibrator")) && (await screen("left")).soft[0] === "Pass");
    assert.equal(await page.locator("#vibrator").textContent(), "vibrates");
    await page.locator("#screen").focus();
    await page.keyboard.press("Enter", { delay: 60 }); // the shortcut of the left soft key
    await until("the key test", () => shows("left", "Volume up"));
    for (const name of ["volumeup", "volumedown", "power"]) await key(page, name);
    await page.click("#tab-results");
    for (const station of [280, 316, 312, 64]) await page.waitForSelector(`[data-station="${station}"][data-verdict="1"]`, { timeout: 15000 });
    assert.equal(await page.locator("#verdicts").textContent(), "4 passed, 0 failed");
    await until("the list", async () => (await screen("left")).soft[2] === "Back");
    await key(page, "fail");
    await until("the menu", () => shows("left", "Device tests"));
  });

  await step("the battery slider is dragged until the handset warns", async () => {
    await page.click("#tab-hardware");
    await page.selectOption("#charger", "none");
    const slider = await page.locator("#level").boundingBox();
    const at = (percent) => slider.x + 9 + (slider.width - 18) * (percent / 100), middle = slider.y + slider.height / 2;
    const before = await page.locator("#screen").evaluate((canvas) => canvas.toDataURL());
    await page.mouse.move(at(80), middle);
    await page.mouse.down();
    let level = 80;
    const warned = async () => (await screen("left")).all.some(({ text }) => /low|charge/i.test(text));
    while (level > 5 && !(await warned())) {
      level -= 5;
      await page.mouse.move(at(level), middle, { steps: 3 });
      await new Promise((done) => setTimeout(done, 60));
    }
    await page.mouse.up();
    await until("the warning on the handset's screen", warned, 20);
    await until("the warning in the page", async () => (await page.locator("#screen").evaluate((canvas) => canvas.toDataURL())) !== before);
    const shown = JSON.parse(await page.evaluate(() => JSON.stringify(document.getElementById("percent").value)));
    assert.match(await handset("battery", "-n", "left"), new RegExp(`level: +${parseInt(shown, 10)} %`));
  });

  await step("a command is completed, sent and answered, with what it changed", async () => {
    await page.click("#tab-pc");
    await page.fill("#command", "LCDMoudle testItem FF");
    await page.waitForSelector("#completions li");
    await page.keyboard.press("ArrowDown");
    await page.keyboard.press("ArrowDown");
    await page.keyboard.press("Enter");
    assert.equal(await page.inputValue("#command"), "LCDMoudle testItem FF0000");
    await page.keyboard.press("Enter");
    await page.waitForSelector(".replies > li:first-child [data-status='0']");
    await until("red in the page", async () => (await pixel(page, .5, .5)) === "255 0 0");
    await page.waitForSelector(".replies > li:first-child .changes li");
    await page.fill("#command", "LCDMoudle testItem close");
    await page.keyboard.press("Enter");
    await until("the end of red", async () => (await pixel(page, .5, .5)) !== "255 0 0");
    await page.keyboard.press("ArrowUp");
    assert.equal(await page.inputValue("#command"), "LCDMoudle testItem close");
    await page.fill("#command", "no such thing");
    await page.keyboard.press("Enter");
    await page.waitForSelector(".replies > li:first-child [data-status='2']");
  });

  await step("hardware is shown as it changes, set, and taken away", async () => {
    await page.click("#tab-hardware");
    await handset("attr", "-n", "left", "/sys/class/leds/red/brightness", "200");
    await page.waitForFunction(() => document.querySelector("[data-light=red]").value === "200");
    await page.check("[data-sensor=hall]");
    await until("the magnet", async () => (await handset("attr", "-n", "left", "/sys/class/switch/hall/state")).trim() === "1");
    await page.selectOption("#headset", "1");
    await until("the headset", async () => (await handset("headset", "-n", "left")).trim() === "headset");
    await page.click("summary:has-text('Parts')");
    await page.uncheck("[data-part=nfc]");
    await until("the part", async () => /nfc +not fitted/.test(await handset("fit", "-n", "left")));
    await page.click("summary:has-text('Storage')");
    await page.selectOption("[data-storage='/cache']", "full");
    await until("the full storage", async () => /cache: full/.test(await handset("storage", "show", "-n", "left")));
    await page.selectOption("[data-storage='/cache']", "none");
    await page.click("summary:has-text('attributes')");
    await page.fill("#attribute-search", "leds green bright");
    const row = page.locator("[data-path='/sys/class/leds/green/brightness']");
    await row.locator("select").selectOption("eio");
    await until("the fault", async () => (await row.getAttribute("class"))?.includes("faulty"));
    await handset("fault", "-n", "left", "/sys/class/leds/green/brightness", "none");
    await until("its end", async () => !(await row.getAttribute("class"))?.includes("faulty"));
  });

  await step("the log is followed and filtered", async () => {
    await page.click("#tab-log");
    await page.waitForSelector(".line");
    await page.fill("#log-search", "Hall-7");
    await until("an empty list", async () => (await page.locator(".line").count()) === 0);
    await handset("at", "-n", "left", "SwitchSSID testItem Hall-7");
    await page.waitForSelector(".line:has-text('Hall-7')");
    await page.fill("#log-tag", "NoSuchTag");
    await until("an empty list", async () => (await page.locator(".line").count()) === 0);
  });

  await step("the aging trend grows while it is looked at", async () => {
    await page.click("#tab-aging");
    await page.waitForSelector("#trend-now:has-text('No aging run')");
    const file = scratchFile("trend.csv"), at = "/cache/tki/aging/agingtrend.csv";
    const lines = ["time,phase,level,voltage_mV,current_mA,temperature_C10,cpu0,cpu1", "1795420800,suspend,81,4012,-210,312,4.0,3.5", "1795420810,cpu,80,4002,-810,334,99.0,97.5"];
    await handset("shell", "-n", "left", "mkdir -p /cache/tki/aging");
    for (const [count, text] of [[2, "1 points"], [3, "2 points"]]) {
      writeFileSync(file, lines.slice(0, count).join("\n") + "\n");
      await handset("push", "-n", "left", file, at);
      await page.waitForSelector(`#trend-now:has-text('${text}')`);
    }
    assert.equal(await page.locator(".plot polyline").count(), 3);
    const [download] = await Promise.all([page.waitForEvent("download"), page.click("#report")]);
    await download.saveAs(scratchFile("report.html"));
    assert.match(readFileSync(scratchFile("report.html"), "utf8"), /<svg/);
  });

  await step("two browsers show and touch the same handset", async () => {
    const second = await browser({ colorScheme: "dark", viewport: { width: 390, height: 780 }, hasTouch: true });
    const other = await open(second, left.url);
    await other.waitForSelector("#state[data-state=running]");
    assert.ok(await other.evaluate(() => document.documentElement.scrollWidth <= innerWidth), "the page is wider than a phone");
    await page.click("#tab-pc");
    await page.fill("#command", "LCDMoudle testItem 0000FF");
    await page.keyboard.press("Escape");
    await page.keyboard.press("Enter");
    for (const each of [page, other]) await until("blue in both", async () => (await pixel(each, .5, .5)) === "0 0 255");
    // Mid-touch its browser is gone: the finger is lifted, and the other one can go on.
    await handset("at", "-n", "left", "LCDMoudle testItem close");
    await until("the menu", () => shows("left", "Device tests"));
    const row = await shows("left", "Device tests"), dump = await screen("left"), box = await other.locator("#screen").boundingBox();
    await other.mouse.move(box.x + (row.rect[0] / dump.width) * box.width, box.y + (row.rect[1] / dump.height) * box.height + 4);
    await other.mouse.down();
    await second.close();
    await until("the row that was touched", () => shows("left", "Automatic run"));
    await key(page, "fail");
    await until("the menu", () => shows("left", "Device tests"));
  });

  await step("the overview shows all handsets live", async () => {
    await page.click("#home");
    await page.waitForSelector("[data-name=right] .state[data-state=running]");
    await page.waitForSelector("[data-name=left] .verdicts:has-text('4 passed')");
    const thumb = page.locator("[data-name=right] canvas");
    const looks = () => thumb.evaluate((canvas) => canvas.toDataURL());
    await until("the picture of the other handset", async () => (await thumb.getAttribute("width")) === "160");
    const before = await looks();
    await handset("at", "-n", "right", "LCDMoudle testItem 00FF00");
    await until("its change", async () => (await looks()) !== before);
    await handset("stop", "-n", "right");
    await page.waitForSelector("[data-name=right] .state[data-state=stopped]");
    await page.click("[data-name=left]");
    await page.waitForSelector("#state[data-state=running]");
  });

  await step("a reboot of the handset is survived, and the screen comes back", async () => {
    const boots = /boots: (\d+)/.exec(await handset("status", "-n", "left"))[1];
    await page.click("#reboot");
    await until("the next boot", async () => Number(/boots: (\d+)/.exec(await handset("status", "-n", "left"))[1]) > Number(boots));
    await page.waitForSelector("#state[data-state=running]");
    await until("the menu", () => shows("left", "Device tests").catch(() => false));
    await tapText(page, "left", "Device tests");
    await until("the list", () => shows("left", "Automatic run"));
    const [download] = await Promise.all([page.waitForEvent("download"), page.click("text=Screenshot")]);
    await download.saveAs(scratchFile("shot.png"));
    assert.equal(readFileSync(scratchFile("shot.png")).subarray(1, 4).toString(), "PNG");
  });

  await step("the keyboard reaches everything, and everything has a name", async () => {
    const nameless = await page.evaluate(() => [...document.querySelectorAll("button, input, select, canvas, svg[role], a")]
      .filter((element) => !(element.ariaLabel || element.getAttribute("aria-label") || element.textContent.trim() || element.labels?.length))
      .map((element) => element.outerHTML.slice(0, 120)));
    assert.deepEqual(nameless, []);
    const reached = new Set();
    await page.locator("#home").focus();
    for (let i = 0; i < 25; ++i) {
      await page.keyboard.press("Tab");
      reached.add(await page.evaluate(() => document.activeElement.id || document.activeElement.dataset.key || ""));
    }
    for (const id of ["screen", "pass", "power", "reboot"]) assert.ok(reached.has(id), `${id} is reached by the Tab key`);
    assert.ok([...reached].some((id) => id.startsWith("tab-")), "the tabs are reached");
  });
}

try {
  await main();
} catch (error) {
  ++failed;
  console.log(`FAIL browser: ${error.stack}`);
} finally {
  await endAll();
}
console.log(`browser: ${passed} passed, ${failed} failed, ${Math.round((Date.now() - begun) / 1000)} s`);
process.exit(failed || !passed ? 1 : 0);
