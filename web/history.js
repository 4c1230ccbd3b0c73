// The history of a disk: its plots with one time cursor and one zoom through all of them.
//
// The cursor is a slider, so that it works with the keyboard and is read out; the mouse moves it too.

import {ask} from './api.js';
import {instance, setAttribute, setOptionalText, setText} from './dom.js';
import {clock} from './format.js';
import {series} from './series.js';
import {Plot} from './plots.js';
import {loadLibrary} from './library.js';
import {PLOTS, rowText} from './plot-specs.js';

const AT_MOST_EVERY = 2000;       // milliseconds between two questions for the same hours
const NARROWEST = 2 * 60 * 1000;  // milliseconds shown

const darkness = matchMedia('(prefers-color-scheme: dark)');

export class History {
  #serial;
  #parts;
  #plots;
  #view = null;
  #hours = 1;
  #series = series({}, 0, 0);
  #window = null;
  #time = null;  // of the cursor; null: at the latest reading
  #isDrawing = false;
  #loaded = {};
  #recolor = () => this.#plots.forEach((plot) => plot.recolor());

  constructor(serial) {
    const {root, parts} = instance('history-panel');
    this.root = root;
    this.#serial = serial;
    this.#parts = parts;
    const handlers = {onCursor: (time) => this.#cursorIs(time), onWindow: (range) => this.#zoomed(range)};
    this.#plots = PLOTS.map((spec) => new Plot(spec, handlers));
    parts.plots.append(...this.#plots.map((plot) => plot.root));
    this.#listen();
    darkness.addEventListener('change', this.#recolor);
  }

  // Asks again when the disk was read since.
  update(view) {
    this.#view = view;
    const {lastRead, hours, at} = this.#loaded;
    const isNews = hours !== this.#hours || lastRead !== view.lastRead;
    if (isNews && (hours !== this.#hours || performance.now() - at > AT_MOST_EVERY)) this.#load();
  }

  destroy() {
    darkness.removeEventListener('change', this.#recolor);
    this.#plots.forEach((plot) => plot.destroy());
  }

  #listen() {
    const {hour, day, zoomIn, zoomOut, reset, slider} = this.#parts;
    hour.addEventListener('click', () => this.#showHours(1));
    day.addEventListener('click', () => this.#showHours(24));
    zoomIn.addEventListener('click', () => this.#zoom(1 / 2));
    zoomOut.addEventListener('click', () => this.#zoom(2));
    reset.addEventListener('click', () => this.#showAll());
    slider.addEventListener('input', () => this.#cursorIs(this.#series.times[Number(slider.value)] ?? null));
  }

  #showHours(hours) {
    this.#hours = hours;
    setAttribute(this.#parts.hour, 'aria-pressed', String(hours === 1));
    setAttribute(this.#parts.day, 'aria-pressed', String(hours === 24));
    this.#showAll();
    this.#load();
  }

  async #load() {
    const hours = this.#hours;
    this.#loaded = {hours, lastRead: this.#view.lastRead, at: performance.now()};
    try {
      const path = `history?disk=${encodeURIComponent(this.#serial)}&hours=${hours}`;
      const [Dygraph, answer] = await Promise.all([loadLibrary(), ask(path)]);
      if (hours === this.#hours) this.#show(Dygraph, answer);
      setOptionalText(this.#parts.trouble, '');
    } catch (error) {
      this.#loaded = {};
      setOptionalText(this.#parts.trouble, `The history cannot be shown: ${error.message}.`);
    }
  }

  #show(Dygraph, answer) {
    this.#series = series(answer, this.#view.now - this.#hours * 3600, this.#view.now);
    const {times, values} = this.#series;
    this.#isDrawing = true;
    for (const [index, plot] of this.#plots.entries())
      plot.draw(Dygraph, times, values, PLOTS[index].limits(this.#view.limits));
    this.#isDrawing = false;
    setAttribute(this.#parts.slider, 'max', String(times.length - 1));
    this.#cursorIs(this.#time);
  }

  #cursorIs(time) {
    this.#time = time;
    const {rowAt, latest, times} = this.#series;
    const row = time === null ? latest : rowAt(time);
    this.#parts.slider.value = time === null ? times.length - 1 : row;
    this.#describe(row, time === null ? 'Latest, ' : '');
    this.#plots.forEach((plot) => plot.cursor(time === null ? null : times[row], row));
  }

  #describe(row, lead) {
    const time = this.#series.times[row];
    const text = time === undefined ? 'Nothing was read yet.'
      : `${lead}${clock(time / 1000, this.#view.now)}: ${rowText(this.#series.values, row)}`;
    setText(this.#parts.readout, text);
    setAttribute(this.#parts.slider, 'aria-valuetext', text);
  }

  #zoomed(range) {
    if (this.#isDrawing) return;
    const [from, to] = this.#series.extent;
    this.#windowIs(range[0] <= from && range[1] >= to ? null : range);
  }

  #windowIs(range) {
    this.#window = range;
    this.#isDrawing = true;
    this.#plots.forEach((plot) => plot.window(range));
    this.#isDrawing = false;
  }

  #showAll() {
    this.#isDrawing = true;
    this.#plots.forEach((plot) => plot.resetZoom());
    this.#windowIs(null);
  }

  #zoom(factor) {
    const [from, to] = this.#window ?? this.#series.extent;
    const width = Math.max((to - from) * factor, NARROWEST);
    const middle = Math.min(Math.max(this.#time ?? to, from), to);
    const [first, last] = this.#series.extent;
    const start = Math.max(first, Math.min(middle - width / 2, last - width));
    this.#windowIs(width >= last - first ? null : [start, start + width]);
  }
}
