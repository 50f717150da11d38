// Pictures of meshes, drawn point by point with the depth of each, so that bodies hide what is behind them.

const COLOURS = [[68, 1, 84], [72, 36, 117], [65, 68, 135], [53, 95, 141], [42, 120, 142], [33, 145, 140], [34, 168, 132],
  [68, 191, 112], [122, 209, 81], [189, 223, 38], [253, 231, 37]];
const NO_VALUE = [150, 150, 150];

function colourAt(share) {
  const at = Math.min(0.999999, Math.max(0, share)) * (COLOURS.length - 1);
  const i = Math.floor(at);
  return COLOURS[i].map((from, k) => Math.round(from + (COLOURS[i + 1][k] - from) * (at - i)));
}

// Bands of values with round edges: {edges, colours}; bands are easier to read off a legend than a gradient.
function bandsOf(picture) {
  if (!(picture.max > picture.min)) return {edges: [picture.min, picture.max], colours: [colourAt(0.5)]};
  const inner = ticks(picture.min, picture.max, 9).filter((edge) => edge > picture.min && edge < picture.max);
  const edges = [picture.min, ...inner, picture.max];
  const colours = edges.slice(1).map((_, i) => colourAt(edges.length > 2 ? i / (edges.length - 2) : 0.5));
  return {edges, colours};
}

function bandOf(edges, value) {
  let band = 0;
  while (band + 2 < edges.length && value >= edges[band + 1]) ++band;
  return band;
}

// A view of the mesh: places in a plane, and depths.
class MeshView {
  constructor(picture) {
    this.picture = picture;
    this.extent = picture.high.map((high, axis) => high - picture.low[axis]);
    const largest = Math.max(...this.extent);
    this.isFlat = this.extent.filter((size) => size > largest * 1e-9).length < 3;
    this.turn = this.isFlat ? 0 : -0.6;
    this.tilt = this.isFlat ? 0 : 0.5;
    this.normal = this.extent.findIndex((size) => !(size > largest * 1e-9)); // the axis that a flat mesh lacks
  }

  // The axes of the screen: right, up, to the viewer.
  axes() {
    if (this.isFlat) {
      if (this.normal === 0) return [[0, 1, 0], [0, 0, 1], [1, 0, 0]];
      if (this.normal === 1) return [[1, 0, 0], [0, 0, 1], [0, -1, 0]];
      return [[1, 0, 0], [0, 1, 0], [0, 0, 1]];
    }
    const [ct, st] = [Math.cos(this.turn), Math.sin(this.turn)];
    const [ci, si] = [Math.cos(this.tilt), Math.sin(this.tilt)];
    return [[ct, st, 0], [-st * si, ct * si, ci], [st * ci, -ct * ci, si]];
  }

  place(width, height) {
    const {p} = this.picture;
    const scale = this.extent.map((size) => (size > 0 && Number.isFinite(size) ? size / 65535 : 0));
    const axes = this.axes();
    const count = p.length / 3;
    const out = [new Float64Array(count), new Float64Array(count), new Float64Array(count)];
    const low = [Infinity, Infinity];
    const high = [-Infinity, -Infinity];
    for (let i = 0; i < count; ++i) {
      const place = [p[3 * i] * scale[0], p[3 * i + 1] * scale[1], p[3 * i + 2] * scale[2]];
      for (let k = 0; k < 3; ++k) {
        const at = axes[k][0] * place[0] + axes[k][1] * place[1] + axes[k][2] * place[2];
        out[k][i] = at;
        if (k < 2) {
          low[k] = Math.min(low[k], at);
          high[k] = Math.max(high[k], at);
        }
      }
    }
    const size = [high[0] - low[0] || 1, high[1] - low[1] || 1];
    const fit = Math.min((width - 8) / size[0], (height - 8) / size[1]);
    for (let i = 0; i < count; ++i) {
      out[0][i] = width / 2 + (out[0][i] - (low[0] + high[0]) / 2) * fit;
      out[1][i] = height / 2 - (out[1][i] - (low[1] + high[1]) / 2) * fit;
      out[2][i] *= fit;
    }
    return out;
  }

  // The height that suits a width.
  heightFor(width) {
    const axes = this.axes();
    const reach = (axis) => axis.reduce((sum, share, i) => sum + Math.abs(share) * (Number.isFinite(this.extent[i]) ? this.extent[i] : 1), 0) || 1;
    return Math.round(Math.min(width * 0.85, Math.max(120, (width * reach(axes[1])) / reach(axes[0]) + 8)));
  }
}

function drawMesh(canvas, view, bands) {
  const ratio = Math.min(2, window.devicePixelRatio || 1);
  const width = Math.round(canvas.clientWidth * ratio) || 300;
  const height = Math.round(view.heightFor(width));
  canvas.width = width;
  canvas.height = height;
  const context = canvas.getContext('2d');
  const image = context.createImageData(width, height);
  const places = view.place(width, height);
  if (view.picture.k === 3) fillTriangles(image, view.picture, places, bands, !view.isFlat);
  context.putImageData(image, 0, 0);
  if (view.picture.k === 2 || view.picture.c.length < 3 * 3000) strokeEdges(context, view, places, bands, ratio);
}

// `shade`: whether a triangle that looks away is darker.
function fillTriangles(image, picture, [xs, ys, zs], bands, shade) {
  const {width, height, data} = image;
  const depth = new Float32Array(width * height).fill(-Infinity);
  const values = picture.v || [];
  const isOfPoints = picture.per === 'point';
  const plain = colourAt(0.35);
  for (let t = 0; t < picture.c.length; t += 3) {
    const [a, b, c] = [picture.c[t], picture.c[t + 1], picture.c[t + 2]];
    const area = (xs[b] - xs[a]) * (ys[c] - ys[a]) - (xs[c] - xs[a]) * (ys[b] - ys[a]);
    if (area === 0 || Number.isNaN(area)) continue;
    const light = shade ? lightOf(a, b, c, xs, ys, zs) : 1;
    const at = isOfPoints ? [values[a], values[b], values[c]] : [values[t / 3], values[t / 3], values[t / 3]];
    const hasValues = at.every((value) => value !== null && value !== undefined);
    const left = Math.max(0, Math.floor(Math.min(xs[a], xs[b], xs[c])));
    const right = Math.min(width - 1, Math.ceil(Math.max(xs[a], xs[b], xs[c])));
    const top = Math.max(0, Math.floor(Math.min(ys[a], ys[b], ys[c])));
    const bottom = Math.min(height - 1, Math.ceil(Math.max(ys[a], ys[b], ys[c])));
    for (let y = top; y <= bottom; ++y) {
      for (let x = left; x <= right; ++x) {
        const wb = ((x - xs[a]) * (ys[c] - ys[a]) - (xs[c] - xs[a]) * (y - ys[a])) / area;
        const wc = ((xs[b] - xs[a]) * (y - ys[a]) - (x - xs[a]) * (ys[b] - ys[a])) / area;
        const wa = 1 - wb - wc;
        if (wa < -1e-6 || wb < -1e-6 || wc < -1e-6) continue;
        const z = wa * zs[a] + wb * zs[b] + wc * zs[c];
        const pixel = y * width + x;
        if (z < depth[pixel]) continue;
        depth[pixel] = z;
        let colour = picture.v ? NO_VALUE : plain;
        if (hasValues) colour = bands.colours[bandOf(bands.edges, wa * at[0] + wb * at[1] + wc * at[2])];
        data[4 * pixel] = colour[0] * light;
        data[4 * pixel + 1] = colour[1] * light;
        data[4 * pixel + 2] = colour[2] * light;
        data[4 * pixel + 3] = 255;
      }
    }
  }
}

// How light a triangle is: one that faces the viewer is lightest.
function lightOf(a, b, c, xs, ys, zs) {
  const u = [xs[b] - xs[a], ys[b] - ys[a], zs[b] - zs[a]];
  const v = [xs[c] - xs[a], ys[c] - ys[a], zs[c] - zs[a]];
  const normal = [u[1] * v[2] - u[2] * v[1], u[2] * v[0] - u[0] * v[2], u[0] * v[1] - u[1] * v[0]];
  return 0.72 + 0.28 * Math.abs(normal[2] / (Math.hypot(...normal) || 1));
}

function strokeEdges(context, view, [xs, ys], bands, ratio) {
  const {c, k, v, per} = view.picture;
  const isLines = k === 2;
  if (!isLines && !view.isFlat) return; // edges behind a body would show
  context.lineWidth = (isLines ? 2 : 0.5) * ratio;
  for (let t = 0; t < c.length; t += k) {
    context.beginPath();
    context.moveTo(xs[c[t]], ys[c[t]]);
    for (let i = 1; i < k; ++i) context.lineTo(xs[c[t + i]], ys[c[t + i]]);
    if (!isLines) context.closePath();
    context.strokeStyle = isLines ? lineColour(v, per, c, t, bands) : 'rgba(0, 0, 0, 0.28)';
    context.stroke();
  }
}

function lineColour(values, per, cells, at, bands) {
  if (!values) return `rgb(${colourAt(0.35).join(' ')})`;
  const ends = per === 'point' ? [values[cells[at]], values[cells[at + 1]]] : [values[at / 2], values[at / 2]];
  if (ends.includes(null)) return `rgb(${NO_VALUE.join(' ')})`;
  return `rgb(${bands.colours[bandOf(bands.edges, (ends[0] + ends[1]) / 2)].join(' ')})`;
}

function placeText(picture, place) {
  const names = ['x', 'y', 'z'];
  return place.map((at, axis) => `${names[axis]} ${short(at)}`).join(', ') + (picture.pu ? ` ${picture.pu}` : '');
}

function pictureText(picture) {
  const mesh = `${integer(picture.points)} points and ${integer(picture.cells)} ${picture.kind}`;
  if (picture.min === undefined) return `Mesh of ${mesh}.`;
  return `Mesh of ${mesh}, coloured by ${picture.title}: smallest ${withUnit(short(picture.min), picture.u)} at `
    + `${placeText(picture, picture.minAt)}; largest ${withUnit(short(picture.max), picture.u)} at ${placeText(picture, picture.maxAt)}.`;
}

function makeLegend(picture, bands) {
  const texts = tickTexts(bands.edges.slice(1, -1));
  const edge = (value) => short(Number(Number(value).toPrecision(4)));
  const edges = [edge(picture.min), ...(bands.edges.length > 2 ? texts : []), edge(picture.max)];
  const items = bands.colours.map((colour, i) => make('li', {},
    swatch(colour), withUnit(`${edges[i]} to ${edges[i + 1]}`, picture.u))).reverse();
  if (picture.bad) items.push(make('li', {}, swatch(NO_VALUE), `no number (${integer(picture.bad)})`));
  return make('ul', {class: 'legend', 'aria-label': `Colours of ${picture.title}`}, items);
}

function swatch(colour) {
  const element = make('span', {class: 'swatch', 'aria-hidden': 'true'});
  element.style.background = `rgb(${colour.join(' ')})`;
  return element;
}

function turnButtons(view, draw) {
  const button = (text, act) => make('button', {type: 'button', onclick: () => { act(); draw(); }}, text);
  return make('div', {class: 'turn', role: 'group', 'aria-label': 'Turn the mesh'},
    button('Turn left', () => { view.turn -= Math.PI / 8; }), button('Turn right', () => { view.turn += Math.PI / 8; }),
    button('Tilt up', () => { view.tilt = Math.min(Math.PI / 2, view.tilt + Math.PI / 8); }),
    button('Tilt down', () => { view.tilt = Math.max(-Math.PI / 2, view.tilt - Math.PI / 8); }));
}

function makePicture(picture) {
  const title = picture.title || 'mesh';
  if (picture.problem) return make('p', {class: 'notice warn'}, `${title} of object ${picture.id} cannot be drawn. ${picture.problem}`);
  const view = new MeshView(picture);
  const bands = picture.v ? bandsOf(picture) : {edges: [0, 1], colours: [colourAt(0.35)]};
  const canvas = make('canvas', {role: 'img', 'aria-label': pictureText(picture)});
  const draw = () => drawMesh(canvas, view, bands);
  let width = 0;
  new ResizeObserver(() => {
    if (canvas.clientWidth === width) return;
    width = canvas.clientWidth;
    draw();
  }).observe(canvas);
  const side = make('div', {class: 'side'}, picture.v ? makeLegend(picture, bands) : null, view.isFlat ? null : turnButtons(view, draw));
  return make('figure', {}, pictureHead(picture, title), make('div', {class: 'picture'}, canvas, side),
    make('figcaption', {}, captionOf(picture)));
}

function pictureHead(picture, title) {
  const name = nameOf(store.rows[rowNumber(picture.id)] || [0, -1]);
  return [make('h3', {}, title), make('p', {class: 'small'}, `${picture.class}${name ? ` ${name}` : ''}, `,
    make('a', {href: '#objects', onclick: (event) => { event.preventDefault(); reveal(rowNumber(picture.id)); }}, `object ${picture.id}`))];
}

function captionOf(picture) {
  const parts = [pictureText(picture)];
  if (picture.rows > 1) parts.push(`Row ${integer(picture.row)}, the last of ${integer(picture.rows)}.`);
  if (picture.coarse) parts.push('Drawn coarser than it is; smallest and largest value are those of the whole mesh.');
  return parts.join(' ');
}
