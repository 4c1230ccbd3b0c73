// The figures of a card: `label`, `value`, a `note` beside it, `tone` (a verdict, if the figure gives one) and
// `part` (0 to 1, for a bar).

import {bytes, clockAndAge, hoursInYears, isNumber, whole} from './format.js';

// "not read yet" may change at the next reading; "not reported" will not.
function fact(records, label, value, rest = {}) {
  const isRead = isNumber(records.figures.lastRead);
  const shown = value === '' ? (isRead ? 'not reported' : 'not read yet') : value;
  return {label, value: shown, note: '', tone: '', isEmpty: value === '', ...rest};
}

const ALARM_TONES = {overheat: 'warning', critical: 'failing'};

function temperature(records) {
  const {temperature: degrees} = records.figures;
  const {overheat, critical, alarm} = records.sensor ?? {};
  const limits = [];
  if (isNumber(overheat)) limits.push(`hot ${whole(overheat)}`);
  if (isNumber(critical)) limits.push(`critical ${whole(critical)}`);
  const value = isNumber(degrees) ? `${whole(degrees)} °C` : '';
  const tone = Object.hasOwn(ALARM_TONES, alarm ?? '') ? ALARM_TONES[alarm] : '';
  return fact(records, 'Temperature', value, {note: limits.join(', '), tone});
}

// An NVMe drive may have used more than its whole life.
function usedPercent(records) {
  const used = records.nvme?.percentageUsed?.value;
  if (isNumber(used)) return used;
  const {lifeLeft} = records.figures;
  return isNumber(lifeLeft) ? 100 - lifeLeft : undefined;
}

function lifeTone(left, {lifeWarning, lifeFailing}) {
  if (isNumber(lifeFailing) && left <= lifeFailing) return 'failing';
  return isNumber(lifeWarning) && left <= lifeWarning ? 'warning' : '';
}

function life(records) {
  const {lifeLeft} = records.figures;
  if (!isNumber(lifeLeft)) return fact(records, 'Life left', '');
  const part = Math.min(Math.max(lifeLeft / 100, 0), 1);
  const used = `${whole(usedPercent(records))} % used`;
  const tone = lifeTone(lifeLeft, records.limits);
  return fact(records, 'Life left', `${whole(lifeLeft)} %`, {note: used, part, tone});
}

function hours(records) {
  const {powerOnHours} = records.figures;
  if (!isNumber(powerOnHours)) return fact(records, 'Powered on', '');
  return fact(records, 'Powered on', `${whole(powerOnHours)} h`, {note: hoursInYears(powerOnHours)});
}

function written(records) {
  const {bytesWritten, bytesWrittenSinceBoot: sinceBoot} = records.figures;
  const bootText = isNumber(sinceBoot) ? `${bytes(sinceBoot)} since boot` : '';
  if (isNumber(bytesWritten)) return fact(records, 'Written', bytes(bytesWritten), {note: bootText});
  if (!isNumber(sinceBoot)) return fact(records, 'Written', '');
  return fact(records, 'Written', bytes(sinceBoot), {note: 'since boot'});
}

function lastReading(records) {
  const {lastRead} = records.figures;
  if (!isNumber(lastRead)) return fact(records, 'Last good reading', '', {value: 'none yet', tone: 'unknown'});
  const fails = records.readings.some((reading) => isNumber(reading?.failingSince));
  const [value, note = ''] = clockAndAge(lastRead, records.now).split(', ');
  return fact(records, 'Last good reading', value, {note, tone: fails ? 'unknown' : ''});
}

// The words of the command line's table.
function testWord(mount) {
  const test = mount?.fsHealth;
  if (!test) {
    if (!mount || !isNumber(mount.initialMountFailuresRemaining)) return 'not tested';
    return mount.device === undefined ? 'unmounted' : 'stopped';
  }
  if (!test.running) return 'stopped';
  if (test.state === 'idle') return 'tested';
  return test.state === 'setup' ? 'waiting' : 'testing';
}

function fileSystem(records) {
  const full = records.mount?.fsHealth?.utilThresholdExceeded === true;
  const word = records.connected ? testWord(records.mount) : 'gone';
  const isEmpty = word === 'gone' || word === 'not tested';
  return fact(records, 'File system', word, full ? {note: 'nearly full', tone: 'warning'} : {isEmpty});
}

export function factsOf(records) {
  return [temperature, life, hours, written, lastReading, fileSystem].map((make) => make(records));
}
