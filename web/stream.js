// The agent's messages, each once and in order, whatever breaks in between.
//
// After a break the page asks for the last message that it has, and for those that follow. If the agent has
// another one at that number, it was restarted and counts from 1 again.

import {ask} from './api.js';

const RETRY = 1000;  // milliseconds, doubled up to the longest
const LONGEST_RETRY = 8000;

export class MessageStream {
  #handlers;
  #events = null;
  #last = null;
  #retry = RETRY;
  #timer;
  #attempt = 0;

  // `onMessages(messages)`: new ones, oldest first. `onCaughtUp()`: none are missed now. `onRestart()`: the
  // following are those of a new agent. `onChange()`: the state may have changed; a stream that breaks may
  // even be the agent's end.
  constructor(handlers) {
    this.#handlers = handlers;
  }

  start() {
    this.#retry = RETRY;
    this.#connect();
  }

  stop() {
    this.#attempt++;
    clearTimeout(this.#timer);
    this.#events?.close();
    this.#events = null;
  }

  async #connect() {
    this.stop();
    const attempt = this.#attempt;
    try {
      const messages = await this.#missed();
      if (attempt !== this.#attempt) return;
      this.#deliver(messages);
      this.#handlers.onCaughtUp();
      this.#listen();
    } catch {
      if (attempt === this.#attempt) this.#connectLater();
    }
  }

  #broken() {
    this.#connectLater();
    this.#handlers.onChange();
  }

  #connectLater() {
    this.stop();
    this.#timer = setTimeout(() => this.#connect(), this.#retry);
    this.#retry = Math.min(this.#retry * 2, LONGEST_RETRY);
  }

  async #missed() {
    const known = this.#last;
    const {messages} = await ask(`messages?after=${known ? known.sequence - 1 : 0}`);
    const isSameAgent = !known || (messages[0]?.sequence === known.sequence && messages[0].time === known.time);
    if (isSameAgent) return messages;
    const all = await ask('messages?after=0');
    this.#last = null;
    this.#handlers.onRestart();
    return all.messages;
  }

  #deliver(messages) {
    const fresh = messages.filter((message) => message.sequence > (this.#last?.sequence ?? 0));
    if (fresh.length === 0) return;
    this.#last = fresh.at(-1);
    this.#handlers.onMessages(fresh);
  }

  #listen() {
    const events = new EventSource(`api/v1/events?after=${this.#last?.sequence ?? 0}`);
    this.#events = events;
    events.onopen = () => { this.#retry = RETRY; };
    events.onerror = () => this.#broken();
    events.addEventListener('message', (event) => this.#deliver([JSON.parse(event.data)]));
    for (const name of ['verdict', 'state']) events.addEventListener(name, () => this.#handlers.onChange());
  }
}
