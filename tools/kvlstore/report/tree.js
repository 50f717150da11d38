// The tree of objects, with the keys of the ARIA tree pattern. Items are made when they are unfolded.

const DEEP = 12; // levels that are indented
const DEEPEST = 50; // levels that reveal unfolds
const nodes = new WeakMap(); // of items
let tree = null;

function itemLabel(node) {
  if (node.aria) return `${node.name}: ${node.aria}`;
  const value = [node.label, node.value, node.linkText, node.summary].filter(Boolean).join(' ');
  const parts = [value ? `${node.name}: ${withUnit(value, node.unit)}` : node.name, node.type, node.base && `of ${node.base}`, node.extra, node.problem];
  return parts.filter(Boolean).join(', ');
}

function itemRow(node) {
  if (node.figure) return make('div', {class: 'row'}, node.figure());
  const value = node.value && make('span', {class: `value${node.text ? ' text' : ''}${node.isNone ? ' none' : ''}`}, node.value);
  return make('div', {class: 'row', 'aria-hidden': 'true'},
    make('span', {class: 'name'}, node.name),
    node.label && make('span', {class: 'label'}, node.label),
    node.summary && make('span', {class: 'summary'}, node.summary),
    value, node.unit && make('span', {class: 'unit'}, node.unit),
    node.linkText && make('span', {class: 'link'}, `\u2192 ${node.linkText}`),
    node.type && make('span', {class: 'type'}, node.type),
    node.base && make('span', {class: 'extra'}, `of ${node.base}`),
    node.extra && make('span', {class: 'extra'}, node.extra),
    node.problem && make('span', {class: 'problem'}, node.problem));
}

function makeItem(node, level) {
  const item = make('li', {role: 'treeitem', 'aria-level': level, tabindex: '-1', 'aria-label': itemLabel(node),
    'aria-expanded': node.kids ? 'false' : undefined, class: node.figure ? 'figure-row' : node.link !== undefined ? 'follows' : undefined},
  itemRow(node));
  nodes.set(item, node);
  return item;
}

function fold(item, open) {
  const node = nodes.get(item);
  if (!node.kids) return;
  if (open && !item.querySelector(':scope > [role="group"]')) {
    const level = Number(item.getAttribute('aria-level')) + 1;
    const indent = level > DEEP ? 'deep' : undefined;
    item.append(make('ul', {role: 'group', class: indent}, kidsOf(node).map((kid) => makeItem(kid, level))));
  }
  item.setAttribute('aria-expanded', String(open));
  const group = item.querySelector(':scope > [role="group"]');
  if (group) group.hidden = !open;
}

function kidsOf(node) {
  node.made ??= node.kids();
  return node.made;
}

function isOpen(item) {
  return item.getAttribute('aria-expanded') === 'true';
}

function focusItem(item) {
  if (!item) return;
  tree.querySelector('[tabindex="0"]')?.setAttribute('tabindex', '-1');
  item.setAttribute('tabindex', '0');
  item.focus({preventScroll: true});
  item.firstElementChild.scrollIntoView({block: 'nearest'});
}

function act(item) {
  const node = nodes.get(item);
  if (node.link !== undefined) reveal(node.link);
  else fold(item, !isOpen(item));
}

// The item before or after one, of those that can be seen.
function nextItem(item) {
  const first = isOpen(item) && item.querySelector(':scope > [role="group"] > [role="treeitem"]');
  if (first) return first;
  for (let at = item; at && at !== tree; at = at.parentElement.closest('[role="treeitem"]')) {
    if (at.nextElementSibling) return at.nextElementSibling;
  }
  return null;
}
function previousItem(item) {
  let at = item.previousElementSibling;
  if (!at) return item.parentElement.closest('[role="treeitem"]');
  while (isOpen(at)) at = at.querySelector(':scope > [role="group"]').lastElementChild;
  return at;
}
function lastItem() {
  let at = tree.lastElementChild;
  while (at && isOpen(at)) at = at.querySelector(':scope > [role="group"]').lastElementChild;
  return at;
}

const KEYS = {
  ArrowDown: (item) => focusItem(nextItem(item)),
  ArrowUp: (item) => focusItem(previousItem(item)),
  Home: () => focusItem(tree.firstElementChild),
  End: () => focusItem(lastItem()),
  Enter: act,
  ' ': act,
  ArrowRight: (item) => {
    if (nodes.get(item).kids && !isOpen(item)) fold(item, true);
    else if (isOpen(item)) focusItem(nextItem(item));
  },
  ArrowLeft: (item) => {
    if (isOpen(item)) fold(item, false);
    else focusItem(item.parentElement.closest('[role="treeitem"]'));
  },
};

function onTreeKey(event) {
  const item = event.target.closest('[role="treeitem"]');
  if (!item || event.ctrlKey || event.altKey || event.metaKey) return;
  if (KEYS[event.key]) {
    event.preventDefault();
    KEYS[event.key](item);
  } else if (event.key.length === 1 && /\S/.test(event.key) && event.key !== '/') {
    event.preventDefault();
    focusByLetter(item, event.key.toLowerCase());
  }
}

// The next item whose name begins with a letter, with or without m_.
function focusByLetter(item, letter) {
  const fits = (each) => nodes.get(each).name.toLowerCase().replace(/^m_/, '').startsWith(letter);
  let at = nextItem(item);
  for (let i = 0; i < 5000 && at !== item; ++i) {
    if (at && fits(at)) return focusItem(at);
    at = at ? nextItem(at) : tree.firstElementChild;
  }
  return undefined;
}

function makeTree(parent) {
  tree = make('ul', {role: 'tree', 'aria-labelledby': 'objects-title', 'aria-describedby': 'tree-hint', onkeydown: onTreeKey, onclick: onTreeClick});
  const roots = rootNodes();
  if (!roots.length) {
    parent.append(make('p', {}, 'The store has no objects that can be shown.'));
    return;
  }
  tree.append(...roots.map((node) => makeItem(node, 1)));
  tree.firstElementChild.setAttribute('tabindex', '0');
  parent.append(tree);
  if (roots.length === 1) fold(tree.firstElementChild, true);
}

function onTreeClick(event) {
  const item = event.target.closest('[role="treeitem"]');
  if (!item || window.getSelection()?.toString()) return;
  focusItem(item);
  if (!nodes.get(item).figure) act(item);
}

// Unfolds the tree down to an object's row, and focuses it.
function reveal(number) {
  if (number === undefined || !tree) return;
  const path = [];
  for (let at = number; at >= 0 && path.length <= DEEPEST; at = store.rows[at][2]) path.unshift(at);
  if (path.length > DEEPEST) {
    revealAlone(number);
    return;
  }
  let items = [...tree.children];
  let item = null;
  for (const row of path) {
    item = descend(items, row);
    if (!item) return;
    if (row !== number) {
      fold(item, true);
      items = kidItems(item);
    }
  }
  focusItem(item);
  item.firstElementChild.scrollIntoView({block: 'center'});
}

// An object that is too deep to unfold all that leads to it gets an item of its own at the end of the tree.
function revealAlone(number) {
  const row = store.rows[number];
  const holder = store.rows[row[2]];
  const node = {...elementNode(`object ${row[0]}`, row[0], row[2]), row: undefined, isAlone: true};
  node.extra = `in ${[whatIs(holder), nameOf(holder)].filter(Boolean).join(' ')} #${holder[0]}, ${integer(depthOf(number))} levels below its root`;
  const last = tree.lastElementChild;
  if (nodes.get(last).isAlone) last.remove();
  const item = makeItem(node, 1);
  tree.append(item);
  focusItem(item);
}

function depthOf(number) {
  let depth = 0;
  for (let at = store.rows[number][2]; at >= 0; at = store.rows[at][2]) ++depth;
  return depth;
}

function kidItems(item) {
  return [...(item.querySelector(':scope > [role="group"]')?.children || [])];
}

// The item of a row among items, or in groups and nested values among them, which it unfolds.
function descend(items, row) {
  const own = items.find((item) => nodes.get(item).row === row);
  if (own) return own;
  for (const item of items) {
    const node = nodes.get(item);
    const isGroup = node.row === undefined && node.has && node.has(row) !== false && node.has(row) !== -1;
    if (!isGroup && !(node.nested && hasNested(node, row))) continue;
    fold(item, true);
    const found = descend(kidItems(item), row);
    if (found) return found;
  }
  return null;
}

function hasNested(node, row) {
  return node.kids && kidsOf(node).some((kid) => kid.row === row || (kid.nested && hasNested(kid, row)));
}
