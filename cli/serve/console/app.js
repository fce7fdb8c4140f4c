'use strict';
// The web console: plain JavaScript over the HTTP API (/api/v1) and its WebSocket.

const state = { me: null, csrf: '', kind: 'text', variables: [], etag: '', displays: [], runs: {}, ws: null };
const $ = (sel, root = document) => root.querySelector(sel);
const $$ = (sel, root = document) => Array.from(root.querySelectorAll(sel));
const el = (tag, props = {}, ...children) => {
  const e = document.createElement(tag);
  for (const [k, v] of Object.entries(props)) {
    if (k === 'class') e.className = v;
    else if (k === 'dataset') Object.assign(e.dataset, v);
    else if (k.startsWith('on')) e.addEventListener(k.slice(2), v);
    else if (v !== undefined && v !== null && v !== false) e.setAttribute(k, v === true ? '' : v);
  }
  for (const c of children.flat()) if (c !== null && c !== undefined) e.append(c.nodeType ? c : String(c));
  return e;
};
const canEdit = () => state.me && (state.me.role === 'operator' || state.me.role === 'admin');

class ApiError extends Error {
  constructor(status, message) { super(message); this.status = status; }
}

async function api(method, path, body, headers = {}) {
  const init = { method, headers: { ...headers }, credentials: 'same-origin' };
  if (method !== 'GET') init.headers['X-CSRF-Token'] = state.csrf;
  if (body !== undefined) {
    init.headers['Content-Type'] = 'application/json';
    init.body = JSON.stringify(body);
  }
  const response = await fetch('/api/v1' + path, init);
  const text = await response.text();
  const data = text ? JSON.parse(text) : {};
  if (response.status === 401 && path !== '/login' && path !== '/session') showLogin();
  if (!response.ok) throw new ApiError(response.status, data.error || response.statusText);
  return { data, etag: response.headers.get('ETag') };
}

function say(text, bad = false) {
  const m = $('#message');
  m.textContent = text;
  m.classList.toggle('bad', bad);
  m.hidden = !text;
  clearTimeout(say.timer);
  if (text && !bad) say.timer = setTimeout(() => { m.hidden = true; }, 4000);
}

// ---- logging in -----------------------------------------------------------

function showLogin() {
  state.me = null;
  if (state.ws) { state.ws.close(); state.ws = null; }
  $('#app-view').hidden = true;
  $('#who').hidden = true;
  $('#login-view').hidden = false;
  $('#login-name').focus();
}

function loggedIn(me) {
  state.me = me;
  state.csrf = me.csrf || '';
  $('#who-name').textContent = me.name;
  $('#who-role').textContent = me.role;
  $('#who').hidden = false;
  $('#login-view').hidden = true;
  $('#app-view').hidden = false;
  document.body.classList.toggle('viewer', !canEdit());
  $('#tab-accounts').hidden = me.role !== 'admin';
  connectEvents();
  loadVariables();
  loadDisplays();
}

$('#login-form').addEventListener('submit', async (event) => {
  event.preventDefault();
  $('#login-error').textContent = '';
  try {
    const { data } = await api('POST', '/login', { name: $('#login-name').value, password: $('#login-password').value });
    $('#login-password').value = '';
    loggedIn(data);
  } catch (e) {
    $('#login-error').textContent = e.message;
  }
});

$('#logout').addEventListener('click', async () => {
  try { await api('POST', '/logout'); } catch (e) { /* the session may be gone already */ }
  showLogin();
});

// ---- live progress ----------------------------------------------------------

function connectEvents() {
  if (state.ws) return;
  const ws = new WebSocket((location.protocol === 'https:' ? 'wss://' : 'ws://') + location.host + '/api/v1/events');
  state.ws = ws;
  ws.addEventListener('message', (event) => {
    const message = JSON.parse(event.data);
    if (message.type === 'update') showUpdate(message);
    if (message.type === 'audit') showAudit(message);
  });
  ws.addEventListener('close', () => {
    if (state.ws === ws) state.ws = null;
    if (state.me) setTimeout(connectEvents, 2000);
  });
}

// ---- views ------------------------------------------------------------------

function showView(name) {
  for (const b of $$('.tabs button')) b.classList.toggle('active', b.dataset.view === name);
  for (const v of $$('.view')) v.hidden = v.id !== 'view-' + name;
  if (name === 'history') loadHistory();
  if (name === 'accounts') loadAccounts();
  if (name === 'variables') loadVariables();
}
for (const b of $$('.tabs button')) b.addEventListener('click', () => showView(b.dataset.view));

// ---- variables ----------------------------------------------------------------

async function loadVariables() {
  try {
    const { data } = await api('GET', '/variables');
    state.variables = data.variables;
    state.etag = data.etag;
    renderVariables();
  } catch (e) { say(e.message, true); }
}

function swatch(colour) { return el('span', { class: 'swatch c-' + colour.toLowerCase() }); }
function yesNo(v) { return el('span', { class: v === 'yes' ? 'yes' : 'no' }, v); }

function renderVariables() {
  const filter = $('#var-filter').value.trim().toLowerCase();
  const body = $('#var-table tbody');
  body.replaceChildren();
  for (const v of state.variables) {
    if (v.kind !== state.kind) continue;
    if (filter && !(String(v.number) === filter || v.name.toLowerCase().includes(filter)
        || v.data.toLowerCase().includes(filter) || v.label.toLowerCase().includes(filter))) continue;
    body.append(el('tr', { dataset: { var: v.number } },
      el('td', { class: 'num' }, v.number),
      el('td', { class: 'label-cell' }, v.label),
      el('td', { class: 'name' }, v.name),
      el('td', { class: 'data' }, v.data),
      el('td', { class: 'colour' }, swatch(v.color), v.color),
      el('td', { class: 'blink' }, yesNo(v.blink)),
      el('td', { class: 'inverse' }, yesNo(v.inverse)),
      el('td', { class: 'max' }, v.max_length),
      el('td', { class: 'editor-only' }, canEdit()
        ? el('button', { type: 'button', class: 'edit', onclick: () => editVariable(v.number) }, 'Edit') : null)));
  }
}

function editVariable(number) {
  for (const open of $$('#var-table tr.editing')) open.remove();
  const v = state.variables.find((x) => x.number === number);
  const row = $(`#var-table tr[data-var="${number}"]`);
  const editor = $('#edit-template').content.firstElementChild.cloneNode(true);
  editor.dataset.editing = number;
  const form = $('form', editor);
  for (const field of ['name', 'data', 'color', 'blink', 'inverse', 'max_length']) form.elements[field].value = v[field];
  form.elements.max_length.max = v.kind === 'text' ? 250 : 58;
  $('.cancel', form).addEventListener('click', () => editor.remove());
  form.addEventListener('submit', async (event) => {
    event.preventDefault();
    const change = {};
    for (const field of ['name', 'data', 'color', 'blink', 'inverse']) {
      if (form.elements[field].value !== String(v[field])) change[field] = form.elements[field].value;
    }
    if (Number(form.elements.max_length.value) !== v.max_length) change.max_length = form.elements.max_length.value;
    if (!Object.keys(change).length) { editor.remove(); return; }
    try {
      const { data } = await api('PATCH', '/variables/' + number, change, { 'If-Match': state.etag });
      state.etag = data.etag;
      Object.assign(v, data.variable);
      editor.remove();
      renderVariables();
      say(`${v.label} saved.`);
    } catch (e) {
      $('.error', form).textContent = e.status === 412 ? e.message + ' (reloading)' : e.message;
      if (e.status === 412) { await loadVariables(); }
    }
  });
  row.after(editor);
  form.elements.data.focus();
}

$('#var-filter').addEventListener('input', renderVariables);
for (const b of $$('.segmented button')) {
  b.addEventListener('click', () => {
    state.kind = b.dataset.kind;
    for (const x of $$('.segmented button')) x.classList.toggle('active', x === b);
    renderVariables();
  });
}

// ---- displays, sending and audits -----------------------------------------------

async function loadDisplays() {
  try {
    const { data } = await api('GET', '/displays');
    state.displays = data.displays;
    for (const [box, name] of [['#send-displays', 'display'], ['#audit-displays', 'audit-display']]) {
      $(box).replaceChildren(...state.displays.map((d) => el('label', {},
        el('input', { type: 'checkbox', name, value: d.number }), `${d.number} – ${d.name}`)));
    }
  } catch (e) { say(e.message, true); }
}

function chosen(name) { return $$(`input[name="${name}"]:checked`).map((c) => c.value).join(','); }

$('#send-form').addEventListener('submit', async (event) => {
  event.preventDefault();
  const displays = chosen('display');
  if (!displays) { say('Choose at least one display.', true); return; }
  try {
    const { data } = await api('POST', '/updates', {
      displays, variables: $('#send-vars').value, mode: $('#send-mode').value,
      delay_minutes: Number($('#send-delay').value || 0),
    });
    state.sendId = data.id;
    const { data: run } = await api('GET', '/updates/' + data.id);
    showUpdate(run);
  } catch (e) { say(e.message, true); }
});

function runHead(run, title) {
  const failed = run.state === 'finished' && run.ok === false;
  return el('div', { class: 'run-head' }, el('span', {}, title),
    el('span', { class: 'state ' + (failed ? 'failed' : run.state), id: run.type === 'audit' || run.id.startsWith('a') ? 'audit-state' : 'send-state' },
      run.state));
}

// A state older than the one shown (a reply that crossed a pushed message) is dropped.
function newer(run, key) {
  if (state[key] && state[key].id === run.id && state[key].seq >= run.seq) return false;
  state[key] = { id: run.id, seq: run.seq };
  return true;
}

function showUpdate(run) {
  if (run.id !== state.sendId || !newer(run, 'sendShown')) return;
  const box = el('div', { class: 'run', dataset: { run: run.id } },
    runHead(run, `Update ${run.id}: variables ${run.variables}, ${run.mode}`));
  for (const d of run.displays) {
    const done = d.result !== undefined;
    const bar = el('progress', { max: 100, value: d.percent, dataset: { display: d.number },
      class: done ? (d.result === 'Updated' ? 'done' : 'bad') : '' });
    box.append(el('div', { class: 'display-progress' },
      el('div', { class: 'label' }, el('span', {}, `${d.number} – ${d.name}`),
        el('span', { class: 'result', dataset: { display: d.number } },
          done ? (d.result + (d.error ? ': ' + d.error : '')) : (d.caption || d.phase))),
      bar,
      el('div', { class: 'units' }, d.units.map((u) =>
        el('span', { class: 'unit ' + (done ? (u.sent ? 'ok' : 'bad') : '') }, `unit ${u.address}${done ? (u.sent ? ' ✓' : ' ✗') : ''}`)))));
  }
  $('#send-run').replaceChildren(box);
}

$('#audit-form').addEventListener('submit', async (event) => {
  event.preventDefault();
  const displays = chosen('audit-display');
  if (!displays) { say('Choose at least one display.', true); return; }
  try {
    const { data } = await api('POST', '/audits', {
      displays, variables: $('#audit-vars').value, mode: $('#audit-mode').value, compare: $('#audit-compare').checked,
    });
    state.auditId = data.id;
    const { data: run } = await api('GET', '/audits/' + data.id);
    showAudit(run);
  } catch (e) { say(e.message, true); }
});

function showAudit(run) {
  if (run.id !== state.auditId || !newer(run, 'auditShown')) return;
  const box = el('div', { class: 'run', dataset: { run: run.id } }, runHead({ ...run, type: 'audit' }, `Audit ${run.id}: variables ${run.variables}`));
  const expected = run.expected_reads || 1;
  for (const d of run.displays) {
    const differing = new Set((d.differences || []).map((line) => line.replace(/^display \S+ unit (\d+) (\w+ Var \d+):.*$/, '$1 $2')));
    box.append(el('div', { class: 'display-progress' },
      el('div', { class: 'label' }, el('span', {}, `${d.number} – ${d.name}`),
        el('span', {}, d.opened === false ? 'FAILED: ' + (d.error || '') : `${d.reads} read`)),
      el('progress', { max: expected, value: run.state === 'finished' ? expected : Math.min(d.reads, expected) })));
    if (d.values && d.values.length) {
      const table = el('table', { class: 'grid audit-values' },
        el('thead', {}, el('tr', {}, ['Unit', 'Variable', 'Data on the display', 'Colour', 'Blink', 'Inverse'].map((h) => el('th', {}, h)))),
        el('tbody', {}, d.values.map((r) => {
          const label = r.variable > 256 ? `Cell Var ${r.variable - 256}` : `Text Var ${r.variable}`;
          const label2 = `Cell Var ${r.variable}`;
          const differs = !r.ok || differing.has(`${r.unit} ${label}`) || differing.has(`${r.unit} ${label2}`);
          return el('tr', { class: differs ? 'differs' : '' }, el('td', {}, r.unit), el('td', {}, label),
            el('td', { class: 'data' }, r.data), el('td', {}, swatch(r.color || 'white'), r.color), el('td', {}, r.blink), el('td', {}, r.inverse));
        })));
      box.append(el('div', { class: 'table-wrap' }, table));
    }
    if (d.differences && d.differences.length) {
      box.append(el('ul', { class: 'plain differences' }, d.differences.map((l) => el('li', { class: 'error' }, l))));
    }
  }
  if (run.state === 'finished' && run.ok) box.append(el('p', { class: 'yes same' }, 'The displays hold what the set would send.'));
  $('#audit-run').replaceChildren(box);
}

// ---- history ------------------------------------------------------------------------

async function loadHistory() {
  const q = new URLSearchParams();
  if ($('#history-display').value) q.set('display', $('#history-display').value);
  if ($('#history-var').value) q.set('var', $('#history-var').value);
  if ($('#history-since').value) q.set('since', $('#history-since').value);
  q.set('limit', '200');
  try {
    const { data } = await api('GET', '/history?' + q.toString());
    $('#history-table tbody').replaceChildren(...data.entries.map((e) => el('tr', {},
      el('td', {}, e.when.replace('T', ' ')), el('td', {}, e.display + (e.units ? ` (${e.units})` : '')),
      el('td', {}, e.kind), el('td', {}, e.mode), el('td', {}, e.variables.join(', ')),
      el('td', { class: e.result === 'FAILED' ? 'error' : '' }, e.result + (e.error ? ': ' + e.error : '')),
      el('td', { class: 'data' }, e.sent.map((s) => `${s.variable}: ${s.text}`).join(' · ')),
      el('td', {}, e.account))));
  } catch (e) { say(e.message, true); }
}
$('#history-form').addEventListener('submit', (event) => { event.preventDefault(); loadHistory(); });

// ---- accounts -----------------------------------------------------------------------

async function loadAccounts() {
  try {
    const { data } = await api('GET', '/accounts');
    $('#accounts-table tbody').replaceChildren(...data.users.map((u) => {
      const role = el('select', { 'aria-label': 'Role of ' + u.name },
        ['viewer', 'operator', 'admin'].map((r) => el('option', { selected: r === u.role }, r)));
      role.addEventListener('change', async () => {
        try { await api('PATCH', '/accounts/' + encodeURIComponent(u.name), { role: role.value }); say(`${u.name} is now ${role.value}.`); }
        catch (e) { say(e.message, true); }
      });
      return el('tr', {}, el('td', {}, u.name), el('td', {}, role),
        el('td', {}, el('button', { type: 'button', class: 'danger', onclick: async () => {
          if (!confirm(`Remove the account ${u.name}?`)) return;
          try { await api('DELETE', '/accounts/' + encodeURIComponent(u.name)); loadAccounts(); }
          catch (e) { say(e.message, true); }
        } }, 'Remove')));
    }));
    $('#token-list').replaceChildren(...data.tokens.map((t) => el('li', {}, `${t.name} (${t.role}) – id ${t.id}, made ${t.created}`)));
  } catch (e) { say(e.message, true); }
}

$('#account-form').addEventListener('submit', async (event) => {
  event.preventDefault();
  try {
    await api('POST', '/accounts', { name: $('#account-name').value, role: $('#account-role').value, password: $('#account-password').value });
    say(`Account ${$('#account-name').value} added.`);
    $('#account-form').reset();
    loadAccounts();
  } catch (e) { say(e.message, true); }
});

// ---- start --------------------------------------------------------------------------

api('GET', '/session').then(({ data }) => loggedIn(data)).catch(() => showLogin());
