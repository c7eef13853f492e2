// Charts that compare policies and runs.
import {frame, value, scaled, column, dayAxis, hover} from './chart_parts.js';

const COLORS = ['#1f8bd6', '#d55e00', '#12a679', '#8f7fe8', '#e69f00', '#c0508f', '#6b8e23', '#9a9a9a'];
const unique = (rows, field) => [...new Set(rows.map(row => row[field]))];
const colors = domain => ({name: 'color', type: 'ordinal', domain, range: COLORS});
// Points of different policies at the same place stand side by side.
const shift = domain => ({name: 'shift', type: 'ordinal', domain,
                          range: domain.map((name, i) => 5 * (i - (domain.length - 1) / 2))});
const legend = {stroke: 'color', symbolType: 'stroke', symbolSize: 250, symbolStrokeWidth: 2, orient: 'top',
                direction: 'horizontal', labelLimit: 160, columns: {signal: 'width < 420 ? 1 : 4'}};
const zero_line = {type: 'rule', encode: {update: {
  x: value(0), x2: {signal: 'width'}, y: {scale: 'y', value: 0}, stroke: value('currentColor'),
  strokeOpacity: value(0.6), strokeDash: value([4, 3])}}};
const number = field => `format(${field}, ',.3~f')`;

// For each policy a line with its band, over years.
export function bands(section, rows, title) {
  const {low, middle, high} = section.bands;
  const policies = unique(rows, 'policy');
  const color = scaled('color', 'policy');
  const place = {x: scaled('x', 'year', {offset: scaled('shift', 'policy')})};
  const tooltip = {signal: `datum.policy + ', year ' + datum.year + ': ' + ${number(`datum.${middle}`)} + ' (' + ` +
                           `${number(`datum.${low}`)} + ' to ' + ${number(`datum.${high}`)} + ')'`};
  return frame(230, {
    data: [{name: 'known', source: 'table', transform: [{type: 'filter', expr: `isValid(datum.${middle})`}]}],
    scales: [
      {name: 'x', type: 'linear', range: 'width', domain: {fields: [[0], {data: 'known', field: 'year'}]}},
      {name: 'y', type: 'linear', range: 'height', nice: true, zero: Boolean(section.zero),
       domain: column('known', [low, high])},
      colors(policies), shift(policies),
    ],
    axes: [
      {orient: 'left', scale: 'y', title, grid: true, tickCount: 5},
      {orient: 'bottom', scale: 'x', title: 'years', format: '~r', labelOverlap: true,
       values: [0, ...unique(rows, 'year')]},
    ],
    legends: [legend],
    marks: [
      ...(section.zero ? [zero_line] : []),
      {type: 'group', from: {facet: {name: 'one', data: 'known', groupby: 'policy'}}, marks: [
        {type: 'area', from: {data: 'one'}, encode: {update: {
          x: scaled('x', 'year'), y: scaled('y', low), y2: scaled('y', high), fill: color,
          fillOpacity: value(0.15)}}},
        {type: 'line', from: {data: 'one'}, encode: {update: {
          x: scaled('x', 'year'), y: scaled('y', middle), stroke: color, strokeWidth: value(1.8)}}},
      ]},
      {type: 'rule', from: {data: 'known'}, encode: {update: {
        ...place, y: scaled('y', low), y2: scaled('y', high), stroke: color, strokeWidth: value(1.5), tooltip}}},
      {type: 'symbol', from: {data: 'known'}, name: 'ends', encode: {update: {
        ...place, y: scaled('y', middle), fill: color, size: value(45), tooltip}}},
    ],
  });
}

// A point per phone and policy, and a cross for the mean of each policy with its intervals.
export function decision(section, rows) {
  const policies = unique(rows, 'policy');
  const last = Math.max(...rows.map(row => row.year));
  const color = scaled('color', 'policy');
  const tooltip = {signal: `datum.policy + ', mean: withheld ' + ${number('datum.withheld')} + ' %, gained ' + ` +
                           `${number('datum.gained')} + ' points'`};
  const cross = (along, across) => ({type: 'rule', from: {data: 'means'}, encode: {update: {
    [along]: scaled(along, along === 'x' ? 'withheld_low' : 'gained_low'),
    [along + '2']: scaled(along, along === 'x' ? 'withheld_high' : 'gained_high'),
    [across]: scaled(across, across === 'x' ? 'withheld' : 'gained'),
    stroke: color, strokeWidth: value(2.5), tooltip}}});
  const domain = (points, means) => ({fields: [[0], {data: 'points', field: points},
    ...means.map(field => ({data: 'means', field}))]});
  return frame(340, {
    data: [
      {name: 'means', source: 'table', transform: [{type: 'filter', expr: `datum.year === ${last}`}]},
      {name: 'points', values: section.points.map(([policy, phone, profile, withheld, gained]) =>
        ({policy, phone, profile, withheld, gained}))},
    ],
    scales: [
      {name: 'x', type: 'linear', range: 'width', nice: true,
       domain: domain('withheld', ['withheld_low', 'withheld_high'])},
      {name: 'y', type: 'linear', range: 'height', nice: true,
       domain: domain('gained', ['gained_low', 'gained_high'])},
      colors(policies),
    ],
    axes: [
      {orient: 'left', scale: 'y', title: 'true state of health gained, points', grid: true, tickCount: 6},
      {orient: 'bottom', scale: 'x', title: 'capacity withheld, %', grid: true, tickCount: {signal: 'width / 60'}},
    ],
    legends: [legend],
    marks: [
      zero_line,
      {type: 'symbol', from: {data: 'points'}, name: 'phones', encode: {update: {
        x: scaled('x', 'withheld'), y: scaled('y', 'gained'), fill: color, fillOpacity: value(0.45), size: value(40),
        tooltip: {signal: `'phone ' + datum.phone + ', ' + datum.profile + ', ' + datum.policy + ': withheld ' + ` +
                          `${number('datum.withheld')} + ' %, gained ' + ${number('datum.gained')} + ' points'`}}}},
      cross('x', 'y'), cross('y', 'x'),
      {type: 'symbol', from: {data: 'means'}, encode: {update: {
        x: scaled('x', 'withheld'), y: scaled('y', 'gained'), fill: color, stroke: value('currentColor'),
        size: value(90), tooltip}}},
    ],
  });
}

// A line for each run, and below it the difference of each run from the first.
export function overlay(section, title, has_steps) {
  const {runs} = section;
  const curves = runs.map((name, i) => ({field: `run${i}`, name, color: COLORS[i % COLORS.length]}));
  const differences = curves.slice(1).map((curve, i) => ({...curve, field: `difference${i + 1}`,
                                                          name: `${curve.name} − ${runs[0]}`}));
  const interpolate = has_steps ? 'step-before' : 'linear';
  const panel = (height, shown, y_title, last) => ({
    type: 'group', encode: {update: {width: {signal: 'width'}, height: value(height)}},
    scales: [{name: 'y', type: 'linear', range: [height, 0], nice: true, zero: last || has_steps,
              domain: column('all', shown.map(curve => curve.field))}],
    axes: [
      {orient: 'left', scale: 'y', title: y_title, grid: true, tickCount: last ? 3 : 5, minExtent: 42},
      last ? {...dayAxis, title: 'days of life'}
           : {orient: 'bottom', scale: 'x', labels: false, tickCount: {signal: 'width / 70'}},
    ],
    marks: [
      ...(last ? [zero_line] : []),
      ...shown.map(curve => ({type: 'line', from: {data: 'table'}, name: curve.field, encode: {update: {
        x: scaled('x', 'day'), y: scaled('y', curve.field), stroke: value(curve.color), strokeWidth: value(1.8),
        interpolate: value(interpolate), defined: {signal: `isValid(datum.${curve.field})`}}}})),
      hover(height, shown.map(curve => [curve.name, curve.field])),
    ],
  });
  const top = panel(190, curves, title, false);
  return frame(320, {
    autosize: {type: 'pad', contains: 'padding'},
    layout: {columns: 1, padding: 12, bounds: 'full', align: 'all'},
    scales: [{name: 'x', type: 'linear', range: 'width', domain: column('all', ['day']), zero: true},
             colors(runs)],
    marks: [{...top, legends: [legend]}, panel(90, differences, 'difference', true)],
  });
}
