// Draws the page from its embedded data: for each section a title, an explanation, and for each subject a
// chart with its table.
import {parse, View} from './vega_parts.js';
import {chart, config} from './charts.js';

const state = document.body.dataset;
state.drawn = 0;
state.errors = '';
const report = error => { state.errors += (error && error.message || error) + '\n'; };
addEventListener('error', event => report(event.error || event.message));
addEventListener('unhandledrejection', event => report(event.reason));
const logger = {level() { return this; }, info() { return this; }, debug() { return this; },
                warn(...text) { report(text.join(' ')); return this; },
                error(...text) { report(text.join(' ')); return this; }};

function add(parent, tag, text, attributes = {}) {
  const element = parent.appendChild(document.createElement(tag));
  if (text !== undefined) element.textContent = text;
  for (const [name, content] of Object.entries(attributes)) element.setAttribute(name, content);
  return element;
}

function cell_text(cell, column) {
  if (cell === null) return '–';
  return column.digits === undefined ? String(cell) : cell.toFixed(column.digits);
}

function add_table(parent, caption, columns, rows) {
  const details = add(parent, 'details');
  add(details, 'summary', 'Table', {'aria-label': `Table of ${caption}`});
  const table = add(add(details, 'div', undefined, {class: 'scroll'}), 'table');
  add(table, 'caption', caption);
  const head = add(add(table, 'thead'), 'tr');
  for (const column of columns) {
    add(head, 'th', column.unit ? `${column.title}, ${column.unit}` : column.title, {scope: 'col'});
  }
  const body = add(table, 'tbody');
  for (const row of rows) {
    const line = add(body, 'tr');
    row.forEach((cell, i) => add(line, i === 0 ? 'th' : 'td', cell_text(cell, columns[i]),
                                 i === 0 ? {scope: 'row'} : {}));
  }
}

const with_names = (columns, rows) =>
  rows.map(row => Object.fromEntries(columns.map((column, i) => [column.name, row[i]])));

async function draw(box, description, label) {
  const view = new View(parse(description, config), {renderer: 'svg', container: box, logger});
  const fit = () => view.width(Math.max(120, box.clientWidth - 10 - (view.inset || 0)));
  await fit().runAsync();
  // Charts that are laid out in panels do not count their axes into the width.
  if (description.autosize.type === 'pad') {
    view.inset = box.querySelector('svg').getBoundingClientRect().width - view.width();
    await fit().runAsync();
  }
  box.querySelector('svg').setAttribute('role', 'img');
  box.querySelector('svg').setAttribute('aria-label', label);
  let width = box.clientWidth;
  new ResizeObserver(() => requestAnimationFrame(() => {
    if (box.clientWidth === width) return;
    width = box.clientWidth;
    fit().runAsync().catch(report);
  })).observe(box);
  state.drawn = Number(state.drawn) + 1;
}

async function add_section(main, section, subjects) {
  const part = add(main, 'section', undefined, {id: section.id});
  add(part, 'h2', section.title);
  add(part, 'p', section.about);
  const row = add(part, 'div', undefined, {class: 'figures'});
  const tables = section.tables.map(rows => with_names(section.columns, rows));
  for (const [i, rows] of tables.entries()) {
    const label = `${section.title}: ${subjects[i].name}`;
    const figure = add(row, 'figure');
    add(figure, 'figcaption', subjects[i].name);
    if (rows.length === 0) {
      add(figure, 'p', section.notes[i] || 'Nothing recorded yet.', {class: 'empty'});
      continue;
    }
    const box = add(figure, 'div', undefined, {class: 'chart'});
    add_table(figure, label, section.columns, section.tables[i]);
    await draw(box, chart(section, rows, tables.flat()), label);
  }
}

async function main() {
  const data = JSON.parse(document.getElementById('data').textContent);
  const page = document.querySelector('main');
  for (const section of data.sections) await add_section(page, section, data.subjects);
}
main().catch(report).finally(() => { state.done = 'yes'; });
