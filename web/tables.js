// The health tables of a card, made when they are unfolded.

import {KeyedList, element, setAttribute, setHidden, setOptionalText, setText} from './dom.js';

// Explicit roles, since narrow screens lay the cells out as blocks.
function withRole(tag, role) {
  const made = element(tag);
  made.setAttribute('role', role);
  return made;
}

function headRow(columns) {
  const row = withRole('tr', 'row');
  for (const column of columns) {
    const cell = withRole('th', 'columnheader');
    cell.scope = 'col';
    setText(cell, column);
    row.append(cell);
  }
  return row;
}

function bodyRow(columns) {
  const root = withRole('tr', 'row');
  const cells = columns.map((column, index) => {
    const cell = index === 0 ? withRole('th', 'rowheader') : withRole('td', 'cell');
    if (index === 0) cell.scope = 'row';
    cell.dataset.column = column;
    cell.append(element('bdi'));
    return cell;
  });
  root.append(...cells);
  return {root, cells};
}

function updateRow({root, cells}, row) {
  setAttribute(root, 'data-tone', row.tone || null);
  cells.forEach((cell, index) => setText(cell.firstChild, row.cells[index]));
}

class HealthTable {
  #caption = element('caption', 'unseen');
  #lead = element('p', 'lead');
  #none = element('p', 'lead');
  #table = withRole('table', 'table');
  #rows;

  constructor(table) {
    this.root = element('div', `panel columns-${table.columns.length}`);
    const head = withRole('thead', 'rowgroup');
    const body = withRole('tbody', 'rowgroup');
    head.append(headRow(table.columns));
    this.#table.append(this.#caption, head, body);
    this.root.append(this.#lead, this.#table, this.#none);
    const rowOptions = {key: (row) => row.key, create: () => bodyRow(table.columns), update: updateRow};
    this.#rows = new KeyedList(body, rowOptions);
  }

  update(table) {
    setText(this.#caption, table.title);
    setOptionalText(this.#lead, table.lead);
    setOptionalText(this.#none, table.rows.length === 0 ? table.none : '');
    setHidden(this.#table, table.rows.length === 0);
    this.#rows.update(table.rows);
  }
}

export class HealthTables {
  root = element('div');
  #none = element('p', 'lead');
  #tables;

  constructor() {
    const list = element('div');
    this.root.append(this.#none, list);
    setText(this.#none, 'No health record of this disk was read.');
    this.#tables = new KeyedList(list, {
      key: (table) => table.title,
      create: (table) => new HealthTable(table),
      update: (member, table) => member.update(table),
    });
  }

  update(tables) {
    setHidden(this.#none, tables.length > 0);
    this.#tables.update(tables);
  }
}
