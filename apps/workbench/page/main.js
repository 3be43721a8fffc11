// The workbench page: the images list, the menus, the view, and the loop
// that polls the server's state for questions, dialogs, notices and progress.
import * as api from './api.js';
import * as dialogs from './dialogs.js';
import { ImageView } from './view.js';

const $ = id => document.getElementById(id);
const app = {
  images: [], current: -1, generation: -1, lastNotice: 0,
  shownInteraction: 0, busy: false, queue: Promise.resolve(),
};

const view = new ImageView($('view'), $('colorbar'), $('readout'), () => refresh(), text => notice(text, true));

// Modals come one after another: notices, then what a command asks.
function inTurn(show) { app.queue = app.queue.then(show).catch(e => console.error(e)); return app.queue; }
function notice(text, error) { return inTurn(() => dialogs.showNotice(text, error)); }
function status(text) { $('status').textContent = text; }

function renderQuery() {
  return { colormap: $('colormap').value, low: $('low').value.trim(), high: $('high').value.trim() };
}

// ---- the images list --------------------------------------------------------

function showImages() {
  const body = $('images').querySelector('tbody');
  body.replaceChildren();
  for (const img of app.images) {
    const tr = document.createElement('tr');
    tr.dataset.index = img.index;
    if (img.index === app.current) tr.classList.add('current');
    for (const text of [img.name, `${img.width}x${img.height}`, img.file.split('/').pop(), img.markers, img.converted ? 'yes' : ''])
      tr.append(Object.assign(document.createElement('td'), { textContent: String(text) }));
    tr.title = img.file;
    tr.addEventListener('click', () => select(img.index));
    body.append(tr);
  }
  $('hostUndo').disabled = !app.undo;
  const img = app.images[app.current];
  const link = $('quickLook');
  if (img) {
    link.href = api.url('/api/quicklook', { image: img.index, ...renderQuery() });
    link.download = `${img.name}.png`;
  } else link.removeAttribute('href');
}

async function select(index) {
  try { await api.post('/api/select', { image: index }); await refresh(); }
  catch (e) { notice(e.message, true); }
}

// ---- the menus ------------------------------------------------------------------

function closeMenus() { for (const m of document.querySelectorAll('.menu.open')) m.classList.remove('open'); }

function showMenus(groups) {
  const nav = $('menus');
  const open = nav.querySelector('.menu.open')?.dataset.group;
  nav.replaceChildren();
  for (const group of groups) {
    const menu = Object.assign(document.createElement('div'), { className: 'menu' });
    menu.dataset.group = group.name;
    if (group.name === open) menu.classList.add('open');
    const button = Object.assign(document.createElement('button'), { textContent: group.name, type: 'button' });
    button.addEventListener('click', e => {
      e.stopPropagation();
      const was = menu.classList.contains('open');
      closeMenus();
      if (!was) menu.classList.add('open');
    });
    const list = document.createElement('ul');
    for (const row of group.rows) {
      const li = document.createElement('li');
      if (row.separator) { li.className = 'separator'; list.append(li); continue; }
      li.className = 'row' + (row.available ? '' : ' unavailable');
      li.textContent = row.label;
      li.title = row.tooltip + (row.available ? '' : `  (not available: ${row.test})`);
      li.dataset.name = row.name;
      li.addEventListener('mouseenter', () => status(row.tooltip));
      li.addEventListener('click', e => {
        e.stopPropagation();
        if (!row.available) return;
        closeMenus();
        runCommand(row);
      });
      list.append(li);
    }
    menu.append(button, list);
    nav.append(menu);
  }
}

async function runCommand(row) {
  try {
    await api.post('/api/run', { command: row.name });
    app.busy = true;
    document.body.classList.add('busy');
    status(`Running ${row.label.trim()} …`);
    poll();
  } catch (e) { notice(e.message, true); }
}

// ---- refreshing after a change ----------------------------------------------------

async function refresh() {
  try {
    const [list, menu] = await Promise.all([api.get('/api/images'), api.get('/api/menu')]);
    Object.assign(app, { images: list.images, current: list.current, undo: list.undo, generation: list.generation });
    showImages();
    showMenus(menu.groups);
    const img = app.images[app.current];
    if (img) await view.load(img, renderQuery()); else view.clear();
  } catch (e) {
    if (e.status !== 409) notice(e.message, true);  // busy: the next poll refreshes
  }
}

// ---- what a running command asks -------------------------------------------------

async function answerInteraction(interaction) {
  const { id, kind, payload } = interaction;
  if (kind === 'record') return dialogs.editRecord(id, payload);
  let reply;
  if (kind === 'question') reply = { yes: await dialogs.askQuestion(payload.text) };
  else if (kind === 'image') {
    const index = await dialogs.pickImage(payload.title, payload.entries, payload.current);
    reply = index < 0 ? { cancel: true } : { index };
  } else if (kind === 'file' || kind === 'files') {
    const chosen = await dialogs.pickFile({ title: payload.title, extensions: payload.extensions,
      save: payload.save, proposed: payload.proposed || '', multiple: kind === 'files' });
    reply = chosen === null ? { cancel: true } : kind === 'files' ? { paths: chosen } : { path: chosen };
  }
  try { await api.post('/api/answer', { id, ...reply }); }
  catch (e) {
    await dialogs.showNotice(e.message, true);
    app.shownInteraction = 0;  // asked again at the next poll
  }
}

function showProgress(state) {
  const bar = $('progress');
  bar.hidden = !state.progress;
  if (state.progress) {
    bar.value = state.progress.percent;
    $('progressText').textContent = `${state.progress.what} ${state.progress.percent}%`;
  } else $('progressText').textContent = '';
  document.body.classList.toggle('busy', state.busy || state.wait);
}

let polling = false;
async function poll() {
  if (polling) return;
  polling = true;
  try {
    const state = await api.get('/api/state', { since: app.lastNotice });
    for (const n of state.notices) notice(n.text, n.error);
    app.lastNotice = Math.max(app.lastNotice, state.lastNotice);
    showProgress(state);
    const i = state.interaction;
    if (i && i.id !== app.shownInteraction) {
      app.shownInteraction = i.id;
      inTurn(() => answerInteraction(i));
    }
    if (app.busy && !state.busy) {
      const r = state.result;
      status(r ? (r.ok ? `${r.command.trim()}: done` : `${r.command.trim()}: failed`) : 'Ready');
    } else if (state.busy) status(`Running ${state.command.trim()} …`);
    app.busy = state.busy;
    if (!state.busy && state.generation !== app.generation) await refresh();
  } catch (e) {
    status(`The server does not answer: ${e.message}`);
  } finally { polling = false; }
}

// ---- host actions -------------------------------------------------------------------

function currentImage() {
  const img = app.images[app.current];
  if (!img) notice('There is no current image.', true);
  return img;
}

async function hostAction(action) {
  try { await action(); await refresh(); } catch (e) { notice(e.message, true); }
}

$('openImage').addEventListener('click', () => inTurn(async () => {
  const path = await dialogs.pickFile({ title: 'Open Image', extensions: ['.imp', '.tif', '.tiff', '.png'] });
  if (path) await hostAction(() => api.post('/api/open', { path }));
}));
$('saveImage').addEventListener('click', () => inTurn(async () => {
  const img = currentImage();
  if (!img) return;
  const path = await dialogs.pickFile({ title: 'Save Image', extensions: ['.imp', '.tif'], save: true, proposed: `${img.name}.imp` });
  if (path) await hostAction(async () => { const r = await api.post('/api/save', { image: img.index, path }); status(`Saved ${r.saved}`); });
}));
$('saveRoi').addEventListener('click', () => inTurn(async () => {
  const img = currentImage();
  if (!img) return;
  const path = await dialogs.pickFile({ title: 'Save ROI', extensions: ['.imp'], save: true, proposed: `${img.name}_ROI.imp` });
  if (path) await hostAction(async () => { const r = await api.post('/api/save-mask', { image: img.index, layer: 'ROI', path }); status(`Saved ${r.saved}`); });
}));
$('hostUndo').addEventListener('click', () => hostAction(() => api.post('/api/undo')));
$('roiAll').addEventListener('click', () => {
  const img = currentImage();
  if (img) hostAction(() => api.post('/api/roi', { image: img.index, mode: 'all' }));
});

for (const id of ['colormap', 'low', 'high']) $(id).addEventListener('change', () => refresh());
$('fit').addEventListener('click', () => view.fit());
$('oneToOne').addEventListener('click', () => view.oneToOne());
for (const [id, key] of [['showRoi', 'roi'], ['showBkgr', 'bkgr'], ['showMarkers', 'markers']])
  $(id).addEventListener('change', e => {
    view.show[key] = e.target.checked;
    if (view.pixels) view.makeOverlay();
    view.draw();
  });
for (const b of document.querySelectorAll('button.tool'))
  b.addEventListener('click', () => {
    for (const o of document.querySelectorAll('button.tool')) o.classList.toggle('active', o === b);
    view.tool = b.dataset.tool;
    view.shape = [];
    view.draw();
  });
for (const r of document.querySelectorAll('input[name=roiMode]'))
  r.addEventListener('change', () => { view.roiMode = r.value; });
document.addEventListener('click', closeMenus);

// What the browser tests read: the view's transform, to point at pixels.
window.workbench = { view, app };

refresh();
setInterval(poll, 300);
poll();
