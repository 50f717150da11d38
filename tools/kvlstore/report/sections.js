// The sections of the page beside the tree.

function content(section) {
  return document.querySelector(`#${section} > .content`);
}

// Shows a section that is hidden while it has nothing, and its link.
function show(section) {
  document.getElementById(section).hidden = false;
  const link = document.querySelector(`nav a[href="#${section}"]`);
  if (link) link.parentElement.hidden = false;
}

function notice(kind, text, items) {
  return make('div', {class: `notice ${kind}`}, make('span', {}, text),
    items && items.length ? make('ul', {}, items.map((item) => make('li', {}, item))) : null);
}

function fillNotices() {
  const {report} = store;
  const found = [];
  const problems = report.problems || [];
  if (problems.length) {
    const further = report.furtherProblems ? [`and ${integer(report.furtherProblems)} more`] : [];
    found.push(notice('warn', `${plural(problems.length + (report.furtherProblems || 0), 'part')} of the store could not be read:`,
      problems.map(([where, text]) => `${where}: ${text}`).concat(further)));
  }
  const shown = report.shown || {rows: 0, missing: 0};
  const total = report.facts?.objects ?? 0;
  const there = shown.rows - shown.missing;
  if (shown.cut && total > there) {
    found.push(notice('', `This report shows ${integer(there)} of ${plural(total, 'object')}, those nearest to the roots. ${plural(total - there, 'object')} ${total - there === 1 ? 'is' : 'are'} left out. Counts by class, and what takes room, are of all objects.`));
  }
  if (shown.ofNoRoot) found.push(notice('', `No root leads to ${plural(shown.ofNoRoot, 'object')} of this store. They are at the end of the tree.`));
  if (shown.picturesLeftOut) found.push(notice('', `${plural(shown.picturesLeftOut, 'more picture')} could be drawn and ${shown.picturesLeftOut === 1 ? 'is' : 'are'} left out.`));
  if (!found.length) return;
  content('notices').append(...found);
  show('notices');
}

function fillPictures() {
  if (!store.pictures.length) return;
  show('pictures');
  content('pictures').append(...store.pictures.map(makePicture));
}

// What the fields that hold lists, maps and blobs call them: {name, unit} by id.
function findHolders() {
  const found = new Map();
  store.rows.forEach((row) => {
    if (isProblem(row)) return;
    shapeOf(row).fields.forEach((field, i) => {
      const id = row[FIRST_VALUE + i];
      if (field.t !== 'o' || field.k === 'object' || found.has(id)) return;
      found.set(id, {name: `${nameOf(row) || shapeOf(row).class} \u203a ${field.n}`, unit: field.u});
    });
  });
  return found;
}

// Arrays of numbers with more than one element, the longest first: {number, content, unit, name}.
function findArrays(holders) {
  const found = [];
  store.rows.forEach((row, number) => {
    const array = isProblem(row) ? null : contentOf(row);
    if (!array?.curves) return;
    const largest = (store.report.largest || []).find((each) => each.id === row[0]);
    found.push({number, array, unit: holders.get(row[0])?.unit || array.u, name: holders.get(row[0])?.name || largest?.name || `object ${row[0]}`});
  });
  return found.sort((a, b) => b.array.n - a.array.n || a.number - b.number);
}

function arrayItem({number, array, unit, name}) {
  const row = array.row ? ` in rows of ${array.row.map(integer).join(' \u00d7 ')}` : '';
  const numbers = array.min === undefined ? '' : `, ${short(array.min)} to ${withUnit(short(array.max), unit)}`;
  const summary = [make('h3', {}, name), ' ', make('span', {class: 'small'}, `${plural(array.n, 'element')} of ${array.t}${row}${numbers}`)];
  return makeDetails(summary, () => arrayFigure(array, unit, name).concat(
    make('p', {class: 'small'}, make('button', {type: 'button', onclick: () => reveal(number)}, 'Show it in the tree'))));
}

function fillArrays(holders) {
  const arrays = findArrays(holders);
  if (!arrays.length) return;
  show('arrays');
  appendPaged(content('arrays'), arrays.length, 25, (i) => arrayItem(arrays[i]), 'arrays');
}

const LIBRARY = [0x1a, 0x1f, 0x23, 0x60]; // components of the library's own classes

function isOfLibrary(classId) {
  return LIBRARY.includes(classId >>> 16);
}
function hexadecimal(classId) {
  return `0x${classId.toString(16).toUpperCase()}`;
}

function attributeRow(attribute) {
  const said = [];
  if (attribute.d !== undefined) said.push(make('div', {}, `default ${attribute.d}`));
  for (const [name, value] of attribute.e || []) said.push(make('div', {}, make('span', {class: 'code'}, exact(value)), ` ${name}`));
  for (const [name, text] of attribute.notes || []) said.push(make('div', {class: 'small'}, `${name}: ${text}`));
  return [make('span', {class: 'code'}, attribute.n || `field ${attribute.i}`), attribute.k, attribute.u ? make('span', {class: 'unit'}, attribute.u) : '',
    said.length ? make('div', {}, said) : ''];
}

function classItem(each) {
  const base = store.report.classes.find((other) => other.i === each.base);
  const counted = each.objects === undefined ? '' : `, ${plural(each.objects, 'object')}`;
  const summary = [make('h3', {}, each.n || hexadecimal(each.i)), ' ', make('span', {class: 'small'}, `version ${each.v}${counted}`)];
  return makeDetails(summary, () => [
    make('p', {class: 'small'}, `Class ${hexadecimal(each.i)}${base ? `, derived from ${base.n}` : each.base > 1 ? `, derived from ${hexadecimal(each.base)}` : ''}`),
    ...(each.notes || []).map(([name, text]) => make('p', {class: 'small'}, `${name}: ${text}`)),
    each.f.length
      ? makeTable('', [{title: 'Attribute'}, {title: 'Type'}, {title: 'Unit'}, {title: 'Remarks'}], each.f.map(attributeRow))
      : make('p', {class: 'small'}, 'No attributes of its own.'),
  ]);
}

function fillClasses() {
  const classes = (store.report.classes || []).slice().sort((a, b) => isOfLibrary(a.i) - isOfLibrary(b.i));
  if (!classes.length) content('classes').append(make('p', {}, 'The store describes no classes.'));
  else appendPaged(content('classes'), classes.length, 100, (i) => classItem(classes[i]), 'classes');
  const leftOut = (store.report.classCount || 0) - classes.length;
  if (leftOut > 0) content('classes').append(make('p', {class: 'small'}, `${plural(leftOut, 'more class', 'more classes')} not in this report.`));
}

function fillSpace(holders) {
  const {space, byClass = [], largest = []} = store.report;
  if (!space) {
    content('space').append(make('p', {}, 'Not known.'));
    return;
  }
  const records = byClass.reduce((sum, each) => sum + each.bytes, 0);
  content('space').append(fileTable(space, records));
  const classes = byClass.slice().sort((a, b) => b.bytes - a.bytes);
  const most = classes.length ? Math.max(1, classes[0].bytes) : 1;
  const place = make('div', {});
  content('space').append(make('h3', {}, 'Records by class'), place);
  place.append(classTable(classes.slice(0, 100), most, records));
  if (classes.length > 100) place.append(make('p', {class: 'small'}, `${plural(classes.length - 100, 'smaller class', 'smaller classes')} left out.`));
  if (largest.length) {
    content('space').append(make('h3', {}, 'Largest arrays and blobs'),
      makeTable('', [{title: 'Array'}, {title: 'Elements'}, {title: 'Count', number: true}, {title: 'In the file', number: true}],
        largest.map((each) => [holders.get(each.id)?.name || each.name || `object ${each.id}`, each.type, integer(each.n), bytes(each.stored)])));
  }
}

function fileTable(space, records) {
  const rows = [['Records of objects', records], [`${plural(space.arrayCount, 'array')} in blocks`, space.arrays], [`${plural(space.blobCount, 'blob')}`, space.blobs],
    ['Log of saves', space.log], ['Descriptions of classes', space.catalogue], ['Indexes', space.indexes], ['Free pages', space.free], ['The file', space.file]];
  return makeTable('Pages are not full, so the file has more than the sum of what it holds.', [{title: 'What'}, {title: 'Bytes', number: true}],
    rows.filter(([, count], i) => count > 0 || i === 7).map(([what, count]) => [what, bytes(count)]));
}

function classTable(classes, most, records) {
  const table = makeTable('', [{title: 'Class'}, {title: 'Objects', number: true}, {title: 'Bytes', number: true}, {title: 'Share', number: true}, {title: ''}],
    classes.map((each) => [`${each.n || hexadecimal(each.i)}, version ${each.v}${isOfLibrary(each.i) ? ', of the library' : ''}`, integer(each.objects), bytes(each.bytes),
      `${((100 * each.bytes) / Math.max(1, records)).toFixed(1)} %`, bar(each.bytes / most)]));
  table.classList.add('bars');
  return table;
}

function bar(share) {
  const element = make('span', {class: 'bar', 'aria-hidden': 'true'});
  element.style.width = `${(100 * share).toFixed(2)}%`;
  return element;
}

function saveRow(save, i, all) {
  const before = all[i - 1];
  const changed = [];
  if (before && save.next > before.next) changed.push(plural(save.next - before.next, 'new id'));
  if (save.objects) changed.push(plural(save.objects, 'changed object'));
  if (save.lists) changed.push(plural(save.lists, 'changed array'));
  const roots = save.roots.join(', ') + (save.rootCount > save.roots.length ? ` and ${integer(save.rootCount - save.roots.length)} more` : '');
  return [integer(save.n), make('span', {class: 'time'}, time(save.ms)), save.program, save.note, changed.join(', '), roots];
}

function fillSaves() {
  const saves = store.report.saves || [];
  if (!saves.length) return;
  show('saves');
  const count = store.report.space?.saveCount ?? saves.length;
  const caption = count > saves.length ? `The newest ${integer(saves.length)} of ${integer(count)} saves.` : '';
  const rows = saves.map(saveRow).reverse();
  content('saves').append(makeTable(caption, [{title: 'Save', number: true}, {title: 'Time'}, {title: 'Program'}, {title: 'Note'}, {title: 'Changed'}, {title: 'Roots'}], rows));
}
