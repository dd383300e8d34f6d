// What the browser tests and the benchmark of the page share: a handset, its console, a browser; all gone at the end.
import { spawn, execFile } from "node:child_process";
import { createRequire } from "node:module";
import { mkdtempSync, rmSync } from "node:fs";
import { tmpdir } from "node:os";
import { join, resolve } from "node:path";
import { promisify } from "node:util";

const source = resolve(import.meta.dirname ?? new URL(".", import.meta.url).pathname, "../..");
const build = process.env.VXO_BUILD ?? join(source, "build/release");
const modules = process.env.BROWSER_MODULES ?? join(source, "build/browser");
const { chromium } = createRequire(join(modules, "package.json"))("playwright-core");
const tool = join(build, "bin/handset");

const ends = [];
export const atEnd = (end) => ends.unshift(end);
export async function endAll() {
  for (const end of ends.splice(0)) await Promise.resolve(end()).catch((error) => console.error(`at the end: ${error.message}`));
}

// A folder for the handsets and the browsers of this run, unless the caller has one for its handsets.
const scratch = mkdtempSync(join(process.env.TMPDIR ?? tmpdir(), "vxo-browser."));
const environment = { ...process.env, VXO_SOURCE: source, VXO_BUILD: build, VXO_HANDSET_HOME: process.env.VXO_HANDSET_HOME ?? join(scratch, "handsets") };
atEnd(() => rmSync(scratch, { recursive: true, force: true, maxRetries: 5, retryDelay: 200 }));
export const scratchFile = (name) => join(scratch, name);

export async function handset(...words) {
  const { stdout } = await promisify(execFile)(tool, words, { env: environment, maxBuffer: 1 << 26 });
  return stdout;
}

// Boots one in the background.
export async function boot(name, ...options) {
  atEnd(() => handset("wipe", "-n", name));
  await handset("boot", "-n", name, ...options);
}

// Runs a subcommand that serves the page until it is ended; the address that it prints.
export async function serve(...words) {
  const child = spawn(tool, words, { env: environment, stdio: ["ignore", "pipe", "pipe"] });
  const gone = new Promise((done) => child.on("exit", done));
  const stop = async () => (child.kill("SIGINT"), gone);
  atEnd(stop);
  let text = "";
  const url = await new Promise((found, lost) => {
    child.on("exit", () => lost(new Error(`handset ${words.join(" ")} ended: ${text}`)));
    child.stderr.on("data", (more) => (text += more));
    child.stdout.on("data", (more) => {
      text += more;
      const [address] = /http:\/\/127\.0\.0\.1:\d+\/#\S+/.exec(text) ?? [];
      if (address) found(address);
    });
  });
  return { url, pid: child.pid, stop };
}

export async function browser(options = {}) {
  const folder = mkdtempSync(join(scratch, "browser."));
  const context = await chromium.launchPersistentContext(folder, {
    executablePath: process.env.CHROMIUM ?? "/usr/bin/chromium",
    headless: true,
    viewport: { width: 1280, height: 900 },
    acceptDownloads: true,
    args: ["--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run", "--disable-background-networking",
      "--disable-component-update", "--disable-sync"],
    ...options,
  });
  atEnd(() => context.close());
  return context;
}

// Waits until `holds` gives something true, and gives it back.
export async function until(what, holds, seconds = 15) {
  const end = Date.now() + 1000 * seconds;
  for (;;) {
    const found = await holds();
    if (found) return found;
    if (Date.now() > end) throw new Error(`waited ${seconds} s for ${what}`);
    await new Promise((done) => setTimeout(done, 40));
  }
}
