// The test PC's side: a command line with history and completion, and what each command changed.
import { make } from "./dom.js";

const VERDICTS = ["untested", "pass", "fail", "invalid"];
const MOST = 12;
let vocabulary; // the program's own table, the same for all handsets

export function pcTab(panel, focus) {
  const history = JSON.parse(sessionStorage.getItem("commands") ?? "[]");
  let at = history.length, chosen = -1, found = [];
  vocabulary ??= fetch("/commands.json").then((answer) => answer.json()).catch(() => []);

  const input = make("input", { id: "command", type: "text", role: "combobox", autocomplete: "off", spellcheck: "false", maxlength: 1023,
    "aria-expanded": "false", "aria-controls": "completions", "aria-autocomplete": "list", placeholder: "batteryMoudle testItem power" });
  const list = make("ul", { id: "completions", role: "listbox", "aria-label": "Commands", hidden: true });
  const output = make("ol", { class: "replies", "aria-live": "polite", "aria-label": "Replies" });

  const close = () => {
    list.hidden = true;
    chosen = -1;
    input.setAttribute("aria-expanded", "false");
    input.removeAttribute("aria-activedescendant");
  };
  const mark = (index) => {
    chosen = index;
    [...list.children].forEach((item, i) => item.setAttribute("aria-selected", i === index));
    if (index >= 0) {
      input.setAttribute("aria-activedescendant", `completion-${index}`);
      list.children[index].scrollIntoView({ block: "nearest" });
    }
  };
  const take = (index) => {
    input.value = found[index];
    close();
    input.focus();
  };
  const complete = async () => {
    const words = await vocabulary, typed = input.value.trim().toLowerCase();
    const begins = words.filter((word) => word.toLowerCase().startsWith(typed));
    const holds = words.filter((word) => !begins.includes(word) && typed.split(/\s+/).every((part) => word.toLowerCase().includes(part)));
    found = typed ? [...begins, ...holds].filter((word) => word !== input.value).slice(0, MOST) : [];
    list.replaceChildren(...found.map((word, i) =>
      make("li", { role: "option", id: `completion-${i}`, "aria-selected": "false", onpointerdown: (event) => (event.preventDefault(), take(i)) }, word)));
    list.hidden = !found.length;
    input.setAttribute("aria-expanded", String(!list.hidden));
    chosen = -1;
    input.removeAttribute("aria-activedescendant");
  };

  input.addEventListener("input", complete);
  input.addEventListener("blur", close);
  input.addEventListener("keydown", (event) => {
    const step = { ArrowDown: 1, ArrowUp: -1 }[event.key];
    if (step && !list.hidden) mark((chosen + step + found.length) % found.length);
    else if (step) {
      at = Math.max(0, Math.min(history.length, at + step));
      input.value = history[at] ?? "";
    } else if (event.key === "Tab" && !event.shiftKey && !list.hidden) take(Math.max(0, chosen));
    else if (event.key === "Enter" && chosen >= 0) take(chosen);
    else if (event.key === "Escape" && !list.hidden) close();
    else return;
    event.preventDefault();
  });

  const send = async (event) => {
    event.preventDefault();
    const text = input.value;
    if (!text.trim()) return;
    close();
    if (history.at(-1) !== text) history.push(text);
    at = history.length;
    sessionStorage.setItem("commands", JSON.stringify(history.slice(-200)));
    input.value = "";
    const answer = make("div", { class: "answer" }, "…"), changes = make("ul", { class: "changes" });
    output.prepend(make("li", {}, make("code", {}, text), answer, changes));
    while (output.children.length > 200) output.lastChild.remove();
    try {
      const effects = await focus.link.ask({ op: "pc", handset: focus.name, text }, ({ status, reply, ms }) => {
        const says = { 0: "done", 2: "failed or unknown", 3: "no handler" }[status] ?? "";
        answer.replaceChildren(make("span", { class: status === 0 ? "pass" : "fail", "data-status": status }, `${status} ${says}`), " ",
          reply ? make("code", {}, reply) : "", make("small", {}, ` ${ms.toFixed(1)} ms`));
      });
      changes.replaceChildren(...told(effects));
    } catch (error) {
      answer.replaceChildren(make("span", { class: "fail" }, error.message));
    }
  };
  panel.append(make("form", { class: "command", onsubmit: send },
    make("label", { for: "command" }, "Command"), make("div", { class: "combo" }, input, list), make("button", { type: "submit" }, "Send")),
    make("p", { class: "quiet" }, "Arrows: earlier commands, or the list; Tab completes."), output);
}

function told({ writes, more, flags, before, after }) {
  const last = new Map(writes); // of several writes the last one counts
  const lines = [...last].map(([path, value]) => make("li", {}, make("code", {}, path), " = ", make("code", {}, value)));
  if (more) lines.push(make("li", {}, `${more} writes more`));
  for (const [station, was, is] of flags) lines.push(make("li", {}, `station ${station}: ${VERDICTS[was]} → ${VERDICTS[is]}`));
  if (before !== after) lines.push(make("li", {}, `screen: ${before || "(nothing)"} → ${after || "(nothing)"}`));
  return lines.length ? lines : [make("li", { class: "quiet" }, "changed nothing that is seen from here")];
}
