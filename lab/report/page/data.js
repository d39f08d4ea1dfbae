// What the report carries, unpacked.

/** The bytes of a zlib stream in base64. */
export async function unpack(base64) {
  const packed = Uint8Array.from(atob(base64), (letter) => letter.charCodeAt(0));
  const plain = new Blob([packed]).stream().pipeThrough(new DecompressionStream("deflate"));
  return new Uint8Array(await new Response(plain).arrayBuffer());
}

/** Delta columns one after the other, each of `count` whole numbers: {name: Float64Array}. */
export function readColumns(bytes, names, count) {
  const columns = {};
  let at = 0;
  for (const name of names) {
    const values = (columns[name] = new Float64Array(count));
    let last = 0;
    for (let i = 0; i < count; ++i) {
      let zigzag = 0;
      let scale = 1;
      for (; bytes[at] >= 0x80; scale *= 0x80) zigzag += (bytes[at++] & 0x7f) * scale;
      zigzag += bytes[at++] * scale;
      last += zigzag % 2 ? -(zigzag + 1) / 2 : zigzag / 2;
      values[i] = last;
    }
  }
  return columns;
}

const NUMBER = "\x01"; // in a shape's text: here stands one of the line's numbers
const SEPARATOR = "\x02";

/** A line's text from its shape and its numbers. */
export function lineText(shape, numbers) {
  if (!shape.parts) shape.parts = shape.text.split(NUMBER);
  const { parts } = shape;
  if (parts.length === 1) return parts[0];
  const values = numbers.split(SEPARATOR);
  let text = parts[0];
  for (let i = 1; i < parts.length; ++i) text += values[i - 1] + parts[i];
  return text;
}

/** The log as one object per line: {t, shape, numbers}. */
export function readLog(log) {
  let t = 0;
  return log.dt.map((dt, i) => ({ t: (t += dt), shape: log.shapes[log.shape[i]], numbers: log.numbers[i] }));
}
