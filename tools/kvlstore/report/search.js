// Search in all objects of the report.

const MOST_HITS = 200; // that are listed

// Why a row is found: {name, text} or null. `wanted`: in lower case. `shapes`: what makes all objects of a shape hits.
function whyFound(row, wanted, shapes) {
  if (`#${row[0]}` === wanted) return {name: 'id', text: String(row[0])};
  if (isProblem(row)) return contains(row[FIRST_VALUE], wanted) ? {name: 'problem', text: row[FIRST_VALUE]} : null;
  const shape = shapeOf(row);
  for (let i = 0; i < shape.fields.length; ++i) {
    const found = foundIn(row[FIRST_VALUE + i], shape.fields[i].t, wanted);
    if (found !== null) return {name: shape.fields[i].n, text: found};
  }
  const content = contentOf(row);
  const inContent = content ? foundInContent(row, content, wanted) : null;
  return inContent || shapes.get(shape);
}

function contains(text, wanted) {
  return typeof text === 'string' && text.toLowerCase().includes(wanted);
}

// The text of a value that has what is wanted; null if none has.
function foundIn(value, letter, wanted) {
  if (letter === 't') return contains(textOf(value), wanted) ? textOf(value) : null;
  if (letter === 'e') return Array.isArray(value) && contains(value[1], wanted) ? value[1] : null;
  if (letter === 'i' || letter === 'n' || letter === 'f') return String(value) === wanted ? String(value) : null;
  if (letter !== 'm') return null;
  for (const [name, , inner, member] of value.m) {
    if (contains(name, wanted)) return name;
    const found = foundIn(member, inner, wanted);
    if (found !== null) return found;
  }
  return null;
}

function foundInContent(row, content, wanted) {
  if (content.t === 'string') {
    const found = (content.v || []).find((value) => contains(textOf(value), wanted));
    return found === undefined ? null : {name: 'element', text: textOf(found)};
  }
  if (!content.m && !content.mo) return null;
  for (const [key, value] of allOf(row, content.m || content.mo)) {
    if (contains(textOf(key), wanted) || String(key) === wanted) return {name: 'key', text: String(textOf(key))};
    if (content.m && contains(textOf(value), wanted)) return {name: String(textOf(key)), text: textOf(value)};
  }
  return null;
}

function shapesWith(wanted) {
  const found = new Map();
  for (const shape of store.shapes) {
    const part = shape.p.find((each) => contains(each.c, wanted));
    const field = shape.fields.find((each) => contains(each.n, wanted) || contains(each.u, wanted) || contains(each.k, wanted));
    if (part) found.set(shape, {name: 'class', text: part.c});
    else if (field) found.set(shape, {name: 'attribute', text: [field.n, field.k, field.u].filter(Boolean).join(', ')});
  }
  return found;
}

function search(text) {
  const wanted = text.trim().toLowerCase();
  const hits = [];
  if (!wanted) return {hits, count: 0};
  let count = 0;
  const add = (number, why) => {
    ++count;
    if (hits.length < MOST_HITS) hits.push({number, why});
  };
  const named = new Set();
  for (const [name, id] of store.report.roots || []) {
    const number = rowNumber(id);
    if (number === undefined || named.has(number) || !contains(name, wanted)) continue;
    named.add(number);
    add(number, {name: 'root', text: name});
  }
  const shapes = shapesWith(wanted);
  const weak = []; // found by their shape only: after those that are found by a value
  store.rows.forEach((row, number) => {
    const why = named.has(number) ? null : whyFound(row, wanted, shapes);
    if (!why) return;
    if (shapes.get(shapeOf(row)) === why) weak.push({number, why});
    else add(number, why);
  });
  for (const hit of weak) add(hit.number, hit.why);
  return {hits, count};
}

function marked(text, wanted) {
  const at = text.toLowerCase().indexOf(wanted);
  if (at < 0) return [text.slice(0, 120)];
  const from = Math.max(0, at - 40);
  return [(from > 0 ? '\u2026' : '') + text.slice(from, at), make('mark', {}, text.slice(at, at + wanted.length)), text.slice(at + wanted.length, at + wanted.length + 80)];
}

function hitItem({number, why}, wanted) {
  const row = store.rows[number];
  const holder = row[2] >= 0 ? store.rows[row[2]] : null;
  const where = holder ? `in ${[whatIs(holder), nameOf(holder)].filter(Boolean).join(' ')} #${holder[0]}` : '';
  return make('li', {}, make('button', {type: 'button', onclick: () => reveal(number)},
    make('span', {class: 'name'}, [nameOf(row), whatIs(row)].filter(Boolean).join(', '), ` #${row[0]}`), ' ',
    make('span', {class: 'where'}, `${why.name}: `, marked(String(why.text), wanted), ' ', where)));
}

function startSearch() {
  const input = document.getElementById('query');
  const list = document.getElementById('hits');
  const status = document.getElementById('hits-count');
  let timer = 0;
  const run = () => {
    const {hits, count} = search(input.value);
    const wanted = input.value.trim().toLowerCase();
    list.replaceChildren(...hits.map((hit) => hitItem(hit, wanted)));
    list.hidden = !hits.length;
    const listed = count > hits.length ? `; the first ${integer(hits.length)} are listed` : '';
    status.textContent = wanted ? `${plural(count, 'object')} found${store.report.shown?.cut ? ' among those in this report' : ''}${listed}` : '';
  };
  input.addEventListener('input', () => {
    clearTimeout(timer);
    timer = setTimeout(run, 120);
  });
  input.form.addEventListener('submit', (event) => {
    event.preventDefault();
    clearTimeout(timer);
    run();
    list.querySelector('button')?.focus();
  });
  document.addEventListener('keydown', (event) => {
    if (event.key !== '/' || event.target.closest('input') || event.ctrlKey || event.metaKey || event.altKey) return;
    event.preventDefault();
    input.focus();
  });
}
