'use strict';

// The page out of its data. Names go into it as text and never as HTML.

const report = JSON.parse(document.getElementById('report').textContent);
const pictures = [];  // what draws itself with the library: {picture, canvas, chart}

function add(parent, tag, text, name) {
  const element = document.createElement(tag);
  if (text !== undefined && text !== '') element.textContent = text;
  if (name) element.className = name;
  parent.append(element);
  return element;
}

// Numbers

function grouped(text) {
  return text.replace(/,/g, '\u202f').replace('-', '\u2212');  // a narrow blank, which nobody takes for a decimal point
}

function numberText(value, digits) {
  if (value === null || !Number.isFinite(value)) return '–';
  if (digits !== undefined && digits >= 0)
    return grouped(value.toLocaleString('en-GB', {minimumFractionDigits: digits, maximumFractionDigits: digits}));
  const size = Math.abs(value);
  if (size !== 0 && (size < 1e-4 || (size >= 1e10 && !Number.isInteger(value)))) return Number(value.toPrecision(4)).toExponential();
  if (Number.isInteger(value)) return grouped(value.toLocaleString('en-GB'));
  return grouped(value.toLocaleString('en-GB', {maximumSignificantDigits: 6}));
}

// Tables

function addTable(parent, table) {
  const element = add(add(parent, 'div', '', 'scroll'), 'table');
  if (table.caption) add(element, 'caption', table.caption);
  const isNumber = table.columns.map((column, c) =>
      table.rows.some((row) => typeof row[c] === 'number') || table.rows.every((row) => row[c] === null));
  const head = add(add(element, 'thead'), 'tr');
  table.columns.forEach((column, c) => {
    add(head, 'th', column.name, isNumber[c] ? 'number' : '').scope = 'col';
  });
  const body = add(element, 'tbody');
  for (const row of table.rows) {
    const line = add(body, 'tr');
    row.forEach((cell, c) => {
      const text = typeof cell === 'string' ? cell : numberText(cell, table.columns[c].digits);
      add(line, 'td', text, isNumber[c] ? 'number' : '');
    });
  }
}

function addHeatMap(parent, map, title) {
  const element = add(add(parent, 'div', '', 'scroll'), 'table', '', 'heat');
  element.setAttribute('aria-label', title);
  const head = add(add(element, 'thead'), 'tr');
  add(head, 'td');
  for (const name of map.names) add(head, 'th', name).scope = 'col';
  const body = add(element, 'tbody');
  map.values.forEach((row, i) => {
    const line = add(body, 'tr');
    add(line, 'th', map.names[i]).scope = 'row';
    row.forEach((value, j) => {
      const colour = map.colours[i][j];
      const cell = add(line, 'td', numberText(value, map.digits), colour < 0 ? 'below' : 'above');
      const depth = Math.min(Math.abs(colour ?? 0), 1);
      cell.style.setProperty('--depth', depth.toFixed(3));
      if (depth > 0.6) cell.classList.add('strong');
    });
  });
  const from = map.signed ? 'rgb(var(--negative))' : 'rgb(var(--positive) / 0)';
  const middle = map.signed ? ', rgb(var(--positive) / 0)' : '';
  addScale(parent, map.low, `linear-gradient(to right, ${from}${middle}, rgb(var(--positive)))`, map.high);
}

function addScale(parent, low, gradient, high) {
  const scale = add(parent, 'div', '', 'scale');
  add(scale, 'span', low);
  add(scale, 'i').style.background = gradient;
  add(scale, 'span', high);
}

// Charts

function colour(name) {
  return getComputedStyle(document.documentElement).getPropertyValue('--' + name).trim();
}

function seriesColour(series, index) {
  const all = colour('series').split(' ');
  const tones = series.tones.map((tone) => (tone ? colour(tone) : all[index % all.length]));
  if (tones.length === 0) return all[index % all.length];
  return tones.length === 1 ? tones[0] : tones;
}

function axis(given, more) {
  const text = colour('muted');
  return {
    title: {display: true, text: given.title, color: text},
    min: given.least,
    max: given.most,
    border: {display: false},
    grid: {color: colour('line'), drawBorder: false},
    ...more,
    ticks: {color: text, maxRotation: 0, autoSkipPadding: 12, includeBounds: false, ...(more && more.ticks)},
  };
}

function numberTicks() {
  return {callback: (value) => numberText(value)};
}

function options(scales, title, label, hasLegend) {
  return {
    animation: false,
    responsive: true,
    maintainAspectRatio: false,
    scales,
    plugins: {
      legend: {display: hasLegend, position: 'bottom', labels: {color: colour('text'), boxWidth: 12}},
      tooltip: {callbacks: {title, label}},
    },
  };
}

function histogramChart(given) {
  const end = (i) => given.first + i * given.width;
  const n = Math.max(...given.series.map((series) => series.values.length));
  const datasets = given.series.map((series, s) => ({
    type: s === 0 ? 'bar' : 'line',
    label: series.name,
    data: series.values.map((y, i) => ({x: end(i + 0.5), y})),
    backgroundColor: s === 0 ? seriesColour(series, s) : 'transparent',
    borderColor: s === 0 ? colour('paper') : seriesColour(series, s),
    borderWidth: s === 0 ? (n > 24 ? 0.5 : 1) : 2,
    barPercentage: 1,
    categoryPercentage: 1,
    stepped: 'middle',
    pointRadius: 0,
    order: -s,
  }));
  const x = axis(given.x, {type: 'linear', offset: false, grid: {display: false, drawBorder: false}, ticks: numberTicks()});
  x.min = end(0);
  x.max = end(n);
  if (given.width === 1 && n <= 12) x.ticks.stepSize = 1;
  const range = (item) => `${numberText(end(item.dataIndex))} to below ${numberText(end(item.dataIndex + 1))}`;
  const middle = (item) => numberText(end(item.dataIndex + 0.5));
  const isDiscrete = given.width === 1 && !Number.isInteger(given.first);
  return {
    type: 'bar',
    data: {datasets},
    options: options({x, y: axis(given.y, {beginAtZero: true, ticks: numberTicks()})},
        (items) => (isDiscrete ? middle(items[0]) : range(items[0])),
        (item) => `${numberText(item.parsed.y)} ${item.dataset.label}`, given.series.length > 1),
  };
}

function labelledChart(given) {
  const isLine = given.kind === 'lines';
  const isLying = given.kind === 'shares';
  const isStacked = given.kind === 'stacked' || isLying;
  const datasets = given.series.map((series, s) => ({
    label: series.name,
    data: series.values,
    backgroundColor: seriesColour(series, s),
    borderColor: isLine ? seriesColour(series, s) : colour('paper'),
    borderWidth: isLine ? 2 : isStacked ? 0.5 : 0,
    pointRadius: given.labels.length > 40 ? 1 : 2.5,
    spanGaps: true,
    categoryPercentage: 0.9,
    barPercentage: 0.95,
    maxBarThickness: isLying ? 26 : 60,
  }));
  const labels = axis(isLying ? given.y : given.x, {stacked: isStacked, grid: {display: false, drawBorder: false}});
  const values = axis(isLying ? given.x : given.y, {stacked: isStacked, beginAtZero: true, ticks: numberTicks()});
  if (isLying) values.max = 100;
  const value = (item) => (isLying ? `${item.parsed.x.toFixed(1)} %` : numberText(item.parsed.y));
  const all = options(isLying ? {x: values, y: labels} : {x: labels, y: values}, undefined,
      (item) => `${item.dataset.label}: ${value(item)}`, given.series.length > 1);
  if (isLying) all.indexAxis = 'y';
  return {type: isLine ? 'line' : 'bar', data: {labels: given.labels, datasets}, options: all};
}

// Squares are bars that float. Few and many differ by powers of ten, so colours go by the logarithm.
function gridChart(given) {
  const values = given.squares.map((square) => square[2]);
  const low = Math.log(Math.min(...values));
  const high = Math.log(Math.max(...values));
  const depth = (value) => (high > low ? 0.12 + (0.88 * (Math.log(value) - low)) / (high - low) : 1);
  const endX = (i) => given.firstX + i * given.widthX;
  const endY = (j) => given.firstY + j * given.widthY;
  const most = (index) => Math.max(...given.squares.map((square) => square[index])) + 1;
  const x = axis(given.x, {type: 'linear', offset: false, grid: {display: false, drawBorder: false}, ticks: numberTicks()});
  const y = axis(given.y, {offset: false, reverse: given.downward, beginAtZero: false, grid: {display: false, drawBorder: false}, ticks: numberTicks()});
  x.min = endX(0);
  x.max = endX(most(0));
  y.min = endY(0);
  y.max = endY(most(1));
  const dataset = {
    data: given.squares.map(([i, j]) => ({x: endX(i + 0.5), y: [endY(j), endY(j + 1)]})),
    backgroundColor: values.map((value) => `rgba(${colour('positive').split(' ').join(',')},${depth(value).toFixed(3)})`),
    barPercentage: 1,
    categoryPercentage: 1,
    borderSkipped: false,
  };
  return {
    type: 'bar',
    data: {datasets: [dataset]},
    options: options({x, y},
        (items) => {
          const [i, j] = given.squares[items[0].dataIndex];
          return [`${given.x.title}: ${numberText(endX(i))} to ${numberText(endX(i + 1))}`,
            `${given.y.title}: ${numberText(endY(j))} to ${numberText(endY(j + 1))}`];
        },
        (item) => `${numberText(Number(values[item.dataIndex].toPrecision(4)))} ${given.unit}`, false),
  };
}

function chartOf(given) {
  if (given.kind === 'histogram') return histogramChart(given);
  return given.kind === 'grid' ? gridChart(given) : labelledChart(given);
}

function drawAll() {
  Chart.defaults.font.family = getComputedStyle(document.body).fontFamily;
  Chart.defaults.font.size = document.documentElement.classList.contains('on-paper') ? 10 : 12;
  Chart.defaults.devicePixelRatio = Math.max(window.devicePixelRatio, 2);
  for (const entry of pictures) {
    if (entry.chart) entry.chart.destroy();
    entry.chart = new Chart(entry.canvas, chartOf(entry.picture));
  }
}

// Figures and sections

function addPlot(parent, picture, title) {
  const plot = add(parent, 'div', '', 'plot');
  if (picture.downward) plot.classList.add('square');
  if (picture.kind === 'shares') plot.style.height = `${8 + 2.4 * picture.labels.length}rem`;
  const canvas = add(plot, 'canvas');
  canvas.setAttribute('role', 'img');
  canvas.setAttribute('aria-label', `${title}; the numbers are in the table below`);
  pictures.push({picture, canvas});
  if (picture.kind !== 'grid') return;
  const values = picture.squares.map((square) => Number(square[2].toPrecision(2)));
  addScale(parent, numberText(Math.min(...values)), 'linear-gradient(to right, rgb(var(--positive) / 0.12), rgb(var(--positive)))',
      `${numberText(Math.max(...values))} ${picture.unit}, on a logarithmic scale`);
}

function addFigure(parent, given) {
  const figure = add(parent, 'figure', '', given.wide ? 'wide' : '');
  const caption = add(figure, 'figcaption');
  add(caption, 'strong', given.title);
  if (given.words) add(caption, 'span', given.words);
  if (given.picture && given.picture.kind === 'heat') addHeatMap(figure, given.picture, given.title);
  else if (given.picture) addPlot(figure, given.picture, given.title);
  if (given.table.rows.length === 0) return;
  const details = add(figure, 'details');
  add(details, 'summary', 'The numbers');
  addTable(details, given.table);
}

function addNotes(parent, notes) {
  const list = add(parent, 'ul', '', 'notes');
  for (const note of notes) {
    const item = add(list, 'li', '', note.kind);
    const about = [note.source, note.times > 1 ? `${numberText(note.times)} times alike` : ''];
    const source = about.filter((text) => text).join(', ');
    if (source) add(item, 'span', source, 'source');
    item.append(note.text);
  }
}

function addFacts(parent, facts) {
  const list = add(parent, 'dl', '', 'facts');
  for (const fact of facts) {
    const entry = add(list, 'div');
    add(entry, 'dt', fact.label);
    const value = add(entry, 'dd', typeof fact.value === 'string' ? fact.value : numberText(fact.value));
    if (fact.more) add(value, 'small', fact.more);
  }
}

function addSection(given) {
  const section = add(document.getElementById('sections'), 'section');
  section.id = given.id;
  add(section, 'h2', given.title);
  if (given.notes.length > 0) addNotes(section, given.notes);
  if (given.facts.length > 0) addFacts(section, given.facts);
  for (const words of given.words) add(section, 'p', words);
  for (const table of given.tables) addTable(section, table);
  if (given.figures.length === 0) return;
  const figures = add(section, 'div', '', 'figures');
  for (const figure of given.figures) addFigure(figures, figure);
}

function addContents() {
  const list = add(document.getElementById('contents'), 'ol');
  for (const section of report.sections) {
    const link = add(add(list, 'li'), 'a', section.title);
    link.href = '#' + section.id;
    const n = section.notes.filter((note) => note.kind === 'warning' || note.kind === 'error').length;
    if (n > 0) add(link, 'span', n, 'count');
  }
}

function setPaper(isPaper) {
  if (document.documentElement.classList.contains('on-paper') === isPaper) return;
  document.documentElement.classList.toggle('on-paper', isPaper);
  drawAll();
}

document.title = report.title;
add(document.getElementById('top'), 'h1', report.title);
add(document.getElementById('top'), 'p', report.subtitle);
document.getElementById('foot').textContent = report.foot;
addContents();
for (const section of report.sections) addSection(section);
drawAll();
matchMedia('(prefers-color-scheme: dark)').addEventListener('change', drawAll);
window.addEventListener('beforeprint', () => setPaper(true));
window.addEventListener('afterprint', () => setPaper(false));
