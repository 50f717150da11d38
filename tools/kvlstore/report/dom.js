'use strict';

// Small helpers. Every text gets into the page as a text node, never as markup.

function make(tag, properties, ...children) {
  const element = document.createElement(tag);
  for (const [name, value] of Object.entries(properties || {})) {
    if (value === undefined || value === null || value === false) continue;
    if (name === 'class') element.className = value;
    else if (name.startsWith('on')) element.addEventListener(name.slice(2), value);
    else element.setAttribute(name, value === true ? '' : String(value));
  }
  element.append(...children.flat().filter((child) => child !== null && child !== undefined && child !== ''));
  return element;
}

const SVG = 'http://www.w3.org/2000/svg';
function makeSvg(tag, attributes, ...children) {
  const element = document.createElementNS(SVG, tag);
  for (const [name, value] of Object.entries(attributes || {})) element.setAttribute(name, String(value));
  element.append(...children);
  return element;
}

// A table that becomes a list of cards where there is little room. Columns: {title, number}. Rows: arrays of texts or nodes.
// A column without anything in it is left out.
function makeTable(caption, allColumns, allRows) {
  const used = allColumns.map((_, i) => i === 0 || allRows.some((row) => row[i] !== ''));
  const columns = allColumns.filter((_, i) => used[i]);
  const rows = allRows.map((row) => row.filter((_, i) => used[i]));
  const kind = (column) => (column.number ? 'number' : undefined);
  const head = make('tr', {role: 'row'},
    columns.map((column) => make('th', {role: 'columnheader', scope: 'col', class: kind(column)}, column.title)));
  const cell = (value, i) => (i === 0
    ? make('th', {role: 'rowheader', scope: 'row'}, value)
    : make('td', {role: 'cell', class: kind(columns[i]), 'data-name': (value !== '' && columns[i].title) || undefined}, value));
  return make('table', {role: 'table', class: columns.length > 2 ? 'stacked' : undefined}, caption ? make('caption', {}, caption) : null,
    make('thead', {role: 'rowgroup'}, head),
    make('tbody', {role: 'rowgroup'}, rows.map((row) => make('tr', {role: 'row'}, row.map(cell)))));
}

// A part of the page that is made when it is opened for the first time.
function makeDetails(summary, fill) {
  const inside = make('div', {class: 'inside'});
  const details = make('details', {}, make('summary', {}, summary), inside);
  details.addEventListener('toggle', () => {
    if (details.open && !inside.hasChildNodes()) inside.append(...fill());
  });
  return details;
}

// Appends what `makeItem(i)` returns, a page at a time; a button makes the next page.
function appendPaged(parent, count, pageSize, makeItem, what) {
  let next = 0;
  const more = make('button', {type: 'button', onclick: () => showMore(true)});
  const showMore = (byButton) => {
    const first = next;
    for (; next < Math.min(count, first + pageSize); ++next) parent.insertBefore(makeItem(next), more.isConnected || more.parentNode ? more : null);
    if (next < count) {
      more.textContent = `Show ${integer(Math.min(pageSize, count - next))} more of ${integer(count)} ${what}`;
      parent.append(more);
    } else {
      more.remove();
    }
    if (byButton) (parent.children[first].querySelector('summary, a, button') || parent.children[first]).focus();
  };
  showMore(false);
}
