// SPDX-License-Identifier: Apache-2.0
// The rows: searched by text or by an address, a page at a time, each with the story of its code.

const rowsOnPage = 50;

// Indices of the rows that a question means, and a sentence about them.
function search(rows, question) {
  const text = question.trim().toLowerCase();
  const address = text.includes('/') ? null : addressNumber(text);
  if (address !== null) {
    const i = longestMatch(rows, address);
    return {found: i < 0 ? [] : [i], words: i < 0 ? 'No prefix covers this address.' : 'The longest prefix that covers this address:'};
  }
  const found = [];
  for (let i = 0; i < rows.n; ++i) {
    if (text === '' || rows.prefix[i].includes(text)) {
      found.push(i);
    }
  }
  const exact = found.findIndex(i => rows.prefix[i] === text);
  if (exact > 0) {
    found.unshift(...found.splice(exact, 1));
  }
  return {found, words: `${number(found.length)} of ${number(rows.n)} prefixes`};
}

function explain(rows, i) {
  const chain = [];
  for (let at = i; at >= 0; at = rows.parent[at]) {
    chain.unshift(at);
  }
  const list = element('ol');
  let begin = 0;
  for (const at of chain) {
    const own = codeBits(rows, at, begin);
    list.append(element('li', {}, `${rows.prefix[at]}: `, element('span', {class: 'own'}, own === '' ? 'no bits' : own),
      ` (${own.length} bits of its own, ${rows.bits[at]} in all)`));
    begin = rows.bits[at];
  }
  const inside = insideOf(rows, i).length;
  const words = inside === 0
    ? 'Nothing lies inside it: its key is its code, filled up with zeros.'
    : `${number(inside)} prefixes lie next inside it. Packed tightly, all that is inside takes ${rows.need[i]} bits; there are ` +
      `${64 - rows.bits[i]}, so its headroom is ${64 - rows.bits[i] - rows.need[i]} bits. Its key begins with none of their codes.`;
  return element('div', {class: 'explained'}, list, element('p', {}, words));
}

function rowLine(rows, i) {
  const button = element('button', {type: 'button', 'aria-expanded': 'false', 'aria-label': `Explain ${rows.prefix[i]}`}, 'Explain');
  const line = element('tr', {}, element('td', {class: 'code'}, rows.prefix[i]), element('td', {class: 'code'}, codeText(rows, i)),
    element('td', {class: 'code'}, keyText(rows, i)), element('td', {class: 'number'}, number(rows.depth[i])), element('td', {}, button));
  button.addEventListener('click', () => {
    const isOpen = button.getAttribute('aria-expanded') === 'true';
    button.setAttribute('aria-expanded', String(!isOpen));
    if (isOpen) {
      line.nextSibling.remove();
    } else {
      line.after(element('tr', {}, element('td', {colspan: 5}, explain(rows, i))));
    }
  });
  return line;
}

function showRows(rows) {
  const query = document.getElementById('query');
  const back = document.getElementById('page-back'), on = document.getElementById('page-on');
  let answer = search(rows, ''), page = 0;
  const show = () => {
    const pages = Math.max(1, Math.ceil(answer.found.length / rowsOnPage));
    fillTable('rows-table', [['Prefix', false], ['Code', false], ['Key', false], ['Depth', true], ['', false]], []);
    const body = document.querySelector('#rows-table tbody');
    for (const i of answer.found.slice(page * rowsOnPage, (page + 1) * rowsOnPage)) {
      body.append(rowLine(rows, i));
    }
    document.getElementById('found').textContent = answer.words;
    document.getElementById('page-place').textContent = `page ${number(page + 1)} of ${number(pages)}`;
    back.disabled = page === 0;
    on.disabled = page + 1 >= pages;
  };
  const turn = step => { page += step; show(); };
  back.addEventListener('click', () => turn(-1));
  on.addEventListener('click', () => turn(1));
  query.addEventListener('input', () => { answer = search(rows, query.value); page = 0; show(); });
  document.getElementById('search').addEventListener('submit', event => event.preventDefault());
  show();
}
