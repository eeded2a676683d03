// Curves of colour tables: 256 values from 0 to 255, or points [index, value] with ascending indices that are joined
// linearly.

export const kChannels = ['alpha', 'red', 'green', 'blue'];
export const kEntries = 256;

const kTolerance = 1.5;  // by which simplified curves may be off, of 255

/** The 256 values of a curve in either form, not rounded; level beyond the first and last point. */
export function sample(curve) {
    if (typeof curve[0] === 'number') return curve;
    let next = 0;
    return Array.from({length: kEntries}, (_, index) => {
        while (next < curve.length && curve[next][0] < index) next += 1;
        if (next === 0) return curve[0][1];
        if (next === curve.length) return curve[next - 1][1];
        const [[x0, y0], [x1, y1]] = [curve[next - 1], curve[next]];
        return y0 + ((y1 - y0) * (index - x0)) / (x1 - x0);
    });
}

/** The points of a curve in either form; of 256 values as few as describe them (after Ramer, Douglas and Peucker). */
export function toPoints(curve) {
    if (typeof curve[0] !== 'number') return curve;
    const pointsWithin = (first, last) => {
        let [worst, where] = [kTolerance, 0];
        for (let i = first + 1; i < last; i += 1) {
            const joined = curve[first] + ((curve[last] - curve[first]) * (i - first)) / (last - first);
            const off = Math.abs(curve[i] - joined);
            if (off > worst) [worst, where] = [off, i];
        }
        return where ? [...pointsWithin(first, where), where, ...pointsWithin(where, last)] : [];
    };
    return [0, ...pointsWithin(0, kEntries - 1), kEntries - 1].map((index) => [index, Math.round(curve[index])]);
}

/**
 * The curve of a channel of a colour table or datamap as network files write it, with what holds where nothing is
 * given.
 * @param {Object} table
 * @param {string} channel  one of kChannels
 * @param {Object<string, string[]>} presets  256 colours each, as "#rrggbb"
 */
export function curveOf(table, channel, presets) {
    const ramp = [[0, 0], [kEntries - 1, 255]];
    if (Array.isArray(table[channel])) return table[channel];
    if (channel === 'alpha') return table.range ? [[0, 255], [kEntries - 1, 255]] : ramp;
    const colors = presets[table.preset];
    const start = 2 * kChannels.indexOf(channel) - 1;  // of the two digits
    return colors ? colors.map((color) => parseInt(color.slice(start, start + 2), 16)) : ramp;
}

/** Curves with a point moved; it stays between its neighbours, or, as an end, where it may go. */
export function movePoint(points, which, index, value) {
    const lowest = which > 0 ? points[which - 1][0] + 1 : 0;
    const highest = which < points.length - 1 ? points[which + 1][0] - 1 : kEntries - 1;
    const clamp = (number, low, high) => Math.max(low, Math.min(high, Math.round(number)));
    return points.with(which, [clamp(index, lowest, highest), clamp(value, 0, 255)]);
}

/** Curves with one more point, at a free index; `which` is where it went, -1 if there was no room. */
export function addPoint(points, index, value) {
    const place = Math.max(0, Math.min(kEntries - 1, Math.round(index)));
    const after = points.findIndex(([other]) => other >= place);
    const which = after < 0 ? points.length : after;
    if (points[which]?.[0] === place) return {points, which: -1};
    return {points: points.toSpliced(which, 0, [place, Math.max(0, Math.min(255, Math.round(value)))]), which};
}
