// The server's API. The token comes with the address the server printed;
// the page sends it on every request (the server also set it as a cookie).
const token = new URLSearchParams(location.search).get('token') || sessionStorage.getItem('tambleToken') || '';
if (token) sessionStorage.setItem('tambleToken', token);

export class ApiError extends Error {
  constructor(status, text) { super(text); this.status = status; }
}

async function checked(response) {
  if (response.ok) return response;
  let text = `${response.status} ${response.statusText}`;
  try { text = (await response.json()).error || text; } catch (_) { /* not JSON */ }
  throw new ApiError(response.status, text);
}

function query(params) {
  const q = new URLSearchParams();
  for (const [k, v] of Object.entries(params || {})) if (v !== undefined && v !== null && v !== '') q.set(k, v);
  const s = q.toString();
  return s ? `?${s}` : '';
}

export function url(path, params) { return path + query(params); }

export async function get(path, params) {
  const r = await checked(await fetch(url(path, params), { headers: { 'X-Tamble-Token': token } }));
  return r.json();
}

export async function getBytes(path, params) {
  const r = await checked(await fetch(url(path, params), { headers: { 'X-Tamble-Token': token } }));
  return r.arrayBuffer();
}

export async function getBlob(path, params) {
  const r = await checked(await fetch(url(path, params), { headers: { 'X-Tamble-Token': token } }));
  return r.blob();
}

export async function post(path, body) {
  const r = await checked(await fetch(path, {
    method: 'POST',
    headers: { 'X-Tamble-Token': token, 'Content-Type': 'application/json' },
    body: JSON.stringify(body || {}),
  }));
  return r.json();
}
