// A plot of a disk's history, drawn by dygraphs.

import {KeyedList, element, instance, setHidden, setText} from './dom.js';
import {isNumber} from './format.js';

let library = null;

// dygraphs writes its labels as markup. With this policy, which the content security policy demands, no text
// can become markup, whoever writes it.
const ENTITIES = {'&': '&amp;', '<': '&lt;', '>': '&gt;', '"': '&quot;', "'": '&#39;'};

function forbidMarkup() {
  const createHTML = (text) => text.replace(/[&<>"']/g, (character) => ENTITIES[character]);
  globalThis.trustedTypes?.createPolicy('default', {createHTML});
}

// Loaded with the first plot, so that the cards need not wait for it.
export function loadLibrary() {
  if (library === null) forbidMarkup();
  library ??= import('./dygraphs/dygraph.min.js').then(() => {
    const {Dygraph} = globalThis;
    // Its legend writes style attributes, which the content security policy forbids.
    Dygraph.PLUGINS = Dygraph.PLUGINS.filter((plugin) => plugin !== Dygraph.Plugins.Legend);
    return Dygraph;
  });
  return library;
}

function color(name) {
  return getComputedStyle(document.documentElement).getPropertyValue(name).trim();
}

// One finger scrolls the page; the buttons zoom.
function interaction(Dygraph) {
  const {touchstart, touchmove, touchend, ...model} = Dygraph.defaultInteractionModel;
  return model;
}

function colors(spec) {
  return {
    colors: spec.series.map((series) => color(series.color)),
    gridLineColor: color('--grid'), axisLineColor: color('--line'),
  };
}

function extent(values) {
  const present = values.filter(isNumber);
  return present.length === 0 ? null : present.reduce(([low, high], value) => [Math.min(low, value), Math.max(high, value)],
    [Infinity, -Infinity]);
}

// What was read of each series; with several, in the colour and stroke of its line.
function rangeList(parent, spec) {
  return new KeyedList(parent, {
    create: ({index}) => {
      const root = element('span', 'range');
      const swatch = element('span', spec.series.length > 1 ? `swatch swatch-${index + 1}` : '');
      const text = element('span');
      root.append(swatch, text);
      return {root, text};
    },
    update: ({text}, item) => setText(text, item.text),
  });
}

export class Plot {
  #spec;
  #parts;
  #graph = null;
  #rows = [];
  #limits = [];
  #handlers;
  #time = null;
  #ranges;

  // `spec`: title, series (key, name, color, pattern), format(value), range(low, high), limits(view).
  // `onCursor(time)` with the mouse's place or null, `onWindow(window)` when the shown time has changed.
  constructor(spec, handlers) {
    const {root, parts} = instance('plot');
    this.root = root;
    this.#spec = spec;
    this.#parts = parts;
    this.#handlers = handlers;
    setText(parts.title, spec.title);
    this.#ranges = rangeList(parts.ranges, spec);
    parts.frame.addEventListener('mousemove', (event) => this.#pointed(event));
    parts.frame.addEventListener('mouseleave', () => handlers.onCursor(null));
  }

  // `times` in milliseconds, `values` by the series' keys, null where nothing was read.
  draw(Dygraph, times, values, limits) {
    const series = this.#spec.series.map(({key}) => values[key]);
    this.#rows = times.map((time, index) => [new Date(time), ...series.map((each) => each[index])]);
    this.#limits = limits;
    const bounds = extent(series.flat());
    this.#describe(series, bounds);
    setHidden(this.#parts.frame, bounds === null);
    if (bounds === null) this.destroy();
    else this.#graph ? this.#graph.updateOptions({file: this.#rows, ...this.#axes(bounds)}) : this.#make(Dygraph, bounds);
  }

  // Null shows the whole time.
  window(range) {
    this.#graph?.updateOptions({dateWindow: range});
  }

  resetZoom() {
    this.#graph?.resetZoom();
  }

  // Null hides the cursor.
  cursor(time, row) {
    this.#time = time;
    setHidden(this.#parts.cursor, time === null || !this.#graph);
    if (!this.#graph) return;
    if (time === null) this.#graph.clearSelection();
    else this.#graph.setSelection(row);
    this.#placeCursor();
  }

  recolor() {
    this.#graph?.updateOptions(colors(this.#spec));
  }

  destroy() {
    this.#graph?.destroy();
    this.#graph = null;
  }

  #make(Dygraph, bounds) {
    this.#graph = new Dygraph(this.#parts.canvas, this.#rows, {
      labels: ['Time', ...this.#spec.series.map(({name}) => name)],
      series: Object.fromEntries(this.#spec.series.map(({name, pattern}) => [name, {strokePattern: pattern ?? null}])),
      ...colors(this.#spec), ...this.#axes(bounds), strokeWidth: 1.6, axisLabelFontSize: 11, highlightCircleSize: 3.5,
      xRangePad: 0, rightGap: 6, resizable: 'passive', interactionModel: interaction(Dygraph),
      underlayCallback: (context, area, graph) => this.#drawLimits(context, area, graph),
      drawCallback: (graph) => this.#drawn(graph),
    });
  }

  #axes([low, high]) {
    const levels = this.#limits.map(({level}) => level);
    const valueRange = this.#spec.range(Math.min(low, ...levels), Math.max(high, ...levels));
    return {axes: {y: {valueRange, axisLabelWidth: 58, pixelsPerLabel: 26, axisLabelFormatter: (value) => this.#spec.format(value)},
      x: {axisLabelWidth: 50, pixelsPerLabel: 45}}};
  }

  #drawLimits(context, area, graph) {
    for (const [index, {level, tone, name}] of this.#limits.entries()) {
      const y = Math.round(graph.toDomYCoord(level)) + 0.5;
      context.strokeStyle = color(`--${tone}`);
      context.setLineDash([5, 4]);
      context.beginPath();
      context.moveTo(area.x, y);
      context.lineTo(area.x + area.w, y);
      context.stroke();
      context.setLineDash([]);
      // Neighbours may be close, so their names stand at either end.
      this.#drawName(context, name, color(`--${tone}`), index % 2 === 0 ? area.x + 4 : area.x + area.w - 4, y, index % 2);
    }
  }

  // On a ground of its own: another line may pass behind it.
  #drawName(context, name, ink, x, y, isAtEnd) {
    context.font = `11px ${getComputedStyle(this.root).fontFamily}`;
    const {width} = context.measureText(name);
    const left = isAtEnd ? x - width : x;
    context.fillStyle = color('--panel');
    context.fillRect(left - 2, y - 13, width + 4, 12);
    context.fillStyle = ink;
    context.fillText(name, left, y - 4);
  }

  #drawn(graph) {
    this.#handlers.onWindow(graph.xAxisRange());
    this.#graph ??= graph;
    this.#placeCursor();
  }

  #placeCursor() {
    if (this.#time === null) return;
    const place = `translateX(${Math.round(this.#graph.toDomXCoord(this.#time))}px)`;
    if (this.#parts.cursor.style.transform !== place) this.#parts.cursor.style.transform = place;
  }

  #pointed(event) {
    if (!this.#graph) return;
    const left = this.#parts.frame.getBoundingClientRect().left;
    this.#handlers.onCursor(this.#graph.toDataXCoord(event.clientX - left));
  }

  #describe(series, bounds) {
    const {format} = this.#spec;
    const texts = bounds === null ? ['nothing read in this time'] : series.map((each) => this.#spec.summary(extent(each), format));
    this.#ranges.update(texts.map((text, index) => ({text: `${this.#spec.series[index].label ?? ''}${text}`, index})));
    const text = texts.join(', ');
    const limits = this.#limits.map(({name}) => name).join(', ');
    this.#parts.frame.setAttribute('aria-label', `${this.#spec.title}: ${text}${limits ? `; limits: ${limits}` : ''}`);
  }
}
