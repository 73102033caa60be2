// The plant page: every station that publishes under tarvek/<station>/, read-only, over MQTT on
// WebSockets from the broker that serves this page. Log-in from the form, or from the address:
// #user=NAME&password=SECRET.
"use strict";

const STALE_S = 10;     // an engine whose last reply is older than this is not shown as live
const SILENT_S = 25;    // a station publishes each engine at least every 10 s; this is long past it
const stations = new Map(); // name -> { status, engines: Map(n -> {state, at}), alarms, alarmsAt }
let client = null;

function station(name) {
  if (!stations.has(name)) stations.set(name, { status: null, engines: new Map(), alarms: [] });
  return stations.get(name);
}

function received(topic, payload) {
  const parts = topic.split("/");
  if (parts[0] !== "tarvek" || parts.length < 3) return;
  let message;
  try { message = JSON.parse(payload.toString()); } catch { return; }
  const s = station(parts[1]);
  if (parts[2] === "status") s.status = message;
  else if (parts[2] === "alarms") s.alarms = message.alarms || [];
  else if (parts[2] === "engine" && parts[4] === "state")
    s.engines.set(Number(parts[3]), { state: message, at: Date.now() });
  render();
}

// Seconds since the engine's last reply: as old as it was when published, plus the time since.
function replyAge(entry) {
  const st = entry.state;
  const since = (Date.now() - entry.at) / 1000;
  if (!st.lastReply) return Infinity;
  return Math.max(0, (Date.parse(st.time) - Date.parse(st.lastReply)) / 1000) + since;
}

const alarmsText = (n) => `${n} alarm${n === 1 ? "" : "s"}`;

function ageText(s) {
  if (!isFinite(s)) return "no reply yet";
  if (s < 120) return `${Math.round(s)} s ago`;
  if (s < 7200) return `${Math.round(s / 60)} min ago`;
  return `${Math.round(s / 3600)} h ago`;
}

function row(st, name) {
  const r = (st.rows || []).find((x) => x.name === name);
  return r ? `${r.value}${r.unit ? " " + r.unit : ""}` : "---";
}

function el(tag, attrs = {}, ...children) {
  const e = document.createElement(tag);
  for (const [k, v] of Object.entries(attrs)) e.setAttribute(k, v);
  for (const c of children) e.append(c);
  return e;
}

function card(name, n, entry, online) {
  const st = entry ? entry.state : {};
  const age = entry ? replyAge(entry) : Infinity;
  const stale = !online || !entry || st.link !== "yes" || age > STALE_S || (Date.now() - entry.at) / 1000 > SILENT_S;
  const fault = !stale && st.fault && ![0, 18, 20].includes(st.fault.code);
  const c = el("div", { class: "card" + (stale ? " stale" : "") + (fault ? " fault" : ""),
                        "data-station": name, "data-engine": String(n) });
  const link = online ? st.link || "?" : "?"; // an offline station's last word on its links is no news
  c.append(el("h3", {}, `LE${n}`, el("span", { class: "link-" + link }, link)));
  const dl = el("dl");
  const add = (k, v) => dl.append(el("dt", {}, k), el("dd", {}, v));
  if (stale) {
    if (!online) add("station", "offline");
    add("last reply", el("span", { class: "age" }, ageText(age)));
  } else {
    add("phase", String(st.phase));
    add("fault", st.fault ? st.fault.text || `Code ${st.fault.code}` : "");
    add("power", st.setPoints ? `${st.setPoints.power.value} ${st.setPoints.power.unit}` : "---");
    add("SHT", row(st, "SHT"));
    add("MAT", row(st, "MAT"));
  }
  c.append(dl);
  return c;
}

function render() {
  const box = document.getElementById("stations");
  const all = [];
  const sections = [];
  for (const [name, s] of [...stations.entries()].sort(([a], [b]) => a.localeCompare(b))) {
    const online = !!(s.status && s.status.online);
    const numbers = new Set([...(s.status && s.status.engines ? s.status.engines : []), ...s.engines.keys()]);
    const sec = el("section", { class: "station" + (online ? "" : " offline"), "data-station": name });
    const count = el("span", { class: "count" + (s.alarms.length ? "" : " zero") }, alarmsText(s.alarms.length));
    sec.append(el("h2", {}, name, el("span", { class: "state" }, online ? "online" : "offline"), count));
    const grid = el("div", { class: "engines" });
    for (const n of [...numbers].sort((a, b) => a - b)) grid.append(card(name, n, s.engines.get(n), online));
    sec.append(grid);
    sections.push(sec);
    for (const a of s.alarms) all.push({ ...a, station: name });
  }
  box.replaceChildren(...(sections.length ? sections : [el("p", { class: "empty" }, "No station has published yet.")]));
  all.sort((a, b) => (b.raised || "").localeCompare(a.raised || ""));
  document.getElementById("alarms").replaceChildren(...all.map((a) =>
    el("li", {}, `${a.station} LE${a.engine}: ${a.text} `,
       el("small", {}, `${new Date(a.raised).toLocaleTimeString()}${a.acknowledged ? ", acknowledged" : ""}`))));
  const total = document.getElementById("plantAlarms");
  total.textContent = alarmsText(all.length);
  total.className = "count" + (all.length ? "" : " zero");
}

function connect(user, password) {
  if (client) client.end(true);
  stations.clear();
  const url = `${location.protocol === "https:" ? "wss" : "ws"}://${location.host}/mqtt`;
  const state = document.getElementById("broker");
  // The broker takes no client id but "tarvek-...", and no two pages share one.
  const id = `tarvek-page-${user}-${Math.random().toString(16).slice(2, 10)}`;
  client = mqtt.connect(url, { username: user, password, clientId: id, protocolVersion: 5, reconnectPeriod: 2000,
                               connectTimeout: 10000 });
  client.on("connect", () => {
    state.textContent = `connected as ${user}`;
    client.subscribe(["tarvek/+/status", "tarvek/+/engine/+/state", "tarvek/+/alarms"], { qos: 1 });
  });
  client.on("reconnect", () => { state.textContent = "reconnecting"; });
  client.on("error", (e) => { state.textContent = `refused: ${e.message}`; });
  client.on("close", () => { if (client.connected === false) state.textContent = "not connected"; });
  client.on("message", received);
}

document.getElementById("login").addEventListener("submit", (e) => {
  e.preventDefault();
  connect(document.getElementById("user").value, document.getElementById("password").value);
});
const fromAddress = new URLSearchParams(location.hash.slice(1));
if (fromAddress.get("user")) connect(fromAddress.get("user"), fromAddress.get("password") || "");
setInterval(render, 1000); // ages move on without messages
