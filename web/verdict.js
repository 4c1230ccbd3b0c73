// Verdicts in words, and the unit's verdict as an operator would say it on the phone.

// The worst first. An expected disk that is missing was never there, or is not there any more.
export const ORDER = ['failing', 'absent', 'missing', 'warning', 'unknown', 'ok'];

export function rank(verdict) {
  const place = ORDER.indexOf(verdict);
  return place < 0 ? ORDER.indexOf('unknown') : place;
}

// A verdict that this page does not know counts as unknown.
export function knownVerdict(verdict) {
  return ORDER[rank(verdict)];
}

// Where the agent's text presumes that the disk is named beside it.
const SPOKEN = {
  'self-assessment-failed': 'its own self-assessment failed',
  'kernel-errors': 'the kernel reports errors of it',
  'overheat': 'it is too hot',
  'critical-temperature': 'it is critically hot',
  'mounted-read-only': 'mounted read-only',
  'mount-gone': 'nothing is mounted there',
  'mount-changed': 'another device is mounted there',
};

export function spoken(reason) {
  return Object.hasOwn(SPOKEN, reason.code) ? SPOKEN[reason.code] : reason.text;
}

const COUNTED = {
  failing: ['disk failing', 'disks failing'],
  absent: ['disk absent', 'disks absent'],
  missing: ['expected disk missing', 'expected disks missing'],
  warning: ['disk with a warning', 'disks with warnings'],
  unknown: ['disk of unknown health', 'disks of unknown health'],
};

const OF_UNIT = {
  warning: 'The unit has a warning',
  unknown: 'The health of the unit is unknown',
};

function unitFinding(verdict) {
  return {verdict, lead: OF_UNIT[verdict] ?? `The unit is ${verdict}`, disks: [], more: ''};
}

function goodText(count, isAll, isPart) {
  if (isPart) return count === 1 ? '1 disk is good' : `${count} disks are good`;
  if (!isAll) return count === 1 ? '1 other disk is good' : `${count} other disks are good`;
  return count === 1 ? 'The disk is good' : `All ${count} disks are good`;
}

const NAMED = 3;

function finding(verdict, disks, isAll, isPart) {
  if (verdict === 'ok') return {verdict, lead: goodText(disks.length, isAll, isPart), disks: [], more: ''};
  const [one, several] = COUNTED[verdict];
  const more = disks.length > NAMED ? ` and ${disks.length - NAMED} more` : '';
  const lead = `${disks.length} ${disks.length === 1 ? one : several}: `;
  return {verdict, lead, disks: disks.slice(0, NAMED), more};
}

// A finding per verdict that occurs, the worst first: `lead`, then `disks` (views), then `more`.
//
// `unitVerdict` is the agent's for the whole unit. It may be worse than that of each disk, since the unit may have
// devices of which nothing is known yet. Then it is the first finding, and not all disks are good.
export function findings(views, unitVerdict) {
  const found = [];
  // The agent counts a missing disk as absent.
  const ranks = ['ok', ...views.map(({verdict}) => (verdict === 'missing' ? 'absent' : verdict))].map(rank);
  const isWorse = unitVerdict !== undefined && rank(unitVerdict) < Math.min(...ranks);
  for (const verdict of ORDER) {
    const disks = views.filter((view) => view.verdict === verdict);
    if (disks.length > 0) found.push(finding(verdict, disks, disks.length === views.length, isWorse));
  }
  return isWorse ? [unitFinding(knownVerdict(unitVerdict)), ...found] : found;
}

// "in /mnt/flash, its own self-assessment failed": what follows the disk's name.
export function phrase(view) {
  if (view.verdict === 'missing') return '';
  const reason = view.reasons.find((each) => each.verdict === view.verdict) ?? view.reasons[0];
  return reason ? spoken(reason) : '';
}

// In the tab's title the verdict comes first, so that a narrow tab still shows it.
export function titleText(found, host) {
  const worst = found[0];
  if (!worst || worst.verdict === 'ok') return `Storage of ${host}: ok`;
  const count = worst.lead.split(':')[0];
  return `${count} – storage of ${host}`;
}
