// A table of the state: rows that are found by a filter, fields that can be changed.

import {card, make, numberOf, setText, sparkline} from './dom.js';

const kMostRows = 300;   // of what the filter finds, so that a long table stays fast
const kMostValues = 60;  // a line of the last minute
const kLongest = 2000;   // of a longer text only this much came: it is not to be changed

// "12.500000" as 12.5
function short(text) {
  return numberOf(text) !== undefined && text.includes('.') ? text.replace(/\.?0+$/, '') : text;
}

export class Table {
  /** act(action, key, value) sends a change. */
  constructor(table, act) {
    this.table = table;
    this.act = act;
    this.shown = new Map(); // by index of the row: {cells, element}
    this.history = new Map(); // by key: the last values
    this.filter = make('input', {type: 'search', placeholder: 'Filter', 'aria-label': `Filter ${table.title}`,
                                 oninput: () => this.showRows()});
    this.count = make('span', {class: 'dim'});
    this.body = make('tbody');
    this.isNumeric = table.columns.map(({kind}) => kind === 'number' || kind === 'value');
    this.element = card(
      table.title, make('div', {class: 'bar'}, this.filter, this.count),
      make('div', {class: 'scroll'}, make('table', {}, make('thead', {}, this.head()), this.body)));
    this.showRows();
  }

  head() {
    const cells = this.table.columns.map(
      ({name, kind}) => make('th', {class: `${kind} c-${name.toLowerCase()}`}, kind === 'button' ? '' : name));
    return make('tr', {}, ...cells);
  }

  showRows() {
    const wanted = this.filter.value.toLowerCase();
    const found = this.table.rows.map((row, i) => i).filter((i) => {
      return wanted === '' || this.table.rows[i].cells.join(' ').toLowerCase().includes(wanted);
    });
    this.shown.clear();
    this.body.replaceChildren();
    for (const i of found.slice(0, kMostRows))
      this.addRow(i);
    const all = this.table.rows.length;
    setText(this.count, found.length > kMostRows ? `first ${kMostRows} of ${found.length}; filter to see others`
                                                 : `${found.length} of ${all}`);
  }

  addRow(index) {
    const row = this.table.rows[index];
    const cells = this.table.columns.map((column, i) => this.cell(column, row, i));
    this.body.append(make('tr', {'data-key': row.key}, ...cells.map(({element}) => element)));
    this.shown.set(index, cells);
    cells.forEach((cell, i) => cell.show(row.cells[i]));
  }

  /** An element with show(text). */
  cell(column, row, i) {
    const element = make('td', {class: `${column.kind} c-${column.name.toLowerCase()}`});
    const send = (value) => this.act(column.action, row.key, value);
    if (column.kind === 'switch') {
      const box = make('input', {type: 'checkbox', 'aria-label': `${column.name} ${row.key}`,
                                 onchange: () => send(box.checked ? '1' : '0')});
      element.append(make('label', {class: 'switch'}, box, make('span')));
      return {element, show: (text) => { box.checked = text === '1'; element.parentElement.classList.toggle('set', box.checked); }};
    }
    if (column.kind === 'button') {
      element.append(make('button', {onclick: () => send('')}, column.name));
      return {element, show: () => {}};
    }
    if (column.kind === 'value')
      return this.valueCell(element, send, row, i);
    if (column.kind === 'number') {
      const [value, line] = [make('span'), make('span', {class: 'line'})];
      element.append(make('div', {}, value, line));
      return {element, line, show: (text) => setText(value, short(text))};
    }
    return {element, show: (text) => setText(element, text)};
  }

  // A field that keeps what is being typed until it is sent or left.
  valueCell(element, send, row, i) {
    const reset = () => { field.value = short(row.cells[i]); };
    const field = make('input', {
      'aria-label': `Value ${row.key}`, onblur: reset,
      onkeydown: (event) => {
        if (event.key === 'Enter')
          send(field.value);
        if (event.key === 'Enter' || event.key === 'Escape')
          field.blur();
      },
    });
    const line = make('span', {class: 'line'});
    element.append(make('div', {}, field, line));
    return {element, line, show: (text) => {
      if (document.activeElement !== field)
        field.value = short(text);
      field.disabled = text.length >= kLongest;
    }};
  }

  /** There are other rows from now on. */
  replace(table) {
    this.table = table;
    this.showRows();
  }

  /** The row has other cells from now on. */
  change(index, cells) {
    this.table.rows[index].cells = cells;
    this.shown.get(index)?.forEach((cell, i) => cell.show(cells[i]));
  }

  /** Once a second: the lines of the values go on. */
  tick() {
    for (const [index, cells] of this.shown) {
      const row = this.table.rows[index];
      cells.forEach((cell, i) => this.isNumeric[i] && this.drawLine(cell, row, i));
    }
  }

  drawLine(cell, row, i) {
    const number = numberOf(row.cells[i]);
    if (number === undefined)
      return;
    const values = this.history.get(row.key) ?? [];
    values.push(number);
    if (values.length > kMostValues)
      values.shift();
    this.history.set(row.key, values);
    if (values.some((value) => value !== values[0]))
      cell.line.replaceChildren(sparkline(values));
  }
}
