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
// previews are coalesced: one is on its way at a time and only the newest one
// waiting is sent next, so the page never queues up more work than the host
// can do and the handle goes where the pointer is now, not where it was.
let commandChain = Promise.resolve();
let pendingPreview = null;
let previewInFlight = false;
let previewsDone = Promise.resolve();

// A command's answer carries the scene it left, so while one is on its way the
// event stream's news is only noted; what the answer did not bring is fetched
// once it is in.
let commandsInFlight = 0;
let heardVersion = 0;

async function postCommand(text, query) {
  commandsInFlight++;
  try {
    const reply = await api(`/api/command${query}`, {
      method: 'POST', headers: { 'Content-Type': 'text/plain' }, body: text,
    });
    if (reply.scene) showScene(reply.scene);
    return reply;
  } finally {
    commandsInFlight--;
    if (commandsInFlight === 0 && heardVersion > current.version) refreshScene();
  }
}

function runCommand(text, { undoable = true, withScene = true } = {}) {
  const run = () => postCommand(text, `?undoable=${undoable ? 1 : 0}${withScene ? '&scene=1' : ''}`);
  const result = Promise.all([commandChain, previewsDone]).then(run, run);
  commandChain = result.catch(() => {});
  return result;
}

function previewCommand(text) {
  pendingPreview = text;
  if (!previewInFlight) sendPreview();
}

function sendPreview() {
  const latest = pendingPreview;
  pendingPreview = null;
  previewInFlight = true;
  previewsDone = commandChain.then(async () => {
    const reply = await postCommand(latest, '?undoable=0&scene=1');
    if (!reply.ok) showOutput(latest, reply);
  }).catch(() => {}).finally(() => {
    previewInFlight = false;
    if (pendingPreview !== null) sendPreview();
  });
}

let refreshing = false;
async function refreshScene() {
  if (refreshing) return;
  refreshing = true;
  const before = current.version;
  try {
    const scene = await api('/api/scene');
    if (scene.nodes) showScene(scene);
  } finally {
    refreshing = false;
  }
  // News that came while this request was out: fetch again, if that got further.
  if (current.version > before && heardVersion > current.version && commandsInFlight === 0) refreshScene();
}

function formatNumber(value) {
  // Shortest text that reads back as the same double.
  return Number.isFinite(value) ? String(value) : null;
}

// ---------------------------------------------------------------------------
// Drawing

const view = document.getElementById('view');
const renderer = new THREE.WebGLRenderer({ antialias: false, preserveDrawingBuffer: false });
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
const byName = new Map();
let selectedHandle = null;
let sceneSize = 1;
let framed = false;
let shownVersion = 0;

function worldPosition(node, into = new THREE.Vector3()) {
  // Row vectors: the translation is the matrix's last row.
  const m = node.matrix;
  return into.set(m[12] ?? 0, m[13] ?? 0, m[14] ?? 0);
}

const isFinitePoint = (p) => Number.isFinite(p.x + p.y + p.z);

// The box around every drawable node, into a box the caller keeps.
function sceneBounds(nodes, box) {
  box.makeEmpty();
  for (const node of nodes) {
    worldPosition(node, scratch.point);
    if (isFinitePoint(scratch.point)) box.expandByPoint(scratch.point);
  }
  return box;
}

// Scratch values for the per-update path: a drag applies a scene many times a
// second, and with software WebGL every allocation there costs frames.
const scratch = {
  point: new THREE.Vector3(), direction: new THREE.Vector3(), size: new THREE.Vector3(),
  bounds: new THREE.Box3(), ndc: new THREE.Vector2(), hit: new THREE.Vector3(),
};

// What is drawn for each scene node is kept between updates: an update only
// moves it, and it is made anew only when the set of nodes changes.
let drawings = [];
const drawingByName = new Map();

function addMesh(geometry, mat) {
  const mesh = new THREE.Mesh(geometry, mat);
  drawn.add(mesh);
  return mesh;
}

function addLabel(text, kind) {
  const element = document.createElement('div');
  element.className = `label ${kind}`;
  element.textContent = text;
  const object = new CSS2DObject(element);
  object.center.set(-0.15, 1.2);
  drawn.add(object);
  return object;
}

function makeDrawing(node) {
  const drawing = {
    name: node.name, type: node.type, parent: node.parent || '', start: (node.ik && node.ik.startJoint) || '',
    position: new THREE.Vector3(), finite: false, objects: [], body: null, label: null, bone: null, pole: null,
  };
  const add = (object) => { drawing.objects.push(object); return object; };
  if (node.type === 'joint') {
    drawing.body = add(addMesh(sphereGeometry, material(COLOURS.joint)));
    drawing.label = add(addLabel(node.name, 'joint'));
  } else if (node.type === 'ikEffector') {
    drawing.body = add(addMesh(octahedronGeometry, material(COLOURS.effector)));
    drawing.label = add(addLabel(node.name, 'effector'));
  } else if (node.type === 'ikHandle') {
    drawing.body = add(addMesh(sphereGeometry, material(COLOURS.handle, { transparent: true, opacity: 0.85 })));
    drawing.body.userData.handle = node.name;
    drawing.label = add(addLabel(node.name, 'handle'));
    if (drawing.start) {
      drawing.pole = {
        stick: addMesh(cylinderGeometry, material(COLOURS.pole)),
        head: addMesh(coneGeometry, material(COLOURS.pole)),
        label: addLabel(`${node.name} pole`, 'pole'),
      };
    }
  } else {
    drawing.body = add(addMesh(sphereGeometry, material(COLOURS.transform, { wireframe: true })));
    drawing.label = add(addLabel(node.name, 'transform'));
  }
  return drawing;
}

function sameNodes(nodes) {
  if (nodes.length !== drawings.length) return false;
  for (let i = 0; i < nodes.length; i++) {
    const node = nodes[i];
    const drawing = drawings[i];
    if (drawing.name !== node.name || drawing.type !== node.type || drawing.parent !== (node.parent || '') ||
        drawing.start !== ((node.ik && node.ik.startJoint) || '')) return false;
  }
  return true;
}

function rebuildDrawings(nodes) {
  for (const child of [...drawn.children]) {
    if (child.element) child.element.remove();
    drawn.remove(child);
  }
  drawingByName.clear();
  drawings = nodes.map(makeDrawing);
  for (const drawing of drawings) drawingByName.set(drawing.name, drawing);
  // Bones once the parents are known: a joint under a joint draws the bone up to it.
  for (const drawing of drawings) {
    const parent = drawingByName.get(drawing.parent);
    if (drawing.type === 'joint' && parent && parent.type === 'joint') {
      drawing.bone = addMesh(cylinderGeometry, material(COLOURS.bone));
      drawing.objects.push(drawing.bone);
    }
  }
}

function placeStick(mesh, from, to, radius) {
  const length = from.distanceTo(to);
  mesh.scale.set(radius, length, radius);
  mesh.position.copy(from).add(to).multiplyScalar(0.5);
  if (length > 0) mesh.quaternion.setFromUnitVectors(up, scratch.direction.subVectors(to, from).normalize());
}

const kBodyScale = { joint: 1.8, ikEffector: 2.2, ikHandle: 3 };

function placeDrawing(drawing, node, r) {
  const p = drawing.position;
  for (const object of drawing.objects) object.visible = drawing.finite;
  if (drawing.pole) drawing.pole.stick.visible = drawing.pole.head.visible = drawing.pole.label.visible = false;
  if (!drawing.finite) return;
  drawing.body.position.copy(p);
  drawing.body.scale.setScalar(r * (kBodyScale[drawing.type] ?? 1.5));
  drawing.label.position.copy(p);
  if (drawing.type === 'ikEffector') drawing.label.position.y -= r * 6;
  if (drawing.bone) {
    const parent = drawingByName.get(drawing.parent);
    drawing.bone.visible = parent.finite;
    if (parent.finite) placeStick(drawing.bone, parent.position, p, r);
  }
  if (drawing.type === 'ikHandle') {
    const selected = drawing.name === selectedHandle;
    drawing.body.material = material(selected ? COLOURS.handleSelected : COLOURS.handle,
      { transparent: true, opacity: 0.85 });
    placePole(drawing.pole, node.ik, r);
  }
}

// The pole vector as an arrow from the start joint, scaled to the chain.
function placePole(pole, ik, r) {
  const start = pole && drawingByName.get(ik.startJoint);
  if (!start || !start.finite || !Array.isArray(ik.poleVector) || !ik.poleVector.every(Number.isFinite)) return;
  const direction = scratch.direction.fromArray(ik.poleVector);
  if (direction.lengthSq() === 0) return;
  direction.normalize();
  const to = pole.head.position.copy(start.position).addScaledVector(direction, sceneSize * 0.25);
  pole.head.scale.setScalar(r * 1.5);
  pole.head.quaternion.setFromUnitVectors(up, direction);
  pole.label.position.copy(to);
  placeStick(pole.stick, start.position, to, r * 0.4);
  pole.stick.visible = pole.head.visible = pole.label.visible = true;
}

function showScene(scene) {
  if (!scene || !Array.isArray(scene.nodes) || scene.version < current.version) return;
  current = scene;
  const nodes = scene.nodes;
  byName.clear();
  for (const node of nodes) byName.set(node.name, node);
  if (!sameNodes(nodes)) rebuildDrawings(nodes);
  const box = sceneBounds(nodes, scratch.bounds);
  sceneSize = box.isEmpty() ? 1 : Math.max(box.getSize(scratch.size).length(), 1);
  if (!selectedHandle || !byName.has(selectedHandle)) {
    const first = nodes.find((node) => node.type === 'ikHandle');
    selectedHandle = first ? first.name : null;
  }
  for (let i = 0; i < nodes.length; i++) {
    drawings[i].finite = isFinitePoint(worldPosition(nodes[i], drawings[i].position));
  }
  const r = sceneSize * 0.015;
  for (let i = 0; i < nodes.length; i++) placeDrawing(drawings[i], nodes[i], r);
  if (!framed && !box.isEmpty()) {
    frameAll();
    framed = true;
  }
  updatePanel();
  updateTime();
  updateStatus();
  // Drawn at once rather than at the next frame: without a GPU the software
  // renderer then works while this thread waits for the next move, instead
  // of holding up the frame that shows it.
  if (scene.version > shownVersion) {
    shownVersion = scene.version;
    countUpdate();
    draw();
  } else {
    needsRender = true;
  }
}

function frameAll() {
  const box = sceneBounds(current.nodes, new THREE.Box3());
  if (box.isEmpty()) return;
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
function draw() {
  needsRender = false;
  renderer.render(scene3d, camera);
  labelRenderer.render(scene3d, camera);
}
function animate() {
  if (needsRender) draw();
  requestAnimationFrame(animate);
}
requestAnimationFrame(animate);

// ---------------------------------------------------------------------------
// Dragging a handle in the view plane

const raycaster = new THREE.Raycaster();
let drag = null;

// A drag keeps the canvas's rectangle from its start: asking for it on every
// move would make the browser lay out the labels moved by the last update.
function pointerRay(event, rect = renderer.domElement.getBoundingClientRect()) {
  scratch.ndc.set(((event.clientX - rect.left) / rect.width) * 2 - 1,
    -((event.clientY - rect.top) / rect.height) * 2 + 1);
  raycaster.setFromCamera(scratch.ndc, camera);
  return raycaster.ray;
}

function moveCommand(name, p) {
  return isFinitePoint(p) ? `move -ws ${formatNumber(p.x)} ${formatNumber(p.y)} ${formatNumber(p.z)} ${name}` : null;
}

renderer.domElement.addEventListener('pointerdown', (event) => {
  if (event.button !== 0) return;
  const rect = renderer.domElement.getBoundingClientRect();
  pointerRay(event, rect);
  const hit = raycaster.intersectObjects(drawn.children, false)
    .find((h) => h.object.visible && h.object.userData.handle);
  if (!hit) return;
  const name = hit.object.userData.handle;
  selectedHandle = name;
  showScene(current);
  const start = worldPosition(byName.get(name));
  const normal = camera.getWorldDirection(new THREE.Vector3());
  const plane = new THREE.Plane().setFromNormalAndCoplanarPoint(normal, start);
  const grabbed = raycaster.ray.intersectPlane(plane, new THREE.Vector3());
  if (!grabbed) return;
  drag = { name, start, plane, rect, offset: start.clone().sub(grabbed), last: new THREE.Vector3(), moved: false };
  orbit.enabled = false;
  renderer.domElement.setPointerCapture(event.pointerId);
  event.preventDefault();
});

renderer.domElement.addEventListener('pointermove', (event) => {
  if (!drag) return;
  const point = pointerRay(event, drag.rect).intersectPlane(drag.plane, scratch.hit);
  if (!point) return;
  drag.last.copy(point).add(drag.offset);
  drag.moved = true;
  const text = moveCommand(drag.name, drag.last);
  if (text) previewCommand(text);
});

function endDrag() {
  if (!drag) return;
  const { name, start, last, moved } = drag;
  drag = null;
  orbit.enabled = true;
  if (!moved) return;
  commitEdit(moveCommand(name, start), moveCommand(name, last));
}
renderer.domElement.addEventListener('pointerup', endDrag);
renderer.domElement.addEventListener('pointercancel', endDrag);

// One undo step per gesture: the previews ran outside the undo queue, so the
// value from before the gesture is put back (also outside it) and the final
// value set as one undoable command.
function commitEdit(restoreText, finalText) {
  if (!restoreText || !finalText) return Promise.resolve();
  // A preview still waiting would land after the final value; that one wins.
  pendingPreview = null;
  runCommand(restoreText, { undoable: false, withScene: false });
  return runCommand(finalText).then((reply) => {
    if (!reply.ok) showOutput(finalText, reply);
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

// The panel is written only where it changed: a write makes the browser lay
// the page out again, which a drag would otherwise pay for on every update.
function setText(element, text) {
  if (element.textContent !== text) element.textContent = text;
}
function setValue(input, value) {
  if (Number(input.value) !== Number(value)) input.value = value;
}

const handleName = document.getElementById('handle-name');
function updatePanel() {
  const node = selectedHandle ? byName.get(selectedHandle) : null;
  setText(handleName, node ? node.name : 'none');
  if (twist.disabled !== !node) twist.disabled = !node;
  if (!node || !node.ik) {
    rampBox.replaceChildren();
    return;
  }
  if (!sliderGesture || sliderGesture.input !== twist) {
    const value = Number.isFinite(node.ik.twist) ? Math.round(node.ik.twist * 100) / 100 : 0;
    setValue(twist, value);
    setText(twistValue, twist.value);
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
      setValue(input, entry.value);
      setText(input.nextElementSibling, Number(entry.value).toFixed(2));
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
// The status line follows a drag a few times a second, not on every update.
let statusTimer = null;
function writeStatus() {
  statusTimer = null;
  if (status.className !== (connected ? '' : 'offline')) status.className = connected ? '' : 'offline';
  setText(status, `${connected ? 'connected' : 'offline'} · version ${current.version}` +
    (updateTimes.length > 1 ? ` · ${updateTimes.length} updates/s` : ''));
}
function updateStatus() {
  if (statusTimer === null) statusTimer = setTimeout(writeStatus, 250);
}

const events = new EventSource(`/api/events?token=${encodeURIComponent(token)}`);
events.addEventListener('open', () => { connected = true; updateStatus(); });
events.addEventListener('error', () => { connected = false; updateStatus(); });
events.addEventListener('version', (event) => {
  heardVersion = Math.max(heardVersion, Number(event.data) || 0);
  if (heardVersion > current.version && commandsInFlight === 0) refreshScene();
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

// ---------------------------------------------------------------------------
// Time: the slider shows the host's frame and playback range; moving it or
// playing sends currentTime, which is no undo step (the time is no edit).

const timeSlider = document.getElementById('time');
const timeValue = document.getElementById('time-value');
const playButton = document.getElementById('play');
let playing = null;  // the timer of the playback under way

function hostTime() {
  return current.time || { current: 1, fps: 24, start: 1, end: 120 };
}

function goToFrame(frame) {
  return runCommand(`currentTime ${formatNumber(frame)}`, { undoable: false });
}

function updateTime() {
  const time = hostTime();
  if (String(time.start) !== timeSlider.min) timeSlider.min = String(time.start);
  if (String(time.end) !== timeSlider.max) timeSlider.max = String(time.end);
  if (document.activeElement !== timeSlider || playing) setValue(timeSlider, time.current);
  setText(timeValue, String(time.current));
}

timeSlider.addEventListener('input', () => {
  setText(timeValue, timeSlider.value);
  previewCommand(`currentTime ${timeSlider.value}`);
});

function stopPlaying() {
  clearInterval(playing);
  playing = null;
  playButton.textContent = 'Play';
}

// One frame per tick at the host's rate; a frame whose answer has not come
// back yet is skipped rather than queued, so playback never falls behind.
function startPlaying() {
  const time = hostTime();
  let frame = time.current >= time.end ? time.start : Math.floor(time.current);
  let waiting = false;
  playButton.textContent = 'Stop';
  playing = setInterval(() => {
    if (waiting) return;
    frame = frame >= hostTime().end ? hostTime().start : frame + 1;
    waiting = true;
    goToFrame(frame).finally(() => { waiting = false; });
  }, 1000 / Math.max(1, time.fps));
}

playButton.addEventListener('click', () => (playing ? stopPlaying() : startPlaying()));
window.addEventListener('keydown', (event) => {
  if (event.code === 'Space' && event.target.tagName !== 'INPUT') {
    event.preventDefault();
    playButton.click();
  }
});
