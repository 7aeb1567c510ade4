// The viewer page: a thin client of hostsh's JSON API. The scene's truth is in
// the host; this page draws what /api/scene says and sends commands.
import * as THREE from './vendor/three.module.js';
import { OrbitControls } from './vendor/OrbitControls.js';
import { CSS2DRenderer, CSS2DObject } from './vendor/CSS2DRenderer.js';

// The token comes once from the address hostsh printed; every request then
// carries it in a header (the event stream, which cannot, in the query).
const token = new URLSearchParams(location.search).get('token') || '';

// Colours of the SVG snapshots, so the two pictures read alike.
const COLOURS = {
  bone: 0x34495e, joint: 0x2c3e50, effector: 0xe67e22, handle: 0xc0392b,
  handleSelected: 0xff5e3a, pole: 0x27ae60, transform: 0x95a5a6,
};

// ---------------------------------------------------------------------------
// Talking to the server

async function api(path, options = {}) {
  const headers = Object.assign({ Authorization: `Bearer ${token}` }, options.headers || {});
  const response = await fetch(path, Object.assign({}, options, { headers }));
  const body = await response.json().catch(() => ({ ok: false, error: `HTTP ${response.status}` }));
  if (!response.ok && body.ok === undefined) body.ok = false;
  return body;
}

// Commands run one after another, in the order they were asked for. A drag's
// previews are coalesced: only the newest one waiting is sent, so the page
// never queues up more work than the host can do.
let commandChain = Promise.resolve();
let pendingPreview = null;

function runCommand(text, { undoable = true, withScene = true } = {}) {
  const run = async () => {
    const query = `?undoable=${undoable ? 1 : 0}${withScene ? '&scene=1' : ''}`;
    const reply = await api(`/api/command${query}`, {
      method: 'POST', headers: { 'Content-Type': 'text/plain' }, body: text,
    });
    if (reply.scene) showScene(reply.scene);
    return reply;
  };
  const result = Promise.all([commandChain, previewsDone]).then(run, run);
  commandChain = result.catch(() => {});
  return result;
}

// Two previews may be on their way at once, so that the round trip does not
// set the pace; the host runs them in turn and the page shows the newest
// version it is sent.
const kPreviewsInFlight = 2;
let previewsInFlight = 0;
let previewsDone = Promise.resolve();

function previewCommand(text) {
  pendingPreview = text;
  if (previewsInFlight >= kPreviewsInFlight) return;
  sendPreview();
}

function sendPreview() {
  const latest = pendingPreview;
  pendingPreview = null;
  previewsInFlight++;
  const sent = commandChain.then(async () => {
    const reply = await api('/api/command?undoable=0&scene=1', {
      method: 'POST', headers: { 'Content-Type': 'text/plain' }, body: latest,
    });
    if (reply.scene) showScene(reply.scene);
    if (!reply.ok) showOutput(latest, reply);
    countUpdate();
  }).catch(() => {}).finally(() => {
    previewsInFlight--;
    if (pendingPreview !== null) sendPreview();
  });
  previewsDone = Promise.all([previewsDone, sent]);
}

let refreshing = false;
async function refreshScene() {
  if (refreshing) return;
  refreshing = true;
  try {
    const scene = await api('/api/scene');
    if (scene.nodes) showScene(scene);
  } finally {
    refreshing = false;
  }
}

function formatNumber(value) {
  // Shortest text that reads back as the same double.
  return Number.isFinite(value) ? String(value) : null;
}

// ---------------------------------------------------------------------------
// Drawing

const view = document.getElementById('view');
const renderer = new THREE.WebGLRenderer({ antialias: false, preserveDrawingBuffer: true });
renderer.setPixelRatio(1);
view.appendChild(renderer.domElement);
const labelRenderer = new CSS2DRenderer();
labelRenderer.domElement.style.position = 'absolute';
labelRenderer.domElement.style.top = '0';
labelRenderer.domElement.style.pointerEvents = 'none';
view.appendChild(labelRenderer.domElement);

// Drawn only when something changed: without a GPU a frame is expensive, and
// idle frames would hold up the replies a drag is waiting for.
let needsRender = true;
const scene3d = new THREE.Scene();
scene3d.background = new THREE.Color(0xf7f8fa);
const camera = new THREE.PerspectiveCamera(40, 1, 0.01, 1000);
camera.position.set(30, 8, 10);
const orbit = new OrbitControls(camera, renderer.domElement);
orbit.enableDamping = false;

const grid = new THREE.GridHelper(20, 20, 0xb0b4ba, 0xdde0e4);
scene3d.add(grid);
const axes = new THREE.AxesHelper(2);
scene3d.add(axes);
const drawn = new THREE.Group();
scene3d.add(drawn);

const materials = {};
function material(colour, extra = {}) {
  const key = colour + JSON.stringify(extra);
  if (!materials[key]) materials[key] = new THREE.MeshBasicMaterial(Object.assign({ color: colour }, extra));
  return materials[key];
}
const sphereGeometry = new THREE.SphereGeometry(1, 20, 14);
const cylinderGeometry = new THREE.CylinderGeometry(1, 1, 1, 12);
const octahedronGeometry = new THREE.OctahedronGeometry(1);
const coneGeometry = new THREE.ConeGeometry(1, 2.5, 12);
const up = new THREE.Vector3(0, 1, 0);

let current = { version: 0, nodes: [] };
let byName = new Map();
let selectedHandle = null;
let sceneSize = 1;
let framed = false;

function worldPosition(node) {
  // Row vectors: the translation is the matrix's last row.
  const m = node.matrix;
  return new THREE.Vector3(m[12] ?? 0, m[13] ?? 0, m[14] ?? 0);
}

function label(text, position, kind) {
  const element = document.createElement('div');
  element.className = `label ${kind}`;
  element.textContent = text;
  const object = new CSS2DObject(element);
  object.position.copy(position);
  object.center.set(-0.15, 1.2);
  return object;
}

function stick(from, to, radius, colour) {
  const length = from.distanceTo(to);
  const mesh = new THREE.Mesh(cylinderGeometry, material(colour));
  mesh.scale.set(radius, length, radius);
  mesh.position.copy(from).add(to).multiplyScalar(0.5);
  if (length > 0) mesh.quaternion.setFromUnitVectors(up, to.clone().sub(from).normalize());
  return mesh;
}

function clearDrawn() {
  for (const child of [...drawn.children]) {
    child.traverse((object) => { if (object.element) object.element.remove(); });
    drawn.remove(child);
  }
}

function showScene(scene) {
  if (!scene || !Array.isArray(scene.nodes) || scene.version < current.version) return;
  current = scene;
  byName = new Map(scene.nodes.map((node) => [node.name, node]));
  const positions = scene.nodes.map(worldPosition).filter((p) => Number.isFinite(p.x + p.y + p.z));
  const box = new THREE.Box3().setFromPoints(positions.length ? positions : [new THREE.Vector3()]);
  sceneSize = Math.max(box.getSize(new THREE.Vector3()).length(), 1);
  const r = sceneSize * 0.015;

  clearDrawn();
  for (const node of scene.nodes) {
    const p = worldPosition(node);
    if (!Number.isFinite(p.x + p.y + p.z)) continue;
    const parent = node.parent ? byName.get(node.parent) : null;
    if (node.type === 'joint') {
      const joint = new THREE.Mesh(sphereGeometry, material(COLOURS.joint));
      joint.scale.setScalar(r * 1.8);
      joint.position.copy(p);
      drawn.add(joint);
      if (parent && parent.type === 'joint') drawn.add(stick(worldPosition(parent), p, r, COLOURS.bone));
      drawn.add(label(node.name, p, 'joint'));
    } else if (node.type === 'ikEffector') {
      const effector = new THREE.Mesh(octahedronGeometry, material(COLOURS.effector));
      effector.scale.setScalar(r * 2.2);
      effector.position.copy(p);
      drawn.add(effector);
      drawn.add(label(node.name, p.clone().add(new THREE.Vector3(0, -r * 6, 0)), 'effector'));
    } else if (node.type === 'ikHandle') {
      drawHandle(node, p, r);
    } else {
      const other = new THREE.Mesh(sphereGeometry, material(COLOURS.transform, { wireframe: true }));
      other.scale.setScalar(r * 1.5);
      other.position.copy(p);
      drawn.add(other);
      drawn.add(label(node.name, p, 'transform'));
    }
  }
  if (!selectedHandle || !byName.has(selectedHandle)) {
    const first = scene.nodes.find((node) => node.type === 'ikHandle');
    selectedHandle = first ? first.name : null;
  }
  if (!framed && positions.length) {
    frameAll();
    framed = true;
  }
  updatePanel();
  updateStatus();
  needsRender = true;
}

function drawHandle(node, p, r) {
  const selected = node.name === selectedHandle;
  const handle = new THREE.Mesh(sphereGeometry, material(selected ? COLOURS.handleSelected : COLOURS.handle,
    { transparent: true, opacity: 0.85 }));
  handle.scale.setScalar(r * 3);
  handle.position.copy(p);
  handle.userData.handle = node.name;
  drawn.add(handle);
  drawn.add(label(node.name, p, 'handle'));
  const ik = node.ik;
  const start = ik && ik.startJoint ? byName.get(ik.startJoint) : null;
  if (!start || !ik.poleVector.every(Number.isFinite)) return;
  // The pole vector as an arrow from the start joint, scaled to the chain.
  const pole = new THREE.Vector3(...ik.poleVector);
  if (pole.lengthSq() === 0) return;
  const from = worldPosition(start);
  const to = from.clone().add(pole.clone().normalize().multiplyScalar(sceneSize * 0.25));
  drawn.add(stick(from, to, r * 0.4, COLOURS.pole));
  const head = new THREE.Mesh(coneGeometry, material(COLOURS.pole));
  head.scale.setScalar(r * 1.5);
  head.position.copy(to);
  head.quaternion.setFromUnitVectors(up, pole.clone().normalize());
  drawn.add(head);
  drawn.add(label(`${node.name} pole`, to, 'pole'));
}

function frameAll() {
  const positions = current.nodes.map(worldPosition).filter((p) => Number.isFinite(p.x + p.y + p.z));
  if (!positions.length) return;
  const box = new THREE.Box3().setFromPoints(positions);
  const centre = box.getCenter(new THREE.Vector3());
  const distance = sceneSize / (2 * Math.tan(THREE.MathUtils.degToRad(camera.fov / 2))) * 1.3;
  // From the side and a little above and in front, as a rigger first looks at a limb.
  const direction = new THREE.Vector3(1, 0.25, 0.35).normalize();
  camera.position.copy(centre).addScaledVector(direction, distance);
  camera.near = distance / 100;
  camera.far = distance * 100;
  camera.updateProjectionMatrix();
  orbit.target.copy(centre);
  orbit.update();
}

function resize() {
  const width = view.clientWidth;
  const height = view.clientHeight;
  renderer.setSize(width, height);
  labelRenderer.setSize(width, height);
  camera.aspect = width / Math.max(height, 1);
  camera.updateProjectionMatrix();
  needsRender = true;
}
window.addEventListener('resize', resize);
resize();

orbit.addEventListener('change', () => { needsRender = true; });
function animate() {
  if (needsRender) {
    needsRender = false;
    renderer.render(scene3d, camera);
    labelRenderer.render(scene3d, camera);
  }
  requestAnimationFrame(animate);
}
requestAnimationFrame(animate);

// ---------------------------------------------------------------------------
// Dragging a handle in the view plane

const raycaster = new THREE.Raycaster();
let drag = null;

function pointerRay(event) {
  const rect = renderer.domElement.getBoundingClientRect();
  const ndc = new THREE.Vector2(((event.clientX - rect.left) / rect.width) * 2 - 1,
    -((event.clientY - rect.top) / rect.height) * 2 + 1);
  raycaster.setFromCamera(ndc, camera);
  return raycaster.ray;
}

function moveCommand(name, p) {
  const xyz = [p.x, p.y, p.z].map(formatNumber);
  return xyz.includes(null) ? null : `move -ws ${xyz.join(' ')} ${name}`;
}

renderer.domElement.addEventListener('pointerdown', (event) => {
  if (event.button !== 0) return;
  pointerRay(event);
  const hit = raycaster.intersectObjects(drawn.children, false).find((h) => h.object.userData.handle);
  if (!hit) return;
  const name = hit.object.userData.handle;
  selectedHandle = name;
  showScene(current);
  const start = worldPosition(byName.get(name));
  const normal = camera.getWorldDirection(new THREE.Vector3());
  const plane = new THREE.Plane().setFromNormalAndCoplanarPoint(normal, start);
  const grabbed = raycaster.ray.intersectPlane(plane, new THREE.Vector3());
  if (!grabbed) return;
  drag = { name, start, plane, offset: start.clone().sub(grabbed), last: null, pointer: event.pointerId };
  orbit.enabled = false;
  renderer.domElement.setPointerCapture(event.pointerId);
  event.preventDefault();
});

renderer.domElement.addEventListener('pointermove', (event) => {
  if (!drag) return;
  const point = pointerRay(event).intersectPlane(drag.plane, new THREE.Vector3());
  if (!point) return;
  drag.last = point.add(drag.offset);
  const text = moveCommand(drag.name, drag.last);
  if (text) previewCommand(text);
});

function endDrag() {
  if (!drag) return;
  const { name, start, last } = drag;
  drag = null;
  orbit.enabled = true;
  if (!last) return;
  commitEdit(moveCommand(name, start), moveCommand(name, last));
}
renderer.domElement.addEventListener('pointerup', endDrag);
renderer.domElement.addEventListener('pointercancel', endDrag);

// One undo step per gesture: the previews ran outside the undo queue, so the
// value from before the gesture is put back (also outside it) and the final
// value set as one undoable command.
function commitEdit(restoreText, finalText) {
  if (!restoreText || !finalText) return Promise.resolve();
  runCommand(restoreText, { undoable: false, withScene: false });
  return runCommand(finalText).then((reply) => {
    if (!reply.ok) showOutput(finalText, reply);
    countUpdate();
    return reply;
  });
}

// ---------------------------------------------------------------------------
// The panel: twist and ramp sliders, undo and redo, the command box

const twist = document.getElementById('twist');
const twistValue = document.getElementById('twist-value');
const rampBox = document.getElementById('ramp');
let sliderGesture = null;  // the slider being dragged and its value before

function rampPlug(handle, index) {
  return `${handle}.wexelAngleBias[${index}].wexelAngleBias_FloatValue`;
}

function bindSlider(input, output, plugOf) {
  input.addEventListener('pointerdown', () => { sliderGesture = { input, before: input.value }; });
  input.addEventListener('focus', () => { if (!sliderGesture) sliderGesture = { input, before: input.value }; });
  input.addEventListener('input', () => {
    output.textContent = input.value;
    if (!sliderGesture) sliderGesture = { input, before: input.value };
    previewCommand(`setAttr ${plugOf()} ${input.value}`);
  });
  input.addEventListener('change', () => {
    const before = sliderGesture && sliderGesture.input === input ? sliderGesture.before : input.value;
    sliderGesture = null;
    commitEdit(`setAttr ${plugOf()} ${before}`, `setAttr ${plugOf()} ${input.value}`);
    input.blur();
  });
}
bindSlider(twist, twistValue, () => `${selectedHandle}.twist`);

function updatePanel() {
  const node = selectedHandle ? byName.get(selectedHandle) : null;
  document.getElementById('handle-name').textContent = node ? node.name : 'none';
  twist.disabled = !node;
  if (!node || !node.ik) {
    rampBox.replaceChildren();
    return;
  }
  if (!sliderGesture || sliderGesture.input !== twist) {
    const value = Number.isFinite(node.ik.twist) ? Math.round(node.ik.twist * 100) / 100 : 0;
    twist.value = value;
    twistValue.textContent = twist.value;
  }
  const entries = node.ik.ramp || [];
  const key = `${node.name}:${entries.map((e) => e.index).join(',')}`;
  if (rampBox.dataset.key !== key) {
    rampBox.dataset.key = key;
    rampBox.replaceChildren();
    for (const entry of entries) {
      const row = document.createElement('label');
      row.className = 'slider';
      const joint = node.ik.chain[entry.index + 1] || `joint ${entry.index + 1}`;
      row.append(`bias ${joint}`);
      const input = Object.assign(document.createElement('input'),
        { type: 'range', min: 0, max: 1, step: 0.01 });
      input.dataset.index = entry.index;
      const output = document.createElement('output');
      row.append(input, output);
      rampBox.append(row);
      bindSlider(input, output, () => rampPlug(selectedHandle, entry.index));
    }
  }
  for (const input of rampBox.querySelectorAll('input')) {
    const entry = entries.find((e) => String(e.index) === input.dataset.index);
    if (entry && (!sliderGesture || sliderGesture.input !== input) && Number.isFinite(entry.value)) {
      input.value = entry.value;
      input.nextElementSibling.textContent = Number(entry.value).toFixed(2);
    }
  }
}

const output = document.getElementById('output');
function showOutput(text, reply) {
  const typed = Object.assign(document.createElement('div'), { className: 'typed', textContent: `> ${text}` });
  output.append(typed);
  if (reply.output) output.append(document.createTextNode(reply.output));
  if (!reply.ok) {
    output.append(Object.assign(document.createElement('div'), { className: 'error', textContent: reply.error }));
  }
  output.scrollTop = output.scrollHeight;
}

async function typed(text) {
  const reply = await runCommand(text);
  showOutput(text, reply);
  return reply;
}

document.getElementById('undo').addEventListener('click', () => typed('undo'));
document.getElementById('redo').addEventListener('click', () => typed('redo'));
document.getElementById('frame').addEventListener('click', frameAll);
window.addEventListener('keydown', (event) => {
  if (event.target instanceof HTMLInputElement) return;
  if ((event.ctrlKey || event.metaKey) && event.key.toLowerCase() === 'z') {
    typed(event.shiftKey ? 'redo' : 'undo');
    event.preventDefault();
  } else if (event.key === 'f') {
    frameAll();
  }
});

const commandInput = document.getElementById('command');
const history = [];
let historyAt = 0;
document.getElementById('command-form').addEventListener('submit', (event) => {
  event.preventDefault();
  const text = commandInput.value;
  if (!text.trim()) return;
  if (history[history.length - 1] !== text) history.push(text);
  historyAt = history.length;
  commandInput.value = '';
  typed(text);
});
commandInput.addEventListener('keydown', (event) => {
  if (event.key !== 'ArrowUp' && event.key !== 'ArrowDown') return;
  historyAt = Math.max(0, Math.min(history.length, historyAt + (event.key === 'ArrowUp' ? -1 : 1)));
  commandInput.value = history[historyAt] ?? '';
  event.preventDefault();
});

// ---------------------------------------------------------------------------
// Following the host: the event stream says when the version moved on

const status = document.getElementById('status');
let connected = false;
const updateTimes = [];
let updateCount = 0;
function countUpdate() {
  updateCount++;
  const now = performance.now();
  updateTimes.push(now);
  while (updateTimes.length && now - updateTimes[0] > 1000) updateTimes.shift();
}
function updateStatus() {
  status.className = connected ? '' : 'offline';
  status.textContent = `${connected ? 'connected' : 'offline'} · version ${current.version}` +
    (updateTimes.length > 1 ? ` · ${updateTimes.length} updates/s` : '');
}

const events = new EventSource(`/api/events?token=${encodeURIComponent(token)}`);
events.addEventListener('open', () => { connected = true; updateStatus(); });
events.addEventListener('error', () => { connected = false; updateStatus(); });
events.addEventListener('version', (event) => {
  if (Number(event.data) > current.version) refreshScene();
});
refreshScene();

// For the browser test and the curious: where a node is drawn on the screen.
window.viewer = {
  get scene() { return current; },
  get updatesPerSecond() { return updateTimes.length; },
  get updateCount() { return updateCount; },
  get idle() { return pendingPreview === null && !drag; },
  screenPosition(name) {
    const node = byName.get(name);
    if (!node) return null;
    const p = worldPosition(node).project(camera);
    const rect = renderer.domElement.getBoundingClientRect();
    return { x: rect.left + (p.x + 1) / 2 * rect.width, y: rect.top + (1 - p.y) / 2 * rect.height };
  },
  settled() { return Promise.all([commandChain, previewsDone]); },
};
