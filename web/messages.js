// The list of messages, the newest first.

import {element, instance, setAttribute, setHidden, setOptionalText, setText} from './dom.js';
import {clock} from './format.js';

const SEVERITIES = ['emergency', 'alert', 'critical', 'error', 'warning', 'notice', 'info', 'debug'];
const PAGE = 50;       // shown at first, and more at each click
const LONGEST = 1000;  // shown at most
const MOST = 5000;     // kept

function severityTone(severity) {
  if (severity <= 3) return 'failing';
  return severity === 4 ? 'warning' : 'ok';
}

// With the date: a page may stay open for days.
function messageElement(message) {
  const {root, parts} = instance('message');
  setAttribute(root, 'data-tone', severityTone(message.severity));
  setText(parts.time, clock(message.time));
  setText(parts.severity, SEVERITIES[message.severity] ?? '');
  setText(parts.text, message.text ?? '');
  setOptionalText(parts.action, message.recommendedAction ?? '');
  setText(parts.explanation, message.explanation ?? '');
  setText(parts.name, message.name ?? '');
  return root;
}

function restartElement() {
  const root = element('li', 'restart');
  setText(root, 'The agent was restarted; messages below are from before.');
  return root;
}

export class MessageList {
  #list = document.getElementById('message-list');
  #older = document.getElementById('older');
  #none = document.getElementById('no-messages');
  #entries = [];  // oldest first; null where the agent was restarted

  constructor() {
    this.#older.addEventListener('click', () => this.#showOlder());
  }

  // Oldest first.
  add(messages) {
    this.#append(messages);
    setHidden(this.#none, true);
  }

  restarted() {
    if (this.#entries.length > 0) this.#append([null]);
  }

  // From now on new messages are read out; those that the page began with are not.
  live() {
    setTimeout(() => setAttribute(this.#list, 'aria-live', 'polite'), 0);
  }

  #append(entries) {
    this.#entries.push(...entries);
    this.#entries.splice(0, this.#entries.length - MOST);
    // More than a page would leave a hole between them and those shown before.
    if (entries.length > PAGE) this.#list.replaceChildren();
    this.#list.prepend(...elementsOf(entries.slice(-PAGE)));
    while (this.#list.children.length > LONGEST) this.#list.lastElementChild.remove();
    this.#updateOlder();
  }

  #showOlder() {
    const end = this.#entries.length - this.#list.children.length;
    const older = elementsOf(this.#entries.slice(Math.max(0, end - PAGE), end));
    this.#list.append(...older);
    this.#updateOlder();
    // The button may be gone now; reading goes on with what it has shown.
    older[0]?.querySelector('summary')?.focus();
  }

  #updateOlder() {
    setHidden(this.#older, this.#list.children.length >= this.#entries.length);
  }
}

// The newest first.
function elementsOf(entries) {
  return entries.map((entry) => (entry === null ? restartElement() : messageElement(entry))).reverse();
}
