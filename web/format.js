// Numbers, times and foreign text in the form in which the page shows them. The units are those of the
// command line.

// Characters that would be invisible, or would reorder the text around them: controls, marks of direction,
// separators, blanks without width, halves of surrogate pairs.
const UNSEEN = /[\p{Cc}\p{Cf}\p{Zl}\p{Zp}\p{Cs}\p{Co}\p{Default_Ignorable_Code_Point}]/gu;

// Foreign text with such characters as \uNNNN.
export function visible(text) {
  return String(text).replace(UNSEEN, (character) => {
    const code = character.codePointAt(0).toString(16);
    return code.length > 4 ? `\\u{${code}}` : `\\u${code.padStart(4, '0')}`;
  });
}

export function isNumber(value) {
  return typeof value === 'number' && Number.isFinite(value);
}

const GROUPED = new Intl.NumberFormat('en-GB', {maximumFractionDigits: 0});

export function whole(value) {
  return GROUPED.format(value);
}

const BYTE_UNITS = ['B', 'kB', 'MB', 'GB', 'TB', 'PB', 'EB', 'ZB'];

export function bytes(value) {
  let unit = 0;
  // What would be rounded to 1000 is 1 of the next.
  while (value >= 999.5 && unit + 1 < BYTE_UNITS.length) {
    value /= 1000;
    unit++;
  }
  return `${value.toFixed(unit > 0 && value < 9.95 ? 1 : 0)} ${BYTE_UNITS[unit]}`;
}

export function rate(value) {
  return `${bytes(value)}/s`;
}

const MINUTE = 60;
const HOUR = 60 * MINUTE;
const DAY = 24 * HOUR;

export function span(seconds) {
  if (!(seconds >= 1)) return '0 s';
  if (seconds < MINUTE) return `${Math.floor(seconds)} s`;
  if (seconds < HOUR) return `${Math.floor(seconds / MINUTE)} min`;
  if (seconds < 2 * DAY) return `${Math.floor(seconds / HOUR)} h`;
  return `${whole(Math.floor(seconds / DAY))} d`;
}

const two = (number) => String(number).padStart(2, '0');

function dateText(date) {
  return `${date.getFullYear()}-${two(date.getMonth() + 1)}-${two(date.getDate())}`;
}

// A time (seconds since 1970) in the reader's zone; with its date, unless that is the date of `now` too.
export function clock(time, now) {
  const date = new Date(time * 1000);
  if (!isNumber(time) || Number.isNaN(date.getTime())) return '';
  const hours = `${two(date.getHours())}:${two(date.getMinutes())}:${two(date.getSeconds())}`;
  const day = dateText(date);
  return isNumber(now) && day === dateText(new Date(now * 1000)) ? hours : `${day} ${hours}`;
}

const MONTHS = ['Jan', 'Feb', 'Mar', 'Apr', 'May', 'Jun', 'Jul', 'Aug', 'Sep', 'Oct', 'Nov', 'Dec'];

// The name of a place on a time axis: "17:30", "17:30:20", and "22 Nov" at midnight.
export function tick(date) {
  const [hours, minutes, seconds] = [date.getHours(), date.getMinutes(), date.getSeconds()];
  if (hours + minutes + seconds === 0) return `${date.getDate()} ${MONTHS[date.getMonth()]}`;
  return [hours, minutes, ...(seconds > 0 ? [seconds] : [])].map(two).join(':');
}

// The reader's zone, as "UTC+01:00".
export function zone() {
  const minutes = -new Date().getTimezoneOffset();
  const size = Math.abs(minutes);
  return `UTC${minutes < 0 ? '-' : '+'}${two(Math.floor(size / 60))}:${two(size % 60)}`;
}

// "16:30:00, 12 min ago"; the age is left out while it is what polling makes it.
export function clockAndAge(time, now) {
  const age = now - time;
  return age > 150 ? `${clock(time, now)}, ${span(age)} ago` : clock(time, now);
}

// A phone's reader counts in years.
export function hoursInYears(hours) {
  const years = hours / (365.25 * 24);
  return years < 0.1 ? '' : `${years.toFixed(1)} years`;
}
