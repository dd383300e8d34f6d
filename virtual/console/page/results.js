// The result flags: every station that was tested, and those of the test items.
import { make, labelled, note } from "./dom.js";

const VERDICTS = ["not tested", "pass", "fail", "invalid"];
const NAMED = { 64: "Whole automatic run", 66: "Whole pretest", 176: "Aging run" };
let items; // station -> names of items

export function resultsTab(panel, focus) {
  items ??= fetch("/stations.json").then((answer) => answer.json()).catch(() => []);
  const which = make("select", { id: "which" }, ...[["all", "tested, and the items"], ["1", "passed"], ["2", "failed"], ["0", "items not tested"]]
    .map(([value, text]) => make("option", { value }, text)));
  const summary = make("p", { id: "verdicts", role: "status" });
  const body = make("tbody", {});
  const station = make("input", { type: "number", min: 0, max: 399, size: 5, required: "" });
  const verdict = make("select", {}, ...[1, 2, 0].map((value) => make("option", { value }, VERDICTS[value])));
  const set = (number, value) => focus.link.ask({ op: "flag", handset: focus.name, station: number, value }).catch((error) => note(error.message));

  const fill = async () => {
    const names = new Map(Object.entries(NAMED).map(([number, name]) => [Number(number), [name]]));
    for (const [number, name] of await items) names.set(number, [...(names.get(number) ?? []), name]);
    for (const number of Object.keys(focus.flags)) if (!names.has(Number(number))) names.set(Number(number), []);
    const rows = [...names].sort(([a], [b]) => a - b).map(([number, called]) => ({ number, called, value: focus.flags[number] ?? 0 }));
    const passed = Object.values(focus.flags).filter((value) => value === 1).length;
    const failed = Object.values(focus.flags).filter((value) => value === 2).length;
    summary.textContent = `${passed} passed, ${failed} failed`;
    body.replaceChildren(...rows.filter(({ value }) => which.value === "all" || value === Number(which.value)).map(({ number, called, value }) =>
      make("tr", { "data-station": number, "data-verdict": value }, make("td", {}, String(number)), make("th", { scope: "row" }, called.join(", ")),
        make("td", {}, make("span", { class: ["quiet", "pass", "fail", "fail"][value] }, VERDICTS[value])),
        make("td", {}, make("button", { type: "button", hidden: value === 0, "aria-label": `Forget the verdict of station ${number}`, onclick: () => set(number, 0) }, "Forget")))));
  };
  focus.addEventListener("flags", fill);
  which.addEventListener("change", fill);
  panel.append(make("div", { class: "row" }, labelled("Show", which), summary),
    make("div", { class: "scroll" }, make("table", { class: "flags" },
      make("thead", {}, make("tr", {}, ...["Station", "Item", "State", ""].map((head) => make("th", { scope: "col" }, head)))), body)),
    make("form", { class: "row", onsubmit: (event) => (event.preventDefault(), set(station.valueAsNumber, Number(verdict.value))) },
      labelled("Station", station), labelled("becomes", verdict), make("button", { type: "submit" }, "Set")));
  fill();
}
