// Fingers and the wheel on the charts. One finger moves the axis sideways, two zoom it; the page itself still scrolls up
// and down. The wheel zooms about the pointer with Ctrl (which is also what a pinch on a touchpad says), and alone once
// the charts have the focus; sideways it moves.

const WHEEL_ZOOM = 0.0022; // the logarithm of the zoom for a pixel of the wheel
const LINE_PIXELS = 30; // of a wheel that counts lines

/**
 * @param {HTMLElement} element
 * @param {import("./axis.js").Axis} axis
 * @param {number} left what is not part of the axis, in pixels, at the element's left edge
 * @param {number} right and at its right edge
 */
export function startGestures(element, axis, left, right) {
  const fingers = new Map(); // pointer id -> x
  const width = () => Math.max(element.clientWidth - left - right, 1);
  const momentAt = (x) => axis.min + ((x - element.getBoundingClientRect().left - left) / width()) * axis.span;
  const spread = () => {
    const [a, b] = fingers.values();
    return [Math.max(Math.abs(a - b), 10), (a + b) / 2];
  };
  element.addEventListener("pointerdown", (event) => {
    if (event.pointerType === "touch") fingers.set(event.pointerId, event.clientX);
  });
  element.addEventListener("pointermove", (event) => {
    if (!fingers.has(event.pointerId)) return;
    if (fingers.size === 1) axis.pan((fingers.get(event.pointerId) - event.clientX) / width());
    const before = fingers.size === 2 ? spread() : null;
    fingers.set(event.pointerId, event.clientX);
    if (before) axis.zoom(before[0] / spread()[0], momentAt(before[1]));
  });
  for (const end of ["pointerup", "pointercancel", "pointerleave"]) {
    element.addEventListener(end, (event) => fingers.delete(/** @type {PointerEvent} */ (event).pointerId));
  }
  element.addEventListener(
    "wheel",
    (event) => {
      const pixels = event.deltaMode === 0 ? 1 : LINE_PIXELS;
      const isZoom =
        event.ctrlKey || event.metaKey || (document.activeElement === element && Math.abs(event.deltaY) > Math.abs(event.deltaX));
      if (isZoom) axis.zoom(Math.exp(event.deltaY * pixels * WHEEL_ZOOM * (event.ctrlKey ? 3 : 1)), momentAt(event.clientX));
      else if (Math.abs(event.deltaX) > Math.abs(event.deltaY)) axis.pan((event.deltaX * pixels) / width());
      else return;
      event.preventDefault();
    },
    { passive: false },
  );
}
