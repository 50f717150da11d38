// Nodes of the tree. A node: {name, value, unit, type, extra, link, problem, row, kids, figure, nested, text}. `kids` makes its children
// when they are asked for; `link` is the number of a row that is shown elsewhere.

const PAGE = 100; // children that are made at a time

// The children of a list of `count`: `kid(i)` each, or groups of them. `indexOf(row)`: which one has the object of a row.
function pagedKids(count, kid, indexOf, first = 0, end = count) {
  const size = end - first;
  if (size <= PAGE * 1.2) return Array.from({length: size}, (_, i) => kid(first + i));
  let step = PAGE;
  while (size / step > PAGE * 1.2) step *= PAGE;
  const groups = [];
  for (let at = first; at < end; at += step) {
    const [from, to] = [at, Math.min(end, at + step)];
    groups.push({name: `${integer(from)} to ${integer(to - 1)}`, type: plural(to - from, 'entry', 'entries'),
      kids: () => pagedKids(count, kid, indexOf, from, to),
      has: (row) => { const i = indexOf ? indexOf(row) : -1; return i >= from && i < to; }});
  }
  return groups;
}

// A text with what is left out of it.
function longText(value) {
  if (value === null || value === undefined) return {value: 'no text', isNone: true};
  if (typeof value !== 'object') return {value: `\u201c${value}\u201d`, text: true};
  return {value: `\u201c${value.s}\u2026\u201d`, text: true, extra: `${integer(value.n)} bytes`};
}

const LETTERS = {
  b: (value) => ({value: value ? 'true' : 'false'}),
  i: (value) => ({value: exact(value)}),
  n: (value) => ({value: exact(value)}),
  f: (value) => ({value: exact(value)}),
  c: (value) => ({value: numberText(value)}),
  t: longText,
  x: (value) => ({value: value.x + (value.n * 3 > value.x.length + 1 ? ' \u2026' : ''), extra: plural(value.n, 'byte')}),
  e: (value) => (Array.isArray(value) ? {value: value[1], extra: `= ${exact(value[0])}`} : {value: exact(value)}),
  m: (value, holder) => ({value: '', extra: plural(value.n, 'member'), nested: true,
    kids: value.m.length ? () => value.m.map((member) => memberNode(member, holder)).concat(leftOut(value.n - value.m.length, 'member')) : undefined}),
};

function memberNode([name, kind, letter, value, number], holder) {
  const base = {name: name || (number >= 0 ? `field ${number}` : '\u2022'), type: kind};
  if (letter === 'o' || letter === 'r') return {...base, ...objectPart(value, holder, letter, '')};
  return {...base, ...LETTERS[letter](value, holder)};
}

function leftOut(count, what) {
  return count > 0 ? [{name: '\u2026', value: '', extra: `${plural(count, `more ${what}`, what === 'entry' ? 'more entries' : undefined)} not in this report`}] : [];
}

// What a node shows of an object that a row holds or refers to.
function objectPart(id, holder, letter, unit, isElsewhere) {
  if (id === 0) return {value: 'no object', isNone: true};
  const number = rowNumber(id);
  if (number === undefined) return {value: '', extra: `object ${id} is not in this report`};
  const row = store.rows[number];
  const what = {type: whatIs(row)};
  if (row[2] !== holder || isElsewhere) return {...what, value: '', link: number, linkText: `${nameOf(row) || whatIs(row)} #${id}`, extra: letter === 'r' ? 'reference' : ''};
  return {...what, ...rowPart(number, unit)};
}

// What a node shows of a row itself.
function rowPart(number, unit) {
  const row = store.rows[number];
  if (isProblem(row)) return {value: '', row: number, problem: row[FIRST_VALUE], extra: `#${row[0]}`};
  const shape = shapeOf(row);
  const content = contentOf(row);
  const summary = content ? contentSummary(content, unit) : '';
  return {value: '', row: number, label: nameOf(row), summary, extra: shape.c ? '' : `#${row[0]}`, problem: content?.problem,
    kids: hasKids(shape, content) ? () => rowKids(number, unit) : undefined, has: contentIndex(row, content)};
}

function hasKids(shape, content) {
  return shape.fields.length > 0 || (content && content.n > 0);
}

function contentSummary(content, unit) {
  if (content.b) return bytes(content.n);
  const count = content.m || content.mo ? plural(content.n, 'entry', 'entries') : plural(content.n, 'element');
  if (content.min === undefined) return count;
  return `${count}, ${short(content.min)} to ${withUnit(short(content.max), unit || content.u)}`;
}

// Which element of a list or map an object is.
function contentIndex(row, content) {
  const list = content?.o ?? content?.mo;
  if (!list) return undefined;
  return (target) => {
    const id = store.rows[target][0];
    const all = allOf(row, list);
    return content.o ? all.indexOf(id) : all.findIndex((entry) => entry[1] === id);
  };
}

function rowKids(number, unit) {
  const row = store.rows[number];
  const shape = shapeOf(row);
  const kids = [];
  let at = FIRST_VALUE;
  const shown = new Set(); // an object in two fields is a link in the second one
  for (const part of shape.p) {
    for (const field of part.f) kids.push(fieldNode(field, row[at++], number, part === shape.p[0] ? '' : part.c, shown));
  }
  const content = contentOf(row);
  return content ? kids.concat(contentKids(row, number, content, unit)) : kids;
}

function fieldNode(field, value, holder, base, shown) {
  const node = {name: field.n || `field ${field.i}`, type: field.k, unit: field.u, base, isDefault: field.d !== undefined && String(field.d) === String(value)};
  if (field.t !== 'o' && field.t !== 'r') return {...node, ...LETTERS[field.t](value, holder)};
  const part = objectPart(value, holder, field.t, field.u, shown.has(value));
  shown.add(value);
  return {...node, unit: undefined, ...part, type: part.type || field.k};
}

function contentKids(row, number, content, unit) {
  if (content.o) return objectKids(row, number, content);
  if (content.m || content.mo) return mapKids(row, number, content);
  if (content.b) return [{name: 'bytes', ...LETTERS.x(content.b)}];
  if (content.problem && !content.v) return [];
  const name = `${shapeOf(row).k} ${row[0]}`;
  if (content.min !== undefined || !content.v || typeof content.v[0] === 'number') {
    return [{name: 'numbers', figure: () => arrayFigure(content, unit || content.u, name), aria: arrayText(content, unit || content.u, name)}];
  }
  return content.v.map((value, i) => ({name: integer(i), ...(isTextList(content) ? longText(value) : {value: numberText(value)})}))
    .concat(leftOut(content.n - content.v.length, 'element'));
}

function isTextList(content) {
  return content.t === 'string';
}

function arrayText(content, unit, label) {
  const numbers = statisticsOf(content, unit).map(([name, value]) => `${name} ${value}`).join(', ');
  return `${numbers}. ${content.curves ? plotText(content, unit, label) : ''} First values: ${(content.v || []).slice(0, 8).map(numberText).join(', ')}`;
}

function objectKids(row, number, content) {
  const ids = allOf(row, content.o);
  const kid = (i) => elementNode(integer(i), ids[i], number);
  return pagedKids(ids.length, kid, contentIndex(row, content)).concat(leftOut(content.n - ids.length, 'element'));
}

function elementNode(name, id, holder) {
  const part = objectPart(id, holder, 'o', '');
  return {name, ...part};
}

function mapKids(row, number, content) {
  const entries = allOf(row, content.m || content.mo);
  const kid = (i) => {
    const [key, value] = entries[i];
    const name = typeof key === 'number' ? exact(key) : textOf(key) || '\u201c\u201d';
    if (content.mo) return elementNode(name, value, number);
    return {name, ...mapValue(value)};
  };
  return pagedKids(entries.length, kid, contentIndex(row, content)).concat(leftOut(content.n - entries.length, 'entry'));
}

function mapValue(value) {
  if (typeof value === 'boolean') return LETTERS.b(value);
  if (typeof value === 'number' || Array.isArray(value)) return {value: numberText(value)};
  return longText(value);
}

// The first level of the tree.
function rootNodes() {
  const roots = store.report.roots || [];
  const numbers = roots.map((root) => rowNumber(root[1]));
  const kid = (i) => {
    const [name, id] = roots[i];
    const number = numbers[i];
    if (number === undefined) return {name, value: '', extra: `object ${id} is not in this report`};
    return {name, isRoot: true, ...elementNode(name, id, store.rows[number][2]), name};
  };
  const nodes = pagedKids(roots.length, kid, (row) => numbers.indexOf(row)).concat(leftOut((store.report.rootCount || 0) - roots.length, 'root'));
  return nodes.concat(unrooted(OF_NOTHING, 'Under no root', 'no root leads to these'), unrooted(OF_LARGEST, 'Large arrays', 'beyond the limits of the report'));
}

function unrooted(holder, name, extra) {
  const numbers = [];
  store.rows.forEach((row, number) => { if (row[2] === holder) numbers.push(number); });
  if (!numbers.length) return [];
  const kid = (i) => elementNode(`#${store.rows[numbers[i]][0]}`, store.rows[numbers[i]][0], holder);
  const has = (row) => numbers.indexOf(row);
  return [{name, value: '', extra: `${plural(numbers.length, 'object')}; ${extra}`, kids: () => pagedKids(numbers.length, kid, has), has}];
}
