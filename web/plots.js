// A plot of a disk's history, drawn by dygraphs.

import {KeyedList, element, instance, setAttribute, setHidden, setText} from './dom.js';
import {color, drawLimits} from './limits.js';
import {isNumber, tick} from './format.js';

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

// The least and the greatest of the values; null without any.
function extent(values) {
  const present = values.filter(isNumber);
  if (present.length === 0) return null;
  return [present.reduce((a, b) => Math.min(a, b)), present.reduce((a, b) => Math.max(a, b))];
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
    else if (this.#graph) this.#graph.updateOptions({file: this.#rows, ...this.#axes(bounds)});
    else this.#make(Dygraph, bounds);
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
    const {series} = this.#spec;
    this.#graph = new Dygraph(this.#parts.canvas, this.#rows, {
      labels: ['Time', ...series.map(({name}) => name)],
      series: Object.fromEntries(series.map(({name, pattern}) => [name, {strokePattern: pattern ?? null}])),
      ...colors(this.#spec), ...this.#axes(bounds), strokeWidth: 1.6, axisLabelFontSize: 11, highlightCircleSize: 3.5,
      xRangePad: 0, rightGap: 6, resizable: 'passive', interactionModel: interaction(Dygraph),
      underlayCallback: (context, area, graph) => drawLimits(context, area, graph, this.#limits),
      drawCallback: (graph) => this.#drawn(graph),
    });
  }

  #axes([low, high]) {
    const levels = this.#limits.map(({level}) => level);
    const valueRange = this.#spec.range(Math.min(low, ...levels), Math.max(high, ...levels));
    const axisLabelFormatter = (value) => this.#spec.format(value);
    return {axes: {
      y: {valueRange, axisLabelWidth: 58, pixelsPerLabel: 26, axisLabelFormatter},
      x: {axisLabelWidth: 50, pixelsPerLabel: 45, axisLabelFormatter: tick},
    }};
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
    const {format, summary} = this.#spec;
    const label = (index) => this.#spec.series[index].label ?? '';
    const summaries = series.map((each, index) => `${label(index)}${summary(extent(each), format)}`);
    const texts = bounds === null ? ['nothing read in this time'] : summaries;
    this.#ranges.update(texts.map((text, index) => ({text, index})));
    const limits = this.#limits.map(({name}) => name);
    setAttribute(this.#parts.frame, 'aria-label', `${this.#spec.title}: ${[...texts, ...limits].join(', ')}`);
  }
}
