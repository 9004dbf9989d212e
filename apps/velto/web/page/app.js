// The page: takes what the program tells, shows it in views, and sends what the user asks for.

import {Charts} from './charts.js';
import {Diagram} from './diagrams.js';
import {card, make, readable, setText} from './dom.js';
import {Feed} from './feed.js';
import {Table} from './tables.js';

const element = (id) => document.getElementById(id);
const kAnswerTime = 5000; // ms that an answer is shown

const feed = new Feed();
let charts = new Charts();
let state = null;
let shape = '';
let diagrams = {};
let tables = [];
let counters = null;
let answerTimer = 0;

// What the user does ----------------------------------------------------------------------------

function showAnswer(done, text) {
  const box = element('answer');
  setText(box, text || 'Done.');
  box.className = done ? 'done' : 'failed';
  box.hidden = false;
  clearTimeout(answerTimer);
  answerTimer = setTimeout(() => { box.hidden = true; }, kAnswerTime + 40 * text.length);
}

async function act(action, key, value) {
  try {
    const answer = await fetch('act', {
      method: 'POST', headers: {'X-Velto': '1'}, body: new URLSearchParams({action, key, value}),
    });
    const type = answer.headers.get('Content-Type') ?? '';
    const body = await answer.text();
    const {done, text} = type.startsWith('application/json') ? JSON.parse(body, readable)
                                                             : {done: false, text: body};
    showAnswer(done, text);
    if (!done)
      tables.forEach((table) => table.showRows()); // switches go back to what is true
  } catch {
    showAnswer(false, 'The program cannot be reached.');
  }
}

function form({label, action, value, hint}) {
  if (!hint)
    return make('button', {onclick: () => act(action, '', value)}, label);
  const field = make('input', {placeholder: hint, 'aria-label': label, autocomplete: 'off', spellcheck: 'false'});
  const send = (event) => { event.preventDefault(); act(action, '', field.value); field.select(); };
  return make('form', {onsubmit: send}, field, make('button', {}, label));
}

// Views -----------------------------------------------------------------------------------------

function showView(name) {
  for (const view of element('views').children)
    view.hidden = view.dataset.name !== name;
  for (const tab of element('tabs').children)
    tab.toggleAttribute('aria-current', tab.dataset.name === name);
}

function overview() {
  const grid = make('div', {class: 'grid'});
  for (const model of state.states) {
    diagrams[model.name] = new Diagram(model);
    grid.append(card(model.name, diagrams[model.name].element));
  }
  if (state.forms.length > 0)
    grid.append(make('section', {class: 'card forms'}, make('h2', {}, 'Operate'), ...state.forms.map(form)));
  if (state.activity.length > 0)
    grid.append(...charts.elements);
  return [feed.problemCard, grid];
}

function counterView() {
  counters = make('tbody');
  return [card('Counters', make('table', {class: 'counters'}, counters))];
}

function showCounters() {
  const rows = [['Now', state.gauges], ['Program', state.activity], ['Link', state.counters],
                ['Problems', state.problems.filter(({value}) => value > 0)]];
  counters.replaceChildren();
  for (const [heading, part] of rows) {
    if (part.length > 0)
      counters.append(make('tr', {}, make('th', {colspan: 2}, heading)));
    for (const {name, value} of part)
      counters.append(make('tr', {class: heading === 'Problems' ? 'set' : ''},
                           make('td', {}, name), make('td', {class: 'count'}, value.toLocaleString('en'))));
  }
}

// What the page is made for; rows may come and go in it.
function shapeOf({program, states, forms, tables: all, activity, replies}) {
  const names = (list) => list.map(({name}) => name);
  return JSON.stringify([program, states.map(({name, states: every}) => [name, every]), forms,
                         all.map(({title, columns}) => [title, columns]), names(activity), names(replies)]);
}

// The whole page, or what has come and gone in it.
function build() {
  setText(element('title'), state.title || 'Velto');
  setText(element('place'), `${state.program} · ${state.place}`);
  document.title = `${state.title} · ${state.program}`;
  if (shape === shapeOf(state)) {
    state.tables.forEach((table, i) => tables[i].replace(table));
    return;
  }
  shape = shapeOf(state);
  const open = location.hash.slice(1) || 'Overview';
  diagrams = {};
  charts = new Charts();
  tables = state.tables.map((table) => new Table(table, act));
  const views = [['Overview', overview()], ['Messages', [feed.element]],
                 ...tables.map((table) => [table.table.title, [table.element]]), ['Counters', counterView()]];
  element('views').replaceChildren(
    ...views.map(([name, parts]) => make('div', {class: 'view', 'data-name': name}, ...parts)));
  element('tabs').replaceChildren(
    ...views.map(([name]) => make('a', {href: `#${name}`, 'data-name': name}, name)));
  showView(views.some(([name]) => name === open) ? open : 'Overview');
}

function show() {
  for (const model of state.states)
    diagrams[model.name]?.show(model);
  showCounters();
  const alarm = state.gauges.find(({name}) => name === 'Alarms set')?.value > 0;
  element('tabs').querySelector('[data-name=Alarms]')?.classList.toggle('set', alarm);
}

// What the program tells ------------------------------------------------------------------------

function listen() {
  const events = new EventSource('events');
  const live = element('live');
  events.onopen = () => { setText(live, 'live'); live.className = 'on'; feed.restart(); };
  events.onerror = () => { setText(live, 'not connected'); live.className = 'off'; };
  events.addEventListener('feed', ({data}) => feed.take(JSON.parse(data, readable)));
  events.addEventListener('state', ({data}) => {
    const told = JSON.parse(data, readable);
    const {changed, ...parts} = told;
    state = {...state, ...parts};
    if (told.tables)
      build();
    for (const [table, row, cells] of changed ?? [])
      tables[table].change(row, cells);
    show();
  });
}

function tick() {
  if (state === null || document.hidden)
    return;
  if (state.activity.length > 0)
    charts.tick(state);
  for (const table of tables)
    table.tick();
}

window.addEventListener('hashchange', () => showView(location.hash.slice(1) || 'Overview'));
listen();
setInterval(tick, 1000);
