// Messages and other events as they come, the last on top.

import {card, make, setText} from './dom.js';

const kMost = 300;
const kMarks = {in: '←', out: '→', problem: '!', event: '·'};

function matches(entry, wanted) {
  return wanted === '' || `${entry.text}\n${entry.sml}`.toLowerCase().includes(wanted);
}

function details(entry) {
  const parts = [make('pre', {class: 'sml'}, entry.sml)];
  parts.push(entry.hex ? make('pre', {class: 'hex'}, entry.hex)
                       : make('p', {class: 'dim'}, 'The message is too long to be shown as a whole.'));
  return make('div', {class: 'details'}, ...parts);
}

function line(entry) {
  const element = make('li', {class: entry.kind},
                       make('time', {}, entry.time), make('b', {}, kMarks[entry.kind] ?? ''),
                       make('span', {}, entry.text));
  if (!entry.sml)
    return element;
  element.classList.add('message');
  element.tabIndex = 0;
  element.addEventListener('click', (event) => {
    if (event.target.closest('.details'))
      return;
    const shown = element.querySelector('.details');
    shown ? shown.remove() : element.append(details(entry));
  });
  element.addEventListener('keydown', (event) => event.key === 'Enter' && element.click());
  return element;
}

export class Feed {
  constructor() {
    this.entries = [];
    this.last = 0;
    this.paused = false;
    this.list = make('ol', {class: 'feed'});
    this.filter = make('input', {type: 'search', placeholder: 'Filter, such as S6F11', 'aria-label': 'Filter messages',
                                 oninput: () => this.redraw()});
    this.button = make('button', {onclick: () => this.pause()}, 'Pause');
    this.left = make('span', {class: 'dim'});
    this.element = card('Messages', make('div', {class: 'bar'}, this.filter, this.button, this.left), this.list);
    this.problems = make('ol', {class: 'feed', id: 'problems'});
    this.problemCard = card('Last problems', this.problems);
    this.problemCard.hidden = true;
  }

  take({entries, leftOut}) {
    const fresh = entries.filter(({number}) => number > this.last);
    if (fresh.length > 0)
      this.last = fresh[fresh.length - 1].number;
    this.entries = this.entries.concat(fresh).slice(-kMost);
    setText(this.left, leftOut > 0 ? `${leftOut} were left out: more came than can be read` : '');
    this.addProblems(fresh);
    if (!this.paused)
      this.add(fresh);
  }

  addProblems(entries) {
    const problems = entries.filter(({kind}) => kind === 'problem');
    this.problems.prepend(...problems.reverse().map(line));
    while (this.problems.childElementCount > 5)
      this.problems.lastChild.remove();
    this.problemCard.hidden = this.problems.childElementCount === 0;
  }

  add(entries) {
    const wanted = this.filter.value.toLowerCase();
    this.list.prepend(...entries.filter((entry) => matches(entry, wanted)).reverse().map(line));
    while (this.list.childElementCount > kMost)
      this.list.lastChild.remove();
  }

  redraw() {
    this.list.replaceChildren();
    this.add(this.entries);
  }

  pause() {
    this.paused = !this.paused;
    setText(this.button, this.paused ? 'Go on' : 'Pause');
    if (!this.paused)
      this.redraw();
  }

  /** All that the program has kept comes again. */
  restart() {
    this.last = 0;
    this.entries = [];
    this.problems.replaceChildren();
    if (!this.paused)
      this.list.replaceChildren();
  }
}
