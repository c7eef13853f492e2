// What all descriptions of charts are made of.

export const value = v => ({value: v});
export const scaled = (scale, field, more) => ({scale, field, ...more});
export const column = (data, fields) => ({data, fields});

export function frame(height, parts) {
  return {$schema: 'https://vega.github.io/schema/vega/v5.json',
          width: 300, height, padding: 4, autosize: {type: 'fit-x', contains: 'padding'}, ...parts};
}

export const dayAxis = {orient: 'bottom', scale: 'x', title: 'days of online time', tickCount: {signal: 'width / 70'}};

// Invisible columns, one per row, whose tooltip has the value of each curve at that day.
export function hover(height, curves) {
  const shown = curves.map(([name, field]) => ` + (isValid(datum['${field}']) ? ` +
    `${JSON.stringify(`\n${name}: `)} + format(datum['${field}'], ',.3~f') : '')`);
  return {type: 'rect', from: {data: 'table'}, name: 'hover', encode: {update: {
    xc: scaled('x', 'day'), width: {signal: "max(2, width / data('table').length)"}, y: value(0),
    height: value(height), fill: value('transparent'), tooltip: {signal: `'day ' + datum.day${shown.join('')}`}}}};
}
