// The handset's log as it comes, by level and tag, with search.
import { make, labelled } from "./dom.js";

const LEVELS = ["V", "D", "I", "W", "E", "F"], MOST = 3000, SHOWN = 1000;
const LINE = /^(\S+ \S+)\s+(\d+)\s+(\d+) ([VDIWEF]) (.*?): ?(.*)$/;

export function logTab(panel, focus) {
  let lines = [], waiting = [], tags = new Set(), due = false;
  const level = make("select", { id: "log-level" }, ...[["V", "all"], ["D", "debug"], ["I", "info"], ["W", "warnings"], ["E", "errors"]]
    .map(([value, text]) => make("option", { value }, text)));
  const known = make("datalist", { id: "log-tags" });
  const tag = make("input", { type: "text", id: "log-tag", list: "log-tags", size: 14 });
  const search = make("input", { type: "search", id: "log-search" });
  const follow = make("input", { type: "checkbox", checked: true });
  const count = make("output", { class: "quiet" });
  const view = make("div", { class: "log", role: "log", "aria-live": "off", "aria-label": "Log lines", tabindex: 0 });

  const fits = (line) => LEVELS.indexOf(line.level) >= LEVELS.indexOf(level.value) && (!tag.value || line.tag === tag.value) &&
    (!search.value || line.text.toLowerCase().includes(search.value.toLowerCase()));
  const drawn = (line) => make("div", { class: `line ${line.level}` }, line.text);
  const end = () => {
    while (view.children.length > SHOWN) view.firstChild.remove();
    count.value = `${view.children.length} lines shown, ${lines.length} kept`;
    if (follow.checked) view.scrollTop = view.scrollHeight;
  };
  const again = () => {
    view.replaceChildren(...lines.filter(fits).slice(-SHOWN).map(drawn));
    end();
  };
  const add = () => {
    due = false;
    view.append(...waiting.filter(fits).map(drawn));
    waiting = [];
    end();
  };
  focus.hear("log", ({ lines: texts }) => {
    for (const text of texts) {
      const [, , , , letter = "V", name = ""] = LINE.exec(text) ?? [];
      const line = { text, level: letter, tag: name };
      lines.push(line);
      waiting.push(line);
      if (name && !tags.has(name)) {
        tags.add(name);
        known.append(make("option", { value: name }));
      }
    }
    if (lines.length > MOST) lines = lines.slice(-MOST);
    if (!due) requestAnimationFrame(add);
    due = true;
  });
  for (const field of [level, tag, search]) field.addEventListener("input", again);
  follow.addEventListener("change", end);
  panel.append(make("div", { class: "row" }, labelled("Level", level), labelled("Tag", tag), known, labelled("Search", search), labelled("Follow", follow), count), view);
  return (shown) => {
    lines = [];
    waiting = [];
    view.replaceChildren();
    focus.link.send({ op: "log", handset: focus.name, on: shown });
  };
}
