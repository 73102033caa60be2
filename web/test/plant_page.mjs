// The plant page in a real browser against a real broker and two stations on simulated engines
// (scripts/plant-demo.sh): twelve engines shown live, a silenced engine turns stale, a killed
// station turns offline and is an entry of the alarm list; a page opened as if four minutes after
// that death reads its age from the station's time stamps, not from when the broker handed them
// over; the broker going away greys the whole page at once under a notice. Screenshots of each
// state go to the folder given as the first argument.
//   node plant_page.mjs OUT_DIR
import { spawn } from "node:child_process";
import { readFileSync, writeFileSync } from "node:fs";
import net from "node:net";
import path from "node:path";
import { fileURLToPath } from "node:url";
import mqtt from "mqtt";
import puppeteer from "puppeteer-core";

const root = path.resolve(path.dirname(fileURLToPath(import.meta.url)), "../..");
const out = path.resolve(process.argv[2] || ".");
const WAIT_MS = 45000;
const DEAD_S = 240;

function freePort() {
  return new Promise((resolve) => {
    const s = net.createServer().listen(0, "127.0.0.1", () => { const p = s.address().port; s.close(() => resolve(p)); });
  });
}

const [mqttPort, webPort] = [await freePort(), await freePort()];
const demo = spawn(path.join(root, "scripts/plant-demo.sh"), [], {
  env: { ...process.env, PLANT_DEMO_NO_BUILD: "1", PLANT_MQTT_PORT: String(mqttPort), PLANT_WEB_PORT: String(webPort),
         DEMO_SECONDS: "300", QT_QPA_PLATFORM: "offscreen" },
  stdio: ["ignore", "pipe", "inherit"],
});
let said = "";
const told = new Promise((resolve, reject) => {
  demo.stdout.on("data", (d) => { said += d; if (said.includes("PLANT_DEMO_DIR=")) resolve(); });
  demo.on("exit", (code) => reject(new Error(`the demo ended early (${code}):\n${said}`)));
});
let browser;
let failed = false;
try {
  await told;
  const url = said.match(/Plant page: (\S+)/)[1];
  const dir = said.match(/PLANT_DEMO_DIR=(\S+)/)[1];
  browser = await puppeteer.launch({
    executablePath: process.env.CHROMIUM || "/usr/bin/chromium",
    args: ["--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
           "--disable-background-networking", "--disable-component-update", "--disable-sync",
           `--user-data-dir=${path.join(dir, "chromium")}`],
  });
  const page = await browser.newPage();
  await page.setViewport({ width: 1400, height: 720 });
  await page.goto(url);
  const live = (sel) => `document.querySelectorAll('${sel} .card:not(.stale)').length`;

  await page.waitForFunction(`${live("#stations")} === 12`, { timeout: WAIT_MS });
  await page.screenshot({ path: path.join(out, "plant-live.png") });
  console.log("twelve engines live");

  writeFileSync(path.join(dir, "st1/sim-control"), "silence 3 on\n");
  await page.waitForFunction(
    `document.querySelector('.card[data-station="st1"][data-engine="3"]').classList.contains('stale')`,
    { timeout: WAIT_MS });
  await page.waitForFunction(`[...document.querySelectorAll('#alarms li')].some((li) => li.textContent.startsWith('st1 LE3'))`,
                             { timeout: WAIT_MS });
  console.log("a silenced engine is stale, its alarm listed");

  await page.screenshot({ path: path.join(out, "plant-stale.png") });

  process.kill(Number(readFileSync(path.join(dir, "st2/station.pid"), "utf8")), "SIGKILL");
  await page.waitForFunction(
    `document.querySelector('section.station[data-station="st2"]').dataset.state === 'offline' &&
     ${live('section[data-station="st2"]')} === 0 &&
     [...document.querySelectorAll('#alarms li.active')].some((li) => li.textContent.startsWith('st2 station offline'))`,
    { timeout: WAIT_MS });
  console.log("a killed station is offline, and an alarm");

  // Four minutes on: st2's retained messages as the broker would hand them over then, their
  // station time stamps and the broker's count of their waiting both four minutes older.
  // The page's user reads where the page does; the station's writes where the stations do.
  const port = said.match(/Broker: 127\.0\.0\.1:(\d+)/)[1];
  const client = (user) => mqtt.connectAsync(user === "page" ? url.replace(/^http(.*)\/#.*$/, "ws$1/mqtt") : `mqtt://127.0.0.1:${port}`,
    { protocolVersion: 5, username: user, clientId: `tarvek-test-${user}`,
      password: readFileSync(path.join(dir, `broker/${user}.password`), "utf8").trim() });
  const [reader, writer] = [await client("page"), await client("st2")];
  const kept = new Map();
  reader.on("message", (topic, payload, packet) => kept.set(topic, { payload, packet }));
  await reader.subscribeAsync("tarvek/st2/#", { qos: 1 });
  await new Promise((resolve) => setTimeout(resolve, 1500));
  const older = (iso) => new Date(Date.parse(iso) - DEAD_S * 1000).toISOString();
  for (const [topic, { payload, packet }] of kept) {
    const m = JSON.parse(payload.toString());
    for (const key of ["time", "lastReply"]) if (m[key]) m[key] = older(m[key]);
    for (const a of m.alarms || []) a.raised = older(a.raised);
    const left = packet.properties.messageExpiryInterval - DEAD_S;
    await writer.publishAsync(topic, JSON.stringify(m), { qos: 1, retain: true, properties: { messageExpiryInterval: left } });
  }
  await Promise.all([reader.endAsync(), writer.endAsync()]);
  const later = await browser.newPage();
  await later.setViewport({ width: 1400, height: 720 });
  await later.goto(url);
  await later.waitForFunction(
    `[...document.querySelectorAll('.card[data-station="st2"]')].every((c) => c.dataset.age >= ${DEAD_S} &&
       c.dataset.age < ${DEAD_S + 60} && /last reply[45] min ago/.test(c.textContent)) &&
     document.querySelectorAll('.card[data-station="st2"]').length === 6 &&
     document.querySelector('section[data-station="st2"] .state').textContent.startsWith('offline since') &&
     [...document.querySelectorAll('#alarms li.active')].some((li) => li.textContent.startsWith('st2 station offline'))`,
    { timeout: WAIT_MS });
  await later.screenshot({ path: path.join(out, "plant-offline.png") });
  console.log("a station dead four minutes reads four minutes old");

  // The broker goes away: everything grey at once, under the notice.
  process.kill(Number(readFileSync(path.join(dir, "broker.pid"), "utf8")), "SIGKILL");
  await later.waitForFunction(
    `!document.getElementById('notice').hidden && document.body.classList.contains('broker-lost')`,
    { timeout: WAIT_MS });
  // At once: st1's engines answered a moment ago, yet none of them may still look live.
  const stillLive = await later.evaluate(live("#stations"));
  if (stillLive !== 0) throw new Error(`${stillLive} engines still look live after the broker went away`);
  await later.screenshot({ path: path.join(out, "plant-broker-lost.png") });
  console.log("a lost broker greys the page under its notice");
} catch (e) {
  console.error(e);
  failed = true;
} finally {
  if (browser) await browser.close();
  demo.kill("SIGTERM");
}
process.exit(failed ? 1 : 0);
