// The plant page in a real browser against a real broker and two stations on simulated engines
// (scripts/plant-demo.sh): twelve engines shown live, a silenced engine turns stale, a killed
// station turns offline. Screenshots go to the folder given as the first argument.
//   node plant_page.mjs OUT_DIR
import { spawn } from "node:child_process";
import { readFileSync, writeFileSync } from "node:fs";
import net from "node:net";
import path from "node:path";
import { fileURLToPath } from "node:url";
import puppeteer from "puppeteer-core";

const root = path.resolve(path.dirname(fileURLToPath(import.meta.url)), "../..");
const out = path.resolve(process.argv[2] || ".");
const WAIT_MS = 45000;

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

  process.kill(Number(readFileSync(path.join(dir, "st2/station.pid"), "utf8")), "SIGKILL");
  await page.waitForFunction(
    `document.querySelector('section.station[data-station="st2"]').classList.contains('offline') &&
     ${live('section[data-station="st2"]')} === 0`, { timeout: WAIT_MS });
  await page.screenshot({ path: path.join(out, "plant-faults.png") });
  console.log("a killed station is offline");
} catch (e) {
  console.error(e);
  failed = true;
} finally {
  if (browser) await browser.close();
  demo.kill("SIGTERM");
}
process.exit(failed ? 1 : 0);
