// What the file has about the store.

const OF_ROOT = -1;
const OF_NOTHING = -2;
const OF_LARGEST = -3;

const store = {report: {}, rows: [], shapes: [], pictures: [], byId: new Map(), more: new Map()};

function readData(name, otherwise) {
  const element = document.getElementById(`data-${name}`);
  if (!element) return otherwise;
  const data = JSON.parse(element.textContent);
  element.remove(); // its memory
  return data;
}

function readStore() {
  store.report = readData('report', {});
  store.shapes = readData('shapes', []);
  store.pictures = readData('pictures', []);
  for (const row of readData('objects', [])) {
    if (Array.isArray(row)) {
      if (!store.byId.has(row[0])) store.byId.set(row[0], store.rows.length);
      store.rows.push(row);
    } else {
      const id = row.l ?? row.m;
      if (!row.e) continue; // it could not be read
      const before = store.more.get(id);
      if (before) before.push(...row.e);
      else store.more.set(id, row.e);
    }
  }
  for (const shape of store.shapes) finishShape(shape);
}

// What is asked for each of its objects is worked out once.
function finishShape(shape) {
  shape.fields = [];
  for (const part of shape.p) for (const field of part.f) shape.fields.push(field);
  shape.name = shape.fields.findIndex((field) => field.t === 't' && /^(m_)?(name|title|label)$/i.test(field.n));
  shape.class = shape.p[0].c;
}

const FIRST_VALUE = 3; // in a row

function shapeOf(row) {
  return store.shapes[row[1]];
}
function isProblem(row) {
  return row[1] < 0;
}
function contentOf(row) {
  const shape = shapeOf(row);
  return shape && shape.c ? row[FIRST_VALUE + shape.fields.length] : null;
}
function rowNumber(id) {
  return store.byId.get(id);
}

// Elements of a list of objects, or entries of a map of objects: the first ones, and those of later pieces.
function allOf(row, first) {
  const more = store.more.get(row[0]);
  return more ? first.concat(more) : first;
}

function textOf(value) {
  if (value === null || value === undefined) return '';
  return typeof value === 'object' ? value.s : value;
}

// The name that an object has in a field of that name.
function nameOf(row) {
  if (isProblem(row)) return '';
  const shape = shapeOf(row);
  return shape.name < 0 ? '' : textOf(row[FIRST_VALUE + shape.name]);
}

function classOf(row) {
  return isProblem(row) ? 'unreadable object' : shapeOf(row).class;
}

// What an object is, in a few words.
function whatIs(row) {
  if (isProblem(row)) return 'cannot be read';
  const shape = shapeOf(row);
  return shape.c || shape.x ? shape.k : shape.class;
}
