// What the rows of a health record mean, in a sentence each.
//
// Vendors give some SMART numbers different meanings, so a row is looked up by the agent's field first, then
// by its name; by its number only where all vendors agree.

const SMART_FIELDS = {
  rawReadErrorRate: "Errors when reading the medium. The raw value is the vendor's own.",
  reallocatedSectorCount: 'Sectors replaced by spare ones. A count that rises foretells a failure.',
  powerOnHours: 'Hours that the drive has been powered on.',
  powerCycleCount: 'Times that the drive was switched on.',
  programFailCountTotal: 'Flash writes that failed, of the whole drive.',
  programFailCountChip: 'Flash writes that failed, of the worst chip.',
  wearLevelingCount: 'Wear of the flash: how often its blocks were erased. The value falls to its limit.',
  eraseFailCountTotal: 'Flash erasures that failed, of the whole drive.',
  eraseFailCountChip: 'Flash erasures that failed, of the worst chip.',
  usedReserveBlockCountChip: 'Spare blocks used by the worst chip.',
  reportedUncorrectableErrorCount: 'Errors that could not be corrected. Above 0: data may be lost.',
  unexpectedPowerOffCount: 'Times that power was lost without notice.',
  temperatureCelsius: 'Temperature of the drive, in degrees Celsius.',
  hardwareEccRecovered: 'Errors that the drive corrected itself. Vendors count differently.',
  reallocationEventCount: 'Attempts to replace a sector by a spare one.',
  currentPendingSectorCount: 'Sectors that could not be read, not replaced yet. Above 0: data may be lost.',
  offlineUncorrectableSectorCount: "Sectors that the drive's own scan could not read.",
  udmaCrcErrorCount: 'Transfers damaged between drive and host: check cable and connector.',
  availableReservedSpace: 'Spare blocks that are left, in percent.',
  totalLbasWritten: "Data that the host has written, in the vendor's units.",
  totalLbasRead: "Data that the host has read, in the vendor's units.",
  lifetimeRemaining: 'Rated life of the flash. The value is the percentage that is left.',
};

const SMART_NAMES = {
  Average_Erase_Count: 'How often the blocks were erased on average; each endures a limited number.',
  Bad_Block_Reserve: 'Spare blocks that are left to replace bad ones. The value falls to its limit.',
  Command_Timeout: 'Commands that the drive did not answer in time. Also a cable or power supply may cause them.',
  'End-to-End_Error': 'Data damaged inside the drive, between its cache and its medium.',
  Grown_Failing_Block_Ct: 'Blocks that became bad in use.',
  'Power-Off_Retract_Count': 'Times that power was lost without notice.',
  SATA_Downshift_Count: 'Times that the link fell back to a lower speed: check cable and connector.',
  SSD_Life_Left: 'Rated life of the flash that is left, in percent.',
  Media_Wearout_Indicator: 'Wear of the flash. The value falls from 100 with use.',
  Unused_Rsvd_Blk_Cnt_Tot: 'Spare blocks that are left.',
  Valid_Spare_Block_Cnt: 'Spare blocks that are left.',
  Runtime_Bad_Block: 'Blocks that became bad in use.',
  Thermal_Throttle: 'How often or how far the drive slowed down because of heat.',
};

const SMART_NUMBERS = {
  2: "Throughput of the drive. The value is the vendor's own.",
  3: 'Time to start the platters.',
  4: 'Times that the platters were started.',
  7: 'Errors when positioning the heads.',
  10: 'Failed attempts to start the platters.',
  183: 'Blocks that became bad in use, or link speeds that were lowered.',
  184: 'Data damaged inside the drive, between its cache and its medium.',
  188: 'Commands that the drive did not answer in time. Also a cable or power supply may cause them.',
  189: 'Writes with the heads too high, or bad blocks from the factory.',
  190: 'Temperature of the case or the air flow.',
  191: 'Shocks that the drive has felt.',
  193: 'Times that the heads were parked.',
};

const UNKNOWN = "An attribute of the vendor's own.";

function entry(table, key) {
  return Object.hasOwn(table, key) ? table[key] : undefined;
}

export function smartMeaning(field, attr) {
  return entry(SMART_FIELDS, field) ?? entry(SMART_NAMES, attr.name) ?? entry(SMART_NUMBERS, attr.id) ?? UNKNOWN;
}

const NVME_FIELDS = {
  criticalWarning: 'Alarms of the drive itself.',
  temperatureCelsius: 'Temperature of the drive as a whole.',
  availableSpare: 'Spare blocks that are left.',
  availableSpareThreshold: 'Below this the drive warns that its spare blocks run out.',
  percentageUsed: 'Rated life that is used. It may exceed 100 %.',
  dataUnitsRead: 'Data that the host has read.',
  dataUnitsWritten: 'Data that the host has written.',
  hostReadCommands: 'Read commands that were completed.',
  hostWriteCommands: 'Write commands that were completed.',
  controllerBusyTime: 'Time that the controller was busy with commands.',
  powerCycleCount: 'Times that the drive was switched on.',
  powerOnHours: 'Hours that the drive has been powered on, sleep possibly left out.',
  unsafeShutdowns: 'Times that power was lost without notice.',
  mediaErrors: 'Data that the drive could not read correctly. Above 0: data may be lost.',
  numErrLogEntries: "Entries in the error log over the drive's life. Refused commands count too.",
  temperatureTimeWarning: "Time above the drive's warning temperature.",
  temperatureTimeCritical: "Time above the drive's critical temperature.",
};

// The bits of the critical warning.
const NVME_WARNINGS = [
  'its spare blocks run out', 'its temperature is out of range', 'it is not reliable any more',
  'it takes no more writes', 'the backup of its memory has failed', 'its persistent memory is not reliable',
];

export function nvmeMeaning(field, value) {
  if (field !== 'criticalWarning' || !(value > 0)) return entry(NVME_FIELDS, field) ?? "A field of the vendor's own.";
  const warnings = NVME_WARNINGS.filter((_, bit) => Math.floor(value / 2 ** bit) % 2 === 1);
  return `The drive warns: ${warnings.join(', ') || 'an alarm of its own'}.`;
}

const CELLS = {lifetimeEstTypA: 'type A (as a rule SLC)', lifetimeEstTypB: 'type B (as a rule MLC)'};
const SPARE_LEVELS = {
  1: {tone: '', text: 'Reserved blocks: normal.'},
  2: {tone: 'warning', text: '80 % of the reserved blocks are used.'},
  3: {tone: 'failing', text: '90 % of the reserved blocks are used: replace the device.'},
};
const NOT_DEFINED = {tone: '', text: 'Not defined by this device.'};

function lifeMeaning(cells, value) {
  if (value === 0x0b) return {tone: 'failing', text: `Rated life of the memory of ${cells}: exceeded.`};
  if (!(value >= 1 && value <= 0x0a)) return NOT_DEFINED;
  return {tone: '', text: `Rated life of the memory of ${cells}: ${(value - 1) * 10} to ${value * 10} % used.`};
}

// `tone` is the verdict that the register gives, if any.
export function emmcMeaning(register, value) {
  const cells = entry(CELLS, register);
  if (cells) return lifeMeaning(cells, value);
  return register === 'preEolInfo' ? entry(SPARE_LEVELS, value) ?? NOT_DEFINED : {tone: '', text: ''};
}
