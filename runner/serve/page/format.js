// Numbers as people read them.

/** @param {number} milliseconds */
export function duration(milliseconds) {
    if (milliseconds >= 9999.5) return `${(milliseconds / 1000).toFixed(1)} s`;
    return milliseconds >= 9.95 ? `${Math.round(milliseconds)} ms` : `${milliseconds.toFixed(1)} ms`;
}

/** @param {number} count  of bytes */
export function bytes(count) {
    if (count < 1000) return `${count} B`;
    const power = Math.min(4, Math.floor(Math.log10(count) / 3));
    return `${(count / 1000 ** power).toPrecision(3)} ${['', 'kB', 'MB', 'GB', 'TB'][power]}`;
}

/** A number in at most `digits` significant digits. */
export function short(number, digits = 6) {
    return typeof number === 'number' ? String(Number(number.toPrecision(digits))) : String(number);
}
