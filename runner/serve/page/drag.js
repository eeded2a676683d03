// Pointers over the picture: one turns, two pinch, the wheel scales.

const kDegreesPerSide = 180;    // a drag over the picture's shorter side turns by half a turn
const kScalePerPixel = 0.0015;  // of the wheel, natural logarithm
const kLinePixels = 16;         // of wheels that count lines

/** The middle of two points, their distance and the direction from one to the other in degrees, y downward. */
function pinchOf([a, b]) {
    const [dx, dy] = [b.x - a.x, b.y - a.y];
    return {
        x: (a.x + b.x) / 2,
        y: (a.y + b.y) / 2,
        length: Math.hypot(dx, dy),
        angle: (Math.atan2(dy, dx) * 180) / Math.PI
    };
}

/**
 * Lets pointers turn, move and scale the view.
 * @param {HTMLElement} surface  where they are listened to
 * @param {function(): DOMRect} place  of the picture
 * @param {View} view
 */
export function listenForDrags(surface, place, view) {
    const pointers = new Map();  // by their ids

    const side = () => Math.min(place().width, place().height) || 1;

    function dragOne(event, before) {
        const [dx, dy] = [event.clientX - before.x, event.clientY - before.y];
        if (event.shiftKey || event.buttons > 1)
            view.move(dx / side(), -dy / side());
        else if (event.altKey)
            view.turn(0, 0, (dx * kDegreesPerSide) / side());
        else
            view.turn((dx * kDegreesPerSide) / side(), (dy * kDegreesPerSide) / side());
    }

    function dragTwo(before, now) {
        view.turn(0, 0, now.angle - before.angle);
        if (before.length > 0 && now.length > 0) view.scale(now.length / before.length);
        view.move((now.x - before.x) / side(), (before.y - now.y) / side());
    }

    surface.addEventListener('pointerdown', (event) => {
        if (!view.turnable || pointers.size === 2) return;
        surface.setPointerCapture(event.pointerId);
        surface.classList.add('dragging');
        pointers.set(event.pointerId, {x: event.clientX, y: event.clientY});
    });
    surface.addEventListener('pointermove', (event) => {
        const before = pointers.get(event.pointerId);
        if (!before) return;
        const pinch = pointers.size === 2 && pinchOf([...pointers.values()]);
        pointers.set(event.pointerId, {x: event.clientX, y: event.clientY});
        if (pinch)
            dragTwo(pinch, pinchOf([...pointers.values()]));
        else
            dragOne(event, before);
    });
    for (const name of ['pointerup', 'pointercancel']) {
        surface.addEventListener(name, (event) => {
            if (!pointers.delete(event.pointerId) || pointers.size) return;
            surface.classList.remove('dragging');
            view.end();
        });
    }
    surface.addEventListener('wheel', (event) => {
        if (!view.turnable) return;
        event.preventDefault();
        const pixels = event.deltaY * (event.deltaMode === WheelEvent.DOM_DELTA_LINE ? kLinePixels : 1);
        view.scale(Math.exp(-pixels * kScalePerPixel));
        view.endSoon();
    }, {passive: false});
    surface.addEventListener('contextmenu', (event) => event.preventDefault());
}
