// SPDX-License-Identifier: Apache-2.0
// The space of codes. Across: prefixes in the order of their codes, each leaf as wide as the next. Down: the 64 bits.
// A box is what a prefix adds to the code of the one around it; where nothing is drawn, bits are free. By size the boxes
// could not be seen: most own less than a millionth.

const mapWidth = 1000, mapBit = 4, mapLeft = 26;

// The rows inside `focus` with the leaves below each, in the order of codes: {row, level, begin, end}.
function boxesInside(rows, focus) {
  const boxes = [];
  let leaves = 0;
  const byCode = (a, b) => (rows.code[a] < rows.code[b] ? -1 : 1);
  const visit = (members, level) => {
    for (const row of [...members].sort(byCode)) {
      const box = {row, level, begin: leaves, end: 0};
      boxes.push(box);
      visit(insideOf(rows, row), level + 1);
      leaves += leaves === box.begin ? 1 : 0;
      box.end = leaves;
    }
  };
  visit(insideOf(rows, focus), 0);
  return {boxes, leaves: Math.max(leaves, 1)};
}

function mapBox(rows, box, place, choose) {
  const {row} = box;
  const drawn = svgElement('rect', {...place, class: `block ${['one', 'two', 'three'][box.level % 3]}`, tabindex: 0, role: 'button',
    'aria-label': `${rows.prefix[row]}, code of ${rows.bits[row]} bits`});
  drawn.append(svgElement('title', {}, `${rows.prefix[row]}  ${codeText(rows, row)}`));
  drawn.addEventListener('click', () => choose(row));
  drawn.addEventListener('keydown', event => {
    if (event.key === 'Enter' || event.key === ' ') {
      event.preventDefault();
      choose(row);
    }
  });
  return drawn;
}

// What is too narrow to point at: by column the most bits that a code there takes.
function narrowColumns(rows, boxes, scale) {
  const deepest = new Uint8Array(mapWidth - mapLeft);
  for (const box of boxes) {
    const column = Math.min(deepest.length - 1, Math.floor(box.begin * scale));
    deepest[column] = Math.max(deepest[column], rows.bits[box.row]);
  }
  return deepest;
}

function drawSpace(rows, focus, choose) {
  const svg = drawing(mapWidth, 64 * mapBit + 4, 'Map of the codes; the tables below name the largest owners and what is free');
  svg.setAttribute('role', 'group');
  const base = focus < 0 ? 0 : rows.bits[focus];
  svg.append(svgElement('rect', {class: 'free', x: mapLeft, y: 0, width: mapWidth - mapLeft, height: 64 * mapBit}));
  for (let bits = 0; bits <= 64; bits += 16) {
    svg.append(svgElement('text', {x: 0, y: Math.max(10, bits * mapBit + 2)}, String(bits)));
  }
  const {boxes, leaves} = boxesInside(rows, focus);
  const scale = (mapWidth - mapLeft) / leaves;
  if (scale < 3) {
    narrowColumns(rows, boxes, scale).forEach((bits, column) => {
      if (bits > base) {
        svg.append(svgElement('rect', {class: 'owned', 'shape-rendering': 'crispEdges', x: mapLeft + column, y: base * mapBit, width: 1.05, height: (bits - base) * mapBit}));
      }
    });
  }
  for (const box of boxes) {
    const parent = rows.parent[box.row];
    const from = parent < 0 ? 0 : rows.bits[parent];
    const width = (box.end - box.begin) * scale;
    if (width >= 3) {
      const height = Math.max(1.5, (rows.bits[box.row] - from) * mapBit);
      svg.append(mapBox(rows, box, {x: mapLeft + box.begin * scale, y: from * mapBit, width, height}, choose));
    }
  }
  document.getElementById('map-drawing').replaceChildren(svg);
}

// The largest blocks of `focus` that no prefix next inside it owns, each beginning where its size divides: as
// {code, bits}, largest first, and how many there are.
function freeBlocks(rows, focus) {
  const base = focus < 0 ? 0 : rows.bits[focus];
  const begin = focus < 0 ? 0n : codeNumber(rows, focus);
  const owned = insideOf(rows, focus).map(i => [codeNumber(rows, i), 1n << BigInt(64 - rows.bits[i])]);
  owned.sort((a, b) => (a[0] < b[0] ? -1 : 1));
  owned.push([begin + (1n << BigInt(64 - base)), 0n]);
  const free = [];
  let at = begin;
  for (const [from, size] of owned) {
    while (at < from) {
      let bits = at === 0n ? 0 : 64;
      while (bits > 0 && at % (1n << BigInt(65 - bits)) === 0n) {
        --bits;
      }
      while (at + (1n << BigInt(64 - bits)) > from) {
        ++bits;
      }
      free.push({code: at, bits});
      at += 1n << BigInt(64 - bits);
    }
    at = from + size;
  }
  free.sort((a, b) => a.bits - b.bits || (a.code < b.code ? -1 : 1));
  return free;
}

function drawFree(rows, focus) {
  const free = freeBlocks(rows, focus);
  const key = focus < 0 ? null : BigInt(keyText(rows, focus));
  fillTable('map-free', [['Free block', false], ['Bits behind it', true], ['', false]], free.slice(0, 8).map(block => {
    const digits = block.code.toString(16).padStart(16, '0').slice(0, Math.max(1, Math.ceil(block.bits / 4)));
    const holdsKey = key !== null && key >= block.code && key < block.code + (1n << BigInt(64 - block.bits));
    return [`0x${digits}/${block.bits}`, number(64 - block.bits), holdsKey ? `the key of ${rows.prefix[focus]} lies in it` : ''];
  }));
}

function drawOwners(rows, focus, choose) {
  const largest = [...insideOf(rows, focus)].sort((a, b) => rows.bits[a] - rows.bits[b] || a - b).slice(0, 8);
  fillTable('map-owners', [['Prefix', false], ['Code', false], ['Bits behind it', true], ['Prefixes next inside', true], ['Headroom', true]],
    largest.map(i => {
      const open = element('button', {type: 'button', class: 'link'}, rows.prefix[i]);
      open.addEventListener('click', () => choose(i));
      return [open, codeText(rows, i), number(64 - rows.bits[i]), number(insideOf(rows, i).length), number(64 - rows.bits[i] - rows.need[i])];
    }));
}

function drawPath(rows, focus, choose) {
  const steps = [];
  for (let i = focus; i >= 0; i = rows.parent[i]) {
    steps.unshift(i);
  }
  const path = document.getElementById('map-path');
  path.replaceChildren();
  [-1, ...steps].forEach((i, at) => {
    const name = i < 0 ? 'All codes' : rows.prefix[i];
    const isHere = i === focus;
    const step = isHere ? element('strong', {'aria-current': 'location'}, name) : element('button', {type: 'button', class: 'link'}, name);
    if (!isHere) {
      step.addEventListener('click', () => choose(i));
    }
    path.append(at === 0 ? '' : ' > ', step);
  });
}

function drawMap(rows, focus) {
  const choose = i => {
    drawMap(rows, i);
    document.getElementById('map-path').querySelector('button')?.focus();
  };
  drawSpace(rows, focus, choose);
  drawPath(rows, focus, choose);
  drawOwners(rows, focus, choose);
  drawFree(rows, focus);
}
