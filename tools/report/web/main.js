// SPDX-License-Identifier: Apache-2.0
// The page from top to bottom. `data-ready` on the body tells who watches from outside that all is drawn.

async function drawPage() {
  document.getElementById('origin').textContent =
    report.history ? `${report.table}, then ${number(report.batches.number.length)} batches of ${report.history}` : report.table;
  drawSummary();
  drawLengths();
  drawHeadroom();
  drawPools();
  drawBatches();
  const rows = await readRows();
  drawMap(rows, -1);
  showRows(rows);
  document.body.dataset.ready = 'yes';
}

drawPage().catch(fault => {
  const place = document.getElementById('fault');
  place.hidden = false;
  place.textContent = `This page could not be drawn: ${fault.message}. It needs a browser of 2023 or later.`;
});
