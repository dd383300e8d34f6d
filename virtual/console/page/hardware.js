// What the handset is made of and what happens to it: battery, lights, sensors, cards, parts, attributes and their faults.
import { make, labelled, latest } from "./dom.js";

const LEDS = "/sys/class/leds/";
const LIGHTS = [["red", "Red light"], ["green", "Green light"], ["blue", "Blue light"], ["lcd-backlight", "Backlight"],
  ["button-backlight", "Key light"], ["flashlight", "Flashlight"], ["flashlight2", "Second flashlight"], ["flashlight-front", "Front flashlight"]];
const VIBRATOR = `${LEDS}vibrator/activate`, HEADSET = "/sys/class/switch/h2w/state";
const SWITCHES = { hall: "Magnet near the hall switch", fingerprint: "Finger on the reader", usbhost: "Device in the USB port" };
const NAMES = { sim0: "SIM slot 1", sim1: "SIM slot 2", sdcard: "Memory card", nfc: "NFC tag", forcetouch: "Force on the screen", fm: "FM aerial", gps: "Satellites",
  smartpa: "Speaker impedance", touchselftest: "Touch self test", heartrate: "Heart rate" };
const HEALTH = { Good: "good", Overheat: "overheat", Dead: "dead", "Over voltage": "over-voltage", Cold: "cold",
  "Unspecified failure": "unspecified-failure", Unknown: "unknown" };
const MOST_ROWS = 60;

const options = (values) => values.map(([value, text]) => make("option", { value }, text));

export function hardwareTab(panel, focus) {
  panel.append(battery(focus), lights(focus), sensors(focus), parts(focus), storage(focus), attributes(focus));
}

function group(title, ...children) {
  return make("fieldset", {}, make("legend", {}, title), ...children);
}

// Nobody's hands are on it: a value from the handset may be put in.
const idle = (field) => document.activeElement !== field;

function battery(focus) {
  const set = (values) => focus.order({ op: "battery", ...values });
  const level = make("input", { type: "range", id: "level", min: 0, max: 100, step: 1 });
  const percent = make("output", { for: "level", id: "percent" });
  const charger = make("select", { id: "charger", onchange: () => set({ charger: charger.value }) },
    ...options([["none", "not plugged in"], ["usb", "USB"], ["ac", "mains"], ["wireless", "wireless"]]));
  const temperature = make("input", { type: "number", id: "temperature", min: -50, max: 150, step: 0.5,
    onchange: () => temperature.value !== "" && set({ temp: temperature.valueAsNumber }) });
  const health = make("select", { onchange: () => set({ health: health.value }) },
    ...options(Object.entries(HEALTH).map(([kernel, word]) => [word, kernel])));
  const present = make("input", { type: "checkbox", onchange: () => set({ present: present.checked ? 1 : 0 }) });
  const drain = make("input", { type: "text", size: 8, inputmode: "decimal",
    onchange: () => set({ drain: drain.value === "" || drain.value === "default" ? "default" : Number(drain.value) }) });
  const text = make("p", { class: "quiet" });
  const move = latest((value) => set({ level: value }));
  let moved = 0;
  level.addEventListener("input", () => {
    moved = Date.now();
    percent.value = `${level.value} %`;
    move(level.valueAsNumber);
  });

  const show = (state) => {
    if (!state) return;
    // While it is being dragged the slider says where it is, not the handset.
    if (Date.now() - moved > 300) level.value = state.capacity;
    percent.value = Date.now() - moved > 300 ? `${state.capacity} %` : `${level.value} %`;
    charger.value = state.charger;
    if (idle(temperature)) temperature.value = Number(state.temp) / 10;
    health.value = HEALTH[state.health] ?? "unknown";
    present.checked = state.present === "1";
    if (idle(drain)) drain.value = state.drain;
    text.textContent = `${state.status}, ${(state.voltage_now / 1e6).toFixed(3)} V, ${Math.round(state.current_now / 1000)} mA`;
  };
  // Asked for anew when one of its attributes changed; once for many.
  const look = latest(() => focus.request({ op: "battery" }).then(show, () => {}));
  focus.addEventListener("attributes", ({ detail }) => detail.some((path) => path.startsWith("/sys/class/power_supply/")) && look(true));
  return group("Battery", labelled("Level", level, percent), labelled("Charger", charger), labelled("Temperature, °C", temperature),
    labelled("Health", health), labelled("Fitted", present), labelled("Drain, % per hour", drain), text);
}

function lights(focus) {
  const rows = LIGHTS.map(([name, title]) => {
    const path = `${LEDS}${name}/brightness`;
    const lamp = make("span", { class: `lamp ${name}`, "aria-hidden": "true" });
    const slider = make("input", { type: "range", min: 0, max: 255, "data-light": name, "aria-valuetext": "off" });
    const value = make("output", {});
    const move = latest((to) => focus.set(path, to));
    slider.addEventListener("input", () => move(slider.value));
    const fill = () => {
      const now = focus.value(path) || "0";
      if (!slider.matches(":active")) slider.value = now;
      value.value = now === "0" ? "off" : now;
      slider.setAttribute("aria-valuetext", value.value);
      lamp.style.setProperty("--bright", Number(now) / 255);
    };
    return { path, fill, row: labelled(title, slider, value, lamp) };
  });
  const vibrator = make("span", { class: "state", id: "vibrator", role: "status" });
  const headset = make("select", { id: "headset", onchange: () => focus.set(HEADSET, headset.value) },
    ...options([["0", "nothing"], ["2", "headphones"], ["1", "headset with microphone"]]));
  focus.addEventListener("attributes", ({ detail }) => {
    for (const { path, fill } of rows) if (detail.includes(path)) fill();
    if (detail.includes(VIBRATOR)) {
      const on = focus.value(VIBRATOR) === "1";
      vibrator.textContent = on ? "vibrates" : "still";
      vibrator.dataset.state = on ? "running" : "off";
    }
    if (detail.includes(HEADSET)) headset.value = focus.value(HEADSET);
  });
  return group("Lights, vibrator, headset", ...rows.map(({ row }) => row), labelled("Vibrator", vibrator), labelled("Headset socket", headset));
}

function sensors(focus) {
  const box = make("div", { class: "rows" }), rows = new Map();
  const row = ({ name, unit }) => {
    const title = SWITCHES[name] ?? NAMES[name] ?? name[0].toUpperCase() + name.slice(1);
    const set = (text) => focus.order({ op: "sensor", name, values: text.trim().split(/\s+/) });
    if (SWITCHES[name]) {
      const field = make("input", { type: "checkbox", "data-sensor": name, onchange: () => set(field.checked ? "1" : "0") });
      return { line: labelled(title, field), fill: ({ values }) => (field.checked = values === "1"), field };
    }
    const field = make("input", { type: "text", "data-sensor": name, onchange: () => set(field.value), title: unit });
    return { line: labelled(title, field, make("small", {}, unit)), fill: ({ values }) => idle(field) && (field.value = values), field };
  };
  const look = latest(async () => {
    const answer = await focus.request({ op: "sensor" }).catch(() => null);
    for (const sensor of answer?.sensors ?? []) {
      if (!rows.has(sensor.name)) {
        rows.set(sensor.name, row(sensor));
        box.append(rows.get(sensor.name).line);
      }
      const { fill, field } = rows.get(sensor.name);
      fill(sensor);
      field.disabled = !sensor.fitted;
    }
  });
  focus.addEventListener("hardware", () => focus.running && look(true));
  return group("Sensors, cards, what is near", box);
}

function parts(focus) {
  const box = make("div", { class: "checks" }), checks = new Map();
  const look = latest(async () => {
    const answer = await focus.request({ op: "fit" }).catch(() => null);
    for (const { name, what, fitted } of answer?.parts ?? []) {
      if (!checks.has(name)) {
        const check = make("input", { type: "checkbox", "data-part": name,
          onchange: () => focus.order({ op: "fit", parts: [name], fitted: check.checked }) });
        checks.set(name, check);
        box.append(make("label", { title: what }, check, " ", name));
      }
      checks.get(name).checked = fitted;
    }
  });
  focus.addEventListener("hardware", () => focus.running && look(true));
  return make("details", {}, make("summary", {}, "Parts that are fitted"), box);
}

// Only of a handset that was booted with --storage faults.
function storage(focus) {
  const box = make("details", { hidden: true }, make("summary", {}, "Storage that fails"));
  const fields = ["/data", "/cache", "vxocfg", "vxoflag", "vxoprod"].map((path) => {
    const fault = make("select", { "data-storage": path, onchange: () => focus.order({ op: "storage", path, fault: fault.value }) },
      ...options([["none", "works"], ["full", "is full"], ["read-only", "is read-only"], ["eio", "fails (EIO)"]]));
    box.append(labelled(path, fault));
    return { path, fault };
  });
  box.append(make("button", { type: "button", onclick: () => focus.order({ op: "storage", cut: { at: 0, phase: "before", mode: "lose" } }) }, "Cut the power"));
  focus.addEventListener("status", latest(async () => {
    const answer = await focus.request({ op: "storage" }).catch(() => null);
    box.hidden = !answer;
    for (const { path, fault } of fields) fault.value = answer?.faults?.[path] ?? "none";
  }));
  return box;
}

function attributes(focus) {
  const search = make("input", { type: "search", id: "attribute-search", placeholder: "e.g. vibrator" });
  const body = make("tbody", {}), more = make("p", { class: "quiet" });
  const rows = new Map();
  const row = (path) => {
    const field = make("input", { type: "text", "aria-label": `Value of ${path}`, onchange: () => focus.set(path, field.value) });
    const delay = make("input", { type: "number", min: 1, max: 60000, value: 500, "aria-label": "Milliseconds", hidden: true });
    const fault = make("select", { "aria-label": `Fault of ${path}` },
      ...options([["none", "works"], ["eio", "fails (EIO)"], ["stale", "gives the old value"], ["delay", "answers late"]]));
    const order = () => {
      delay.hidden = fault.value !== "delay";
      focus.order({ op: "fault", path, fault: fault.value === "delay" ? `delay=${delay.value}` : fault.value });
    };
    fault.addEventListener("change", order);
    delay.addEventListener("change", order);
    const line = make("tr", { "data-path": path }, make("th", { scope: "row" }, path), make("td", {}, field), make("td", {}, fault, delay));
    const fill = () => {
      const now = focus.attributes.get(path);
      if (idle(field)) field.value = now.value;
      const [kind, time] = now.fault.split("=");
      fault.value = kind;
      delay.hidden = kind !== "delay";
      if (time && idle(delay)) delay.value = time;
      line.classList.toggle("faulty", kind !== "none");
      line.classList.toggle("away", !now.present);
    };
    return { line, fill };
  };
  const list = () => {
    const words = search.value.toLowerCase().split(/\s+/).filter(Boolean);
    const all = [...focus.attributes].filter(([path, { fault }]) =>
      words.length ? words.every((word) => path.toLowerCase().includes(word)) : fault !== "none");
    rows.clear();
    body.replaceChildren(...all.slice(0, MOST_ROWS).map(([path]) => {
      rows.set(path, row(path));
      rows.get(path).fill();
      return rows.get(path).line;
    }));
    more.textContent = !words.length ? `${all.length} with an ordered fault, of ${focus.attributes.size} attributes; search to see others.`
      : all.length > MOST_ROWS ? `${all.length - MOST_ROWS} more; narrow the search.` : `${all.length} found`;
  };
  search.addEventListener("input", list);
  focus.addEventListener("attributes", ({ detail }) => {
    const fresh = detail.some((path) => focus.attributes.get(path).fault !== "none" && !rows.has(path));
    if (detail.length > 50 || (fresh && !search.value)) return list();
    for (const path of detail) rows.get(path)?.fill();
  });
  return make("details", {}, make("summary", {}, "Kernel attributes and their faults"), labelled("Search", search), more,
    make("div", { class: "scroll" }, make("table", { class: "attributes" },
      make("thead", {}, make("tr", {}, ...["Attribute", "Value", "Fault"].map((head) => make("th", { scope: "col" }, head)))), body)));
}
