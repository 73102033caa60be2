// The plant page: every station that publishes under tarvek/<station>/, read-only, over MQTT 5 on
// WebSockets from the broker that serves this page. Log-in from the form, or from the address:
// #user=NAME&password=SECRET.
//
// Ages come from the stations' own time stamps, moved onto this page's clock by each station's
// clock offset: the smallest (arrival here - station's time stamp) among its live messages of the
// last two minutes, so an age is at most one delivery delay younger than the truth (milliseconds on
// a plant network) and never older. A station known only from retained messages (it died before
// this page looked) is placed by the broker's own count of how long each message waited (the
// station gives every retained message the largest expiry interval, and the broker counts it
// down): to the second, so one second more is taken off the offset and its ages read at most two
// seconds old rather than younger.
"use strict";

const STALE_S = 10;     // an engine whose last reply is older than this is not shown as live
const SILENT_S = 25;    // a station says it lives every 10 s (status); this is long past it
const RETAINED_EXPIRY_S = 4294967295; // the message expiry every station gives its retained messages
const OFFSET_WINDOW_MS = 120000;
const stations = new Map(); // name -> station record, see station()
const pageEvents = [];      // the page's own alarm-list entries: stations going offline, coming back
const broker = { connected: false, lostAt: null, user: "" };
let client = null;

function station(name) {
  if (!stations.has(name)) {
    stations.set(name, { status: null, engines: new Map(), alarms: [], live: [], retainedOffset: null,
                         lastStamp: NaN, state: null, event: null });
  }
  return stations.get(name);
}

// Seconds the message waited in the broker: 0 for one published while this page listened.
function waitedS(packet) {
  const left = packet && packet.properties ? packet.properties.messageExpiryInterval : undefined;
  if (!packet || !packet.retain) return 0;
  return typeof left === "number" ? Math.max(0, RETAINED_EXPIRY_S - left) : null;
}

function learn(s, stamp, packet) {
  if (!isFinite(stamp)) return;
  if (!(stamp <= s.lastStamp)) s.lastStamp = stamp;
  const waited = waitedS(packet);
  if (waited === null) return; // retained, and nobody counted how long it waited
  const at = Date.now();
  if (waited === 0) {
    s.live = s.live.filter((x) => at - x.at < OFFSET_WINDOW_MS);
    s.live.push({ at, offset: at - stamp });
  } else {
    const offset = at - waited * 1000 - stamp - 1000; // the broker counts whole seconds
    s.retainedOffset = s.retainedOffset === null ? offset : Math.min(s.retainedOffset, offset);
  }
}

// Milliseconds to add to the station's time stamps to read them on this page's clock.
function offsetOf(s) {
  const at = Date.now();
  const live = s.live.filter((x) => at - x.at < OFFSET_WINDOW_MS);
  if (live.length) return Math.min(...live.map((x) => x.offset));
  if (s.retainedOffset !== null) return s.retainedOffset;
  return s.live.length ? s.live[s.live.length - 1].offset : 0; // long silent: the last one known
}

function received(topic, payload, packet) {
  const parts = topic.split("/");
  if (parts[0] !== "tarvek" || parts.length < 3) return;
  let message;
  try { message = JSON.parse(payload.toString()); } catch { return; }
  const s = station(parts[1]);
  // A live word from a station that was offline: it went offline at its last message before this.
  if (s.event && s.event.since && !packet.retain) freeze(s.event);
  learn(s, Date.parse(message.time), packet);
  if (parts[2] === "status") s.status = message;
  else if (parts[2] === "alarms") s.alarms = message.alarms || [];
  else if (parts[2] === "engine" && parts[4] === "state") s.engines.set(Number(parts[3]), message);
  render();
}

// A station time stamp on this page's clock, in ms; NaN without one.
const pageTime = (s, iso) => (iso ? Date.parse(iso) + offsetOf(s) : NaN);
const ageS = (s, iso) => (Date.now() - pageTime(s, iso)) / 1000;

// "online", "offline" (it said so, or the broker did with its last will), "silent" (nothing heard
// for SILENT_S: frozen, or cut off behind a bridge), "unknown" (no status yet).
function stateOf(s) {
  if (!s.status) return "unknown";
  if (s.status.online !== true) return "offline";
  return Date.now() - (s.lastStamp + offsetOf(s)) > SILENT_S * 1000 ? "silent" : "online";
}

const alarmsText = (n) => `${n} alarm${n === 1 ? "" : "s"}`;

function ageText(s) {
  if (!isFinite(s)) return "no reply yet";
  if (s < 120) return `${Math.max(0, Math.round(s))} s ago`;
  if (s < 7200) return `${Math.round(s / 60)} min ago`;
  if (s < 172800) return `${Math.round(s / 3600)} h ago`;
  return `${Math.round(s / 86400)} days ago`;
}

function clockText(ms) {
  if (!isFinite(ms)) return "an unknown time";
  const d = new Date(ms);
  const today = new Date().toDateString() === d.toDateString();
  return today ? d.toLocaleTimeString() : d.toLocaleString();
}

function sinceText(s, state) {
  const last = isFinite(s.lastStamp) ? s.lastStamp + offsetOf(s) : NaN;
  return `${state} since ${clockText(last)}`;
}

// A station going offline (or silent) or coming back is an entry of the alarm list. While it holds,
// an offline entry reads the time of the station's last message, which may still come in (retained).
function freeze(event) {
  if (!event.since) return;
  event.at = event.since();
  event.since = null;
}

function follow(name, s, state) {
  if (state === s.state || state === "unknown" || !broker.connected) return;
  const was = s.state;
  s.state = state;
  if (s.event) {
    freeze(s.event);
    s.event.cleared = Date.now();
  }
  s.event = null;
  if (state !== "online") {
    s.event = { station: name, text: `station ${state}`, since: () => s.lastStamp + offsetOf(s) };
    pageEvents.push(s.event);
  } else if (was !== null) {
    pageEvents.push({ station: name, text: "station back online", at: Date.now() });
  }
  while (pageEvents.length > 200) pageEvents.shift();
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

function card(name, s, n, live) {
  const st = s.engines.get(n) || {};
  const age = ageS(s, st.lastReply);
  const stale = !live || st.link !== "yes" || !(age <= STALE_S);
  const fault = !stale && st.fault && ![0, 18, 20].includes(st.fault.code);
  const c = el("div", { class: "card" + (stale ? " stale" : "") + (fault ? " fault" : ""),
                        "data-station": name, "data-engine": String(n),
                        "data-age": isFinite(age) ? String(Math.round(age)) : "" });
  const link = live ? st.link || "?" : "?"; // a station not heard now says nothing of its links
  c.append(el("h3", {}, `LE${n}`, el("span", { class: "link-" + link }, link)));
  const dl = el("dl");
  const add = (k, v) => dl.append(el("dt", {}, k), el("dd", {}, v));
  if (stale) {
    add("last reply", el("span", { class: "age" }, ageText(age)));
    if (isFinite(age)) add("at", clockText(pageTime(s, st.lastReply)));
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
    const state = stateOf(s);
    follow(name, s, state);
    const live = broker.connected && state === "online";
    const numbers = new Set([...(s.status && s.status.engines ? s.status.engines : []), ...s.engines.keys()]);
    const sec = el("section", { class: `station ${live ? "" : "offline"}`, "data-station": name, "data-state": state });
    const count = el("span", { class: "count" + (s.alarms.length ? "" : " zero") }, alarmsText(s.alarms.length));
    const said = !broker.connected ? `last heard ${clockText(s.lastStamp + offsetOf(s))}`
      : state === "online" || state === "unknown" ? state : sinceText(s, state);
    sec.append(el("h2", {}, name, el("span", { class: "state" }, said), count));
    const grid = el("div", { class: "engines" });
    for (const n of [...numbers].sort((a, b) => a - b)) grid.append(card(name, s, n, live));
    sec.append(grid);
    sections.push(sec);
    for (const a of s.alarms) all.push({ station: name, text: `LE${a.engine}: ${a.text}`, at: pageTime(s, a.raised),
                                         active: true, acknowledged: a.acknowledged, live });
  }
  box.replaceChildren(...(sections.length ? sections : [el("p", { class: "empty" }, "No station has published yet.")]));
  for (const e of pageEvents) {
    all.push({ station: e.station, text: e.text, at: e.since ? e.since() : e.at, active: !!e.since, live: true, page: true,
               when: `${e.since ? "since " : ""}${clockText(e.since ? e.since() : e.at)}` +
                     (e.cleared ? `, back ${clockText(e.cleared)}` : "") });
  }
  all.sort((a, b) => (b.at || 0) - (a.at || 0));
  document.getElementById("alarms").replaceChildren(...all.map((a) =>
    el("li", { class: [a.page ? "station-event" : "", a.active ? "active" : "cleared", a.live ? "" : "stale"].join(" ").trim() },
       `${a.station} ${a.text} `,
       el("small", {}, a.when || clockText(a.at) + (a.acknowledged ? ", acknowledged" : "")))));
  const holding = all.filter((a) => a.active).length;
  const total = document.getElementById("plantAlarms");
  total.textContent = alarmsText(holding);
  total.className = "count" + (holding ? "" : " zero");
  document.body.classList.toggle("broker-lost", !broker.connected && broker.lostAt !== null);
  const notice = document.getElementById("notice");
  notice.hidden = broker.connected || broker.lostAt === null;
  notice.textContent = `Connection to the broker lost at ${clockText(broker.lostAt)}: nothing on this page is live. ` +
                       "Trying again every 2 s.";
}

function connect(user, password) {
  if (client) client.end(true);
  stations.clear();
  pageEvents.length = 0;
  broker.user = user;
  const url = `${location.protocol === "https:" ? "wss" : "ws"}://${location.host}/mqtt`;
  const state = document.getElementById("broker");
  // The broker takes no client id but "tarvek-...", and no two pages share one.
  const id = `tarvek-page-${user}-${Math.random().toString(16).slice(2, 10)}`;
  client = mqtt.connect(url, { username: user, password, clientId: id, protocolVersion: 5, keepalive: 10,
                               reconnectPeriod: 2000, connectTimeout: 10000 });
  client.on("connect", () => {
    broker.connected = true;
    broker.lostAt = null;
    state.textContent = `connected as ${user}`;
    client.subscribe(["tarvek/+/status", "tarvek/+/engine/+/state", "tarvek/+/alarms"], { qos: 1 });
    render();
  });
  client.on("reconnect", () => { state.textContent = "reconnecting"; });
  client.on("error", (e) => { state.textContent = `refused: ${e.message}`; });
  client.on("close", () => {
    if (broker.connected) broker.lostAt = Date.now();
    broker.connected = false;
    state.textContent = "not connected";
    render(); // at once: nothing may look live a moment longer
  });
  client.on("message", received);
}

document.getElementById("login").addEventListener("submit", (e) => {
  e.preventDefault();
  connect(document.getElementById("user").value, document.getElementById("password").value);
});
const fromAddress = new URLSearchParams(location.hash.slice(1));
if (fromAddress.get("user")) connect(fromAddress.get("user"), fromAddress.get("password") || "");
setInterval(render, 1000); // ages move on without messages
