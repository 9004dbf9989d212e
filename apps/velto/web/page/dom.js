// Elements of the page. Texts only ever become text nodes, so that nothing that came over the wire
// is taken for markup.

const kSvg = 'http://www.w3.org/2000/svg';

function fill(element, attributes, children) {
  for (const [name, value] of Object.entries(attributes)) {
    if (name.startsWith('on'))
      element.addEventListener(name.slice(2), value);
    else if (value !== undefined && value !== false)
      element.setAttribute(name, value === true ? '' : value);
  }
  element.append(...children);
  return element;
}

/** make('button', {class: 'wide', onclick: f}, 'Send') */
export function make(tag, attributes = {}, ...children) {
  return fill(document.createElement(tag), attributes, children);
}

export function makeSvg(tag, attributes = {}, ...children) {
  return fill(document.createElementNS(kSvg, tag), attributes, children);
}

export function setText(element, text) {
  if (element.textContent !== text)
    element.textContent = text;
}

const kUtf8 = new TextDecoder('utf-8', {fatal: true});

/** For JSON.parse(): a text comes as one character for each byte, and is UTF-8 where it can be. */
export function readable(_, value) {
  if (typeof value !== 'string' || !/[\x80-\xff]/.test(value))
    return value;
  try {
    return kUtf8.decode(Uint8Array.from(value, (c) => c.charCodeAt(0)));
  } catch {
    return value;
  }
}

/** A number of a text that is one, else undefined. */
export function numberOf(text) {
  const number = text.trim() === '' ? NaN : Number(text);
  return Number.isFinite(number) ? number : undefined;
}

/** A line of values in a small picture. */
export function sparkline(values) {
  const width = 90;
  const height = 20;
  const low = Math.min(...values);
  const span = Math.max(...values) - low;
  const step = width / Math.max(values.length - 1, 1);
  const points = values.map((value, i) => {
    const part = span === 0 ? 0.5 : (value - low) / span;
    return `${(i * step).toFixed(1)},${(height - 2 - part * (height - 4)).toFixed(1)}`;
  });
  return makeSvg('svg', {class: 'spark', viewBox: `0 0 ${width} ${height}`, width, height},
                 makeSvg('polyline', {points: points.join(' ')}));
}

/** A card with a heading. */
export function card(heading, ...children) {
  return make('section', {class: 'card'}, make('h2', {}, heading), ...children);
}
