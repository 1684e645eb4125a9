// SPDX-License-Identifier: Apache-2.0
// The report in a real browser: what it shows is what the tool says and what stands in it as JSON.
// Environment: V6COMP (the tool), CHROMIUM, PROJECT (the source tree), PICTURES (where screenshots go).
import assert from 'node:assert/strict';
import {execFileSync} from 'node:child_process';
import {mkdirSync, mkdtempSync, readFileSync, rmSync, statSync} from 'node:fs';
import {tmpdir} from 'node:os';
import {join} from 'node:path';
import {after, before, test} from 'node:test';
import {chromium} from 'playwright-core';

const {V6COMP, CHROMIUM, PROJECT, PICTURES} = process.env;
const folder = mkdtempSync(join(tmpdir(), 'v6comp-report-'));
const base = join(PROJECT, 'examples/histories/dc_wikimedia.base.txt');
const history = join(PROJECT, 'examples/histories/dc_wikimedia.updates.txt');
const pageFile = join(folder, 'report.html');
let browser;

before(async () => {
  mkdirSync(PICTURES, {recursive: true});
  execFileSync(V6COMP, ['report', '-q', base, history, '-o', pageFile]);
  browser = await chromium.launch({
    executablePath: CHROMIUM,
    args: ['--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run', '--disable-background-networking',
      '--disable-component-update', '--disable-sync'],
  });
});

after(async () => {
  await browser?.close();
  rmSync(folder, {recursive: true, force: true});
});

// A page that is drawn; anything it asks of a network or says as an error makes the test fail.
async function open(options, file = pageFile) {
  const page = await browser.newPage(options);
  page.on('pageerror', error => { throw error; });
  page.on('request', request => assert.match(request.url(), /^(file|data|blob):/));
  await page.goto(`file://${file}`);
  await page.waitForSelector('body[data-ready=yes]', {timeout: 30000});
  return page;
}

const embedded = page => page.evaluate(() => JSON.parse(document.getElementById('report-data').textContent));
const plain = text => Number(text.replaceAll(',', '').replace(' bits', ''));

test('what the page has built in is what the package registry has', () => {
  for (const name of ['uPlot.iife.min.js', 'uPlot.min.css']) {
    const ours = readFileSync(join(PROJECT, 'tools/report/web/uplot', name));
    const theirs = readFileSync(new URL(`node_modules/uplot/dist/${name}`, import.meta.url));
    assert.deepEqual(ours, theirs, name);
  }
});

test('the numbers are those of the JSON in it', async () => {
  const page = await open({viewport: {width: 1200, height: 900}});
  const data = await embedded(page);
  for (const key of ['prefixes', 'bits_needed', 'anchors', 'deepest_code']) {
    assert.equal(plain(await page.textContent(`#figure-${key}`)), data[key], key);
  }
  assert.equal(plain(await page.textContent('#figure-batches')), data.batches.number.length);
  assert.equal(data.batches.prefixes.at(-1), data.prefixes);
  assert.equal(data.lengths.before.reduce((a, b) => a + b), data.prefixes);
  assert.equal(data.lengths.after.reduce((a, b) => a + b), data.prefixes);
  assert.equal(data.depths.reduce((sum, d) => sum + d.prefixes, 0), data.prefixes);
  assert.equal(await page.locator('#headroom-table tbody tr').count(), data.depths.length);
  assert.equal(await page.locator('#pools-table tbody tr').count(), data.pools.length);
  assert.equal(await page.locator('#batches-plots canvas').count(), 4);
  await page.close();
});

test('a prefix is searched, found and explained', async () => {
  const table = join(PROJECT, 'examples/tables/office_5.txt');
  const file = join(folder, 'office.html');
  execFileSync(V6COMP, ['report', '-q', table, '-o', file]);
  const page = await open({viewport: {width: 1200, height: 900}}, file);
  await page.fill('#query', '2001:db8:2:3::/64');
  const cells = page.locator('#rows-table tbody tr').first().locator('td');
  assert.equal(await cells.nth(0).textContent(), '2001:db8:2:3::/64');
  const said = execFileSync(V6COMP, ['compress', table], {encoding: 'utf8'}).split('\n').find(line => line.startsWith('2001:db8:2:3::/64'));
  assert.deepEqual([await cells.nth(1).textContent(), await cells.nth(2).textContent()], said.trim().split(/\s+/).slice(1, 3));
  await page.getByRole('button', {name: 'Explain 2001:db8:2:3::/64'}).click();
  assert.equal(await page.locator('.explained li').count(), 3);
  const own = await page.locator('.explained .own').allTextContents();
  assert.equal(own.join('').length, Number(said.match(/0x\w+\/(\d+)/)[1]));

  await page.fill('#query', '2001:db8:2:8::5');
  assert.equal(await page.locator('#rows-table tbody tr').first().locator('td').first().textContent(), '2001:db8:2::/48');
  await page.fill('#query', '3000::1');
  assert.equal(await page.textContent('#found'), 'No prefix covers this address.');
  await page.fill('#query', 'no such thing');
  assert.equal(await page.locator('#rows-table tbody tr').count(), 0);
  assert.equal(await page.locator('.with-history:visible').count(), 0);
  await page.close();
});

test('addresses find what the tool finds', async () => {
  const page = await open({viewport: {width: 1200, height: 900}});
  const {prefixes} = await embedded(page);
  assert.ok(prefixes > 100);
  const asked = await page.evaluate(async () => {
    const rows = await readRows();
    return rows.prefix.map(prefix => prefix.split('/')[0]);
  });
  const after = join(folder, 'after.txt');
  const rows = await page.evaluate(async () => (await readRows()).prefix);
  (await import('node:fs')).writeFileSync(after, rows.join('\n') + '\n');
  const said = execFileSync(V6COMP, ['lookup', after, ...asked], {encoding: 'utf8'}).trim().split('\n').map(line => line.split(/\s+/)[1]);
  const shown = await page.evaluate(async addresses => {
    const all = await readRows();
    return addresses.map(address => all.prefix[longestMatch(all, addressNumber(address))]);
  }, asked);
  assert.deepEqual(shown, said);
  await page.close();
});

test('the map is walked with the keyboard', async () => {
  const page = await open({viewport: {width: 1200, height: 900}});
  const owner = page.locator('#map-owners button').first();
  const name = await owner.textContent();
  await owner.focus();
  await page.keyboard.press('Enter');
  assert.equal(await page.textContent('#map-path strong'), name);
  await page.keyboard.press('Enter');
  assert.equal(await page.textContent('#map-path strong'), 'All codes');
  const box = page.locator('#map-drawing rect[role=button]').first();
  const label = await box.getAttribute('aria-label');
  await box.focus();
  await page.keyboard.press('Space');
  assert.ok(label.startsWith(await page.textContent('#map-path strong')));
  await page.close();
});

test('free blocks and owned ones fill the space', async () => {
  const page = await open({viewport: {width: 1200, height: 900}});
  const sum = await page.evaluate(async () => {
    const rows = await readRows();
    const size = bits => 1n << BigInt(64 - bits);
    const owned = insideOf(rows, -1).reduce((all, i) => all + size(rows.bits[i]), 0n);
    return String(freeBlocks(rows, -1).reduce((all, block) => all + size(block.bits), owned));
  });
  assert.equal(sum, String(2n ** 64n));
  await page.close();
});

for (const [name, scheme, width] of [['light', 'light', 1200], ['dark', 'dark', 1200], ['narrow', 'light', 390]]) {
  test(`a picture: ${name}`, async () => {
    const page = await open({viewport: {width, height: 900}, colorScheme: scheme});
    const wide = await page.evaluate(() => document.documentElement.scrollWidth);
    assert.ok(wide <= width, `nothing sticks out sideways: ${wide} of ${width}`);
    const paper = await page.evaluate(() => getComputedStyle(document.documentElement).backgroundColor);
    assert.equal(paper, scheme === 'dark' ? 'rgb(20, 24, 29)' : 'rgb(255, 255, 255)');
    const picture = join(PICTURES, `report-${name}.png`);
    await page.screenshot({path: picture, fullPage: true});
    assert.ok(statSync(picture).size > 20000);
    await page.close();
  });
}

test('60,000 prefixes make a page below 2 MB', () => {
  const large = join(folder, 'large.txt');
  const lines = [];
  for (let i = 0; i < 60000; ++i) {
    const mixed = (i * 2654435761) % 2 ** 32;
    lines.push(`2001:${(i >> 8).toString(16)}:${(i & 255).toString(16)}:${(mixed >>> 16).toString(16)}::/64`);
  }
  return import('node:fs').then(({writeFileSync}) => {
    writeFileSync(large, lines.join('\n') + '\n');
    const file = join(folder, 'large.html');
    execFileSync(V6COMP, ['report', '-q', large, '-o', file]);
    const {size} = statSync(file);
    assert.ok(size < 2e6, `${size} bytes`);
  });
});
