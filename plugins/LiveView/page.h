// page.h - what the browser shows; it needs nothing from elsewhere.
#ifndef LUMETRA_LIVEVIEW_PAGE_H
#define LUMETRA_LIVEVIEW_PAGE_H

constexpr const char* LIVE_VIEW_PAGE = R"html(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<title>LumetraCore live view</title>
<style>
  :root { color-scheme: dark; }
  * { box-sizing: border-box; }
  body { margin: 0; padding: 20px 24px; background: #14171a; color: #e6e8ea; font: 15px/1.45 system-ui, sans-serif; }
  h1 { font-size: 18px; font-weight: 600; margin: 0 0 16px; }
  h1 small { color: #8b949e; font-weight: 400; margin-left: 10px; }
  main { display: grid; grid-template-columns: minmax(0, 1fr) 320px; gap: 24px; align-items: start; }
  @media (max-width: 820px) { main { grid-template-columns: 1fr; } }
  #large { width: 100%; max-height: 70vh; object-fit: contain; background: #000; border-radius: 6px; }
  #large:not([hidden]) { display: block; }
  #levels { display: flex; flex-wrap: wrap; align-items: flex-end; gap: 10px; margin-top: 12px; }
  #levels button { background: none; border: 2px solid transparent; border-radius: 6px; padding: 3px; cursor: pointer;
                   color: #8b949e; font: 12px system-ui, sans-serif; }
  #levels button[aria-pressed=true] { border-color: #4ea1f3; color: #e6e8ea; }
  #levels img { display: block; height: 64px; min-width: 24px; background: #000; margin: 0 auto 3px;
                image-rendering: pixelated; }
  dl { display: grid; grid-template-columns: 1fr auto; gap: 6px 12px; margin: 0; }
  dt { color: #8b949e; }
  dd { margin: 0; text-align: right; font-variant-numeric: tabular-nums; }
  h2 { font-size: 13px; font-weight: 600; color: #8b949e; margin: 20px 0 6px; }
  canvas { width: 100%; height: 110px; background: #1c2126; border-radius: 6px; }
  pre { margin: 0; padding: 8px 10px; background: #1c2126; border-radius: 6px; white-space: pre-wrap;
        overflow-wrap: anywhere; max-height: 160px; overflow: auto; font-size: 12px; }
</style>
</head>
<body>
<h1>LumetraCore<small id="state">waiting for the first frame</small></h1>
<main>
  <div>
    <img id="large" alt="the newest frame" hidden>
    <div id="levels" role="group" aria-label="pyramid levels"></div>
  </div>
  <div>
    <dl>
      <dt>Frames a second</dt><dd id="fps">-</dd>
      <dt>Push to module, median</dt><dd id="median">-</dd>
      <dt>Push to module, slowest 1 %</dt><dd id="p99">-</dd>
      <dt>Frames</dt><dd id="frames">-</dd>
      <dt title="numbers left out between the smallest and the greatest">Lost or skipped</dt><dd id="lost">-</dd>
      <dt>Newest frame</dt><dd id="frame">-</dd>
      <dt>Size</dt><dd id="size">-</dd>
      <dt>Mean grey level</dt><dd id="mean">-</dd>
    </dl>
    <h2>Grey levels</h2>
    <canvas id="histogram" width="512" height="160" role="img" aria-label="histogram of the grey levels"></canvas>
    <h2>Descriptor</h2>
    <pre id="descriptor">-</pre>
  </div>
</main>
<script>
const at = id => document.getElementById(id);
const show = (id, text) => { at(id).textContent = text; };
const milliseconds = us => (us / 1000).toFixed(2) + ' ms';
let chosen = -1, sizes = '';

at('large').onerror = () => { chosen = -1; };  // refused or ended: asked for again with the next figures

// One connection for the large picture; the small ones are asked for now and then.
function choose(level) {
  if (level === chosen) return;
  chosen = level;
  at('large').src = '/stream.mjpg?level=' + level;
  at('large').hidden = false;
  for (const button of at('levels').children)
    button.setAttribute('aria-pressed', button.dataset.level == level);
}

function buildLevels(levels) {
  if (sizes === String(levels)) return chosen < 0 ? choose(0) : undefined;
  sizes = String(levels);
  at('levels').replaceChildren(...levels.map(([width, height], level) => {
    const button = document.createElement('button');
    button.dataset.level = level;
    const image = document.createElement('img');
    image.alt = 'level ' + level;
    image.onerror = () => { image.style.visibility = 'hidden'; };
    image.onload = () => { image.style.visibility = 'visible'; };
    button.append(image, width + ' x ' + height);
    button.onclick = () => choose(level);
    return button;
  }));
  chosen = -1;
  choose(0);
}

function drawHistogram(bins) {
  const canvas = at('histogram'), pen = canvas.getContext('2d'), most = Math.max(1, ...bins);
  pen.clearRect(0, 0, canvas.width, canvas.height);
  pen.fillStyle = '#4ea1f3';
  bins.forEach((count, grey) => {
    const height = Math.sqrt(count / most) * canvas.height;
    pen.fillRect(grey * 2, canvas.height - height, 2, height);
  });
}

function showStatistics(all) {
  show('fps', all.fps);
  show('median', milliseconds(all.latencyUs.median));
  show('p99', milliseconds(all.latencyUs.p99));
  show('frames', all.frames);
  show('lost', all.lost);
  const newest = all.newest;
  show('state', newest ? (all.fps ? 'live' : 'no frame in the last second') : 'waiting for the first frame');
  if (!newest) return;
  show('frame', newest.frame);
  show('size', newest.width + ' x ' + newest.height);
  show('descriptor', newest.descriptor || '(none)');
  if (!newest.levels) return show('mean', 'not grey');
  show('mean', newest.mean.toFixed(1));
  drawHistogram(newest.histogram);
  buildLevels(newest.levels);
}

async function ask() {
  try {
    showStatistics(await (await fetch('/stats.json')).json());
  } catch (error) {
    show('state', 'the module does not answer');
    chosen = -1;
    sizes = '';
    at('levels').replaceChildren();
  }
  setTimeout(ask, 500);
}

function refreshLevels() {
  for (const button of at('levels').children)
    button.firstChild.src = '/frame.jpg?level=' + button.dataset.level + '&at=' + Date.now();
  setTimeout(refreshLevels, at('levels').childElementCount ? 1000 : 100);
}

ask();
refreshLevels();
</script>
</body>
</html>
)html";

#endif
