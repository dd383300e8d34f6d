// The one connection to the console: requests, what it tells, and coming back after a loss.
export class Link extends EventTarget {
  #token;
  #socket = null;
  #waiting = new Map(); // id -> {resolve, reject, replied}
  #next = 1;
  #pause = 500;
  onframe = () => {};

  constructor(token) {
    super();
    this.#token = token;
  }

  connect() {
    const socket = new WebSocket(`ws://${location.host}/socket`, ["handset", this.#token]);
    socket.binaryType = "arraybuffer";
    socket.onopen = () => {
      this.#pause = 500;
      this.#tell("up", {});
    };
    socket.onmessage = (event) => {
      if (typeof event.data !== "string") return this.onframe(event.data);
      this.#take(JSON.parse(event.data));
    };
    socket.onclose = () => {
      this.#socket = null;
      for (const { reject } of this.#waiting.values()) reject(new Error("the connection was lost"));
      this.#waiting.clear();
      this.#tell("down", {});
      setTimeout(() => this.connect(), this.#pause);
      this.#pause = Math.min(5000, this.#pause * 2);
    };
    this.#socket = socket;
  }

  get up() {
    return this.#socket?.readyState === WebSocket.OPEN;
  }

  send(message) {
    if (this.up) this.#socket.send(JSON.stringify(message));
  }

  // Resolves with the answer; rejects with what was wrong. `replied` hears of a PC command's reply before its effects are known.
  ask(message, replied) {
    return new Promise((resolve, reject) => {
      if (!this.up) return reject(new Error("there is no connection to the console"));
      const id = this.#next++;
      this.#waiting.set(id, { resolve, reject, replied });
      this.send({ ...message, id });
    });
  }

  request(handset, request) {
    return this.ask({ op: "request", handset, request });
  }

  async download(path, name) {
    const answer = await fetch(path, { headers: { Authorization: `Bearer ${this.#token}` } });
    if (!answer.ok) throw new Error((await answer.text()).trim());
    const link = document.createElement("a");
    link.href = URL.createObjectURL(await answer.blob());
    link.download = name;
    link.click();
    setTimeout(() => URL.revokeObjectURL(link.href), 10000);
  }

  #take(message) {
    const waiting = this.#waiting.get(message.id);
    if (message.type === "replied") return waiting?.replied?.(message);
    if (message.type !== "answer") return this.#tell(message.type, message);
    this.#waiting.delete(message.id);
    if (message.ok) waiting?.resolve(message);
    else waiting?.reject(new Error(message.error));
  }

  #tell(type, detail) {
    this.dispatchEvent(new CustomEvent(type, { detail }));
  }
}
