// The cards of the disks: one per view, in the views' order.

import {KeyedList, element, instance, setAttribute, setHidden, setOptionalText, setText} from './dom.js';
import {History} from './history.js';
import {HealthTables} from './tables.js';
import {isNumber} from './format.js';

let lastId = 0;

function factList(parent) {
  return new KeyedList(parent, {
    key: (fact) => fact.label,
    create: () => instance('fact'),
    update: ({root, parts}, fact) => {
      setText(parts.label, fact.label);
      setText(parts.value, fact.value);
      setOptionalText(parts.note, fact.note);
      setAttribute(root, 'data-tone', fact.tone || null);
      setAttribute(root, 'data-empty', fact.isEmpty ? '' : null);
      updateBar(parts, fact.part);
    },
  });
}

function updateBar(parts, part) {
  setHidden(parts.bar, !isNumber(part));
  const size = isNumber(part) ? `${Math.round(part * 100)}%` : '';
  if (parts.fill.style.inlineSize !== size) parts.fill.style.inlineSize = size;
}

function reasonList(parent) {
  return new KeyedList(parent, {
    create: () => instance('reason'),
    update: ({root, parts}, reason) => {
      setText(parts.text, reason.text);
      setText(parts.since, reason.since);
      setAttribute(root, 'data-verdict', reason.verdict);
    },
  });
}

function noteList(parent) {
  return new KeyedList(parent, {
    create: () => ({root: element('li')}),
    update: ({root}, note) => setText(root, note),
  });
}

class Card {
  #parts;
  #view;
  #facts;
  #reasons;
  #notes;
  #history;
  #health;

  constructor() {
    const {root, parts} = instance('card');
    this.root = root;
    this.#parts = parts;
    this.#name(++lastId);
    this.#facts = factList(parts.facts);
    this.#reasons = reasonList(parts.reasons);
    this.#notes = noteList(parts.notes);
    parts.history.addEventListener('toggle', () => this.#updateHistory());
    parts.health.addEventListener('toggle', () => this.#updateHealth());
  }

  #name(id) {
    this.root.id = `card-${id}`;
    this.#parts.name.parentElement.id = `card-${id}-name`;
    this.root.setAttribute('aria-labelledby', `card-${id}-name`);
    this.root.tabIndex = -1;  // a target of links
  }

  update(view) {
    this.#view = view;
    this.#updateHead(view);
    this.#reasons.update(view.reasons);
    this.#notes.update(view.notes);
    setHidden(this.#parts.notes, view.notes.length === 0);
    setHidden(this.#parts.known, !view.isKnown);
    if (view.isKnown) this.#updateKnown(view);
  }

  openHistory() {
    if (this.#view.isKnown) this.#parts.history.open = true;
  }

  destroy() {
    this.#history?.destroy();
  }

  #updateHead(view) {
    setAttribute(this.root, 'data-verdict', view.verdict);
    setText(this.#parts.word, view.verdict);
    setText(this.#parts.name, view.name);
    setText(this.#parts.mount, view.mount);
    setHidden(this.#parts.where, view.mount === '');
    setOptionalText(this.#parts.since, view.since);
  }

  #updateKnown(view) {
    for (const [name, text] of Object.entries(view.identity)) setText(this.#parts[name], text);
    setText(this.#parts.historyOf, view.name);
    setText(this.#parts.healthOf, view.name);
    setText(this.#parts.healthTitle, view.health.title);
    this.#facts.update(view.facts);
    this.#updateHistory();
    this.#updateHealth();
  }

  #updateHistory() {
    if (!this.#parts.history.open) return;
    if (!this.#history) {
      this.#history = new History(this.#view.serial);
      this.#parts.history.append(this.#history.root);
    }
    this.#history.update(this.#view);
  }

  #updateHealth() {
    if (!this.#parts.health.open) return;
    if (!this.#health) {
      this.#health = new HealthTables();
      this.#parts.health.append(this.#health.root);
    }
    this.#health.update(this.#view.health.tables());
  }
}

// At the first sight of the unit the disks in trouble show their history.
const OPEN_AT_FIRST = 1;

export class Cards {
  #list;
  #isFirst = true;

  constructor(parent) {
    this.#list = new KeyedList(parent, {
      key: (view) => view.key,
      create: () => new Card(),
      update: (card, view) => card.update(view),
      remove: (card) => card.destroy(),
    });
  }

  update(views) {
    this.#list.update(views);
    if (this.#isFirst && views.length > 0) this.#openWorst(views);
  }

  // The id of a view's card, for links to it.
  idOf(view) {
    return this.#list.get(view.key).root.id;
  }

  #openWorst(views) {
    this.#isFirst = false;
    const inTrouble = views.filter((view) => view.isKnown && view.verdict !== 'ok');
    for (const view of inTrouble.slice(0, OPEN_AT_FIRST)) this.#list.get(view.key).openHistory();
  }
}
