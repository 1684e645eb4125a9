// SPDX-License-Identifier: Apache-2.0
// Elements, tables and bar drawings. Colours come from the style sheet, so that light, dark and paper need no redrawing.

function element(name, attributes, ...inner) {
  const made = document.createElement(name);
  for (const [key, value] of Object.entries(attributes || {})) {
    made.setAttribute(key, value);
  }
  made.append(...inner);
  return made;
}

function svgElement(name, attributes, text) {
  const made = document.createElementNS('http://www.w3.org/2000/svg', name);
  for (const [key, value] of Object.entries(attributes)) {
    made.setAttribute(key, value);
  }
  if (text !== undefined) {
    made.textContent = text;
  }
  return made;
}

function drawing(width, height, label) {
  const svg = svgElement('svg', {viewBox: `0 0 ${width} ${height}`, role: 'img', 'aria-label': label});
  svg.append(svgElement('title', {}, label));
  return svg;
}

const inWords = new Intl.NumberFormat('en');
const number = value => inWords.format(value);
const share = (part, whole) => (whole === 0 ? 0 : part / whole);
const percent = value => `${(100 * value).toFixed(value < 0.1 ? 2 : 1)} %`;

// Fill a table: columns are [title, isNumber], rows are lists of text or elements.
function fillTable(id, columns, rows) {
  const table = document.getElementById(id);
  const head = element('tr');
  for (const [title, isNumber] of columns) {
    head.append(element('th', {scope: 'col', class: isNumber ? 'number' : ''}, title));
  }
  const body = element('tbody');
  for (const row of rows) {
    const line = element('tr');
    row.forEach((cell, i) => line.append(element('td', {class: columns[i][1] ? 'number' : ''}, cell)));
    body.append(line);
  }
  table.replaceChildren(table.caption, element('thead', {}, head), body);
}

// Bars over 0..counts.length-1; every bar tells its number to whoever points at it or reads it aloud.
function drawBars(id, counts, label, step) {
  const width = 560, height = 170, floor = 150;
  const most = Math.max(1, ...counts);
  const each = width / counts.length;
  const svg = drawing(width, height, label);
  counts.forEach((count, i) => {
    if (count > 0) {
      const tall = Math.max(1.5, (floor - 14) * count / most);
      const bar = svgElement('rect', {class: 'bar', x: i * each, y: floor - tall, width: Math.max(each - 0.6, 0.8), height: tall});
      bar.append(svgElement('title', {}, `/${i}: ${number(count)}`));
      svg.append(bar);
    }
    if (i % step === 0) {
      const isLast = i + step >= counts.length;
      svg.append(svgElement('text', {x: isLast ? width : i * each, y: height - 4, 'text-anchor': isLast ? 'end' : 'start'}, String(i)));
    }
  });
  svg.append(svgElement('line', {class: 'axis', x1: 0, x2: width, y1: floor, y2: floor}));
  svg.append(svgElement('text', {x: width - 4, y: 11, 'text-anchor': 'end'}, `most: ${number(most)}`));
  document.getElementById(id).replaceChildren(svg);
}

function drawLengths() {
  const said = counts => counts.flatMap((count, i) => (count > 0 ? [`/${i} ${number(count)}`] : [])).join(', ');
  drawBars('lengths-before', report.lengths.before, `Prefixes by length: ${said(report.lengths.before)}`, 16);
  drawBars('lengths-after', report.lengths.after, `Codes by length: ${said(report.lengths.after)}`, 8);
}

function drawHeadroom() {
  const depths = report.depths;
  const each = 22, width = 560, height = depths.length * each + 22, left = 70;
  const at = bits => left + (width - left - 10) * bits / 64;
  const svg = drawing(width, height, 'Headroom by depth: least, median and most bits; the table below has the numbers');
  depths.forEach((d, i) => {
    const y = i * each + 4;
    svg.append(svgElement('text', {x: 0, y: y + 12}, `depth ${d.depth}`));
    svg.append(svgElement('rect', {class: 'span', x: at(d.headroom.min), y: y + 3, height: 10,
      width: Math.max(2, at(d.headroom.max) - at(d.headroom.min))}));
    svg.append(svgElement('rect', {class: 'bar', x: at(d.headroom.median) - 1.5, y, width: 3, height: 16}));
  });
  for (let bits = 0; bits <= 64; bits += 16) {
    svg.append(svgElement('line', {class: 'axis', x1: at(bits), x2: at(bits), y1: 0, y2: height - 18}));
    svg.append(svgElement('text', {x: at(bits), y: height - 4, 'text-anchor': 'middle'}, String(bits)));
  }
  document.getElementById('headroom-drawing').replaceChildren(svg);
  fillTable('headroom-table',
    [['Depth', true], ['Prefixes', true], ['Least', true], ['Median', true], ['Most', true], ['Shortest code', true], ['Longest code', true]],
    depths.map(d => [d.depth, d.prefixes, d.headroom.min, d.headroom.median, d.headroom.max, d.code.min, d.code.max].map(number)));
}

function drawPools() {
  fillTable('pools-table', [['Pool', false], ['In use', true], ['Of', true], ['Filled', false]],
    report.pools.map(pool => {
      const filled = share(pool.in_use, pool.size);
      const meter = element('span', {class: 'meter', 'aria-hidden': 'true'}, element('span', {style: `width:${100 * filled}%`}));
      return [pool.name, number(pool.in_use), number(pool.size), element('span', {}, meter, ` ${percent(filled)}`)];
    }));
}

function drawSummary() {
  const cards = document.getElementById('cards');
  const add = (name, value, id) => cards.append(element('div', {}, element('dt', {}, name), element('dd', {id: `figure-${id}`}, value)));
  add('Prefixes', number(report.prefixes), 'prefixes');
  add('Bits needed of 64', number(report.bits_needed), 'bits_needed');
  add('Longest code', `${report.deepest_code} bits`, 'deepest_code');
  add('Internal prefixes beside them', number(report.anchors), 'anchors');
  add('Fullest pool', percent(Math.max(...report.pools.map(pool => share(pool.in_use, pool.size)))), 'fullest_pool');
  if (report.batches) {
    add('Batches', number(report.batches.number.length), 'batches');
    add('Refused', number(report.batches.refused.length), 'refused');
    add('Moved', number(report.batches.moved.reduce((a, b) => a + b, 0)), 'moved');
  }
}
