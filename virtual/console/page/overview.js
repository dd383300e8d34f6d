// All handsets of this user: what each shows, how it is, its verdicts.
import { make } from "./dom.js";

export function stateText(status) {
  if (status.state === "running" && status.sleeps) return "asleep";
  return status.state ?? "stopped";
}

export function showOverview(main, { link, pictures, handsets }) {
  const ends = [], cards = new Map();
  const list = make("ul", { class: "cards" });
  const fill = (name) => {
    const { status, passed, failed } = handsets.get(name), card = cards.get(name);
    card.state.textContent = stateText(status);
    card.state.dataset.state = stateText(status);
    card.verdicts.textContent = passed || failed ? `${passed} passed, ${failed} failed` : "nothing tested";
    card.verdicts.dataset.failed = failed > 0;
  };
  for (const name of handsets.keys()) {
    const canvas = make("canvas", { class: "thumb", role: "img", "aria-label": `Screen of ${name}`, width: 90, height: 160 });
    const card = { state: make("span", { class: "state" }), verdicts: make("span", { class: "verdicts" }) };
    cards.set(name, card);
    list.append(make("li", {}, make("a", { href: `#/${name}`, "data-name": name }, canvas, make("h2", {}, name), card.state, card.verdicts)));
    fill(name);
    ends.push(pictures.show(name, canvas, 180, 200));
  }
  main.append(handsets.size ? list : make("p", {}, "There is no handset yet; make one with: ./handset boot"));
  const told = ({ detail }) => cards.has(detail.handset) && fill(detail.handset);
  link.addEventListener("status", told);
  return () => {
    link.removeEventListener("status", told);
    for (const end of ends) end();
  };
}
