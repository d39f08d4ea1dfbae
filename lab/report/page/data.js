// What the report carries, unpacked.

/** The bytes of a base64 text. */
function bytesOf(base64) {
  if ("fromBase64" in Uint8Array) return /** @type {any} */ (Uint8Array).fromBase64(base64);
  const text = atob(base64);
  const bytes = new Uint8Array(text.length);
  for (let i = 0; i < text.length; ++i) bytes[i] = text.charCodeAt(i);
  return bytes;
}

/**
 * The bytes of a zlib stream in base64.
 * @param {string} base64
 */
export async function unpack(base64) {
  const plain = new Blob([bytesOf(base64)]).stream().pipeThrough(new DecompressionStream("deflate"));
  return new Uint8Array(await new Response(plain).arrayBuffer());
}

const FEW_BITS = 28; // of a number that bit operations can take whole

/**
 * Delta columns one after the other, each of `count` whole numbers: {name: Float64Array}.
 * @param {Uint8Array} bytes
 * @param {string[]} names
 * @param {number} count
 * @returns {Record<string, Float64Array>}
 */
export function readColumns(bytes, names, count) {
  /** @type {Record<string, Float64Array>} */
  const columns = {};
  let at = 0;
  for (const name of names) {
    const values = (columns[name] = new Float64Array(count));
    let last = 0;
    for (let i = 0; i < count; ++i) {
      let byte = bytes[at++];
      if (byte < 0x80) {
        values[i] = last += byte & 1 ? -((byte + 1) >> 1) : byte >> 1;
        continue;
      }
      let zigzag = byte & 0x7f;
      let shift = 7;
      for (; byte >= 0x80 && shift < FEW_BITS; shift += 7) {
        byte = bytes[at++];
        zigzag |= (byte & 0x7f) << shift;
      }
      for (let scale = 2 ** shift; byte >= 0x80; scale *= 0x80) {
        byte = bytes[at++];
        zigzag += (byte & 0x7f) * scale;
      }
      values[i] = last += zigzag % 2 ? -(zigzag + 1) / 2 : zigzag / 2;
    }
  }
  return columns;
}

const NUMBER = "\x01"; // in a shape's text: here stands one of the line's numbers
const SEPARATOR = "\x7f";

/** The text of a line: its shape's, with its own numbers. */
export function lineText({ shape, at }) {
  shape.parts ??= shape.text.split(NUMBER);
  const { parts } = shape;
  if (parts.length === 1) return parts[0];
  shape.values ??= shape.columns.map((column) => column.split(SEPARATOR));
  let text = parts[0];
  for (let i = 1; i < parts.length; ++i) text += shape.values[i - 1][at] + parts[i];
  return text;
}

/** The log as one object per line, in order: {t, shape, at}, the at-th of its shape. */
export function readLog(log) {
  const next = log.shapes.map(() => ({ t: 0, at: 0 }));
  return log.order.map((number) => {
    const shape = log.shapes[number];
    const line = next[number];
    line.t += shape.dt[line.at];
    return { t: line.t, shape, at: line.at++ };
  });
}
