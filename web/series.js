// The answer of the history endpoint, checked and brought to one length.

import {isNumber} from './format.js';

const KEYS = ['temperature', 'lifeLeft', 'readBytesPerSecond', 'writtenBytesPerSecond'];

function orderedTimes(times) {
  return times.every((time, index) => isNumber(time) && (index === 0 || time > times[index - 1]));
}

function numbersOrNull(values, length) {
  return Array.from({length}, (_, index) => (isNumber(values?.[index]) ? values[index] : null));
}

function nearest(times, time) {
  const after = times.findIndex((each) => each >= time);
  if (after < 0) return times.length - 1;
  return after > 0 && time - times[after - 1] < times[after] - time ? after - 1 : after;
}

// From `from` to `to` (seconds): `times` in milliseconds, `values` by key, the last row with a value
// (`latest`). Rows without values are added at both ends, so that a plot shows the whole time asked for.
export function series(answer, from, to) {
  const read = Array.isArray(answer.time) && orderedTimes(answer.time) ? answer.time : [];
  const before = read.length === 0 || read[0] > from ? [from] : [];
  const after = read.length === 0 || read.at(-1) < to ? [to] : [];
  const times = [...before, ...read, ...after].map((time) => time * 1000);
  const values = {};
  for (const key of KEYS)
    values[key] = [...before.map(() => null), ...numbersOrNull(answer[key], read.length), ...after.map(() => null)];
  const latest = times.findLastIndex((_, row) => KEYS.some((key) => values[key][row] !== null));
  return {
    times, values, latest, extent: [times[0], times.at(-1)], rowAt: (time) => nearest(times, time),
  };
}
