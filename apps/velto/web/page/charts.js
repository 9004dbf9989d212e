// Rates and latencies over the last two minutes, drawn by Chart.js where that is installed.

import {card, make} from './dom.js';

const kSeconds = 120;
const kTick = 30; // seconds between marks
const kDashes = [[3, 6], [9, 5], [], []]; // so that rates on each other are seen
const kColours = ['#1f6feb', '#2da44e', '#bf8700', '#cf222e'];

function colourOf(name) {
  return getComputedStyle(document.documentElement).getPropertyValue(name).trim();
}

function axes(unit) {
  const line = {color: colourOf('--line')};
  const ticks = {color: colourOf('--dim')};
  return {
    x: {grid: {display: false}, ticks: {...ticks, maxTicksLimit: 5, maxRotation: 0}},
    y: {beginAtZero: true, grid: line, ticks: {...ticks, maxTicksLimit: 6},
        title: {display: true, text: unit, color: colourOf('--dim')}},
  };
}

function chart(canvas, type, unit, labels, names) {
  const sets = names.map((label, i) => ({
    label, data: labels.map(() => null), borderColor: kColours[i], backgroundColor: kColours[i],
    borderWidth: 2, pointRadius: 0, tension: 0.2,
  }));
  return new window.Chart(canvas, {
    type,
    data: {labels, datasets: sets},
    options: {
      animation: false, maintainAspectRatio: false, scales: axes(unit),
      interaction: {mode: 'index', intersect: false},
      plugins: {legend: {labels: {color: colourOf('--text'), boxWidth: 12}}},
    },
  });
}

function secondsAgo() {
  return Array.from({length: kSeconds + 1}, (_, i) => (i === kSeconds ? 'now' : `${i - kSeconds} s`));
}

function boundText(seconds) {
  return seconds >= 1 ? `${seconds} s` : `${+(seconds * 1000).toPrecision(3)} ms`;
}

function countOf(histogram) {
  return histogram.counts.reduce((sum, count) => sum + count, 0);
}

function push(dataset, value) {
  dataset.data.push(value);
  dataset.data.shift();
}

export class Charts {
  constructor() {
    this.canvases = ['rates', 'latency', 'spread'].map((id) => make('canvas', {id}));
    this.elements = ['Messages a second', 'Reply time', 'Replies by their time'].map(
      (heading, i) => card(heading, make('div', {class: 'chart'}, this.canvases[i])));
    this.before = null;
  }

  /** Once a second, with the state as it is. */
  tick(state) {
    if (!window.Chart) {
      for (const canvas of this.canvases)
        canvas.parentElement?.replaceChildren(
          make('p', {class: 'dim'}, 'Charts need Chart.js on the computer of the program (on Debian: libjs-chart.js).'));
      return;
    }
    this.charts ??= this.draw(state);
    const before = this.before ?? state;
    const seconds = Math.max((performance.now() - this.at) / 1000, 0.5) || 1;
    state.activity.forEach((counter, i) => push(
      this.charts[0].data.datasets[i], (counter.value - before.activity[i].value) / seconds));
    state.replies.forEach((histogram, i) => {
      const count = countOf(histogram) - countOf(before.replies[i]);
      push(this.charts[1].data.datasets[i],
           count > 0 ? 1000 * (histogram.sum - before.replies[i].sum) / count : null);
      this.charts[2].data.datasets[i].data = histogram.counts;
    });
    this.at = performance.now();
    this.before = {activity: state.activity, replies: state.replies};
    for (const one of this.charts)
      one.update();
  }

  draw(state) {
    const names = state.replies.map((histogram) => `of the ${histogram.name}`);
    const bounds = state.replies[0]?.bounds ?? [];
    const classes = bounds.map((bound) => `≤ ${boundText(bound)}`).concat('more');
    const rates = chart(this.canvases[0], 'line', '1/s', secondsAgo(), state.activity.map((counter) => counter.name));
    const latency = chart(this.canvases[1], 'line', 'ms', secondsAgo(), names);
    for (const {options} of [rates, latency])
      Object.assign(options.scales.x.ticks, {
        autoSkip: false, callback(at) { return at % kTick === 0 ? this.getLabelForValue(at) : null; },
      });
    rates.data.datasets.forEach((dataset, i) => { dataset.borderDash = kDashes[i]; });
    for (const dataset of latency.data.datasets)
      Object.assign(dataset, {spanGaps: true, pointRadius: 2});
    return [rates, latency, chart(this.canvases[2], 'bar', 'replies', classes, names)];
  }
}
