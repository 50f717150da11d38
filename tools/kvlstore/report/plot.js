// Plots of arrays. A point of a curve has the smallest and the largest value of the rows that it is made of.

const PLOT_HEIGHT = 190;
const PLOT_LEFT = 60;
const PLOT_BOTTOM = 34;

// `content`: of an array with curves. Drawn anew when its room changes.
function makePlot(content, unit, label) {
  const holder = make('div', {class: 'plot'});
  let width = 0;
  const draw = () => {
    const room = Math.max(240, Math.min(736, holder.clientWidth || 600));
    if (room === width) return;
    width = room;
    holder.querySelector('svg')?.remove();
    holder.prepend(drawPlot(content, unit, label, width));
  };
  new ResizeObserver(draw).observe(holder);
  if (content.curves.length > 1) holder.append(curveKeys(content.curves.length));
  return holder;
}

function curveKeys(count) {
  const names = count > 1 ? Array.from({length: count}, (_, i) => `column ${i}`) : [];
  return make('p', {class: 'small'}, names.map((name, i) => make('span', {class: `c${i % 3}`},
    make('span', {class: 'key', 'aria-hidden': 'true'}), `${name}${i + 1 < count ? '\u2003' : ''}`)));
}

// What a reader of the screen gets.
function plotText(content, unit, label) {
  const columns = columnsOf(content);
  const what = columns > 1 ? `${integer(content.n / columns)} rows of ${integer(columns)} values` : `${integer(content.n)} values`;
  return `Plot of ${label}: ${what}, from ${withUnit(short(content.min), unit)} at index ${integer(content.at[0])} `
    + `to ${withUnit(short(content.max), unit)} at index ${integer(content.at[1])}.`;
}

function columnsOf(content) {
  return (content.row || []).reduce((product, extent) => product * extent, 1) || 1;
}

function drawPlot(content, unit, label, width) {
  const right = width - 8;
  const bottom = PLOT_HEIGHT - PLOT_BOTTOM;
  const top = 14;
  const rows = Math.max(1, content.n / columnsOf(content));
  let [low, high] = [content.min, content.max].map(Number);
  if (!(high > low)) [low, high] = [low - (Math.abs(low) || 1) / 2, high + (Math.abs(high) || 1) / 2];
  const x = (point) => PLOT_LEFT + Math.min(1, (point * content.step) / Math.max(1, rows - 1)) * (right - PLOT_LEFT);
  const y = (value) => bottom - ((value - low) / (high - low)) * (bottom - top);
  const svg = makeSvg('svg', {width, height: PLOT_HEIGHT, viewBox: `0 0 ${width} ${PLOT_HEIGHT}`, role: 'img',
    'aria-label': plotText(content, unit, label)});
  drawScales(svg, {low, high, rows, right, bottom, top, y, unit, isTable: columnsOf(content) > 1});
  content.curves.forEach((curve, i) => drawCurve(svg, curve, i % 3, x, y));
  return svg;
}

function drawScales(svg, {low, high, rows, right, bottom, top, y, unit, isTable}) {
  const lines = ticks(low, high, 4);
  const texts = tickTexts(lines);
  lines.forEach((value, i) => {
    svg.append(makeSvg('line', {class: 'grid', x1: PLOT_LEFT, x2: right, y1: y(value), y2: y(value)}),
      makeSvg('text', {x: PLOT_LEFT - 6, y: y(value) + 4, 'text-anchor': 'end'}, texts[i]));
  });
  const places = ticks(0, rows - 1, (right - PLOT_LEFT) / 110).filter(Number.isInteger);
  for (const place of places) {
    const at = PLOT_LEFT + (place / Math.max(1, rows - 1)) * (right - PLOT_LEFT);
    const anchor = at > right - 20 ? 'end' : 'middle';
    svg.append(makeSvg('text', {x: at, y: bottom + 15, 'text-anchor': anchor}, integer(place)));
  }
  svg.append(makeSvg('line', {class: 'axis', x1: PLOT_LEFT, x2: right, y1: bottom, y2: bottom}),
    makeSvg('text', {x: (PLOT_LEFT + right) / 2, y: bottom + 30, 'text-anchor': 'middle'}, isTable ? 'row' : 'index'));
  if (unit) svg.append(makeSvg('text', {x: PLOT_LEFT, y: top - 4, 'text-anchor': 'start'}, unit));
}

function drawCurve(svg, curve, colour, x, y) {
  if (curve.hi) {
    for (const run of runsOf(curve.lo)) {
      const upper = run.map((i) => `${x(i).toFixed(1)} ${y(curve.hi[i]).toFixed(1)}`);
      const lower = run.map((i) => `${x(i).toFixed(1)} ${(y(curve.lo[i]) + 0.75).toFixed(1)}`).reverse();
      svg.append(makeSvg('path', {class: `band c${colour}`, d: `M${upper.concat(lower).join('L')}Z`}));
    }
  }
  // A band of one curve has both edges; one over a whole row has the mean in between.
  const lines = curve.mid ? [curve.mid] : curve.hi ? [curve.hi, curve.lo] : [curve.lo];
  for (const line of lines) {
    const d = runsOf(curve.lo).map((run) => {
      const points = run.map((i) => `${x(i).toFixed(1)} ${y(line[i]).toFixed(1)}`);
      return `M${points.length > 1 ? points.join('L') : `${points[0]}h0.01`}`;
    }).join('');
    svg.append(makeSvg('path', {class: `curve c${colour}`, 'stroke-linecap': 'round', d}));
  }
}

// The runs of points that have a number.
function runsOf(values) {
  const runs = [];
  let run = [];
  values.forEach((value, i) => {
    if (value !== null) run.push(i);
    else if (run.length) runs.push(run.splice(0));
  });
  if (run.length) runs.push(run);
  return runs;
}

// Pairs of a name and a value about an array of numbers.
function statisticsOf(content, unit) {
  const pairs = [];
  if (content.min !== undefined) {
    pairs.push(['min', withUnit(short(content.min), unit)], ['mean', withUnit(short(content.mean), unit)],
      ['max', withUnit(short(content.max), unit)]);
  }
  if (content.nan) pairs.push(['NaN', integer(content.nan)]);
  if (content.inf) pairs.push(['infinite', integer(content.inf)]);
  if (content.read !== undefined && content.read < content.n) pairs.push(['of the first', integer(content.read)]);
  return pairs;
}

function makeStatistics(content, unit) {
  return make('dl', {class: 'statistics'}, statisticsOf(content, unit).map(([name, value]) =>
    make('div', {}, make('dt', {}, name), make('dd', {}, value))));
}

function numberText(value) {
  return Array.isArray(value) ? `${exact(value[0])} + ${exact(value[1])}i` : exact(value);
}

function firstNumbers(content) {
  const values = content.v || [];
  if (!values.length) return null;
  const rest = values.length < content.n ? ', \u2026' : '';
  return make('p', {class: 'small'}, `${rest ? 'First values: ' : 'Values: '}`,
    make('span', {class: 'code'}, values.map(numberText).join(', ') + rest));
}

// All that a report has of an array of numbers.
function arrayFigure(content, unit, label) {
  const parts = [makeStatistics(content, unit)];
  if (content.curves) parts.push(makePlot(content, unit, label));
  const peaks = content.step > 1 ? `Each point of the plot shows the smallest and the largest value of ${integer(content.step)} ${columnsOf(content) > 1 ? 'rows' : 'values'}.` : '';
  const band = content.curves?.[0]?.mid ? 'The band goes from the smallest to the largest value of a row; the line is their mean. ' : '';
  if (band || peaks) parts.push(make('p', {class: 'small'}, band + peaks));
  if (content.t?.startsWith('complex')) parts.push(make('p', {class: 'small'}, 'Of complex numbers the magnitudes count.'));
  parts.push(firstNumbers(content));
  return parts.filter(Boolean);
}
