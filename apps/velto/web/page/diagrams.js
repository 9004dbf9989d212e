// State models as diagrams. A known model has its states at places of a grid, groups of states
// that SEMI E30 names, and the ways between them; any other model is a row of states.

import {makeSvg} from './dom.js';

const kWide = 136;
const kHigh = 34;
const kGapX = 34;
const kGapY = 26;
const kMargin = 20;

// states: [column, row] by name; groups: [name, first column, first row, last column, last row];
// ways: [from, to].
const kLayouts = {
  Link: {
    states: {'Not Connected': [0, 0], 'Connected / Not Selected': [1, 0], 'Connected / Selected': [2, 0]},
    labels: {'Connected / Not Selected': 'Not Selected', 'Connected / Selected': 'Selected'},
    groups: [['CONNECTED', 1, 0, 2, 0]],
    ways: [['Not Connected', 'Connected / Not Selected'], ['Connected / Not Selected', 'Connected / Selected']],
  },
  Communication: {
    states: {'Disabled': [0, 0], 'Not Communicating': [1, 0], 'Communicating': [2, 0]},
    groups: [['ENABLED', 1, 0, 2, 0]],
    ways: [['Disabled', 'Not Communicating'], ['Not Communicating', 'Communicating']],
  },
  Control: {
    states: {
      'Equipment Off Line': [0, 0], 'Attempt On Line': [1, 0], 'Host Off Line': [2, 0],
      'On Line Local': [0, 1], 'On Line Remote': [1, 1],
    },
    labels: {
      'Equipment Off Line': 'Equipment', 'Attempt On Line': 'Attempt', 'Host Off Line': 'Host',
      'On Line Local': 'Local', 'On Line Remote': 'Remote',
    },
    groups: [['OFF-LINE', 0, 0, 2, 0], ['ON-LINE', 0, 1, 1, 1]],
    ways: [['Equipment Off Line', 'Attempt On Line'], ['Attempt On Line', 'Host Off Line'],
           ['Attempt On Line', 'On Line Remote'], ['On Line Local', 'On Line Remote']],
  },
  Processing: {
    states: {IDLE: [0, 0], SETUP: [1, 0], READY: [2, 0], EXECUTING: [2, 1], PAUSE: [1, 1]},
    ways: [['IDLE', 'SETUP'], ['SETUP', 'READY'], ['READY', 'EXECUTING'], ['EXECUTING', 'PAUSE']],
  },
  Spool: {
    states: {Inactive: [0, 0], Active: [1, 0], Full: [2, 0], Transmitting: [1, 1]},
    groups: [['ACTIVE', 1, 0, 2, 1]],
    labels: {Active: 'Not Full'},
    ways: [['Inactive', 'Active'], ['Active', 'Full'], ['Active', 'Transmitting']],
  },
};

function layoutOf(model) {
  const layout = kLayouts[model.name.split(': ').pop()]; // "eq: Control" where there are several
  if (layout && model.states.every((state) => layout.states[state]))
    return layout;
  const places = model.states.map((state, i) => [state, [i % 3, Math.floor(i / 3)]]);
  return {states: Object.fromEntries(places)};
}

function corner([column, row]) {
  return [kMargin + column * (kWide + kGapX), kMargin + row * (kHigh + kGapY + 12)];
}

function groupBox([name, column, row, lastColumn, lastRow]) {
  const [left, top] = corner([column, row]);
  const [right, bottom] = corner([lastColumn, lastRow]);
  return makeSvg('g', {class: 'group'},
                 makeSvg('rect', {x: left - 12, y: top - 16, width: right - left + kWide + 24,
                                  height: bottom - top + kHigh + 26, rx: 10}),
                 makeSvg('text', {x: left, y: top - 5}, name));
}

function way(layout, [from, to]) {
  const [fromX, fromY] = corner(layout.states[from]);
  const [toX, toY] = corner(layout.states[to]);
  const middle = kHigh / 2;
  const beside = fromY === toY;
  const right = toX > fromX;
  const points = beside
    ? [fromX + (right ? kWide : 0), fromY + middle, toX + (right ? 0 : kWide), toY + middle]
    : [fromX + kWide / 2, fromY + kHigh, toX + kWide / 2, toY];
  return makeSvg('line', {class: 'way', x1: points[0], y1: points[1], x2: points[2], y2: points[3]});
}

/** The picture of a model; show(present) lights a state. */
export class Diagram {
  constructor(model) {
    const layout = layoutOf(model);
    const places = Object.values(layout.states);
    const width = corner([Math.max(...places.map(([column]) => column)), 0])[0] + kWide + kMargin;
    const height = corner([0, Math.max(...places.map(([, row]) => row))])[1] + kHigh + kMargin;
    this.boxes = {};
    this.element = makeSvg('svg', {class: 'diagram', viewBox: `0 0 ${width} ${height}`, role: 'img'});
    this.element.append(...(layout.groups ?? []).map(groupBox),
                        ...(layout.ways ?? []).map((one) => way(layout, one)));
    for (const [state, place] of Object.entries(layout.states)) {
      const [x, y] = corner(place);
      const label = layout.labels?.[state] ?? state;
      this.boxes[state] = makeSvg(
        'g', {class: 'state'}, makeSvg('rect', {x, y, width: kWide, height: kHigh, rx: 8}),
        makeSvg('text', {x: x + kWide / 2, y: y + kHigh / 2 + 5}, label));
      this.element.append(this.boxes[state]);
    }
  }

  show(model) {
    for (const [state, box] of Object.entries(this.boxes))
      box.classList.toggle('present', state === model.present);
    this.element.setAttribute('aria-label', `${model.name}: ${model.present}`);
  }
}
