// The workbench in a real browser: Debian's chromium, headless, driven by
// playwright-core. A synthetic run is served by `tamble serve`; the requests
// a stranger or a broken page could send are tried first, then a test
// engineer's session by mouse, whose saved image must equal, byte for byte,
// the one `tamble script` makes with the same steps.
import { after, before, describe, it } from 'node:test';
import assert from 'node:assert/strict';
import { spawn, spawnSync } from 'node:child_process';
import fs from 'node:fs';
import os from 'node:os';
import path from 'node:path';
import { fileURLToPath } from 'node:url';

const here = path.dirname(fileURLToPath(import.meta.url));
const chromiumPath = process.env.TAMBLE_CHROMIUM || '/usr/bin/chromium';
const tamble = process.env.TAMBLE_EXE;

function skip(reason) {
  console.log(`workbench browser tests skipped: ${reason}`);
  process.exit(77);
}
if (!tamble || !fs.existsSync(tamble)) skip('TAMBLE_EXE does not name the built tamble');
if (!fs.existsSync(chromiumPath)) skip(`no browser at ${chromiumPath} (install Debian's chromium: scripts/setup)`);
let chromium;
try {
  ({ chromium } = await import(path.join(here, 'node_modules/playwright-core/index.mjs')));
} catch (_) {
  skip('playwright-core is not installed (scripts/setup runs npm ci in tests/workbench)');
}

const work = fs.mkdtempSync(path.join(os.tmpdir(), 'tamble-workbench-'));
const shots = process.env.TAMBLE_SCREENSHOTS || path.join(work, 'screenshots');
fs.mkdirSync(shots, { recursive: true });
const env = { ...process.env, TAMBLE_STORE: path.join(work, 'store.ini'), TAMBLE_LOG: '' };

function runTamble(args, input) {
  const r = spawnSync(tamble, args, { cwd: work, env, input, encoding: 'utf8' });
  assert.equal(r.status, 0, `tamble ${args.join(' ')}: ${r.stdout}${r.stderr}`);
  return r.stdout;
}

// ---- the server --------------------------------------------------------------------

let server, base, token;

function startServer() {
  return new Promise((resolve, reject) => {
    server = spawn(tamble, ['serve', '.'], { cwd: work, env, stdio: ['ignore', 'pipe', 'inherit'] });
    let out = '';
    server.stdout.on('data', chunk => {
      out += chunk;
      const m = out.match(/(http:\/\/127\.0\.0\.1:\d+)\/\?token=([0-9a-f]+)/);
      if (m) resolve([m[1], m[2]]);
    });
    server.on('exit', code => reject(new Error(`tamble serve ended (${code}): ${out}`)));
  });
}

async function request(pathAndQuery, { method = 'GET', body, headers = {}, withToken = true } = {}) {
  const r = await fetch(base + pathAndQuery, {
    method, body, headers: { ...(withToken ? { 'X-Tamble-Token': token } : {}), ...headers },
  });
  const type = r.headers.get('content-type') || '';
  return { status: r.status, json: type.includes('json') ? await r.json() : null, bytes: type.includes('json') ? null : Buffer.from(await r.arrayBuffer()) };
}
const post = (p, body) => request(p, { method: 'POST', body: typeof body === 'string' ? body : JSON.stringify(body) });

async function waitFor(what, predicate, timeout = 30000) {
  const end = Date.now() + timeout;
  for (;;) {
    const value = await predicate();
    if (value) return value;
    if (Date.now() > end) throw new Error(`timed out waiting for ${what}`);
    await new Promise(r => setTimeout(r, 50));
  }
}

// The server goes with the test, however it ends; the folder stays only
// when something failed, to look at.
process.on('exit', code => {
  if (server) server.kill();
  if (!code) fs.rmSync(work, { recursive: true, force: true });
});
for (const signal of ['SIGINT', 'SIGTERM']) process.on(signal, () => process.exit(1));

before(async () => {
  runTamble(['synth', 'run', 'size=128']);
  runTamble(['synth', 'large', 'size=256']);  // large enough for the whole conversion
  [base, token] = await startServer();
});
after(() => { if (server) server.kill(); });

// ---- requests that must change nothing -------------------------------------------------

describe('requests refused', () => {
  it('refuses every request without the right token', async () => {
    for (const [p, method] of [['/', 'GET'], ['/page/main.js', 'GET'], ['/api/images', 'GET'], ['/api/state', 'GET'],
      ['/api/run', 'POST'], ['/api/open', 'POST']]) {
      for (const headers of [{}, { 'X-Tamble-Token': '0'.repeat(32) }, { Cookie: 'tamble_token=' + token.slice(1) + 'x' }]) {
        const r = await request(p, { method, headers, withToken: false, body: method === 'POST' ? '{}' : undefined });
        assert.equal(r.status, 403, `${method} ${p} ${JSON.stringify(headers)}`);
        assert.match(r.json.error, /access token/);
      }
    }
    assert.equal((await request('/?token=' + token, { withToken: false })).status, 200);
  });

  it('refuses paths that leave the folder', async () => {
    fs.symlinkSync('/etc', path.join(work, 'etcLink'));
    const escapes = ['../outside.imp', '/etc/passwd', 'run/../../x.imp', 'etcLink/passwd', 'etcLink/new.imp'];
    for (const p of escapes) {
      const opened = await post('/api/open', { path: p });
      assert.equal(opened.status, 400, `open ${p}`);
      assert.match(opened.json.error, /folder/);
      const saved = await post('/api/save', { path: p, image: 0 });
      assert.ok(saved.status === 400 || saved.status === 404, `save ${p}: ${saved.status}`);
    }
    assert.equal((await request('/api/files?dir=..')).status, 400);
    assert.equal((await request('/api/files?dir=etcLink')).status, 400);
    assert.ok(!fs.existsSync(path.join(work, '..', 'outside.imp')));
    fs.unlinkSync(path.join(work, 'etcLink'));
  });

  it('refuses oversized and malformed bodies with a clear error', async () => {
    const huge = await post('/api/roi', JSON.stringify({ mode: 'add', points: [], pad: 'x'.repeat(2 << 20) }));
    assert.equal(huge.status, 413);
    assert.match(huge.json.error, /larger than/);
    const cases = [['/api/run', '{"command": '], ['/api/run', '[1, 2]'], ['/api/run', '{"command": 7}'],
      ['/api/run', '{"command": "no-such-command"}'], ['/api/roi', '{"mode": "add", "points": [[1, 2]]}'],
      ['/api/marker', '{"action": "add", "x": "a"}'], ['/api/answer', '{"id": 99, "yes": true}']];
    for (const [p, body] of cases) {
      const r = await post(p, body);
      assert.ok(r.status >= 400 && r.status < 500, `${p} ${body}: ${r.status}`);
      assert.equal(typeof r.json.error, 'string');
    }
    const list = await request('/api/images');
    assert.deepEqual(list.json.images, []);
  });

  it('listens on another interface only when told, with a warning', async () => {
    const other = spawn(tamble, ['serve', '.', '--bind', '127.0.0.2'], { cwd: work, env });
    let out = '', err = '';
    other.stdout.on('data', c => { out += c; });
    other.stderr.on('data', c => { err += c; });
    try {
      await waitFor('the second server', () => out.includes('token='));
      assert.match(out, /http:\/\/127\.0\.0\.2:\d+\/\?token=[0-9a-f]{32}/);
      assert.match(err, /^warning: the workbench listens on 127\.0\.0\.2/);
    } finally { other.kill(); }
    assert.match(base, /^http:\/\/127\.0\.0\.1:/);
  });

  it('answers busy while a command runs', async () => {
    assert.equal((await post('/api/run', { command: 'open-project' })).status, 202);
    const state = await waitFor('the file choice', async () => {
      const s = (await request('/api/state')).json;
      return s.interaction && s;
    });
    assert.equal(state.interaction.kind, 'file');
    for (const [p, body] of [['/api/run', { command: 'open-project' }], ['/api/undo', {}], ['/api/open', { path: 'run/flat_sens.tif' }]]) {
      const r = await post(p, body);
      assert.equal(r.status, 409, p);
      assert.match(r.json.error, /busy/);
    }
    assert.equal((await request('/api/images')).status, 409);
    assert.equal((await post('/api/answer', { id: state.interaction.id, cancel: true })).status, 200);
    await waitFor('the end of the command', async () => !(await request('/api/state')).json.busy);
    assert.deepEqual((await request('/api/images')).json.images, []);
  });
});

// ---- a session by mouse -----------------------------------------------------------------

describe('a session by mouse', () => {
  let browser, page;
  const notices = [];

  before(async () => {
    browser = await chromium.launchPersistentContext(fs.mkdtempSync(path.join(work, 'profile-')), {
      executablePath: chromiumPath, headless: true, viewport: { width: 1400, height: 860 }, acceptDownloads: true,
      args: ['--headless', '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
        '--disable-background-networking', '--disable-component-update', '--disable-sync'],
    });
    page = await browser.newPage();
    page.setDefaultTimeout(20000);
    page.on('pageerror', e => notices.push(`page error: ${e.message}`));
    await page.goto(`${base}/?token=${token}`);
    await page.waitForSelector('.menu[data-group="B Convert"]');
  });
  after(async () => { if (browser) await browser.close(); });

  const modal = kind => page.locator(`.modal[data-kind="${kind}"]`);
  const shot = name => page.screenshot({ path: path.join(shots, `${name}.png`) });

  // Clicks OK on the notices that come until the command has ended.
  async function settle() {
    await waitFor('the command to end', async () => {
      if (await modal('notice').count()) {
        notices.push(await modal('notice').locator('pre').textContent());
        await modal('notice').getByRole('button', { name: 'OK' }).click();
        return false;
      }
      const s = (await request('/api/state')).json;
      // The page has seen every notice and change the server has.
      const seen = await page.evaluate(() => ({ notice: window.workbench.app.lastNotice, generation: window.workbench.app.generation }));
      return !s.busy && !s.interaction && seen.notice === s.lastNotice && seen.generation === s.generation &&
        !(await page.locator('#modalLayer:not([hidden])').count());
    });
    await page.waitForFunction(() => !document.body.classList.contains('busy'));
  }

  async function rowOf(group, name) {
    return page.locator(`.menu[data-group="${group}"] li.row[data-name="${name}"]`);
  }
  async function menu(group, name) {
    const open = page.locator('#modalLayer:not([hidden])');
    if (await open.count()) assert.fail(`a dialog is open before ${name}: ${await open.textContent()}`);
    await page.locator(`.menu[data-group="${group}"] > button`).click();
    await (await rowOf(group, name)).click();
  }
  async function available(group, name) {
    return !(await (await rowOf(group, name)).getAttribute('class')).includes('unavailable');
  }
  async function pickFile(parts, { all = false } = {}) {
    const picker = modal('file');
    await picker.waitFor();
    if (all) await picker.locator('input[name=allFiles]').check();
    for (const part of parts) await picker.locator('li', { hasText: new RegExp(`^${part}$`) }).click();
    await picker.getByRole('button', { name: 'OK' }).click();
  }
  async function selectImage(name) {
    await page.locator('#images tbody tr', { has: page.locator(`td:text-is("${name}")`) }).click();
    await page.waitForSelector(`#images tbody tr.current td:text-is("${name}")`);
    await page.waitForFunction(n => window.workbench.view.image?.name === n && window.workbench.view.picture, name);
  }
  // Screen point of image coordinates (x, y).
  async function screenOf(x, y) {
    const t = await page.evaluate(() => {
      const v = window.workbench.view;
      const r = v.canvas.getBoundingClientRect();
      return { left: r.left, top: r.top, scale: v.scale, ox: v.ox, oy: v.oy };
    });
    return { x: t.left + t.ox + x * t.scale, y: t.top + t.oy + y * t.scale };
  }
  async function pixels(index) {
    const r = await request(`/api/pixels?image=${index}`);
    const n = 128 * 128;
    return { field: r.bytes.subarray(0, 4 * n), roi: r.bytes.subarray(5 * n, 6 * n) };
  }

  it('opens the project and greys rows by their availability', async () => {
    assert.equal(await available('B Convert', 'dark-frame-subtraction'), false);
    await menu('B Convert', 'open-project');
    await pickFile(['run', 'run.vur']);
    await settle();
    await page.waitForSelector('#images tbody tr:nth-child(10)');
    await page.waitForFunction(() => window.workbench.view.picture);
    assert.equal(await available('B Convert', 'dark-frame-subtraction'), true);
    assert.equal(await available('Edit', 'edit/undo'), false);
    await shot('workbench-project');
  });

  it('subtracts the dark frames and corrects the flat field from the menus', async () => {
    await menu('B Convert', 'dark-frame-subtraction');
    await settle();
    await menu('B Convert', 'b-convert/flat-field-correction');
    await settle();
    const converted = await page.locator('#images tbody td:text-is("yes")').count();
    assert.equal(converted, 4);
    assert.equal(await available('Edit', 'edit/undo'), true);
  });

  it('draws an ROI rectangle, filters in it, and undoes the filter', async () => {
    await selectImage('wind_on_sens');
    // The project gave the image the model's outline as ROI; the rectangle adds to it.
    const expected = Uint8Array.from((await pixels(0)).roi);
    for (let y = 40; y < 100; ++y) for (let x = 30; x < 90; ++x) expected[y * 128 + x] = 1;
    assert.notDeepEqual(expected, Uint8Array.from((await pixels(0)).roi));
    await page.locator('button.tool[data-tool=rect]').click();
    const a = await screenOf(30, 40), b = await screenOf(90, 100);
    await page.mouse.move(a.x, a.y);
    await page.mouse.down();
    await page.mouse.move((a.x + b.x) / 2, (a.y + b.y) / 2);
    await page.mouse.move(b.x, b.y);
    await page.mouse.up();
    await waitFor('the ROI', async () => Buffer.from((await pixels(0)).roi).equals(Buffer.from(expected)));
    await page.waitForFunction(() => window.workbench.view.pixels?.roi[40 * 128 + 30] === 1);

    const before = Buffer.from((await pixels(0)).field);
    await menu('Edit', 'median-filter');
    const dialog = modal('record');
    await dialog.waitFor();
    await shot('workbench-dialog');
    await dialog.locator('input[name=m_diameter]').fill('1');
    await dialog.getByRole('button', { name: 'OK' }).click();
    await page.waitForFunction(() => document.querySelector('.modal .refusal')?.textContent.includes('Filter Diameter'));
    await dialog.locator('input[name=m_diameter]').fill('5');
    await dialog.getByRole('button', { name: 'OK' }).click();
    await settle();
    const filtered = Buffer.from((await pixels(0)).field);
    assert.notDeepEqual(filtered, before);
    // Outside the ROI nothing moved.
    const f = new Float32Array(filtered.buffer, filtered.byteOffset, 128 * 128);
    const g = new Float32Array(before.buffer, before.byteOffset, 128 * 128);
    assert.equal(f[10 * 128 + 10], g[10 * 128 + 10]);

    await menu('Edit', 'edit/undo');
    await settle();
    assert.deepEqual(Buffer.from((await pixels(0)).field), before);
    assert.equal(await available('Edit', 'edit/undo'), false);

    // The dialog opens with the value OK stored.
    await menu('Edit', 'median-filter');
    await dialog.waitFor();
    assert.equal(await dialog.locator('input[name=m_diameter]').inputValue(), '5');
    await dialog.getByRole('button', { name: 'OK' }).click();
    await settle();
    assert.deepEqual(Buffer.from((await pixels(0)).field), filtered);
  });

  it('subtracts a polygon and a freehand outline from the ROI', async () => {
    await selectImage('wind_off_sens');
    const start = Uint8Array.from((await pixels(1)).roi);
    const roiNow = async () => Buffer.from((await pixels(1)).roi);
    await page.locator('input[name=roiMode][value=subtract]').check();
    // A triangle whose pixel centres x + y < 15 (from its corner) lie inside,
    // on the model, where the ROI was set.
    await page.locator('button.tool[data-tool=polygon]').click();
    for (const [x, y] of [[56, 56], [72, 56], [56, 72]]) {
      const p = await screenOf(x, y);
      await page.mouse.click(p.x, p.y);
    }
    await page.keyboard.press('Enter');
    const triangle = Uint8Array.from(start);
    for (let y = 0; y < 16; ++y) for (let x = 0; x < 16; ++x) if (x + y < 15) triangle[(56 + y) * 128 + 56 + x] = 0;
    const cleared = (a, b) => a.reduce((n, v, i) => n + (v !== b[i] ? 1 : 0), 0);
    assert.equal(cleared(start, triangle), 120);
    await waitFor('the triangle', async () => (await roiNow()).equals(Buffer.from(triangle)));
    // A freehand square traced along its edges.
    await page.locator('button.tool[data-tool=freehand]').click();
    const corners = [[20, 60], [40, 60], [40, 68], [20, 68]];
    const first = await screenOf(...corners[0]);
    await page.mouse.move(first.x, first.y);
    await page.mouse.down();
    for (const c of [...corners.slice(1), corners[0]]) {
      const p = await screenOf(...c);
      await page.mouse.move(p.x, p.y, { steps: 5 });
    }
    await page.mouse.up();
    const square = Uint8Array.from(triangle);
    for (let y = 60; y < 68; ++y) for (let x = 20; x < 40; ++x) square[y * 128 + x] = 0;
    assert.equal(cleared(triangle, square), 160);
    await waitFor('the square', async () => (await roiNow()).equals(Buffer.from(square)));
    await page.locator('input[name=roiMode][value=add]').check();
    for (let i = 0; i < 2; ++i) await page.locator('#hostUndo').click();
    await waitFor('the ROI undone', async () => (await roiNow()).equals(Buffer.from(start)));
    await selectImage('wind_on_sens');
  });

  it('answers a question', async () => {
    await menu('Tools', 'open-background');
    // The picker opens where the command proposes: beside the image's file.
    await page.waitForFunction(() => document.querySelector('.modal[data-kind=file] .where')?.textContent === 'Folder: ./run');
    await pickFile(['wind_on_sens.tif'], { all: true });
    const question = modal('question');
    await question.waitFor();
    assert.match(await question.locator('pre').textContent(), /only IMP file/);
    await shot('workbench-question');
    await question.getByRole('button', { name: 'No' }).click();
    await settle();
  });

  it('edits markers', async () => {
    await page.locator('button.tool[data-tool=markerAdd]').click();
    for (const [x, y] of [[20.5, 20.5], [60.5, 70.5]]) {
      const p = await screenOf(x, y);
      await page.mouse.click(p.x, p.y);
      await waitFor('the marker', async () => (await request('/api/markers?image=0')).json.some(m => m.x === x - 0.5 && m.y === y - 0.5));
    }
    await page.waitForFunction(() => window.workbench.view.markers.length === 2);
    await page.locator('button.tool[data-tool=markerToggle]').click();
    const p = await screenOf(20.5, 20.5);
    await page.mouse.click(p.x, p.y);
    await waitFor('the disabled marker', async () => (await request('/api/markers?image=0')).json.some(m => m.id === 1 && !m.active));
    await page.waitForFunction(() => window.workbench.view.markers.some(m => !m.active));
    await page.locator('button.tool[data-tool=markerMove]').click();
    const from = await screenOf(60.5, 70.5), to = await screenOf(64.5, 72.5);
    await page.mouse.move(from.x, from.y);
    await page.mouse.down();
    await page.mouse.move(to.x, to.y);
    await page.mouse.up();
    const markers = await waitFor('the moved marker', async () => {
      const m = (await request('/api/markers?image=0')).json;
      return m.some(k => k.id === 2 && k.x === 64) && m;
    });
    assert.deepEqual(markers.map(m => [m.id, m.x, m.y, m.active]), [[1, 20, 20, false], [2, 64, 72, true]]);
    await page.waitForFunction(() => window.workbench.view.markers.length === 2);
    await shot('workbench-markers');
    // Marker edits are undone one at a time: two additions, a toggle, a move.
    const undone = [[[1, 20, 20, false], [2, 60, 70, true]], [[1, 20, 20, true], [2, 60, 70, true]], [[1, 20, 20, true]], []];
    for (const expected of undone) {
      await page.locator('#hostUndo').click();
      await waitFor(`markers ${JSON.stringify(expected)}`, async () => JSON.stringify((await request('/api/markers?image=0')).json
        .map(m => [m.id, m.x, m.y, m.active])) === JSON.stringify(expected));
    }
  });

  it('saves the image and its ROI as tamble script would', async () => {
    await page.locator('#saveRoi').click();
    await modal('file').locator('input[name=fileName]').fill('roi.imp');
    await modal('file').getByRole('button', { name: 'OK' }).click();
    // The picker opens where the last one ended: the run's folder.
    await waitFor('roi.imp', () => fs.existsSync(path.join(work, 'run/roi.imp')));
    await page.locator('#saveImage').click();
    await modal('file').locator('input[name=fileName]').fill('web.imp');
    await modal('file').getByRole('button', { name: 'OK' }).click();
    await waitFor('web.imp', () => fs.existsSync(path.join(work, 'run/web.imp')));
    const download = page.waitForEvent('download');
    await page.locator('#quickLook').click();
    const png = await (await download).path();
    assert.deepEqual([...fs.readFileSync(png).subarray(1, 4)], [...Buffer.from('PNG')]);

    runTamble(['script', '-'], [
      'project run/run.vur', 'run dark-frame-subtraction', 'run b-convert/flat-field-correction',
      'select wind_on_sens', 'load-mask wind_on_sens ROI run/roi.imp', 'run median-filter m_diameter=5',
      'run edit/undo', 'run median-filter m_diameter=5',
      'run open-background --file run/wind_on_sens.tif --answer no', 'save wind_on_sens=cli.imp', ''].join('\n'));
    assert.ok(fs.readFileSync(path.join(work, 'run/web.imp')).equals(fs.readFileSync(path.join(work, 'cli.imp'))),
      'the workbench and tamble script saved different images');
    assert.deepEqual(notices.filter(n => n.startsWith('page error')), []);
  });

  it('converts a project: the scenario greys its stages, the stage report ends it', async () => {
    await menu('B Convert', 'open-project');
    const picker = modal('file');
    await picker.waitFor();
    await picker.locator('li.folder', { hasText: /^\.\.$/ }).click();
    await pickFile(['large', 'run.vur']);
    await settle();
    await menu('B Convert', 'automatic-convert');
    const dialog = modal('record');
    await dialog.waitFor();
    const outputs = ['m_CB01_FGThin', 'm_CB01_FinalFilter', 'm_CB01_Corr', 'm_CB01_Resection'];
    const enabled = () => Promise.all(outputs.map(k => dialog.locator(`input[name=${k}]`).isEnabled()));
    const offered = await enabled();
    assert.ok(offered.includes(true), 'no output stage is offered');
    await dialog.locator('input[name=m_CB01_Convert]').uncheck();
    await page.waitForFunction(() => document.querySelector('.modal input[name=m_CB01_Corr]').disabled);
    assert.deepEqual(await enabled(), outputs.map(() => false));
    await dialog.locator('input[name=m_CB01_Convert]').check();
    await page.waitForFunction(() => !document.querySelector('.modal input[name=m_CB01_Corr]').disabled);
    assert.deepEqual(await enabled(), offered);
    await shot('workbench-scenario');
    await dialog.getByRole('button', { name: 'OK' }).click();
    // The stage report comes as a notice at the end.
    const report = modal('notice').filter({ hasText: 'Computational time' });
    await report.waitFor();
    assert.match(await report.textContent(), /Dark subtraction: [0-9.]+ seconds/);
    await shot('workbench-report');
    await settle();
    assert.ok(notices.some(n => n.includes('Computational time')));
    const images = (await request('/api/images')).json.images;
    assert.deepEqual(images.filter(i => i.converted && i.markers > 0).map(i => i.name).sort(),
      ['Cp', 'Irefe_Isens', 'P_Pstat', 'Pressure']);
    await selectImage('Cp');
    await page.selectOption('#colormap', 'coolwarm');
    // Limits as an engineer sets them for Cp: one edge pixel would stretch the automatic ones.
    await page.fill('#low', '-1.3');
    await page.fill('#high', '0.7');
    await page.locator('#high').dispatchEvent('change');
    await page.waitForFunction(() => window.workbench.view.query?.colormap === 'coolwarm' &&
      window.workbench.view.query?.high === '0.7' && window.workbench.view.markers.length > 0);
    await shot('workbench-cp');
  });
});
