// Modal dialogs: notices, yes/no questions, the parameter dialog built from
// a record, and pickers for images and for files of the session's folder.
import * as api from './api.js';

const layer = () => document.getElementById('modalLayer');

function element(tag, props = {}, children = []) {
  const e = document.createElement(tag);
  Object.assign(e, props);
  for (const c of children) e.append(c);
  return e;
}

// One modal at a time; `buttons` are [label, handler, id] and a handler that
// answers false keeps the modal open.
function modal(title, body, buttons, { error = false, kind = '' } = {}) {
  const box = element('div', { className: 'modal' + (error ? ' error' : '') });
  box.dataset.kind = kind;
  box.append(element('h3', { textContent: title }), element('div', { className: 'body' }, [body]));
  const row = element('div', { className: 'buttons' });
  for (const [label, handler] of buttons) {
    const b = element('button', { textContent: label, type: 'button' });
    b.addEventListener('click', async () => {
      b.disabled = true;
      try {
        if ((await handler()) !== false) close();
      } finally { b.disabled = false; }
    });
    row.append(b);
  }
  box.append(row);
  const l = layer();
  l.replaceChildren(box);
  l.hidden = false;
  const first = box.querySelector('input, button');
  if (first) first.focus();
  return box;
}

export function close() {
  const l = layer();
  l.replaceChildren();
  l.hidden = true;
}

export function isOpen() { return !layer().hidden; }

export function showNotice(text, error) {
  return new Promise(resolve => {
    modal(error ? 'Error' : 'Notice', element('pre', { textContent: text }), [['OK', () => resolve()]],
      { error, kind: 'notice' });
  });
}

export function askQuestion(text) {
  return new Promise(resolve => {
    modal('Question', element('pre', { textContent: text }),
      [['Yes', () => resolve(true)], ['No', () => resolve(false)]], { kind: 'question' });
  });
}

// ---- the parameter dialog -------------------------------------------------

function isCheckBox(f) {
  return f.type === 'int' && f.range && f.range[0] === '0' && f.range[1] === '1';
}

function fieldControl(f, onChange) {
  const row = element('div', { className: 'field' });
  row.dataset.key = f.key;
  if (f.shownOnly) {
    row.append(element('pre', { textContent: f.caption }));
    return row;
  }
  if (f.type === 'radio') {
    const group = element('div', { className: 'radioGroup' });
    for (const c of f.choices || []) {
      const input = element('input', { type: 'radio', name: f.key, value: String(c.value) });
      input.addEventListener('change', () => onChange(f.key, input.value));
      group.append(element('label', {}, [input, ' ' + c.label]));
    }
    row.append(group);
    return row;
  }
  const input = isCheckBox(f)
    ? element('input', { type: 'checkbox', name: f.key })
    : element('input', { type: 'text', name: f.key });
  input.addEventListener('change', () => onChange(f.key, input.type === 'checkbox' ? (input.checked ? '1' : '0') : input.value));
  const caption = element('label', { className: 'caption', textContent: f.caption || f.key });
  const range = f.range ? `${f.range[0]} to ${f.range[1]}` : '';
  row.title = `${f.key}${range ? ' (' + range + ')' : ''}`;
  if (isCheckBox(f)) row.append(input, caption); else row.append(caption, input);
  return row;
}

// Puts the record's values and greyed states into the controls.
function fillRecord(box, record) {
  for (const f of record.fields) {
    const row = box.querySelector(`.field[data-key="${CSS.escape(f.key)}"]`);
    if (!row || f.shownOnly) continue;
    row.classList.toggle('disabled', !f.enabled);
    for (const input of row.querySelectorAll('input')) {
      input.disabled = !f.enabled;
      if (input.type === 'radio') input.checked = input.value === f.value;
      else if (input.type === 'checkbox') input.checked = f.value !== '0';
      else input.value = f.value;
    }
  }
}

function recordValues(box, record) {
  const values = {};
  for (const f of record.fields) {
    if (f.shownOnly) continue;
    const row = box.querySelector(`.field[data-key="${CSS.escape(f.key)}"]`);
    const inputs = [...row.querySelectorAll('input')];
    if (f.type === 'radio') {
      const on = inputs.find(i => i.checked);
      if (on) values[f.key] = on.value;
    } else if (inputs[0].type === 'checkbox') values[f.key] = inputs[0].checked ? '1' : '0';
    else values[f.key] = inputs[0].value;
  }
  return values;
}

function recordBody(record, onChange) {
  const body = element('div', { className: 'record' });
  let fieldset = null;
  let group = null;
  for (const f of record.fields) {
    if (f.group !== group) {
      group = f.group;
      fieldset = group ? element('fieldset', {}, [element('legend', { textContent: group })]) : null;
      if (fieldset) body.append(fieldset);
    }
    (fieldset || body).append(fieldControl(f, onChange));
  }
  body.append(element('div', { className: 'refusal' }));
  return body;
}

// Shows interaction `id`'s record; edits go to the server, which keeps the
// dependent fields and greyed controls in step; OK is checked there.
export function editRecord(id, record) {
  return new Promise(resolve => {
    let box = null;
    const refusal = text => { box.querySelector('.refusal').textContent = text || ''; };
    // OK waits for the edit before it, so that the server's answers keep their order.
    let lastEdit = Promise.resolve();
    const onChange = (key, value) => {
      lastEdit = lastEdit.then(async () => {
        try {
          fillRecord(box, await api.post('/api/edit', { id, key, value }));
        } catch (e) { refusal(e.message); }
      });
    };
    const ok = async () => {
      await lastEdit;
      try {
        await api.post('/api/answer', { id, ok: true, values: recordValues(box, record) });
        resolve(true);
        return true;
      } catch (e) { refusal(e.message); return false; }
    };
    const cancel = async () => {
      try { await api.post('/api/answer', { id, cancel: true }); } catch (_) { /* already gone */ }
      resolve(false);
    };
    const buttons = record.report ? [['Save Data', ok], ['Close', cancel]] : [['OK', ok], ['Cancel', cancel]];
    box = modal(record.title, recordBody(record, onChange), buttons, { kind: 'record' });
    fillRecord(box, record);
  });
}

// ---- pickers -------------------------------------------------------------------

export function pickImage(title, entries, current) {
  return new Promise(resolve => {
    let chosen = current;
    const list = element('ul');
    entries.forEach((entry, i) => {
      const li = element('li', { textContent: entry, className: i === chosen ? 'chosen' : '' });
      li.addEventListener('click', () => {
        chosen = i;
        for (const other of list.children) other.classList.remove('chosen');
        li.classList.add('chosen');
      });
      li.addEventListener('dblclick', () => { chosen = i; close(); resolve(i); });
      list.append(li);
    });
    modal(title, element('div', { className: 'picker' }, [list]), [
      ['OK', () => { if (chosen < 0) return false; resolve(chosen); }],
      ['Cancel', () => resolve(-1)]], { kind: 'image' });
  });
}

// A file of the session's folder: folders are browsed, files chosen by
// click (several with `multiple`), a new name typed when saving. Resolves
// to the relative path (a list of them), or null for Cancel.
// Without a proposal the picker opens where the last one ended.
let lastFolder = '';

export function pickFile({ title, extensions = [], save = false, proposed = '', multiple = false }) {
  return new Promise(resolve => {
    let dir = proposed.includes('/') ? proposed.slice(0, proposed.lastIndexOf('/')) : lastFolder;
    const done = value => { lastFolder = dir; resolve(value); };
    const chosen = new Set();
    const where = element('div', { className: 'where' });
    const list = element('ul');
    const name = element('input', { type: 'text', name: 'fileName', value: proposed.split('/').pop(), size: 40 });
    const refusal = element('div', { className: 'refusal' });
    const body = element('div', { className: 'picker' }, [where, list]);
    if (save) body.append(element('label', {}, ['File name: ', name]));
    let filtered = extensions.length > 0;
    if (filtered) {
      const all = element('input', { type: 'checkbox', name: 'allFiles' });
      all.addEventListener('change', () => { filtered = !all.checked; show(); });
      body.append(element('div', {}, [
        'Files: ' + extensions.map(e => '*' + e).join(' ') + '  ', element('label', {}, [all, ' all files'])]));
    }
    body.append(refusal);
    const joined = n => (dir ? dir + '/' : '') + n;
    // A listing that answers after a newer one was asked for (the filter
    // toggled, another folder opened) is dropped, so it cannot replace it.
    let asked = 0;
    const show = async () => {
      const mine = ++asked;
      where.textContent = 'Folder: ./' + dir;
      try {
        const { entries } = await api.get('/api/files', { dir, ext: filtered ? extensions.join(',') : '' });
        if (mine !== asked) return;
        list.replaceChildren();
        if (dir) {
          const up = element('li', { className: 'folder', textContent: '..' });
          up.addEventListener('click', () => { dir = dir.includes('/') ? dir.slice(0, dir.lastIndexOf('/')) : ''; show(); });
          list.append(up);
        }
        for (const e of entries) {
          const base = e.name.split('/').pop();
          const li = element('li', { className: e.folder ? 'folder' : '', textContent: base });
          li.dataset.path = e.name;
          li.addEventListener('click', () => {
            if (e.folder) { dir = e.name; chosen.clear(); show(); return; }
            if (!multiple) { chosen.clear(); for (const o of list.children) o.classList.remove('chosen'); }
            if (chosen.has(e.name)) { chosen.delete(e.name); li.classList.remove('chosen'); }
            else { chosen.add(e.name); li.classList.add('chosen'); }
            name.value = base;
          });
          list.append(li);
        }
      } catch (e) { refusal.textContent = e.message; }
    };
    modal(title, body, [
      ['OK', () => {
        if (save) {
          if (!name.value) { refusal.textContent = 'Type a file name.'; return false; }
          done(joined(name.value));
        } else if (multiple) {
          if (!chosen.size) { refusal.textContent = 'Choose a file.'; return false; }
          done([...chosen]);
        } else {
          if (!chosen.size) { refusal.textContent = 'Choose a file.'; return false; }
          done([...chosen][0]);
        }
      }],
      ['Cancel', () => resolve(null)]], { kind: 'file' });
    show();
  });
}
