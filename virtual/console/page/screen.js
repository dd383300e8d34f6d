// A handset's screen on a canvas: rectangles as they come, touches as they go.
import { make } from "./dom.js";

export class Picture {
  constructor(canvas) {
    this.canvas = canvas;
    this.context = canvas.getContext("2d", { alpha: false, willReadFrequently: true });
    this.frames = 0;
  }

  // One message (see console/frame.h). What it holds has been checked by nobody but its maker, the console itself.
  draw(buffer) {
    const head = new DataView(buffer);
    const width = head.getUint16(2, true), height = head.getUint16(4, true), count = head.getUint16(6, true);
    if (!this.image || this.image.width !== width || this.image.height !== height) {
      this.canvas.width = width;
      this.canvas.height = height;
      this.canvas.style.setProperty("--ratio", width / height);
      this.image = this.context.createImageData(width, height);
      this.pixels = new Uint32Array(this.image.data.buffer);
      this.scratch = new Uint32Array(width * height);
    }
    let at = 8;
    for (let i = 0; i < count; ++i) {
      const [x, y, w, h] = [0, 2, 4, 6].map((offset) => head.getUint16(at + offset, true));
      const words = head.getUint32(at + 8, true);
      const data = new Uint32Array(buffer, at + 12, words);
      at += 12 + 4 * words;
      this.#place(x, y, w, h, words === w * h ? data : this.#unpacked(data));
      this.context.putImageData(this.image, 0, 0, x, y, w, h);
    }
    ++this.frames;
  }

  #unpacked(data) {
    const out = this.scratch;
    for (let at = 0, to = 0; at < data.length; ) {
      const count = data[at] >>> 1;
      if (data[at] & 1) {
        out.fill(data[at + 1], to, to + count);
        at += 2;
      } else {
        out.set(data.subarray(at + 1, at + 1 + count), to);
        at += 1 + count;
      }
      to += count;
    }
    return out;
  }

  #place(x, y, w, h, from) {
    const width = this.image.width;
    if (w === width) return this.pixels.set(from.subarray(0, w * h), y * width);
    for (let row = 0; row < h; ++row) this.pixels.set(from.subarray(row * w, (row + 1) * w), (y + row) * width + x);
  }
}

// All pictures of the page by the number of their view. A hidden page looks at nothing.
export class Pictures {
  #link;
  #views = new Map();

  constructor(link) {
    this.#link = link;
    link.onframe = (buffer) => this.#draw(buffer);
    link.addEventListener("up", () => this.#begin());
    document.addEventListener("visibilitychange", () => (document.hidden ? this.#pause() : this.#begin()));
  }

  // width 0: as large as it is. The returned function ends it.
  show(handset, canvas, width = 0, each = 0) {
    let number = 0;
    while (this.#views.has(number)) ++number;
    const view = { handset, width, each, picture: new Picture(canvas) };
    this.#views.set(number, view);
    if (!document.hidden) this.#ask(number, view);
    return () => {
      this.#views.delete(number);
      this.#link.send({ op: "screen", view: number, handset, width: -1 });
    };
  }

  #ask(number, view) {
    this.#link.send({ op: "screen", view: number, handset: view.handset, width: view.width });
  }
  #begin() {
    for (const [number, view] of this.#views) this.#ask(number, view);
  }
  #pause() {
    for (const [number, view] of this.#views) this.#link.send({ op: "screen", view: number, handset: view.handset, width: -1 });
  }

  #draw(buffer) {
    const number = new DataView(buffer).getUint8(1);
    const view = this.#views.get(number);
    if (!view) return;
    view.picture.draw(buffer);
    const drawn = () => this.#link.send({ op: "drawn", view: number });
    if (view.each) setTimeout(drawn, view.each);
    else drawn();
    view.picture.canvas.dispatchEvent(new CustomEvent("drawn"));
  }
}

// Touches by mouse, pen and finger; one finger at a time, as the panel feels it.
export function feelTouches(canvas, link, handset) {
  const SIGN_OF_LIFE = 500;
  let finger = null, beat = 0, last = null;
  const touch = (event) => {
    const box = canvas.getBoundingClientRect();
    const place = (value, size) => Math.max(0, Math.min(size - 1, Math.floor(value * size)));
    last = {
      op: "touch", handset,
      x: place((event.clientX - box.left) / box.width, canvas.width),
      y: place((event.clientY - box.top) / box.height, canvas.height),
    };
    link.send(last);
  };
  const lift = (event) => {
    if (finger === null || (event?.pointerId !== undefined && event.pointerId !== finger)) return;
    finger = null;
    clearInterval(beat);
    link.send({ op: "lift", handset });
  };
  canvas.addEventListener("pointerdown", (event) => {
    if (finger !== null || event.button > 0) return;
    finger = event.pointerId;
    canvas.setPointerCapture(finger);
    canvas.focus({ preventScroll: true });
    touch(event);
    // Who falls silent is taken to be lost, and the finger is lifted for it.
    beat = setInterval(() => link.send(last), SIGN_OF_LIFE);
    event.preventDefault();
  });
  canvas.addEventListener("pointermove", (event) => {
    if (event.pointerId !== finger) return;
    const all = event.getCoalescedEvents?.() ?? [];
    for (const each of all.length ? all : [event]) touch(each);
  });
  for (const name of ["pointerup", "pointercancel", "lostpointercapture"]) canvas.addEventListener(name, lift);
  window.addEventListener("blur", lift);
  document.addEventListener("visibilitychange", lift);
  return () => {
    lift();
    window.removeEventListener("blur", lift);
    document.removeEventListener("visibilitychange", lift);
  };
}

// A button that is held as long as the finger, or the key on the keyboard, holds it.
export function keyButton(link, handset, { key, label, shortcut, hint }) {
  let held = false;
  const set = (down) => {
    if (held === down) return;
    held = down;
    button.classList.toggle("held", down);
    link.send({ op: "key", handset, key, down });
  };
  const button = make("button", { type: "button", class: "key", "data-key": key, "aria-keyshortcuts": shortcut, title: hint ?? label, "aria-label": hint ?? label },
    make("span", {}, label), shortcut ? make("kbd", { "aria-hidden": "true" }, shortcut) : null);
  button.addEventListener("pointerdown", (event) => {
    if (event.button > 0) return;
    button.setPointerCapture(event.pointerId);
    set(true);
  });
  for (const name of ["pointerup", "pointercancel", "lostpointercapture", "blur"]) button.addEventListener(name, () => set(false));
  button.addEventListener("keydown", (event) => {
    if (event.key !== "Enter" && event.key !== " ") return;
    set(true);
    event.preventDefault();
    event.stopPropagation();
  });
  button.addEventListener("keyup", (event) => {
    if (event.key === "Enter" || event.key === " ") set(false);
  });
  button.press = set;
  return button;
}
