// Transforms in the forms of network files, and as 4 x 4 matrices (16 numbers, row by row, for row vectors). Degrees,
// right-handed.

const kIdentity = [1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1];
const kRadians = Math.PI / 180;

const rounded = (number, digits) => Number(number.toFixed(digits)) + 0;  // + 0: no -0

/** First `a`, then `b`. */
export function multiply(a, b) {
    return a.map((_, i) => {
        const row = i - (i % 4);
        return [0, 1, 2, 3].reduce((sum, k) => sum + a[row + k] * b[4 * k + (i % 4)], 0);
    });
}

/** A turn about axis 0 (x), 1 (y) or 2 (z). */
export function rotation(axis, degrees) {
    const [from, to] = [(axis + 1) % 3, (axis + 2) % 3];
    const result = [...kIdentity];
    result[5 * from] = result[5 * to] = Math.cos(degrees * kRadians);
    result[4 * from + to] = Math.sin(degrees * kRadians);
    result[4 * to + from] = -Math.sin(degrees * kRadians);
    return result;
}

export function scaling(factor) { return kIdentity.map((number, i) => (i < 15 ? number * factor : number)); }

export function translation([x, y, z]) { return [...kIdentity.slice(0, 12), x, y, z, 1]; }

function fromParts({rotate = [0, 0, 0], scale = 1, translate = [0, 0, 0]}) {
    return [scaling(scale), ...rotate.map((degrees, axis) => rotation(axis, degrees)), translation(translate)].reduce(
        multiply);
}

/**
 * The matrix of a value, or null for forms that say it in another way (references, groups).
 * @param {?Object} value  null: no transform is given
 */
export function toMatrix(value) {
    if (value === null) return kIdentity;
    if (value.matrix) return value.matrix;
    if (value.mat || value.xlate || value.center) {
        const {mat = kIdentity, xlate = [0, 0, 0], center = [0, 0, 0]} = value;
        return [translation(center.map((number) => -number)), mat, translation(xlate), translation(center)].reduce(
            multiply);
    }
    return value.ref || value.group ? null : fromParts(value);
}

/** Angles, scale and translation of a matrix, or null if it does more than these. */
function decompose(matrix) {
    const rows = [0, 4, 8].map((start) => matrix.slice(start, start + 3));
    const dot = (a, b) => a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
    const scale = Math.sqrt(dot(rows[0], rows[0]));
    const cross = [1, 2, 0].map((i, k) => rows[0][i] * rows[1][[2, 0, 1][k]] - rows[0][[2, 0, 1][k]] * rows[1][i]);
    const even = rows.every(
        (row, i) => rows.every((other, k) => Math.abs(dot(row, other) / scale ** 2 - (i === k ? 1 : 0)) < 1e-4));
    if (!(scale > 0) || !even || dot(cross, rows[2]) < 0) return null;
    const m = rows.map((row) => row.map((number) => number / scale));
    const y = Math.asin(Math.max(-1, Math.min(1, -m[0][2])));
    // looking along x, turns about x and z are the same one: all of it is given to x
    const along = Math.abs(m[0][2]) > 1 - 1e-9;
    const x = along ? Math.atan2(-m[2][1], m[1][1]) : Math.atan2(m[1][2], m[2][2]);
    const z = along ? 0 : Math.atan2(m[0][1], m[0][0]);
    return {rotate: [x, y, z].map((angle) => angle / kRadians), scale, translate: matrix.slice(12, 15)};
}

/** Angles, scale and translation of a value, or null if they do not describe it. */
export function toParts(value) {
    if (value && (value.rotate || value.scale !== undefined || value.translate)) {
        return {rotate: value.rotate ?? [0, 0, 0], scale: value.scale ?? 1, translate: value.translate ?? [0, 0, 0]};
    }
    const matrix = toMatrix(value);
    return matrix && decompose(matrix);
}

/**
 * The value that a network file should have: angles, scale and translation where these are enough, in round numbers.
 */
export function fromMatrix(matrix) {
    const parts = decompose(matrix);
    if (!parts) return {matrix: matrix.map((number) => rounded(number, 6))};
    const value = {rotate: parts.rotate.map((angle) => rounded(angle, 2)), scale: Number(parts.scale.toPrecision(5))};
    const translate = parts.translate.map((number) => rounded(number, 5));
    return translate.some((number) => number !== 0) ? {...value, translate} : value;
}
