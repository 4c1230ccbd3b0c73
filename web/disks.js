// From the state document to what the cards show: a view per disk, pure data. Nothing of the document is
// trusted to be there.

import {knownVerdict, rank} from './verdict.js';
import {clock, isNumber, span} from './format.js';
import {factsOf} from './facts.js';
import {healthOf} from './health.js';

// The member of that name, unless it is inherited: a disk may call itself "constructor".
export function own(object, name) {
  return typeof object === 'object' && object !== null && Object.hasOwn(object, name) ? object[name] : undefined;
}

export function list(value) {
  return Array.isArray(value) ? value : [];
}

export function text(value) {
  return typeof value === 'string' ? value : '';
}

const SOURCES = {emmc: 'eMMC registers', iostat: 'I/O statistics'};
const BUSES = ['USB', 'SATA', 'NVMe', 'eMMC'];
const MIB_EMMC = 3;

// What the document holds about a disk, collected once.
function recordsOf(state, serial) {
  const figures = own(state.figures, serial) ?? {};
  const connected = own(state.connectedDevices?.disk, serial);
  const disk = connected ?? figures.disk ?? {};
  const sensors = Object.values(state.temperature ?? {});
  return {
    now: state.time, serial, disk, figures, connected: connected !== undefined,
    verdict: own(state.verdicts, serial) ?? {},
    sensor: sensors.find((sensor) => sensor?.drive === serial),
    mount: connected ? own(state.mountPoints, text(disk.mountPoint)) : undefined,
    smart: own(state.smartData, serial), nvme: own(state.nvmeData, serial), emmc: own(state.emmcData, serial),
    readings: list(own(state.readings, serial)), limits: state.limits ?? {},
  };
}

function sinceText(time, now) {
  if (!isNumber(time)) return '';
  return `since ${clock(time, now).slice(0, -3)} (${span(now - time)})`;
}

function reasonViews(records) {
  return list(records.verdict.reasons).map((reason) => ({
    code: text(reason?.code), verdict: knownVerdict(reason?.verdict), text: text(reason?.text),
    since: sinceText(reason?.since, records.now),
  }));
}

function failingReading(reading, now) {
  const source = own(SOURCES, reading.source) ?? text(reading.source);
  const age = isNumber(reading.failingSince) ? ` for ${span(now - reading.failingSince)}` : '';
  return `${source} failing${age}: ${text(reading.reason)}`;
}

function lastFigures(records) {
  const {lastRead} = records.figures;
  if (!isNumber(lastRead)) return 'No good reading yet.';
  return `The figures are those of ${clock(lastRead, records.now)}.`;
}

// States in which the figures are not today's: each is said, rather than shown as a card without figures.
function noteTexts(records) {
  const codes = list(records.verdict.reasons).map((reason) => reason?.code);
  const notes = records.readings
    .filter((reading) => isNumber(reading?.failingSince))
    .map((reading) => failingReading(reading, records.now));
  if (codes.includes('tool-hangs'))
    notes.push('Its tool does not end: the disk may be stuck. It is read again when the tool has ended.');
  if (!records.connected) notes.push('The disk is not connected. These are its last figures.');
  else if (notes.length > 0) notes.push(lastFigures(records));
  else if (codes.includes('not-read-yet')) notes.push('Waiting for its first reading.');
  return notes;
}

function busText(disk) {
  const word = disk.busType === 3 && disk.mibType !== MIB_EMMC ? 'other' : BUSES[disk.busType];
  const address = text(disk.devAddress) || text(disk.deviceIntfAndAddress);
  return [word, address].filter((part) => part).join(' ');
}

function identity(records) {
  const {disk, serial} = records;
  const reported = (value) => text(value) || 'not reported';
  return {
    serial, model: reported(disk.model), firmware: reported(disk.firmwareRevision),
    node: reported(disk.blockDevice), bus: busText(disk) || 'not reported',
    size: disk.sizeGb > 0 ? `${disk.sizeGb} GB` : 'not reported',
  };
}

function diskView(state, serial) {
  const records = recordsOf(state, serial);
  const verdict = knownVerdict(records.verdict.verdict);
  return {
    key: `disk ${serial}`, isKnown: true, serial, name: serial, verdict, mount: text(records.disk.mountPoint),
    since: sinceText(records.verdict.since, records.now), reasons: reasonViews(records), notes: noteTexts(records),
    identity: identity(records), facts: factsOf(records), health: healthOf(records),
    lastRead: records.figures.lastRead, now: records.now, limits: plotLimits(records),
  };
}

function plotLimits(records) {
  const {overheat, critical} = records.sensor ?? {};
  return {overheat, critical, lifeWarning: records.limits.lifeWarning, lifeFailing: records.limits.lifeFailing};
}

function missingView(mount) {
  const why = 'no disk is mounted there, although one is expected';
  const reason = {code: 'missing', verdict: 'missing', text: why, since: ''};
  return {
    key: `mount ${mount}`, isKnown: false, name: mount, mount: '', verdict: 'missing', since: '',
    reasons: [reason], notes: [],
  };
}

function worstFirst(a, b) {
  const keys = (view) => [rank(view.verdict), view.mount || view.name, view.name];
  const [left, right] = [keys(a), keys(b)];
  const place = left.findIndex((key, index) => key !== right[index]);
  if (place < 0) return 0;
  return left[place] < right[place] ? -1 : 1;
}

// The views of all disks, the worst first. An absent disk stands for its missing mount point too.
export function diskViews(state) {
  const connected = Object.keys(state.connectedDevices?.disk ?? {});
  const serials = new Set([...Object.keys(state.verdicts ?? {}), ...connected]);
  const views = [...serials].map((serial) => diskView(state, serial));
  const absent = new Set(views.filter((view) => view.verdict === 'absent').map((view) => view.mount));
  const missing = list(state.unit?.missing).map(text).filter((mount) => !absent.has(mount));
  return [...views, ...missing.map(missingView)].sort(worstFirst);
}
