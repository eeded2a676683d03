// The widget of transforms: three angles, the scale and the translation.
import {make} from './dom.js';
import {makeEntry} from './entry.js';
import {short} from './format.js';
import {toParts} from './transform.js';

const kAxes = ['x', 'y', 'z'];
const kDigits = 4;  // that are shown

/**
 * One number of the transform, with a slider if it has a range.
 * @param {string} label
 * @param {?number[]} range
 * @param {function(Object): number} get  of the parts
 * @param {function(Object, number): Object} put  the parts with another number
 * @param {{name: string, edit: Object}} context  see widgets.js
 * @param {function(): Object} parts  as they are now
 */
function makePart(label, range, get, put, {name, edit}, parts) {
    const named = {'aria-label': `${name}: ${label}`, title: label};
    const number = makeEntry({type: 'number', step: 'any', ...named}, ({valueAsNumber}) => {
        if (Number.isFinite(valueAsNumber)) edit.set(put(parts(), valueAsNumber));
    });
    const slider = range && make('input', {
                       type: 'range',
                       min: range[0],
                       max: range[1],
                       step: 0.5,
                       ...named,
                       oninput: ({target}) => edit.drag(put(parts(), target.valueAsNumber)),
                       onchange: () => edit.rest(),
                   });
    return {
        nodes: slider ? [slider, number.node] : [number.node],
        show(now) {
            if (slider) slider.value = get(now);
            number.show(short(get(now), kDigits));
        },
    };
}

/** The transform as network files write it. */
function written({rotate, scale, translate}) {
    return {rotate, scale, ...(translate.some((number) => number !== 0) ? {translate} : {})};
}

/** @param {Object} context  see widgets.js */
export function transformWidget(context) {
    let now = toParts(null);
    const partOf = (label, range, get, put) =>
        makePart(label, range, get, (before, number) => written(put(before, number)), context, () => now);
    const listPart = (key, i, label, range) => partOf(
        label, range, (parts) => parts[key][i], (parts, number) => ({...parts, [key]: parts[key].with(i, number)}));
    const turns = kAxes.map((axis, i) => listPart('rotate', i, `turn ${axis}`, [-180, 180]));
    const scale = partOf('scale', null, (parts) => parts.scale, (parts, number) => ({...parts, scale: number}));
    const moves = kAxes.map((axis, i) => listPart('translate', i, `move ${axis}`, null));
    const line = (label, kind, parts) =>
        [make('span', {class: 'part'}, label), make('div', {class: kind}, ...parts.flatMap(({nodes}) => nodes))];

    const table = make(
        'div', {class: 'parts'}, ...turns.flatMap((turn, i) => line(`turn ${kAxes[i]}`, 'number', [turn])),
        ...line('scale', 'thirds', [scale]), ...line('move', 'thirds', moves));
    const other = make('p', {class: 'muted'}, 'A matrix that does more than turn, scale and move.');
    return {
        node: make('div', {}, table, other),
        show(value) {
            const found = toParts(value ?? context.state.parameter(context.name).now ?? null);
            other.hidden = found !== null;
            table.hidden = found === null;
            if (!found) return;
            now = found;
            for (const part of [...turns, scale, ...moves]) part.show(now);
        },
    };
}
