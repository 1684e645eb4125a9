// SPDX-License-Identifier: Apache-2.0
// The data of the page: figures as JSON, and the rows as JSON in gzip in base64, in columns:
//   prefix   "2001:db8::/32", by address, containing prefixes first
//   bits     length of the code
//   code     its hexadecimal digits, as many as hold its bits
//   key      the digits behind the code's, without the zeros at the end
//   up       how many rows further up the prefix stands that is next around it; 0 = none
//   need     bits that everything inside takes when it is packed as tightly as it can be

const report = JSON.parse(document.getElementById('report-data').textContent);

async function unpack(text) {
  const packed = Uint8Array.from(atob(text), letter => letter.charCodeAt(0));
  const plain = new Blob([packed]).stream().pipeThrough(new DecompressionStream('gzip'));
  return JSON.parse(await new Response(plain).text());
}

// Rows as the page uses them: `parent` is an index or -1, `depth` counts the rows around, `inside` lists the next ones.
async function readRows() {
  const packed = await unpack(document.getElementById('report-rows').textContent);
  const n = packed.prefix.length;
  const rows = {
    n, prefix: packed.prefix, bits: packed.bits, code: packed.code, key: packed.key, need: packed.need,
    parent: new Int32Array(n), depth: new Uint8Array(n), inside: new Map([[-1, []]]),
  };
  for (let i = 0; i < n; ++i) {
    const parent = packed.up[i] === 0 ? -1 : i - packed.up[i];
    rows.parent[i] = parent;
    rows.depth[i] = parent < 0 ? 0 : rows.depth[parent] + 1;
    if (!rows.inside.has(parent)) {
      rows.inside.set(parent, []);
    }
    rows.inside.get(parent).push(i);
  }
  return rows;
}

const insideOf = (rows, i) => rows.inside.get(i) || [];
const codeNumber = (rows, i) => BigInt('0x' + rows.code[i].padEnd(16, '0'));
const codeText = (rows, i) => `0x${rows.code[i] || '0'}/${rows.bits[i]}`;
const keyText = (rows, i) => '0x' + rows.key[i].padEnd(16, '0');

// The code's bits from `begin` on, as 0 and 1.
function codeBits(rows, i, begin) {
  return codeNumber(rows, i).toString(2).padStart(64, '0').slice(begin, rows.bits[i]);
}

// An address as a number, or null when the text is none. Forms with a dotted end are left to the tool.
function addressNumber(text) {
  const halves = text.split('::');
  if (halves.length > 2 || !/^[0-9a-f:]+$/i.test(text)) {
    return null;
  }
  const groups = half => (half === '' ? [] : half.split(':'));
  const head = groups(halves[0]);
  const tail = halves.length === 2 ? groups(halves[1]) : [];
  const missing = 8 - head.length - tail.length;
  const all = [...head, ...Array(halves.length === 2 ? Math.max(missing, 0) : 0).fill('0'), ...tail];
  if (all.length !== 8 || (halves.length === 2 && missing < 1) || all.some(group => !/^[0-9a-f]{1,4}$/i.test(group))) {
    return null;
  }
  return all.reduce((number, group) => number << 16n | BigInt('0x' + group), 0n);
}

// The longest prefix that covers an address, or -1: the row before the address's place, or one around that.
function longestMatch(rows, address) {
  rows.starts = rows.starts || rows.prefix.map(prefix => addressNumber(prefix.split('/')[0]));
  let low = 0, high = rows.n;
  while (low < high) {
    const middle = (low + high) >> 1;
    if (rows.starts[middle] <= address) { low = middle + 1; } else { high = middle; }
  }
  let i = low - 1;
  const covers = row => {
    const rest = 128n - BigInt(rows.prefix[row].split('/')[1]);
    return rows.starts[row] >> rest === address >> rest;
  };
  while (i >= 0 && !covers(i)) {
    i = rows.parent[i];
  }
  return i;
}
