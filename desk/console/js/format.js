// Numbers, times and units for people. All times are UTC, as in the journal.

const pad = (number, digits = 2) => String(number).padStart(digits, "0");

export const clock_time = (time, millis = true) => time.slice(11, millis ? 23 : 19);
export const date_time = (time) => `${time.slice(0, 10)} ${time.slice(11, 19)} UTC`;

/** "350 ms", "10.1 s", "5 min 20 s", "1 h 25 min" */
export function duration(seconds) {
  if (seconds < 1) return `${Math.round(seconds * 1000)} ms`;
  if (seconds < 60) return `${Number(seconds.toFixed(1))} s`;
  const whole = Math.round(seconds);
  if (whole < 3600) return `${Math.floor(whole / 60)} min ${pad(whole % 60)} s`;
  return `${Math.floor(whole / 3600)} h ${pad(Math.floor((whole % 3600) / 60))} min`;
}

export const seconds_between = (from, to) => (Date.parse(to) - Date.parse(from)) / 1000;

/** A true minus sign, so that -3 does not look like a list. */
export const signed = (number) => (number < 0 ? `\u2212${-number}` : String(number));
export const count = (number, one, many = one + "s") => `${number.toLocaleString("en")} ${number === 1 ? one : many}`;

const degrees = (value, positive, negative) => `${Math.abs(value).toFixed(5)}° ${value < 0 ? negative : positive}`;
export const position = (latitude, longitude) => `${degrees(latitude, "N", "S")}, ${degrees(longitude, "E", "W")}`;

/** A client's time stamp: seconds since 1970 as a text. */
export function stamp(text) {
  const seconds = Number(text);
  if (text === "" || !Number.isInteger(seconds) || Math.abs(seconds) > 8.64e12) return text;
  return date_time(new Date(seconds * 1000).toISOString());
}

/** The device's time, 14 digits of its local clock; another length is shown as it came. */
export function device_time(text) {
  const part = /^(\d{4})(\d\d)(\d\d)(\d\d)(\d\d)(\d\d)$/.exec(text);
  return part ? `${part[1]}-${part[2]}-${part[3]} ${part[4]}:${part[5]}:${part[6]}, the gateway's own clock` : text;
}

/** 1, 2 or 5 times a power of ten, so that `span` has about `steps` of it. */
export function nice_step(span, steps) {
  const raw = span / steps;
  const power = 10 ** Math.floor(Math.log10(raw));
  return [1, 2, 5, 10].map((factor) => factor * power).find((step) => step >= raw * 0.999);
}
