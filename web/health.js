// A disk's health records as tables: SMART attributes, the NVMe log, the eMMC registers. Each row says what
// it means.

import {bytes, isNumber, whole} from './format.js';
import {emmcMeaning, nvmeMeaning, smartMeaning} from './meanings.js';

const PLAIN_COLUMNS = ['Field', 'Value', 'Meaning'];
const SMART_COLUMNS = ['Attribute', 'Value', 'Worst', 'Limit', 'Raw', 'Meaning'];

const shown = (value) => (value === undefined || value === null ? '' : String(value));

function smartRow([key, attr]) {
  const below = attr.thresh > 0 && attr.value <= attr.thresh;
  const limit = attr.thresh > 0 ? shown(attr.thresh) : 'none';
  const meaning = smartMeaning(key, attr);
  return {
    key: `${attr.id} ${attr.name}`, tone: below ? 'failing' : '',
    cells: [`${shown(attr.id)} ${shown(attr.name)}`, shown(attr.value), shown(attr.worst), limit,
      shown(attr.rawString || attr.raw), below ? `At or below its limit. ${meaning}` : meaning],
  };
}

function assessment(smart) {
  if (typeof smart.healthStatusOk !== 'boolean') return "The drive's own assessment was not read yet.";
  return smart.healthStatusOk ? "The drive's own assessment: passed." : "The drive's own assessment: FAILED.";
}

function smartTable(smart) {
  const named = Object.entries(smart.attrs ?? {});
  const unnamed = (Array.isArray(smart.unknownAttrs) ? smart.unknownAttrs : []).map((attr) => ['', attr]);
  const rows = [...named, ...unnamed].filter(([, attr]) => attr).sort(([, a], [, b]) => a.id - b.id).map(smartRow);
  return {title: 'SMART attributes', lead: assessment(smart), columns: SMART_COLUMNS, rows, none: ''};
}

const DATA_UNIT = 512000;

const NVME_VALUES = {
  criticalWarning: (value) => (value === 0 ? '0 (none)' : `0x${value.toString(16)}`),
  temperatureCelsius: (value) => `${whole(value)} °C`,
  availableSpare: (value) => `${whole(value)} %`,
  availableSpareThreshold: (value) => `${whole(value)} %`,
  percentageUsed: (value) => `${whole(value)} %`,
  dataUnitsRead: (value) => bytes(value * DATA_UNIT),
  dataUnitsWritten: (value) => bytes(value * DATA_UNIT),
  controllerBusyTime: (value) => `${whole(value)} min`,
  powerOnHours: (value) => `${whole(value)} h`,
  temperatureTimeWarning: (value) => `${whole(value)} min`,
  temperatureTimeCritical: (value) => `${whole(value)} min`,
};

function nvmeRow([key, field]) {
  const render = Object.hasOwn(NVME_VALUES, key) ? NVME_VALUES[key] : whole;
  const value = isNumber(field.value) ? render(field.value) : shown(field.value);
  const warns = key === 'criticalWarning' && field.value > 0;
  return {key, tone: warns ? 'failing' : '', cells: [shown(field.name || key), value, nvmeMeaning(key, field.value)]};
}

function nvmeTable(nvme) {
  const rows = Object.entries(nvme).filter(([, field]) => field).map(nvmeRow);
  return {title: 'NVMe log', lead: '', columns: PLAIN_COLUMNS, rows, none: 'The log was not read yet.'};
}

function emmcRow([key, value]) {
  const raw = isNumber(value) ? `0x${value.toString(16).padStart(2, '0')}` : shown(value);
  const {tone, text} = emmcMeaning(key, value);
  return {key, tone, cells: [key, raw, text]};
}

function emmcTable(emmc) {
  const rows = Object.entries(emmc).map(emmcRow);
  return {title: 'eMMC registers', lead: '', columns: PLAIN_COLUMNS, rows, none: 'The registers were not read yet.'};
}

// The tables are made when they are asked for: most cards stay folded.
export function healthOf(records) {
  const sources = [[records.nvme, nvmeTable], [records.smart, smartTable], [records.emmc, emmcTable]];
  const present = sources.filter(([record]) => typeof record === 'object' && record !== null);
  const title = records.nvme ? 'NVMe log' : records.emmc ? 'eMMC registers' : 'SMART attributes';
  return {title, tables: () => present.map(([record, table]) => table(record))};
}
