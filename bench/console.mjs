// The browser's end of bench_console: node console.mjs HANDSET. Prints a line of JSON for each order that it reads.
//   console            starts the console -> {pid}
//   open | shut        a browser with the page of the handset, or none
//   frames SECONDS     -> {drawn}: frames that the page drew meanwhile
//   touch CELLS        [[x, y, lift] ...] in pixels of the screen, each touched and waited for -> {ms: [...]}
import { browser, endAll, serve } from "../tests/browser/browser.mjs";
import { createInterface } from "node:readline";

const [name] = process.argv.slice(2);
const GREEN = [0, 255, 0], LOOK = 4; // a painted cell; where it is looked at lies beside the finger's line
let served, context, page;

const orders = {
  async console() {
    served = await serve("console", "-n", name);
    return { pid: served.pid };
  },
  async open() {
    context = await browser({ viewport: { width: 1280, height: 900 } });
    page = await context.newPage();
    await page.goto(served.url);
    await page.waitForSelector("#state[data-state=running]");
    await page.waitForFunction(() => document.getElementById("screen").width > 100);
    return {};
  },
  async shut() {
    await context.close();
    return {};
  },
  async frames(seconds) {
    const drawn = await page.evaluate(async (time) => {
      const canvas = document.getElementById("screen");
      let count = 0;
      const one = () => ++count;
      canvas.addEventListener("drawn", one);
      await new Promise((done) => setTimeout(done, 1000 * time));
      canvas.removeEventListener("drawn", one);
      return count;
    }, Number(seconds));
    return { drawn };
  },
  async touch(text) {
    // A held button of the mouse is what lets a script's pointer events capture the pointer.
    const box = await page.locator("#screen").boundingBox();
    await page.mouse.move(box.x + box.width / 2, box.y + box.height - 3);
    await page.mouse.down();
    const ms = await page.evaluate(async ([cells, green, look]) => {
      const canvas = document.getElementById("screen"), context = canvas.getContext("2d");
      const box = canvas.getBoundingClientRect(), samples = [];
      const put = (type, x, y) => canvas.dispatchEvent(new PointerEvent(type, { pointerId: 1, button: type === "pointermove" ? -1 : 0, bubbles: true,
        cancelable: true, clientX: box.left + ((x + .5) / canvas.width) * box.width, clientY: box.top + ((y + .5) / canvas.height) * box.height }));
      const painted = ({ left, top }) => context.getImageData(left + look, top + look, 1, 1).data.slice(0, 3).every((value, i) => value === green[i]);
      put("pointerup", 1, 1);
      for (const cell of cells) {
        if (cell.lift) put("pointerup", cell.x, cell.y);
        const before = painted(cell); // by the way between two others
        const begin = performance.now();
        put(cell.lift ? "pointerdown" : "pointermove", cell.x, cell.y);
        while (!painted(cell)) {
          const drawn = await new Promise((done) => {
            const late = setTimeout(() => done(false), 3000);
            canvas.addEventListener("drawn", () => (clearTimeout(late), done(true)), { once: true });
          });
          if (!drawn && !painted(cell)) throw new Error(`the cell at ${cell.x}, ${cell.y} was not painted`);
        }
        if (!before) samples.push(Math.max(performance.now() - begin, .1)); // the clock's step
      }
      put("pointerup", 1, 1);
      return samples;
    }, [JSON.parse(text), GREEN, LOOK]);
    await page.mouse.up();
    return { ms };
  },
};

try {
  for await (const line of createInterface({ input: process.stdin })) {
    const [order, ...rest] = line.split(" ");
    console.log(JSON.stringify(await orders[order](rest.join(" "))));
  }
} catch (error) {
  console.log(JSON.stringify({ error: error.message }));
} finally {
  await endAll();
}
process.exit(0);
