// One handset: its screen and keys on the left, everything else in tabs.
import { make, note } from "./dom.js";
import { feelTouches, keyButton } from "./screen.js";
import { stateText } from "./overview.js";
import { hardwareTab } from "./hardware.js";
import { pcTab } from "./pc.js";
import { logTab } from "./log.js";
import { resultsTab } from "./results.js";
import { trendTab } from "./trend.js";

const SOFT_KEYS = [
  { key: "pass", label: "Left", shortcut: "Enter", hint: "Left soft key: pass, confirm" },
  { key: "start", label: "Middle", shortcut: "Space", hint: "Middle soft key: start" },
  { key: "fail", label: "Right", shortcut: "Backspace", hint: "Right soft key: fail, back" },
];
const SIDE_KEYS = [
  { key: "power", label: "Power", shortcut: "P" },
  { key: "volumeup", label: "Volume", hint: "Volume up", shortcut: "+" },
  { key: "volumedown", label: "Volume", hint: "Volume down", shortcut: "-" },
  { key: "home", label: "Home", shortcut: "H" },
  { key: "back", label: "Back", shortcut: "B" },
  { key: "menu", label: "Menu", shortcut: "M" },
  { key: "camera", label: "Camera", shortcut: "C" },
  { key: "hook", label: "Hook", hint: "Button of the headset", shortcut: "K" },
];
const BLANK = "/sys/class/graphics/fb0/blank", LIGHT = "/sys/class/leds/lcd-backlight/brightness";
const TABS = [["Hardware", hardwareTab], ["PC", pcTab], ["Log", logTab], ["Results", resultsTab], ["Aging", trendTab]];

// Everything that is known of the handset that the page shows, and who wants to hear of it.
class Focus extends EventTarget {
  constructor({ link, handsets }, name) {
    super();
    this.link = link;
    this.name = name;
    this.handsets = handsets;
    this.attributes = new Map(); // path -> {value, fault, present, settable}
    this.flags = {};
    this.ends = [];
    this.hear("status", () => this.#tell("status"));
    this.hear("hardware", () => this.#tell("hardware"));
    this.hear("flags", ({ flags }) => {
      this.flags = flags;
      this.#tell("flags");
    });
    this.hear("attributes", ({ attributes }) => {
      for (const [path, value, fault, present, settable] of attributes) this.attributes.set(path, { value, fault, present, settable });
      this.#tell("attributes", attributes.map(([path]) => path));
    });
    this.on("up", () => this.open());
  }
  get status() {
    return this.handsets.get(this.name)?.status ?? { state: "stopped" };
  }
  get running() {
    return this.status.state !== "stopped";
  }
  value(path) {
    return this.attributes.get(path)?.value ?? "";
  }
  open() {
    this.link.send({ op: "open", handset: this.name });
  }
  request(request) {
    return this.link.request(this.name, request);
  }
  // The same for a control: what goes wrong is told to the operator.
  async order(request) {
    try {
      return await this.request(request);
    } catch (error) {
      note(error.message);
      return null;
    }
  }
  set(path, value) {
    return this.order({ op: "attr", path, value: String(value) });
  }
  on(type, told) {
    this.link.addEventListener(type, told);
    this.ends.push(() => this.link.removeEventListener(type, told));
  }
  hear(type, told) {
    this.on(type, ({ detail }) => detail.handset === this.name && told(detail));
  }
  #tell(type, detail) {
    this.dispatchEvent(new CustomEvent(type, { detail }));
  }
  end() {
    for (const end of this.ends) end();
  }
}

export function showHandset(main, state, name) {
  if (!state.handsets.has(name)) {
    main.append(make("p", {}, `There is no handset '${name}'. `), make("a", { href: "#/" }, "All handsets"));
    return () => {};
  }
  const focus = new Focus(state, name);
  main.append(make("div", { class: "handset" }, phone(focus, state), tabs(focus)));
  focus.open();
  return () => focus.end();
}

function phone(focus, { link, pictures }) {
  const { name } = focus;
  const canvas = make("canvas", { id: "screen", tabindex: 0, role: "img", width: 72, height: 128,
    "aria-label": `Screen of ${name}; touch it, or use the keys and their shortcuts` });
  const veil = make("p", { class: "veil", hidden: true });
  const keys = new Map();
  const buttons = (list) => list.map((key) => {
    const button = keyButton(link, name, key);
    keys.set({ Space: " " }[key.shortcut] ?? key.shortcut.toLowerCase(), button);
    keys.set(key.shortcut, button);
    return button;
  });
  const status = make("span", { class: "state", id: "state" });
  const power = make("button", { type: "button", onclick: () => focus.order({ op: "boot" }) }, "Switch on");
  const reboot = make("button", { type: "button", id: "reboot", onclick: () => focus.order({ op: "reboot" }) }, "Reboot");
  const picture = make("button", { type: "button", onclick: () => link.download(`/screenshot/${name}`, `${name}.png`).catch((error) => note(error.message)) },
    "Screenshot");

  const fill = () => {
    const text = stateText(focus.status);
    status.textContent = status.dataset.state = text;
    const on = text === "running" || text === "asleep";
    const blank = !["", "0"].includes(focus.value(BLANK)) || focus.value(LIGHT) === "0";
    canvas.classList.toggle("off", !on || blank);
    veil.hidden = on && !blank;
    veil.textContent = text === "stopped" ? `Not running; start it with: ./handset boot -n ${name}`
      : text === "off" ? "Switched off" : text === "booting" ? "Booting …"
      : text === "asleep" ? "Asleep: press a key" : "Screen off: press a key";
    power.hidden = text !== "off";
    reboot.disabled = !on;
  };
  focus.addEventListener("status", fill);
  focus.addEventListener("attributes", ({ detail }) => (detail.includes(BLANK) || detail.includes(LIGHT)) && fill());
  fill();
  focus.ends.push(pictures.show(name, canvas), feelTouches(canvas, link, name));

  // The keyboard is the handset's while its screen has the focus.
  const shortcut = (down) => (event) => {
    const button = event.ctrlKey || event.altKey || event.metaKey ? null : keys.get(event.key) ?? keys.get(event.key.toLowerCase());
    if (!button) return;
    event.preventDefault();
    if (!event.repeat) button.press(down);
  };
  canvas.addEventListener("keydown", shortcut(true));
  canvas.addEventListener("keyup", shortcut(false));
  canvas.addEventListener("blur", () => keys.forEach((button) => button.press(false)));

  return make("section", { class: "phone", "aria-label": `Handset ${name}` },
    make("h2", {}, name, " ", status),
    make("div", { class: "body" },
      make("div", { class: "glass" }, canvas, veil),
      make("div", { class: "soft", role: "group", "aria-label": "Soft keys" }, ...buttons(SOFT_KEYS)),
      make("div", { class: "side", role: "group", "aria-label": "Keys" }, ...buttons(SIDE_KEYS))),
    make("p", { class: "hint" }, "Shortcuts work while the screen has the focus."),
    make("div", { class: "row" }, power, reboot, picture));
}

function tabs(focus) {
  const list = make("div", { role: "tablist", "aria-label": "What to look at" });
  const panels = [];
  const choose = (index, take) => {
    panels.forEach(({ tab, panel, shown }, i) => {
      const here = i === index;
      tab.setAttribute("aria-selected", here);
      tab.tabIndex = here ? 0 : -1;
      if (panel.hidden === !here) return;
      panel.hidden = !here;
      shown?.(here);
    });
    if (take) panels[index].tab.focus();
  };
  TABS.forEach(([title, build], index) => {
    const id = title.toLowerCase();
    const panel = make("div", { role: "tabpanel", id: `panel-${id}`, "aria-labelledby": `tab-${id}`, tabindex: 0, hidden: true });
    const shown = build(panel, focus); // told when it is shown (true) and hidden
    const tab = make("button", { type: "button", role: "tab", id: `tab-${id}`, "aria-controls": `panel-${id}`, onclick: () => choose(index) }, title);
    tab.addEventListener("keydown", (event) => {
      const step = { ArrowRight: 1, ArrowLeft: -1 }[event.key];
      const to = event.key === "Home" ? 0 : event.key === "End" ? TABS.length - 1 : step ? (index + step + TABS.length) % TABS.length : -1;
      if (to < 0) return;
      event.preventDefault();
      choose(to, true);
    });
    list.append(tab);
    panels.push({ tab, panel, shown });
  });
  focus.ends.push(() => panels.forEach(({ panel, shown }) => panel.hidden || shown?.(false)));
  focus.on("up", () => panels.forEach(({ panel, shown }) => panel.hidden || shown?.(true)));
  choose(0);
  return make("section", { class: "tabs", "aria-label": "Tools" }, list, ...panels.map(({ panel }) => panel));
}
