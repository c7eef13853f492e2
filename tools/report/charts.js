// A description for each kind of chart. Every chart has the data sets `table`, its own rows, and `all`,
// the rows of its section: the scales cover `all`, so that adjacent charts can be compared.

const SERIES = {
  user: {label: 'user', color: '#1f8bd6', dash: []},
  filtered: {label: 'filtered', color: '#e69f00', dash: []},
  predicted: {label: 'predicted', color: '#12a679', dash: []},
  raw: {label: 'raw', color: '#9a9a9a', dash: [2, 2]},
  true: {label: 'true (simulated)', color: '#d55e00', dash: [6, 3]},
};
const LEVELS = {
  level: {label: 'in force', color: '#8f7fe8', dash: [], width: 6, opacity: 0.5},  // under the others
  by_throughput: {label: 'by throughput', color: '#1f8bd6', dash: [2, 2]},
  by_arrhenius: {label: 'by Arrhenius', color: '#d55e00', dash: [6, 3]},
  by_full_stay: {label: 'by full stay', color: '#12a679', dash: [1, 3]},
};
const BAR = '#1f8bd6';
const LIMIT = '#d55e00';
const HEAT = {scheme: ['#9fd3ee', '#f2d25c', '#e8603c', '#8c0d26']};  // reads on light and on dark

export const config = {
  background: null,
  font: 'system-ui, sans-serif',
  axis: {
    domainColor: 'currentColor', tickColor: 'currentColor', labelColor: 'currentColor',
    titleColor: 'currentColor', gridColor: 'currentColor', gridOpacity: 0.15,
    labelFontSize: 11, titleFontSize: 11, titleFontWeight: 'normal',
  },
  legend: {labelColor: 'currentColor', titleColor: 'currentColor', labelFontSize: 11,
           titleFontSize: 11, titleFontWeight: 'normal'},
  text: {fill: 'currentColor', fontSize: 11},
};

const value = v => ({value: v});
const scaled = (scale, field, more) => ({scale, field, ...more});
const column = (data, fields) => ({data, fields});

function frame(height, parts) {
  return {$schema: 'https://vega.github.io/schema/vega/v5.json',
          width: 300, height, padding: 4, autosize: {type: 'fit-x', contains: 'padding'}, ...parts};
}

// Lines by name: `table` folded into name and value, with a legend on top.
function lines(names, look, y, interpolate) {
  return names.map(name => ({
    type: 'line', from: {data: 'table'},
    encode: {update: {
      x: scaled('x', 'day'), y: scaled(y, name), stroke: value(look[name].color),
      strokeDash: value(look[name].dash), strokeWidth: value(look[name].width || 1.8),
      strokeOpacity: value(look[name].opacity || 1), interpolate: value(interpolate),
      defined: {signal: `isValid(datum['${name}'])`},
    }},
  }));
}

function legend_of(names, look, scale) {
  return {
    scales: [
      {name: scale, type: 'ordinal', domain: names.map(n => look[n].label),
       range: names.map(n => look[n].color)},
      {name: scale + '_dash', type: 'ordinal', domain: names.map(n => look[n].label),
       range: names.map(n => look[n].dash)},
    ],
    legend: {stroke: scale, strokeDash: scale + '_dash', symbolType: 'stroke', symbolSize: 250,
             symbolStrokeWidth: 2, orient: 'top', direction: 'horizontal',
             columns: {signal: 'width < 420 ? 2 : 5'}},
  };
}

const dayAxis = {orient: 'bottom', scale: 'x', title: 'days of online time', tickCount: {signal: 'width / 70'}};

// Curves above, levels below, with a common axis of days.
function soh(has) {
  const curves = Object.keys(SERIES).filter(has);
  const levels = Object.keys(LEVELS);
  const top = legend_of(curves, SERIES, 'curve');
  const bottom = legend_of(levels, LEVELS, 'level_color');
  const panel = (height, y, marks, legend, title, last, scales) => ({
    type: 'group', encode: {update: {width: {signal: 'width'}, height: value(height)}},
    scales, marks, legends: [legend],
    axes: [
      {orient: 'left', scale: y, title, grid: true, tickCount: 5, minExtent: 30,
       ...(last ? {format: 'd', tickMinStep: 1} : {})},
      last ? dayAxis : {orient: 'bottom', scale: 'x', labels: false, tickCount: {signal: 'width / 70'}},
    ],
  });
  return frame(430, {
    autosize: {type: 'pad', contains: 'padding'},
    layout: {columns: 1, padding: 14, bounds: 'full', align: 'all'},
    scales: [
      {name: 'x', type: 'linear', range: 'width', domain: column('all', ['day']), zero: true},
      ...top.scales, ...bottom.scales,
    ],
    marks: [
      panel(230, 'y', lines(curves, SERIES, 'y', 'linear'), top.legend, 'state of health, %', false,
            [{name: 'y', type: 'linear', range: [230, 0], domain: column('all', curves),
              zero: false, nice: true}]),
      panel(120, 'l', lines(levels, LEVELS, 'l', 'step-before'), bottom.legend,
            'battery-care level', true,
            [{name: 'l', type: 'linear', range: [120, 0],
              domain: {fields: [[0, 5], ...levels.map(field => ({data: 'all', field}))]}}]),
    ],
  });
}

// A cell for each pair of bins of both axes, with a logarithmic shade; cells with 0 are empty.
function heat(section) {
  const {y, x, z} = section.heat;
  return frame(y.bins.length > 20 ? 560 : Math.min(300, 80 + 24 * y.bins.length), {
    scales: [
      {name: 'x', type: 'band', range: 'width', domain: x.bins},
      {name: 'y', type: 'band', range: 'height', domain: y.bins},
      {name: 'color', type: 'log', range: HEAT, domain: column('all', [z.column])},
    ],
    axes: [
      {orient: 'bottom', scale: 'x', title: x.title, labelAngle: -60, labelAlign: 'right',
       labelBaseline: 'middle'},
      {orient: 'left', scale: 'y', title: y.title, labelOverlap: false,
       labelFontSize: y.bins.length > 20 ? 9 : 11},
    ],
    legends: [{fill: 'color', title: z.title, orient: 'top', direction: 'horizontal',
               format: '~g', tickCount: 4, gradientLength: {signal: 'min(width, 240)'}}],
    marks: [{
      type: 'rect', from: {data: 'table'}, name: 'cells',
      encode: {update: {
        x: scaled('x', x.column), width: {scale: 'x', band: 1},
        y: scaled('y', y.column), height: {scale: 'y', band: 1},
        fill: scaled('color', z.column),
        tooltip: {signal: `datum['${y.column}'] + ', ' + datum['${x.column}'] + ': ' + ` +
                          `format(datum['${z.column}'], ',.2f') + ' ${z.title}'`},
      }},
    }],
  });
}

// Three panels of bars per period, each with the lines of its thresholds.
function ageing() {
  const panel = (field, title, limits, last) => ({
    type: 'group', encode: {update: {width: {signal: 'width'}, height: value(110)}},
    scales: [{name: 'y', type: 'linear', range: [110, 0], nice: true, zero: true,
              domain: column('all', [field, ...limits])}],
    axes: [
      {orient: 'left', scale: 'y', title, grid: true, tickCount: 4, minExtent: 42},
      last ? dayAxis : {orient: 'bottom', scale: 'x', labels: false, tickCount: {signal: 'width / 70'}},
    ],
    marks: [
      {type: 'rect', from: {data: 'table'},
       encode: {update: {
         x: scaled('x', 'day', {offset: 0.5}), x2: {scale: 'x', signal: 'datum.day + 10', offset: -0.5},
         y: scaled('y', field), y2: {scale: 'y', value: 0}, fill: value(BAR),
         tooltip: {signal: `'from day ' + datum.day + ': ' + datum['${field}']`},
       }}},
      ...limits.map((name, i) => ({
        type: 'line', from: {data: 'table'},
        encode: {update: {x: scaled('x', 'day'), y: scaled('y', name), stroke: value(LIMIT),
                          strokeWidth: value(1.5), strokeDash: value(i === 0 ? [] : [3, 3]),
                          interpolate: value('step-after'),
                          defined: {signal: `isValid(datum['${name}'])`}}},
      })),
    ],
  });
  return frame(430, {
    autosize: {type: 'pad', contains: 'padding'},
    layout: {columns: 1, padding: 12, bounds: 'full', align: 'all'},
    data: [{name: 'ends', source: 'all', transform: [{type: 'formula', as: 'end', expr: 'datum.day + 10'}]}],
    scales: [{name: 'x', type: 'linear', range: 'width', domain: column('ends', ['day', 'end'])}],
    marks: [
      panel('arrhenius', 'Arrhenius, s', ['raise', 'lower'], false),
      panel('full_stay', 'lost at full, %', ['kept'], false),
      panel('cycle', 'lost by charging, %', [], true),
    ],
  });
}

// Horizontal bars. With `limits`, each bar has a mark at its limit.
function bars(section) {
  const {label, length, format, limits} = section.bars;
  return frame(0, {
    height: {signal: "max(1, data('table').length) * 24"},
    scales: [
      {name: 'y', type: 'band', range: 'height', domain: column('table', [label]), padding: 0.25},
      {name: 'x', type: 'linear', range: 'width', nice: true, zero: true,
       domain: column('all', [limits || length])},
    ],
    axes: [
      {orient: 'left', scale: 'y', labelLimit: {signal: 'max(90, containerSize()[0] * 0.45)'}},
      {orient: 'bottom', scale: 'x', title: section.bars.title, grid: true,
       tickCount: {signal: 'width / 60'}},
    ],
    marks: [
      {type: 'rect', from: {data: 'table'},
       encode: {update: {
         y: scaled('y', label), height: {scale: 'y', band: 1}, x: {scale: 'x', value: 0},
         x2: limits ? {scale: 'x', signal: `min(datum['${length}'], datum['${limits}'])`}
                   : scaled('x', length),
         fill: value(BAR),
         tooltip: {signal: `datum['${label}'] + ': ' + format(datum['${length}'], '${format}')`},
       }}},
      ...(limits ? [{type: 'rule', from: {data: 'table'},
        encode: {update: {x: scaled('x', limits), y: scaled('y', label, {offset: -3}),
                          y2: scaled('y', label, {band: 1, offset: 3}), stroke: value(LIMIT),
                          strokeWidth: value(2)}}}] : []),
    ],
  });
}

// A point and a name for each event on an axis of dates, one event per line.
function time_line() {
  return frame(0, {
    height: {signal: "max(1, data('table').length) * 20"},
    scales: [
      {name: 'y', type: 'point', range: 'height', domain: column('table', ['event']), padding: 0.5},
      {name: 'x', type: 'utc', range: 'width', domain: column('all', ['time']), nice: 'month'},
    ],
    axes: [
      {orient: 'left', scale: 'y', grid: true, ticks: false, domain: false, labelPadding: 8,
       labelLimit: {signal: 'max(90, containerSize()[0] * 0.45)'}},
      {orient: 'bottom', scale: 'x', tickCount: {signal: 'width / 70'}, format: '%Y-%m',
       labelOverlap: true},
    ],
    marks: [{type: 'symbol', from: {data: 'table'},
      encode: {update: {x: scaled('x', 'time'), y: scaled('y', 'event'), fill: value(BAR),
                        size: value(60), tooltip: {signal: "datum.event + ': ' + datum.date"}}}}],
  });
}

const CHARGERS = ['#1f8bd6', '#e69f00', '#12a679', '#d55e00', '#8f7fe8', '#c0508f', '#9a9a9a',
                  '#6b8e23', '#00a3a3', '#b07030', '#5c6bc0', '#e06666', '#777777'];

// A line from the charge at insertion to that at removal for each connection, with a point at its end.
function connections(section) {
  const domain = section.chargers.map(name => name);
  const color = scaled('charger', 'charger');
  const known = list => ({type: 'filter', expr: list.map(f => `isValid(datum.${f})`).join(' && ')});
  const tooltip = {signal: "datum.date + ', ' + datum.charger + ', ' + format(datum.hours, '.1f') + ' h: ' + " +
                           "datum.from + ' % to ' + datum.to + ' %'"};
  return frame(240, {
    data: [{name: 'ends', source: 'table', transform: [known(['time', 'to'])]},
           {name: 'lines', source: 'ends', transform: [known(['from'])]}],
    scales: [
      {name: 'x', type: 'utc', range: 'width', domain: column('all', ['time']), nice: 'month'},
      {name: 'y', type: 'linear', range: 'height',
       domain: {fields: [[0, 100], {data: 'all', field: 'from'}, {data: 'all', field: 'to'}]}},
      {name: 'charger', type: 'ordinal', domain, range: CHARGERS},
    ],
    axes: [
      {orient: 'left', scale: 'y', title: 'state of charge, %', grid: true, tickCount: 5},
      {orient: 'bottom', scale: 'x', tickCount: {signal: 'width / 70'}, format: '%Y-%m-%d',
       labelOverlap: true},
    ],
    legends: [{fill: 'charger', orient: 'top', direction: 'horizontal', symbolType: 'circle',
               columns: {signal: 'width < 420 ? 2 : 5'}, labelLimit: 120}],
    marks: [
      {type: 'rule', from: {data: 'lines'},
       encode: {update: {x: scaled('x', 'time'), y: scaled('y', 'from'), y2: scaled('y', 'to'),
                         stroke: color, strokeWidth: value(1.2), strokeOpacity: value(0.5)}}},
      {type: 'symbol', from: {data: 'ends'},
       encode: {update: {x: scaled('x', 'time'), y: scaled('y', 'to'), fill: color,
                         size: value(22), tooltip}}},
      {type: 'symbol', from: {data: 'ends'},
       encode: {update: {x: scaled('x', 'time'), y: scaled('y', 'to'), stroke: value(LIMIT),
                         fill: value('transparent'), strokeWidth: value(1.5),
                         size: {signal: "datum.hot === 'yes' ? 80 : 0"}, tooltip}}},
    ],
  });
}

export function chart(section, rows, all) {
  const has = name => section.columns.some(c => c.name === name);
  const kinds = {soh: () => soh(has), heat: () => heat(section), ageing, bars: () => bars(section),
                 time_line, connections: () => connections(section)};
  const description = kinds[section.kind]();
  const stamped = list => list.map(row => row.date ? {...row, time: Date.parse(row.date)} : row);
  description.data = [{name: 'table', values: stamped(rows)}, {name: 'all', values: stamped(all)},
               ...(description.data || [])];
  return description;
}
