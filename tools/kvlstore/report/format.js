// Numbers, sizes and times as texts.

const THIN = '\u202f'; // a narrow space that does not break

function integer(value) {
  return String(value).replace(/\B(?=(\d{3})+(?!\d))/g, THIN);
}

function minus(text) {
  return text.replace(/^-/, '\u2212').replace(/e-/, 'e\u2212').replace(/e\+/, 'e');
}

// With all digits.
function exact(value) {
  return typeof value === 'number' ? minus(String(value)) : minus(String(value).replace('Infinity', '\u221e'));
}

// With at most six digits.
function short(value) {
  if (typeof value !== 'number') return exact(value);
  if (value === 0) return '0';
  const size = Math.abs(value);
  if (Number.isInteger(value) && size < 1e9) return minus(integer(value));
  if (size >= 1e7 || size < 1e-4) return minus(value.toExponential(4).replace(/\.?0+e/, 'e'));
  return minus(String(Number(value.toPrecision(6))));
}

function withUnit(text, unit) {
  return unit ? `${text} ${unit}` : text;
}

function bytes(count) {
  if (count < 1024) return `${integer(count)} bytes`;
  const units = ['KiB', 'MiB', 'GiB', 'TiB'];
  let size = count / 1024;
  let unit = 0;
  for (; size >= 1024 && unit + 1 < units.length; ++unit) size /= 1024;
  return `${size.toFixed(size < 10 ? 2 : 1)} ${units[unit]}`;
}

function time(milliseconds) {
  const date = new Date(milliseconds);
  return Number.isNaN(date.getTime()) ? 'unknown' : `${date.toISOString().slice(0, 19).replace('T', ' ')} UTC`;
}

function plural(count, one, many) {
  return `${integer(count)} ${count === 1 ? one : many || `${one}s`}`;
}

// Values for the lines of a scale from `low` to `high`: about `count` of them, at round numbers.
function ticks(low, high, count) {
  if (!(high > low) || !Number.isFinite(high - low)) return [low];
  const raw = (high - low) / count;
  const power = 10 ** Math.floor(Math.log10(raw));
  const step = power * [1, 2, 2.5, 5, 10].find((factor) => factor * power >= raw * 0.999);
  const values = [];
  for (let i = Math.ceil(low / step - 1e-9); i * step <= high + step * 1e-9 && values.length < 50; ++i) values.push(i * step);
  return values;
}

// The values of a scale, all with the digits that tell them apart.
function tickTexts(values) {
  if (values.length < 2) return values.map(short);
  const step = Math.abs(values[1] - values[0]);
  const largest = Math.max(...values.map(Math.abs));
  if (largest >= 1e7 || largest < 1e-3) return values.map((value) => short(Number(value.toPrecision(5))));
  const digits = Math.min(12, Math.max(0, 1 - Math.floor(Math.log10(step) + 1e-9)));
  const texts = values.map((value) => value.toFixed(digits));
  const spare = digits > 0 && texts.every((text) => text.endsWith('0')) ? 1 : 0;
  return texts.map((text) => minus(integerPart(text.slice(0, spare && digits === 1 ? -2 : text.length - spare))));
}

function integerPart(text) {
  const [whole, fraction] = text.split('.');
  return fraction === undefined ? integer(whole) : `${integer(whole)}.${fraction}`;
}
