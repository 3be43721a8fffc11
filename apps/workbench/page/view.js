// The image view: the renderer's picture zoomed and panned, the colour bar
// beside it, the ROI and background as overlays, markers with their ids, the
// values under the cursor, and the ROI and marker tools.
import * as api from './api.js';

const barWidth = 108;  // the renderer's colour bar margin

export class ImageView {
  constructor(canvas, bar, readout, onChange, onError) {
    Object.assign(this, { canvas, bar, readout, onChange, onError });
    this.scale = 1; this.ox = 0; this.oy = 0;
    this.image = null;  // {index, width, height, name}
    this.picture = null; this.pixels = null; this.markers = [];
    this.overlay = null;
    this.tool = 'pan'; this.roiMode = 'add';
    this.show = { roi: true, bkgr: true, markers: true };
    this.drag = null; this.shape = [];
    this.bindEvents();
    new ResizeObserver(() => this.draw()).observe(canvas);
  }

  // ---- loading ----

  // The zoom and pan stay while the images shown have one size, so that
  // images of a run can be compared in place; another size is fitted.
  async load(image, renderQuery) {
    const resized = !this.picture || this.image.width !== image.width || this.image.height !== image.height;
    if (this.image?.index !== image.index) this.readout.textContent = '\u00a0';
    this.image = image;
    if (!image || image.width === 0 || image.height === 0) { this.picture = null; this.draw(); return; }
    const params = { image: image.index, ...renderQuery };
    const [blob, bytes, markers] = await Promise.all([
      api.getBlob('/api/view', params), api.getBytes('/api/pixels', { image: image.index }),
      api.get('/api/markers', { image: image.index })]);
    this.picture = await createImageBitmap(blob);
    const n = image.width * image.height;
    this.pixels = {
      field: new Float32Array(bytes, 0, n),
      bkgr: new Uint8Array(bytes, 4 * n, n),
      roi: new Uint8Array(bytes, 5 * n, n),
    };
    this.markers = markers;
    this.query = renderQuery;
    this.makeOverlay();
    if (resized) this.fit();
    this.draw();
  }

  clear() { this.image = null; this.picture = null; this.pixels = null; this.markers = []; this.draw(); }

  // Outside the ROI tinted blue, background tinted red.
  makeOverlay() {
    const { width: w, height: h } = this.image;
    const data = new ImageData(w, h);
    for (let i = 0; i < w * h; ++i) {
      const o = 4 * i;
      if (this.show.bkgr && this.pixels.bkgr[i]) { data.data.set([230, 40, 40, 110], o); continue; }
      if (this.show.roi && !this.pixels.roi[i]) data.data.set([40, 90, 230, 90], o);
    }
    this.overlay = document.createElement('canvas');
    this.overlay.width = w; this.overlay.height = h;
    this.overlay.getContext('2d').putImageData(data, 0, 0);
  }

  // ---- geometry ----

  fit() {
    if (!this.image) return;
    const { clientWidth: cw, clientHeight: ch } = this.canvas;
    this.scale = Math.max(0.01, Math.min(cw / this.image.width, ch / this.image.height) * 0.95);
    this.ox = (cw - this.image.width * this.scale) / 2;
    this.oy = (ch - this.image.height * this.scale) / 2;
    this.draw();
  }

  oneToOne() { this.zoomAt(this.canvas.clientWidth / 2, this.canvas.clientHeight / 2, 1 / this.scale); }

  zoomAt(cx, cy, factor) {
    const s = Math.min(64, Math.max(0.02, this.scale * factor));
    this.ox = cx - (cx - this.ox) * (s / this.scale);
    this.oy = cy - (cy - this.oy) * (s / this.scale);
    this.scale = s;
    this.draw();
  }

  toImage(e) {
    const r = this.canvas.getBoundingClientRect();
    return { x: (e.clientX - r.left - this.ox) / this.scale, y: (e.clientY - r.top - this.oy) / this.scale };
  }

  // ---- drawing ----

  draw() {
    const c = this.canvas;
    if (c.width !== c.clientWidth || c.height !== c.clientHeight) { c.width = c.clientWidth; c.height = c.clientHeight; }
    const g = c.getContext('2d');
    g.setTransform(1, 0, 0, 1, 0, 0);
    g.fillStyle = '#555'; g.fillRect(0, 0, c.width, c.height);
    this.drawBar();
    if (!this.picture) return;
    const { width: w, height: h } = this.image;
    g.imageSmoothingEnabled = false;
    g.setTransform(this.scale, 0, 0, this.scale, this.ox, this.oy);
    g.drawImage(this.picture, 0, 0, w, h, 0, 0, w, h);
    if (this.overlay) g.drawImage(this.overlay, 0, 0);
    g.setTransform(1, 0, 0, 1, 0, 0);
    if (this.show.markers) this.drawMarkers(g);
    this.drawShape(g);
  }

  drawBar() {
    const b = this.bar;
    if (!this.picture) { b.width = barWidth; b.height = 1; return; }
    const h = Math.max(this.picture.height, 32);
    b.width = barWidth; b.height = h;
    b.style.height = `${h}px`;
    b.getContext('2d').drawImage(this.picture, this.image.width, 0, barWidth, h, 0, 0, barWidth, h);
  }

  drawMarkers(g) {
    g.font = '11px sans-serif';
    for (const m of this.markers) {
      const x = this.ox + (m.x + 0.5) * this.scale, y = this.oy + (m.y + 0.5) * this.scale;
      g.strokeStyle = m.active ? '#ff00ff' : '#a0a0a0';
      g.lineWidth = 1.5;
      g.beginPath(); g.arc(x, y, Math.max(4, 4 * this.scale), 0, 2 * Math.PI); g.stroke();
      // Ids are outlined so that they read on light and dark pixels alike.
      const tx = x + Math.max(5, 4 * this.scale), ty = y - 4;
      g.strokeStyle = '#000'; g.lineWidth = 3;
      g.strokeText(String(m.id), tx, ty);
      g.fillStyle = m.active ? '#ffb3ff' : '#c8c8c8';
      g.fillText(String(m.id), tx, ty);
    }
  }

  drawShape(g) {
    if (!this.shape.length) return;
    g.strokeStyle = this.roiMode === 'add' ? '#2ecc71' : '#e74c3c';
    g.lineWidth = 1.5; g.setLineDash([4, 3]);
    g.beginPath();
    this.shape.forEach(([x, y], i) => {
      const px = this.ox + x * this.scale, py = this.oy + y * this.scale;
      if (i === 0) g.moveTo(px, py); else g.lineTo(px, py);
    });
    if (this.tool !== 'polygon') g.closePath();
    g.stroke(); g.setLineDash([]);
  }

  // ---- the readout ----

  showReadout(p) {
    if (!this.pixels) { this.readout.textContent = '\u00a0'; return; }
    const x = Math.floor(p.x), y = Math.floor(p.y);
    const { width: w, height: h } = this.image;
    if (x < 0 || y < 0 || x >= w || y >= h) { this.readout.textContent = `x ${x}  y ${y}  (outside)`; return; }
    const i = y * w + x;
    const v = this.pixels.field[i];
    this.readout.textContent = `x ${x}  y ${y}  value ${Number.isNaN(v) ? 'NaN' : +v.toPrecision(7)}  bkgr ${this.pixels.bkgr[i]}  ROI ${this.pixels.roi[i]}`;
  }

  // ---- tools ----

  nearestMarker(p) {
    let best = null, bestD = Infinity;
    for (const m of this.markers) {
      const d = Math.hypot(m.x + 0.5 - p.x, m.y + 0.5 - p.y);
      if (d < bestD) { best = m; bestD = d; }
    }
    return bestD * this.scale <= 12 ? best : null;
  }

  async send(path, body) {
    try {
      await api.post(path, { image: this.image.index, ...body });
      this.onChange();
    } catch (e) { this.onError(e.message); }
  }

  // Rectangle corners snap to pixel edges.
  rectangle(a, b) {
    const [x0, x1] = [Math.round(Math.min(a.x, b.x)), Math.round(Math.max(a.x, b.x))];
    const [y0, y1] = [Math.round(Math.min(a.y, b.y)), Math.round(Math.max(a.y, b.y))];
    return [[x0, y0], [x1, y0], [x1, y1], [x0, y1]];
  }

  finishShape() {
    const points = this.shape;
    this.shape = [];
    this.draw();
    if (points.length >= 3) this.send('/api/roi', { mode: this.roiMode, points });
  }

  bindEvents() {
    const c = this.canvas;
    c.addEventListener('wheel', e => {
      e.preventDefault();
      const r = c.getBoundingClientRect();
      this.zoomAt(e.clientX - r.left, e.clientY - r.top, e.deltaY < 0 ? 1.25 : 0.8);
    }, { passive: false });
    c.addEventListener('mousedown', e => this.down(e));
    c.addEventListener('mousemove', e => this.move(e));
    c.addEventListener('mouseup', e => this.up(e));
    c.addEventListener('dblclick', () => { if (this.tool === 'polygon') this.finishShape(); });
    window.addEventListener('keydown', e => {
      if (this.tool === 'polygon' && e.key === 'Enter') this.finishShape();
      if (e.key === 'Escape') { this.shape = []; this.draw(); }
    });
  }

  down(e) {
    if (!this.image || !this.picture) return;
    const p = this.toImage(e);
    this.drag = { start: p, sx: e.clientX, sy: e.clientY, ox: this.ox, oy: this.oy };
    if (this.tool === 'rect' || this.tool === 'freehand') this.shape = [[p.x, p.y]];
    if (this.tool === 'polygon') {
      const q = [Math.round(p.x), Math.round(p.y)];
      const last = this.shape[this.shape.length - 1];
      if (!last || last[0] !== q[0] || last[1] !== q[1]) this.shape.push(q);
      this.draw();
    }
    if (this.tool === 'markerMove') this.drag.marker = this.nearestMarker(p);
  }

  move(e) {
    const p = this.toImage(e);
    this.showReadout(p);
    if (!this.drag) return;
    if (this.tool === 'pan') {
      this.ox = this.drag.ox + e.clientX - this.drag.sx;
      this.oy = this.drag.oy + e.clientY - this.drag.sy;
    } else if (this.tool === 'rect') {
      this.shape = this.rectangle(this.drag.start, p);
    } else if (this.tool === 'freehand') {
      this.shape.push([p.x, p.y]);
    } else if (this.tool === 'markerMove' && this.drag.marker) {
      this.drag.marker.x = Math.floor(p.x); this.drag.marker.y = Math.floor(p.y);
    }
    this.draw();
  }

  up(e) {
    const drag = this.drag;
    this.drag = null;
    if (!drag || !this.image) return;
    const p = this.toImage(e);
    if (this.tool === 'rect') { this.shape = this.rectangle(drag.start, p); this.finishShape(); }
    else if (this.tool === 'freehand') this.finishShape();
    // A marker placed by hand sits on the centre of the pixel under the
    // cursor; "Revise Markers..." finds its sub-pixel centre.
    else if (this.tool === 'markerAdd') this.send('/api/marker', { action: 'add', x: Math.floor(p.x), y: Math.floor(p.y) });
    else if (this.tool === 'markerToggle') {
      const m = this.nearestMarker(p);
      if (m) this.send('/api/marker', { action: 'toggle', id: m.id });
    } else if (this.tool === 'markerMove' && drag.marker)
      this.send('/api/marker', { action: 'move', id: drag.marker.id, x: drag.marker.x, y: drag.marker.y });
  }
}
