// The plots of a disk: what each shows, in which range, with which thresholds.

import {isNumber, rate, whole} from './format.js';

function limit(level, tone, word, unit) {
  return isNumber(level) ? [{level, tone, name: `${word} ${whole(level)} ${unit}`}] : [];
}

function fromTo(bounds, format) {
  if (bounds === null) return 'nothing read';
  const [low, high] = bounds.map(format);
  return low === high ? low : `${low} to ${high}`;
}

function peak(bounds, format) {
  return bounds === null ? 'nothing' : `up to ${format(bounds[1])}`;
}

export const PLOTS = [
  {
    title: 'Temperature', series: [{key: 'temperature', name: 'temperature', color: '--plot-1'}],
    format: (value) => `${whole(value)} °C`, range: (low, high) => [low - 5, high + 8], summary: fromTo,
    limits: ({overheat, critical}) => [
      ...limit(overheat, 'warning-text', 'hot', '°C'), ...limit(critical, 'failing-text', 'critical', '°C')],
  },
  {
    title: 'Life left', series: [{key: 'lifeLeft', name: 'life left', color: '--plot-2'}],
    format: (value) => `${whole(value)} %`, range: () => [0, 108], summary: fromTo,
    limits: ({lifeWarning, lifeFailing}) => [
      ...limit(lifeWarning, 'warning-text', 'worn', '%'), ...limit(lifeFailing, 'failing-text', 'used up', '%')],
  },
  {
    title: 'Bytes a second',
    series: [{key: 'readBytesPerSecond', name: 'read', label: 'read ', color: '--plot-1'},
      {key: 'writtenBytesPerSecond', name: 'written', label: 'written ', color: '--plot-3', pattern: [5, 2]}],
    format: rate, range: (low, high) => [0, high > 0 ? high * 1.1 : 1], summary: peak, limits: () => [],
  },
];

// "37 °C, 93 % left, read 1.2 MB/s, written 3.0 MB/s" of one row.
export function rowText(values, row) {
  const value = (key, render) => (isNumber(values[key][row]) ? [render(values[key][row])] : []);
  const parts = [
    ...value('temperature', (degrees) => `${whole(degrees)} °C`),
    ...value('lifeLeft', (left) => `${whole(left)} % left`),
    ...value('readBytesPerSecond', (read) => `read ${rate(read)}`),
    ...value('writtenBytesPerSecond', (written) => `written ${rate(written)}`),
  ];
  return parts.join(', ') || 'nothing read';
}
