// The page's frame: the token, the connection, and which view is shown.
import { Link } from "./link.js";
import { Pictures } from "./screen.js";
import { note } from "./dom.js";
import { showOverview } from "./overview.js";
import { showHandset } from "./handset.js";

const main = document.getElementById("main");
const line = document.getElementById("link");

// The printed address ends in #TOKEN,HANDSET. The token is kept by this tab and taken out of the address, so that it stands in no history.
function takeToken() {
  const [, token, handset] = /^#([0-9a-f]{64})(?:,([\w-]+))?$/.exec(location.hash) ?? [];
  if (token) {
    sessionStorage.setItem("token", token);
    history.replaceState(null, "", handset ? `/#/${handset}` : "/#/");
  }
  return sessionStorage.getItem("token");
}

const token = takeToken();
if (token) begin(token);
else line.textContent = main.textContent = "Open the address that the handset tool printed; it ends in a key that this address lacks.";

function begin(key) {
  const link = new Link(key);
  const state = { link, pictures: new Pictures(link), handsets: new Map() }; // name -> {status, passed, failed}
  let end = () => {};

  const route = () => {
    const name = decodeURIComponent(location.hash.replace(/^#\/?/, ""));
    end();
    main.replaceChildren();
    document.title = name ? `${name} – handset` : "Handsets";
    end = name ? showHandset(main, state, name) : showOverview(main, state);
  };

  let begun = false, lost = 0;
  link.addEventListener("up", () => {
    lost = 0;
    line.textContent = "Connected";
    line.className = "up";
  });
  link.addEventListener("down", () => {
    line.className = "down";
    line.textContent = ++lost > 4
      ? "The console does not answer. If it was started anew, open the address that it printed then."
      : "Connection lost; trying again …";
  });
  link.addEventListener("handsets", ({ detail: { names } }) => {
    for (const name of state.handsets.keys()) if (!names.includes(name)) state.handsets.delete(name);
    for (const name of names) if (!state.handsets.has(name)) state.handsets.set(name, { status: { state: "stopped" }, passed: 0, failed: 0 });
    if (!begun || !location.hash.replace(/^#\/?/, "")) route();
    begun = true;
  });
  link.addEventListener("status", ({ detail }) => state.handsets.set(detail.handset, detail));
  link.addEventListener("failed", ({ detail }) => note(detail.error));
  window.addEventListener("hashchange", () => {
    if (takeToken() !== key) return location.reload();
    route();
    main.focus({ preventScroll: true });
  });
  link.connect();
}
