// The only place that writes into the page. Text is written as text, never as markup, and only where it
// differs, so that an update leaves the rest of the page (focus, selection, open details) alone.

import {visible} from './format.js';

export function setText(element, text) {
  const shown = visible(text);
  const old = element.firstChild;
  if (old === null) {
    if (shown !== '') element.append(shown);
  } else if (old.data !== shown) {
    old.data = shown;
  }
}

// Null removes the attribute.
export function setAttribute(element, name, value) {
  if (value === null) {
    if (element.hasAttribute(name)) element.removeAttribute(name);
    return;
  }
  const shown = visible(value);
  if (element.getAttribute(name) !== shown) element.setAttribute(name, shown);
}

export function setHidden(element, hidden) {
  if (element.hidden !== hidden) element.hidden = hidden;
}

// Writes the text, and hides an element that has none.
export function setOptionalText(element, text) {
  setText(element, text);
  setHidden(element, text === '');
}

// A copy of a template: its root element, and its parts by name.
export function instance(templateId) {
  const root = document.getElementById(templateId).content.firstElementChild.cloneNode(true);
  const parts = {};
  for (const part of root.querySelectorAll('[data-part]')) parts[part.dataset.part] = part;
  return {root, parts};
}

export function element(tag, className = '') {
  const made = document.createElement(tag);
  if (className !== '') made.className = className;
  return made;
}

// Children of `parent`, one per item in the items' order. A child stays as long as its key does.
export class KeyedList {
  #parent;
  #options;
  #members = new Map();

  // `create(item)` makes a member with a `root` element; `update(member, item)` writes what may change.
  constructor(parent, options) {
    this.#parent = parent;
    this.#options = options;
  }

  update(items) {
    const focused = document.activeElement;
    const wanted = new Map(items.map((item, index) => [this.#key(item, index), item]));
    this.#removeOthers(wanted);
    let place = 0;
    for (const [key, item] of wanted) this.#place(this.#member(key, item).root, place++);
    // An element that is moved loses the focus.
    if (focused !== document.activeElement && this.#parent.contains(focused)) focused.focus({preventScroll: true});
  }

  get(key) {
    return this.#members.get(key);
  }

  members() {
    return this.#members.values();
  }

  #key(item, index) {
    return this.#options.key ? this.#options.key(item) : index;
  }

  #member(key, item) {
    let member = this.#members.get(key);
    if (!member) {
      member = this.#options.create(item);
      this.#members.set(key, member);
    }
    this.#options.update(member, item);
    return member;
  }

  #removeOthers(wanted) {
    for (const [key, member] of this.#members) {
      if (wanted.has(key)) continue;
      member.root.remove();
      this.#members.delete(key);
      this.#options.remove?.(member);
    }
  }

  #place(root, place) {
    const children = this.#parent.children;
    if (children[place] === root) return;
    // One that sinks is moved itself, rather than all those that it lets pass.
    if (children[place + 1] === root) this.#parent.append(children[place]);
    else this.#parent.insertBefore(root, children[place] ?? null);
  }
}
