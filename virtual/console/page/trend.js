// The aging run's trend as it grows: battery, temperature and load over time, with the phases below.
import { make, note } from "./dom.js";

const SVG = "http://www.w3.org/2000/svg";
const WIDTH = 640, HEIGHT = 260, LEFT = 40, RIGHT = 44, TOP = 10, FLOOR = 216;
const MOST = 600; // points drawn; of more, every second, third ...
const PHASES = ["begin", "reboot", "suspend", "video", "camera", "cpu", "stopped"];

const svg = (name, attributes, text) => {
  const element = document.createElementNS(SVG, name);
  for (const [key, value] of Object.entries(attributes)) element.setAttribute(key, value);
  if (text !== undefined) element.textContent = text;
  return element;
};

// Lines that are not understood, such as one that a power cut tore, are left out.
function points(text) {
  return text.split("\n").map((line) => line.split(",")).filter((cells) => cells.length >= 6 && /^\d+$/.test(cells[0]))
    .map(([time, phase, level, voltage, current, temperature, ...cpu]) => ({
      time: Number(time), phase, level: Number(level), voltage: Number(voltage), current: Number(current), temperature: Number(temperature) / 10,
      load: cpu.length ? cpu.reduce((sum, core) => sum + Number(core), 0) / cpu.length : 0,
    })).filter((point) => Object.values(point).every((value) => typeof value === "string" || Number.isFinite(value)));
}

export function trendTab(panel, focus) {
  let all = [];
  const plot = svg("svg", { viewBox: `0 0 ${WIDTH} ${HEIGHT}`, class: "plot", role: "img", "aria-label": "No aging run has left a trend yet" });
  const text = make("p", { id: "trend-now", role: "status" });
  const clock = (time) => new Date(time * 1000).toLocaleTimeString([], { hour: "2-digit", minute: "2-digit", second: "2-digit" });

  const draw = () => {
    plot.replaceChildren();
    if (!all.length) {
      text.textContent = "No aging run has left a trend yet. It begins with the first run and grows by a point every ten seconds.";
      return;
    }
    const step = Math.ceil(all.length / MOST), shown = all.filter((_, i) => i % step === 0 || i === all.length - 1);
    const first = shown[0].time, span = Math.max(1, shown.at(-1).time - first);
    const warm = shown.map((point) => point.temperature);
    const cold = Math.floor(Math.min(...warm) / 5) * 5, hot = Math.max(cold + 10, Math.ceil(Math.max(...warm) / 5) * 5);
    const x = (time) => LEFT + ((time - first) / span) * (WIDTH - LEFT - RIGHT);
    const percent = (value) => FLOOR - (value / 100) * (FLOOR - TOP);
    const degrees = (value) => FLOOR - ((value - cold) / (hot - cold)) * (FLOOR - TOP);
    for (const value of [0, 25, 50, 75, 100]) {
      plot.append(svg("line", { x1: LEFT, x2: WIDTH - RIGHT, y1: percent(value), y2: percent(value), class: "grid" }),
        svg("text", { x: LEFT - 5, y: percent(value) + 4, "text-anchor": "end" }, `${value}%`),
        svg("text", { x: WIDTH - RIGHT + 5, y: percent(value) + 4 }, `${(cold + ((hot - cold) * value) / 100).toFixed(0)}°`));
    }
    for (let i = 0; i < shown.length; ) {
      const begin = i, { phase } = shown[i];
      while (i < shown.length && shown[i].phase === phase) ++i;
      const from = x(shown[begin].time), to = i < shown.length ? x(shown[i].time) : WIDTH - RIGHT;
      const hue = PHASES.indexOf(phase);
      const bar = svg("rect", { x: from, y: FLOOR + 6, width: Math.max(1, to - from), height: 14, class: `phase phase-${hue < 0 ? 7 : hue}` });
      bar.append(svg("title", {}, phase));
      plot.append(bar);
      if (to - from > 6 * phase.length + 8) plot.append(svg("text", { x: from + 4, y: FLOOR + 17, class: "in-bar" }, phase));
    }
    const line = (name, y) => plot.append(svg("polyline", { class: name, points: shown.map((point) => `${x(point.time).toFixed(1)},${y(point).toFixed(1)}`).join(" ") }));
    line("level", (point) => percent(point.level));
    line("load", (point) => percent(point.load));
    line("temperature", (point) => degrees(point.temperature));
    plot.append(svg("text", { x: LEFT, y: HEIGHT - 8 }, clock(first)), svg("text", { x: WIDTH - RIGHT, y: HEIGHT - 8, "text-anchor": "end" }, clock(shown.at(-1).time)));
    const now = all.at(-1);
    text.textContent = `${clock(now.time)}: phase ${now.phase}, battery ${now.level} % at ${(now.voltage / 1000).toFixed(2)} V and ${now.current} mA, ` +
      `${now.temperature.toFixed(1)} °C, load ${now.load.toFixed(0)} %; ${all.length} points`;
    plot.setAttribute("aria-label", `Aging trend. ${text.textContent}`);
  };
  focus.hear("trend", ({ anew, text: more }) => {
    all = (anew ? [] : all).concat(points(more));
    draw();
  });
  const report = make("button", { type: "button", id: "report",
    onclick: () => focus.link.download(`/report/${focus.name}`, `${focus.name}-aging.html`).catch((error) => note(error.message)) }, "Report");
  panel.append(make("p", { class: "legend" }, make("span", { class: "level" }, "battery level"), make("span", { class: "load" }, "processor load"),
    make("span", { class: "temperature" }, "temperature (right)")), plot, text, make("div", { class: "row" }, report));
  draw();
  return (shown) => focus.link.send({ op: "trend", handset: focus.name, on: shown });
}
