// SPDX-License-Identifier: Apache-2.0
// What became of a history: plots over the batches, and the same in tables.

const plotted = [
  ['prefixes', 'Prefixes in the table', '--three'],
  ['writes', 'Writes to the hardware', '--one'],
  ['moved', 'Prefixes that moved', '--two'],
  ['ms', 'Milliseconds in the library', '--one'],
];

const colour = name => getComputedStyle(document.documentElement).getPropertyValue(name).trim();

function drawPlots() {
  const place = document.getElementById('batches-plots');
  place.replaceChildren();
  for (const [key, title, ink] of plotted) {
    const holder = element('div', {class: 'plot', role: 'img', 'aria-label': `${title}, batch by batch; the table below has totals`});
    place.append(holder);
    const axis = {stroke: colour('--quiet'), grid: {stroke: colour('--line')}, ticks: {stroke: colour('--line')}};
    new uPlot({
      title, width: Math.max(280, place.clientWidth), height: 180, scales: {x: {time: false}}, axes: [axis, {...axis, size: 70}],
      series: [{label: 'Batch'}, {label: title, stroke: colour(ink), width: 1.5, points: {show: report.batches.number.length < 60}}],
    }, [report.batches.number, report.batches[key]], holder);
  }
}

function drawBatchTables() {
  const b = report.batches;
  const sorted = values => [...values].sort((x, y) => x - y);
  const at = (values, part) => values[Math.min(values.length - 1, Math.floor(values.length * part))] ?? 0;
  const line = (name, values, digits) => {
    const order = sorted(values);
    const text = value => value.toLocaleString('en', {maximumFractionDigits: digits});
    return [name, text(values.reduce((x, y) => x + y, 0)), text(at(order, 0.5)), text(at(order, 0.99)), text(at(order, 1))];
  };
  fillTable('batches-table', [['', false], ['Sum', true], ['Median', true], ['99 %', true], ['Most', true]], [
    line('Added', b.added, 0), line('Removed', b.removed, 0), line('Writes', b.writes, 0), line('Moved', b.moved, 0), line('Milliseconds', b.ms, 3)]);
  const slowest = b.number.map((_, i) => i).sort((x, y) => b.ms[y] - b.ms[x]).slice(0, 10);
  fillTable('batches-slowest', [['Batch', true], ['Milliseconds', true], ['Added', true], ['Removed', true], ['Moved', true], ['Writes', true], ['Refused', false]],
    slowest.map(i => [number(b.number[i]), b.ms[i].toLocaleString('en', {maximumFractionDigits: 3}), number(b.added[i]), number(b.removed[i]),
      number(b.moved[i]), number(b.writes[i]), (b.refused.find(r => r.batch === b.number[i]) || {reason: ''}).reason]));
}

function drawBatches() {
  for (const part of document.querySelectorAll('.with-history')) {
    part.hidden = !report.batches;
  }
  if (!report.batches) {
    return;
  }
  drawBatchTables();
  drawPlots();
  let waiting = 0;
  const again = () => { clearTimeout(waiting); waiting = setTimeout(drawPlots, 150); };
  window.addEventListener('resize', again);
  matchMedia('(prefers-color-scheme: dark)').addEventListener('change', again);
}
