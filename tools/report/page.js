// Draws the page from its embedded data: for each section a title, an explanation, and for each subject, or
// each of the section's own names, a chart with its table.
import {parse, View} from './vega_parts.js';
import {chart, config} from './charts.js';

const PAPER_WIDTH = 640;  // CSS pixels between the margins of A4 and of Letter, less those of a figure

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
  return details;
}

const with_names = (columns, rows) =>
  rows.map(row => Object.fromEntries(columns.map((column, i) => [column.name, row[i]])));

async function draw(box, description, label) {
  const view = new View(parse(description, config), {renderer: 'svg', container: box, logger});
  let width;
  const fit = (target = box.clientWidth) => {
    width = target;
    return view.width(Math.max(120, width - 10 - (view.inset || 0)));
  };
  await fit().runAsync();
  // Charts that are laid out in panels do not count their axes into the width.
  if (description.autosize.type === 'pad') {
    view.inset = box.querySelector('svg').getBoundingClientRect().width - view.width();
    await fit().runAsync();
  }
  box.querySelector('svg').setAttribute('role', 'img');
  box.querySelector('svg').setAttribute('aria-label', label);
  // A wider chart would be scaled down to the paper, with its text.
  addEventListener('beforeprint', () => fit(PAPER_WIDTH).run());
  addEventListener('afterprint', () => fit().run());
  // Also if the box has changed since the first layout, for example by a scroll bar.
  new ResizeObserver(() => requestAnimationFrame(() => {
    if (box.clientWidth === width) return;
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
    const name = section.names ? section.names[i] : subjects[i].name;
    const label = `${section.title}: ${name}`;
    const figure = add(row, 'figure');
    add(figure, 'figcaption', name);
    if (rows.length === 0) {
      add(figure, 'p', (section.notes || [])[i] || 'Nothing recorded yet.', {class: 'empty'});
      continue;
    }
    if (section.kind === 'table') {
      add_table(figure, label, section.columns, section.tables[i]).open = true;
      continue;
    }
    const box = add(figure, 'div', undefined, {class: 'chart'});
    add_table(figure, label, section.columns, section.tables[i]);
    await draw(box, chart(section, rows, section.names ? rows : tables.flat(), i), label);
  }
}

async function main() {
  const data = JSON.parse(document.getElementById('data').textContent);
  const page = document.querySelector('main');
  for (const section of data.sections) await add_section(page, section, data.subjects);
}
main().catch(report).finally(() => { state.done = 'yes'; });
