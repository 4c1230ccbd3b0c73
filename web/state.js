// Keeps the state document up to date: asks the agent when its events say so, and regularly, since a stalled
// agent sends no event.

import {ask} from './api.js';

const REGULARLY = 10000;   // milliseconds
const AFTER_FAILURE = 2000;
const AT_MOST_EVERY = 1000;

export class StateSource {
  #handlers;
  #timer;
  #due = Infinity;
  #isRunning = false;
  #asking = false;
  #askedAt = -Infinity;
  #wanted = false;

  // `onState(document)` and `onFailure(error)` are called for each answer, or its lack.
  constructor(handlers) {
    this.#handlers = handlers;
  }

  start() {
    this.#isRunning = true;
    this.#schedule(0);
  }

  stop() {
    this.#isRunning = false;
    clearTimeout(this.#timer);
    this.#due = Infinity;
  }

  // Something has changed. Many calls make one question.
  changed() {
    if (this.#asking) this.#wanted = true;
    else this.#schedule(Math.max(0, this.#askedAt + AT_MOST_EVERY - performance.now()));
  }

  // The earliest of the times wins.
  #schedule(delay) {
    const due = performance.now() + delay;
    if (!this.#isRunning || due >= this.#due) return;
    clearTimeout(this.#timer);
    this.#due = due;
    this.#timer = setTimeout(() => this.#ask(), delay);
  }

  async #ask() {
    this.#due = Infinity;
    if (this.#asking) return;
    this.#asking = true;
    this.#wanted = false;
    this.#askedAt = performance.now();
    const isAnswered = await this.#answered();
    this.#asking = false;
    this.#schedule(this.#wanted ? AT_MOST_EVERY : isAnswered ? REGULARLY : AFTER_FAILURE);
  }

  async #answered() {
    let state;
    try {
      state = await ask('state?history=0');
    } catch (error) {
      this.#handlers.onFailure(error);
      return false;
    }
    this.#handlers.onState(state);
    return true;
  }
}
