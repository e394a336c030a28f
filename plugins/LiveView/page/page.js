// page.js - fetches picture after picture, each when the last one is on the screen, and says what it knows of
// their age. Three loops: pictures, figures, texts of the host. Nothing is called live that came a second ago.
'use strict';

const at = id => document.getElementById(id);
const show = (id, text) => { if (at(id).textContent !== String(text)) at(id).textContent = text; };
const sleep = ms => new Promise(done => setTimeout(done, ms));
const milliseconds = us => (us / 1000).toFixed(2) + ' ms';
const seconds = ms => (ms / 1000).toFixed(1) + ' s';
const viewer = Array.from({length: 4}, () => Math.floor(Math.random() * 65536).toString(36)).join('');

const ZOOMS = ['fit', 1, 2, 4, 8, 16];
const COLOURS = ['#ffb02e', '#4ee38a', '#ff6ec7', '#5cc8ff'];
const state = {
  level: 0, zoom: 'fit', paused: false, steps: 0, outlines: true,
  shown: null,      // {blob, level, token, frame, width, height, ageMs, since, gap, usualGap}; gaps in ms
  answered: clock(),  // when the server last answered
  trouble: '',      // why there is no newer picture, in the server's words
  histogram: null,
};
const results = new Map();  // by module: results by frame, in the order of their coming

// One of the two stands still while the machine sleeps, the other one is set now and then.
function clock() { return {steady: performance.now(), wall: Date.now()}; }
const since = then => Math.max(performance.now() - then.steady, Math.min(Date.now() - then.wall, 1e9));

async function get(path) {
  const patience = new AbortController();
  let timer = setTimeout(() => patience.abort(), 2000);
  try {
    const answer = await fetch(path, {signal: patience.signal, cache: 'no-store'});
    const answered = state.answered = clock();  // ages in the answer are those of now, not of the body's end
    clearTimeout(timer);
    timer = setTimeout(() => patience.abort(), 15000);  // a slow link takes longer for the body
    const body = await answer.blob();
    return {status: answer.status, head: name => answer.headers.get('X-Lumetra-' + name), body, answered};
  } finally {
    clearTimeout(timer);
  }
}

// Frames come at a camera's rate, of which a slow link shows a few: a picture's token ends with its arrival's number.
const arrival = token => Number(token.slice(token.lastIndexOf('-') + 1));

// The picture -----------------------------------------------------------------------------------------------

async function pictures() {
  for (;;) {
    if (state.paused && state.steps === 0) await sleep(30);
    else await sleep(await nextPicture().catch(() => 300));
    if (document.hidden) await sleep(400);  // nobody sees it
  }
}

// How long to wait before the next one.
async function nextPicture() {
  const level = state.level, shown = state.shown;
  const query = new URLSearchParams({level, viewer});
  if (shown && shown.level === level) query.set('after', shown.token);
  const answer = await get('/frame.jpg?' + query);
  if (answer.status === 204) {
    state.trouble = '';
    return 15;
  }
  if (answer.status !== 200) return refused(answer);
  const bitmap = await createImageBitmap(answer.body);
  state.trouble = '';
  if (level !== state.level || (state.paused && state.steps === 0)) return 0;
  state.steps = Math.max(0, state.steps - 1);
  const [width, height] = answer.head('Size').split('x').map(Number);
  const token = answer.head('Picture'), isNext = shown && shown.token !== token;
  const gap = isNext ? since(shown.since) / Math.max(1, arrival(token) - arrival(shown.token)) : 0;
  state.shown = {blob: answer.body, level, token, frame: Number(answer.head('Frame')), width,
                 height, ageMs: Number(answer.head('Age-Ms')), since: answer.answered,
                 gap, usualGap: isNext ? Math.min(gap, shown.gap) : 0};
  const canvas = at('large');
  canvas.width = bitmap.width;
  canvas.height = bitmap.height;
  canvas.getContext('2d').drawImage(bitmap, 0, 0);
  bitmap.close();
  canvas.setAttribute('aria-label', 'frame ' + state.shown.frame);
  layOut();
  drawOutlines();
  await new Promise(done => { requestAnimationFrame(done); setTimeout(done, 100); });  // hidden pages paint nothing
  return 0;
}

async function refused(answer) {
  state.trouble = (await answer.body.text()).trim();
  if (answer.status === 404 && answer.head('Picture') && state.level !== 0) choose(0);
  return answer.status === 503 ? 1000 : 200;
}

// Whole screen pixels for each of the picture's where there is room for one.
function layOut() {
  const canvas = at('large'), stage = at('stage'), density = window.devicePixelRatio || 1;
  const filling = document.fullscreenElement === stage || stage.classList.contains('filling');
  const height = filling ? window.innerHeight : window.innerHeight * 0.7;
  const fitting = Math.min(stage.clientWidth / canvas.width, height / canvas.height);
  let scale = state.zoom === 'fit' ? fitting : state.zoom / density;
  const enlarges = scale * density >= 1;
  if (enlarges) scale = Math.floor(scale * density) / density;
  canvas.classList.toggle('exact', enlarges);
  for (const element of [canvas, at('outlines')]) {
    element.style.width = canvas.width * scale + 'px';
    element.style.height = canvas.height * scale + 'px';
  }
  const factor = enlarges ? Math.round(scale * density) + ' : 1' : Math.round(scale * density * 100) + ' %';
  show('zoom', (state.zoom === 'fit' ? 'Fit, ' : 'Pixels ') + factor);
}

// What is known -----------------------------------------------------------------------------------------------

function ageOfShown() { return state.shown.ageMs + since(state.shown.since); }

function describeState() {
  const silent = since(state.answered);
  if (silent > 1500) return ['stale', 'no answer for ' + seconds(silent) + ': the host has ended or stands still'];
  if (state.paused && state.shown) return ['paused', 'paused at frame ' + state.shown.frame];
  if (state.trouble) return ['stale', state.trouble];
  if (!state.shown) return ['waiting', 'waiting for the first frame'];
  const limit = Math.max(1000, Math.min(10000, 2.5 * state.shown.usualGap));
  return ageOfShown() > limit ? ['stale', 'no new frame for ' + seconds(ageOfShown())] : ['live', 'live'];
}

function tick() {
  const [kind, text] = describeState();
  show('state', text);
  at('state').dataset.kind = kind;
  at('stage').classList.toggle('stale', kind === 'stale');
  const aged = state.shown !== null && (kind === 'stale' || kind === 'paused');
  at('badge').hidden = !aged;
  if (aged) show('badge', seconds(ageOfShown()) + ' old');
  if (state.shown) show('frame', state.shown.frame);
}

// Figures -----------------------------------------------------------------------------------------------------

async function figures() {
  for (;;) {
    try {
      const answer = await get('/stats.json?viewer=' + viewer);
      if (answer.status === 200) showFigures(JSON.parse(await answer.body.text()));
    } catch {
      for (const id of ['fps', 'median', 'p99', 'frames', 'missing', 'mean']) show(id, '-');
    }
    await sleep(500);
  }
}

function showFigures(all) {
  show('fps', all.fps);
  show('median', milliseconds(all.latencyUs.median));
  show('p99', milliseconds(all.latencyUs.p99));
  show('frames', all.frames);
  show('missing', all.missing);
  const newest = all.newest;
  if (!newest) return;
  show('size', newest.width + ' x ' + newest.height);
  show('descriptor', newest.descriptor || '(none)');
  if (!newest.levels) return show('mean', 'not grey: format ' + newest.format);
  show('mean', newest.mean.toFixed(1));
  state.histogram = newest.histogram;
  drawHistogram();
  buildLevels(newest.levels);
}

const SCALES = {root: Math.sqrt, linear: count => count, log: count => Math.log1p(count)};

function drawHistogram() {
  const bins = state.histogram;
  if (!bins) return;
  const canvas = at('histogram'), pen = canvas.getContext('2d'), scale = SCALES[at('scale').value];
  const most = Math.max(1, ...bins), grey = bins.indexOf(most);
  pen.clearRect(0, 0, canvas.width, canvas.height);
  pen.fillStyle = '#4ea1f3';
  bins.forEach((count, k) => {
    const height = scale(count) / scale(most) * canvas.height;
    pen.fillRect(k * 2, canvas.height - height, 2, height);
  });
  show('tallest', 'tallest: ' + most.toLocaleString('en') + ' pixels of grey ' + grey);
}

// Levels ------------------------------------------------------------------------------------------------------

let sizes = '';

function buildLevels(levels) {
  if (sizes === String(levels)) return;
  sizes = String(levels);
  at('levels').replaceChildren(...levels.map(([width, height], level) => {
    const button = document.createElement('button'), image = document.createElement('img');
    image.alt = 'level ' + level;
    button.append(image, width + ' x ' + height);
    button.onclick = () => choose(level);
    return button;
  }));
  choose(Math.min(state.level, levels.length - 1));
}

function choose(level) {
  if (level !== state.level && state.paused) state.steps = 1;
  state.level = level;
  [...at('levels').children].forEach((button, k) => button.setAttribute('aria-pressed', k === level));
}

async function smallPictures() {
  for (;;) {
    await sleep(at('levels').childElementCount > 0 ? 1000 : 100);
    if (document.hidden || state.paused) continue;
    for (const [level, button] of [...at('levels').children].entries()) {
      const answer = await get('/frame.jpg?level=' + level + '&viewer=' + viewer).catch(() => ({status: 0}));
      if (answer.status !== 200) break;
      const image = button.firstChild, before = image.src;
      image.src = URL.createObjectURL(answer.body);
      if (before) URL.revokeObjectURL(before);
    }
  }
}

// Results and log ---------------------------------------------------------------------------------------------

async function texts() {
  let next = 0, instance = '';
  for (;;) {
    try {
      const answer = await get('/texts.json?after=' + next + '&viewer=' + viewer);
      if (answer.status === 200) {
        const fresh = JSON.parse(await answer.body.text());
        const isOther = fresh.instance !== instance, isWhole = !isOther || next === 0;
        if (isOther) forgetTexts(instance = fresh.instance);
        next = isWhole ? fresh.next : 0;  // another host: asked anew
        if (isWhole) takeTexts(fresh, answer.answered);
      }
    } catch {
      await sleep(400);
    }
    await sleep(results.size > 0 ? 20 : 400);  // a result comes a moment after its frame
  }
}

function forgetTexts() {
  results.clear();
  show('results', 'none handed on by the host');
  show('log', '-');
  drawOutlines();
}

function takeTexts(fresh, answered) {
  for (const {module, result, ageMs} of fresh.results) {
    if (!results.has(module)) results.set(module, []);
    const ofModule = results.get(module);
    ofModule.push({result, ageMs, since: answered});
    if (ofModule.length > 90) ofModule.shift();
  }
  if (fresh.results.length > 0) {
    showResults();
    drawOutlines();
  }
  if (fresh.log.length === 0) return;
  const old = at('log').textContent === '-' ? [] : at('log').textContent.split('\n');
  at('log').textContent = old.concat(fresh.log.map(text => text.line)).slice(-200).join('\n');
  at('log').scrollTop = at('log').scrollHeight;
}

function colourOf(module) { return COLOURS[[...results.keys()].indexOf(module) % COLOURS.length]; }

function showResults() {
  const list = at('results');
  for (const [module, ofModule] of results) {
    let entry = [...list.children].find(child => child.dataset.module === module);
    if (!entry) {
      if (list.childElementCount === 0) list.textContent = '';
      entry = document.createElement('details');
      entry.dataset.module = module;
      entry.style.setProperty('--module', colourOf(module));
      entry.append(document.createElement('summary'), document.createElement('pre'));
      list.append(entry);
    }
    const {result} = ofModule[ofModule.length - 1];
    const found = Array.isArray(result.outlines) ? ', ' + result.outlines.length + ' outlines' : '';
    entry.firstChild.textContent = module + ': frame ' + (result.frame ?? '?') + found;
    entry.lastChild.textContent = JSON.stringify(result);
  }
}

const isPoint = point => Array.isArray(point) && point.length === 2 && point.every(Number.isFinite);
const isOutline = one => Array.isArray(one?.points) && one.points.length > 0 && one.points.every(isPoint);

// Of the frame that is shown, or else the newest of the second before it, dashed; paused, of that frame alone.
// Numbers come again where a clip is repeated: a result that is older than the picture is another frame's.
function resultToDraw(ofModule, shown) {
  const age = one => one.ageMs + since(one.since);
  const same = ofModule.findLast(one => one.result.frame === shown.frame && age(one) < ageOfShown() + 1000);
  if (same || state.paused) return same;
  const newest = ofModule[ofModule.length - 1];
  return age(newest) < 1000 ? newest : undefined;
}

function drawOutlines() {
  const drawing = at('outlines'), shown = state.shown;
  drawing.replaceChildren();
  if (!shown || !state.outlines) return;
  drawing.setAttribute('viewBox', '0 0 ' + shown.width + ' ' + shown.height);
  drawing.setAttribute('preserveAspectRatio', 'none');
  const element = (name, attributes) => {
    const made = document.createElementNS('http://www.w3.org/2000/svg', name);
    for (const [key, value] of Object.entries(attributes)) made.setAttribute(key, value);
    drawing.append(made);
    return made;
  };
  for (const [module, ofModule] of results) {
    const drawn = resultToDraw(ofModule, shown);
    if (!drawn || !Array.isArray(drawn.result.outlines)) continue;
    for (const {label, points} of drawn.result.outlines.filter(isOutline)) {
      const age = drawn.result.frame === shown.frame ? '' : 'earlier';
      const polygon = element('polygon', {points: points.join(' '), class: age});
      const size = Math.max(10, shown.height / 24);
      const text = element('text', {x: points[0][0], y: points[0][1], 'font-size': size});
      text.textContent = label ?? '';
      for (const made of [polygon, text]) made.style.setProperty('--module', colourOf(module));
    }
  }
}

// Controls ----------------------------------------------------------------------------------------------------

function pause(paused) {
  state.paused = paused;
  state.steps = 0;
  at('pause').setAttribute('aria-pressed', paused);
  show('pause', paused ? 'Go on' : 'Pause');
  drawOutlines();
}

function step() {
  pause(true);
  state.steps = 1;
}

function save() {
  if (!state.shown) return;
  const link = document.createElement('a');
  link.href = URL.createObjectURL(state.shown.blob);
  link.download = 'frame-' + state.shown.frame + '-level-' + state.shown.level + '.jpg';
  link.click();
  setTimeout(() => URL.revokeObjectURL(link.href), 10000);
}

// Phones that give full screen to films alone fill the page instead.
async function fullScreen() {
  const stage = at('stage');
  if (document.fullscreenElement) await document.exitFullscreen();
  else if (stage.classList.contains('filling')) stage.classList.remove('filling');
  else await Promise.resolve().then(() => stage.requestFullscreen()).catch(() => stage.classList.add('filling'));
  layOut();
}

function zoom() {
  state.zoom = ZOOMS[(ZOOMS.indexOf(state.zoom) + 1) % ZOOMS.length];
  layOut();
}

function outline() {
  state.outlines = !state.outlines;
  at('outline').setAttribute('aria-pressed', state.outlines);
  drawOutlines();
}

const ACTIONS = {pause: () => pause(!state.paused), step, save, full: fullScreen, zoom, outline};
const KEYS = {' ': 'pause', ArrowRight: 'step', s: 'save', f: 'full', z: 'zoom', o: 'outline'};
for (const [id, action] of Object.entries(ACTIONS)) at(id).onclick = action;
at('scale').onchange = drawHistogram;
at('stage').ondblclick = fullScreen;
window.onresize = layOut;
document.onfullscreenchange = layOut;
document.onkeydown = event => {
  const isIn = kind => event.target instanceof Element && event.target.closest(kind) !== null;
  if (event.ctrlKey || event.altKey || event.metaKey || isIn('select, summary')) return;
  if (event.key === ' ' && isIn('button')) return;  // presses that button
  if (event.key === 'Escape') at('stage').classList.remove('filling');
  if (/^[0-7]$/.test(event.key) && Number(event.key) < at('levels').childElementCount) choose(Number(event.key));
  else if (KEYS[event.key]) ACTIONS[KEYS[event.key]]();
  else return;
  event.preventDefault();
};

setInterval(tick, 100);
pictures();
figures();
smallPictures();
texts();
