// The viewport in a real browser: headless Chromium opens the address hostsh
// --serve printed (token and all) on examples/leg.hsa, drags the handle with
// the mouse, moves the twist slider and checks the drawing against the scene.
//   node viewport.test.mjs HOSTSH SOURCE_DIR [SCREENSHOT.png]
import { spawn } from 'node:child_process';
import { mkdtempSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import path from 'node:path';
import { createRequire } from 'node:module';

const [hostsh, sourceDir, screenshotPath] = process.argv.slice(2).map((a) => path.resolve(a));
const require = createRequire(path.join(sourceDir, 'viewer', 'package.json'));
const puppeteer = require('puppeteer-core');

const work = mkdtempSync(path.join(tmpdir(), 'veltra-viewport-'));
let server = null;
let browser = null;
let failures = 0;
let passes = 0;

function check(ok, what) {
  if (ok) passes++;
  else failures++;
  console.log(`${ok ? 'ok  ' : 'FAIL'} ${what}`);
}

function withTimeout(promise, ms, what) {
  let timer;
  return Promise.race([promise, new Promise((_, reject) => {
    timer = setTimeout(() => reject(new Error(`timed out: ${what}`)), ms);
  })]).finally(() => clearTimeout(timer));
}

// Starts hostsh on a free port (0) and reads the address it prints.
function startServer() {
  server = spawn(hostsh, ['--serve', '--port', '0', path.join(sourceDir, 'examples', 'leg.hsa')],
    { cwd: work, stdio: ['pipe', 'pipe', 'inherit'] });
  return withTimeout(new Promise((resolve, reject) => {
    let text = '';
    server.stdout.on('data', (chunk) => {
      text += chunk;
      const match = text.match(/Viewer: (http:\/\/\S+)/);
      if (match) resolve(match[1]);
    });
    server.on('exit', (code) => reject(new Error(`hostsh exited with ${code}`)));
    server.on('error', (error) => reject(error));
  }), 30000, 'hostsh to print its address');
}

async function sceneOf(address) {
  const url = new URL(address);
  const response = await fetch(new URL('/api/scene', url), {
    headers: { Authorization: `Bearer ${url.searchParams.get('token')}` },
  });
  return response.json();
}
const nodeOf = (scene, name) => scene.nodes.find((n) => n.name === name);
const positionOf = (scene, name) => nodeOf(scene, name).matrix.slice(12, 15);
const distance = (a, b) => Math.hypot(a[0] - b[0], a[1] - b[1], a[2] - b[2]);

async function main() {
  const address = await startServer();
  check(/token=[0-9a-f]{64}$/.test(address), `hostsh printed ${address.replace(/token=.*/, 'token=…')}`);
  browser = await puppeteer.launch({
    executablePath: '/usr/bin/chromium',
    headless: true,
    userDataDir: path.join(work, 'profile'),
    args: ['--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
      '--disable-background-networking', '--disable-component-update', '--disable-sync',
      // WebGL without a GPU: Chromium's software renderer must be allowed.
      '--enable-unsafe-swiftshader', '--use-angle=swiftshader'],
    defaultViewport: { width: 1100, height: 700 },
    protocolTimeout: 60000,
  });
  const page = await browser.newPage();
  const outside = [];
  page.on('request', (r) => {
    if (/^(https?|wss?):/.test(r.url()) && !r.url().startsWith(new URL(address).origin)) outside.push(r.url());
  });
  page.on('pageerror', (e) => check(false, `page error: ${e.message}`));
  await page.goto(address, { waitUntil: 'load', timeout: 30000 });
  await page.waitForFunction(() => window.viewer && window.viewer.scene.nodes.length > 0, { timeout: 30000 });
  await new Promise((r) => setTimeout(r, 300));

  // Drag the handle towards the hip with the mouse, in small steps.
  const before = await sceneOf(address);
  const start = await page.evaluate(() => window.viewer.screenPosition('legIk'));
  await page.mouse.move(start.x, start.y);
  await page.mouse.down();
  const steps = 30;
  const t0 = Date.now();
  for (let i = 1; i <= steps; i++) {
    await page.mouse.move(start.x + i, start.y - i * 1.5);
    await new Promise((r) => setTimeout(r, 10));
  }
  await page.mouse.up();
  await page.evaluate(() => window.viewer.settled());
  const dragSeconds = (Date.now() - t0) / 1000;
  const after = await sceneOf(address);
  const moved = distance(positionOf(before, 'legIk'), positionOf(after, 'legIk'));
  check(moved > 0.1, `the handle moved ${moved.toFixed(3)} with the mouse`);
  const gap = distance(positionOf(after, 'legIk'), positionOf(after, 'effector1'));
  check(gap < 1e-4, `the effector followed the handle to within ${gap.toExponential(2)}`);
  console.log(`     (${steps} mouse moves in ${dragSeconds.toFixed(2)} s)`);

  // One drag is one undo step.
  const kneeBefore = positionOf(after, 'knee');
  await page.click('#undo');
  await page.evaluate(() => window.viewer.settled());
  const undone = await sceneOf(address);
  check(distance(positionOf(undone, 'legIk'), positionOf(before, 'legIk')) < 1e-9, 'undo puts the handle back where the drag began');
  await page.click('#redo');
  await page.evaluate(() => window.viewer.settled());
  check(distance(positionOf(await sceneOf(address), 'legIk'), positionOf(after, 'legIk')) < 1e-9, 'redo does the drag again');

  // The twist slider turns the knee about the root-to-end axis.
  const slider = await page.$('#twist');
  const box = await slider.boundingBox();
  await page.mouse.click(box.x + box.width * 0.75, box.y + box.height / 2);
  await page.evaluate(() => window.viewer.settled());
  await new Promise((r) => setTimeout(r, 200));
  await page.evaluate(() => window.viewer.settled());
  const twisted = await sceneOf(address);
  const twist = nodeOf(twisted, 'legIk').ik.twist;
  const kneeTurn = distance(kneeBefore, positionOf(twisted, 'knee'));
  const shown = Number(await page.$eval('#twist', (input) => input.value));
  check(twist > 10 && Math.abs(twist - shown) < 1e-9, `the twist slider set twist ${twist} (slider ${shown})`);
  check(kneeTurn > 0.5, `the knee turned (moved ${kneeTurn.toFixed(3)})`);

  // The bones are drawn where the scene says: the pixel halfway along each
  // bone has the bone colour (#34495e).
  await page.evaluate(() => window.viewer.settled());
  await new Promise((r) => setTimeout(r, 300));
  const shot = await page.screenshot({ path: screenshotPath || path.join(work, 'viewer.png') });
  const samples = await page.evaluate(async (png) => {
    const image = new Image();
    image.src = `data:image/png;base64,${png}`;
    await image.decode();
    const canvas = Object.assign(document.createElement('canvas'), { width: image.width, height: image.height });
    const context = canvas.getContext('2d');
    context.drawImage(image, 0, 0);
    const result = [];
    for (const [a, b] of [['hip', 'knee'], ['knee', 'ankle']]) {
      const p = window.viewer.screenPosition(a);
      const q = window.viewer.screenPosition(b);
      // A little off the middle, clear of the label placed at the joints.
      const x = Math.round(p.x * 0.55 + q.x * 0.45);
      const y = Math.round(p.y * 0.55 + q.y * 0.45);
      result.push({ bone: `${a}-${b}`, rgb: Array.from(context.getImageData(x, y, 1, 1).data.slice(0, 3)) });
    }
    return result;
  }, Buffer.from(shot).toString('base64'));
  for (const { bone, rgb } of samples) {
    const d = Math.hypot(rgb[0] - 0x34, rgb[1] - 0x49, rgb[2] - 0x5e);
    check(d < 40, `bone ${bone} drawn at its place (pixel rgb ${rgb.join(',')})`);
  }
  check(outside.length === 0, `no request left the server (${outside.join(', ') || 'none did'})`);

  // A 12-joint tail, built from the command box, dragged with the mouse as
  // fast as events come for a sustained 2.5 s: the chain must follow at 30
  // updates/s or more (versions of the scene that reached the screen).
  const joints = Array.from({ length: 12 }, (_, i) => `joint -p ${i} ${(0.02 * i * i).toFixed(2)} 0`);
  await page.type('#command', ['file -new -f', 'loadPlugin veltra', 'createNode veltra -n veltra',
    ...joints, 'select -cl', 'ikHandle -sj joint1 -ee joint12 -sol veltra', 'move -ws 6 5 0 ikHandle1'].join('; '));
  await page.keyboard.press('Enter');
  await page.waitForFunction(() => window.viewer.scene.nodes.some((n) => n.name === 'ikHandle1'), { timeout: 30000 });
  await page.click('#frame');
  await new Promise((r) => setTimeout(r, 200));
  // A drag moves what is drawn; it makes nothing anew.
  await page.evaluate(() => { document.querySelector('.label.joint').dataset.kept = 'yes'; });
  const tailStart = await page.evaluate(() => window.viewer.screenPosition('ikHandle1'));
  await page.mouse.move(tailStart.x, tailStart.y);
  await page.mouse.down();
  const counted = await page.evaluate(() => window.viewer.updateCount);
  const began = Date.now();
  let moves = 0;
  for (; Date.now() - began < 2500; moves++)
    await page.mouse.move(tailStart.x - (moves % 80), tailStart.y + (moves % 80) / 2);
  const updates = (await page.evaluate(() => window.viewer.updateCount)) - counted;
  const elapsed = (Date.now() - began) / 1000;
  await page.mouse.up();
  await page.evaluate(() => window.viewer.settled());
  const rate = updates / elapsed;
  check(rate >= 30, `the tail followed the drag at ${rate.toFixed(0)} updates/s (${moves} mouse moves in ${elapsed.toFixed(1)} s)`);
  check(await page.evaluate(() => document.querySelector('.label[data-kept]') !== null),
    'the drag moved the drawing in place');
  const tail = await sceneOf(address);
  const tailGap = distance(positionOf(tail, 'ikHandle1'), positionOf(tail, 'effector1'));
  check(tailGap < 1e-4, `the tail's effector ended on its handle (${tailGap.toExponential(2)})`);
}

try {
  await withTimeout(main(), 150000, 'the browser test');
} catch (error) {
  check(false, error.message);
} finally {
  if (browser) await browser.close().catch(() => {});
  if (server) server.kill('SIGINT');
  await new Promise((r) => setTimeout(r, 200));
  if (server && server.exitCode === null) server.kill('SIGKILL');
  rmSync(work, { recursive: true, force: true });
}
console.log(`${passes} passed, ${failures} failed`);
process.exit(failures === 0 ? 0 : 1);
