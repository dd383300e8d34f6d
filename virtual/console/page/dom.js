// Makes elements: make("button", {class: "big", onclick: f, "aria-label": "x"}, "text", child).
export function make(name, attributes = {}, ...children) {
  const element = document.createElement(name);
  for (const [key, value] of Object.entries(attributes)) {
    if (key.startsWith("on")) element.addEventListener(key.slice(2), value);
    else if (key in element && typeof value === "boolean") element[key] = value;
    else if (value !== undefined && value !== null) element.setAttribute(key, value);
  }
  element.append(...children.filter((child) => child !== null && child !== undefined));
  return element;
}

// A field with its label in front; the field gets the label's name for who cannot see it.
export function labelled(text, field, ...more) {
  return make("label", { class: "field" }, make("span", {}, text), field, ...more);
}

// Tells the operator of something that went wrong, for a while.
export function note(text) {
  const list = document.getElementById("notes");
  if (list.lastChild?.textContent === text) return;
  const line = make("p", {}, text);
  list.append(line);
  setTimeout(() => line.remove(), 8000);
}

// Sends what a slider moves through, one at a time, the last one surely.
export function latest(send) {
  let busy = false, next;
  const go = async (value) => {
    busy = true;
    try {
      await send(value);
    } finally {
      busy = false;
      if (next !== undefined) {
        const [waiting] = [next, (next = undefined)];
        go(waiting);
      }
    }
  };
  return (value) => (busy ? (next = value) : go(value));
}
