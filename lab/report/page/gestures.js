// Fingers on the charts: one moves the axis sideways, two zoom it. The page itself still scrolls up and down.

export function startGestures(element, axis, gutter) {
  const fingers = new Map(); // pointer id -> x
  const width = () => Math.max(element.clientWidth - gutter, 1);
  const momentAt = (x) => axis.min + ((x - element.getBoundingClientRect().left - gutter) / width()) * axis.span;
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
    element.addEventListener(end, (event) => fingers.delete(event.pointerId));
  }
}
