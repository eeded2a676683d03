// Widgets of colour tables, datamaps and lists of datamaps: presets to click, the range of datamaps, and the curves.
import {Curves} from './curves.js';
import {make} from './dom.js';
import {makeEntry} from './entry.js';
import {short} from './format.js';
import {latest} from './latest.js';

/** A table that is written by presets and curves, rather than by references or arrays. */
const isWritten = (table) => table !== null && typeof table === 'object' && !table.ref && !table.group;

/** A button with the colours of a preset. */
function presetButton(name, colors, onclick) {
    const strip = make('canvas', {width: colors.length, height: 1, 'aria-hidden': 'true'});
    const context = strip.getContext('2d');
    colors.forEach((color, i) => {
        context.fillStyle = color;
        context.fillRect(i, 0, 1, 1);
    });
    return make(
        'button', {type: 'button', class: 'preset', 'aria-label': `preset ${name}`, title: name, onclick}, strip);
}

/**
 * The widget of one table.
 * @param {Object} context  see widgets.js
 * @param {function(): string} dataOf  the path of the field whose histogram is shown
 * @returns {{node: HTMLElement, show: function(Object): void}}
 */
function tableWidget({module, name, edit, state, connection}, dataOf) {
    let table = {};
    let counted = '';  // what the histogram was made of
    const curves = new Curves(name, {drag: (changed) => edit.drag(changed), rest: () => edit.rest()});
    const ends = ['lowest', 'highest'].map(
        (which, i) => makeEntry(
            {type: 'number', step: 'any', 'aria-label': `${name}: ${which} value`},
            ({valueAsNumber}) =>
                Number.isFinite(valueAsNumber) && edit.set({...table, range: table.range.with(i, valueAsNumber)})));
    const range = make('div', {class: 'ends'}, ends[0].node, make('span', {}, 'to'), ends[1].node);
    const presets = make('div', {class: 'presets'});
    const node = make('div', {class: 'color-table'}, presets, curves.node, range);

    function choose(preset) {
        const {red, green, blue, ...rest} = table;
        edit.set({...rest, preset});
    }

    const showHistogram = latest(async (of, inputs) => {
        if (inputs === counted) return;
        const histogram = of ? await connection.get('histogram', {of}).catch(() => null) :
                               null;  // silent: a field without values has none
        if (histogram) counted = inputs;
        curves.showHistogram(histogram, table.range ?? [0, 255]);
    });

    return {
        node,
        show(value) {
            table = value;
            if (!presets.children.length) {
                presets.append(...Object.entries(state.now.presets)
                                   .map(([preset, colors]) => presetButton(preset, colors, () => choose(preset))));
            }
            Object.keys(state.now.presets).forEach((preset, i) => {
                presets.children[i].setAttribute(
                    'aria-pressed', preset === table.preset && !table.red && !table.green && !table.blue);
            });
            range.hidden = !table.range;
            ends.forEach((entry, i) => entry.show(table.range ? short(table.range[i], 9) : ''));
            curves.show(table, state.now.presets);
            if (state.settled) showHistogram(dataOf(), JSON.stringify([dataOf(), table.range, state.inputsOf(module)]));
        },
    };
}

/** The first input of the module that is a field: what a lone table colours. */
function coloredInput(module, state) {
    const input = state.module(module)?.parameters.find(
        ({kind, direction, value}) => kind === 'field' && direction !== 'out' && value !== null);
    return input && `${module}.${input.name}`;
}

/** The widget of a parameter that is a colour table or a datamap. */
export function colorTableWidget(context) {
    const {module, state, parameter} = context;
    const widget = tableWidget(context, () => coloredInput(module, state));
    return {
        node: widget.node,
        show(value) {
            widget.node.inert = value !== null && !isWritten(value);  // arrays of its own
            widget.show(isWritten(value) ? value : parameter.default ?? {preset: 'gray'});
        },
    };
}

/** The widget of a list of datamaps: one of them at a time. */
export function datamapsWidget(context) {
    const {name, module, state, edit} = context;
    let maps = [];
    let chosen = 0;
    const choice =
        make('select', {'aria-label': `${name}: which object`, onchange: () => show(maps, choice.selectedIndex)});
    const replaced = (map) => maps.with(chosen, map);
    const widget = tableWidget(
        {
            ...context,
            edit: {
                set: (map) => edit.set(replaced(map)),
                drag: (map) => edit.drag(replaced(map)),
                rest: () => edit.rest()
            }
        },
        () => `${module}.objects[${chosen}]`);
    const table = make('div', {}, choice, widget.node);
    const node = make('div', {}, table);

    function show(value, which = chosen) {
        maps = Array.isArray(value) ? value : [];
        chosen = isWritten(maps[which]) ? which : maps.findIndex(isWritten);
        choice.replaceChildren(...maps.map(
            (map, i) => make('option', {disabled: !isWritten(map), selected: i === chosen}, `of object ${i + 1}`)));
        table.hidden = chosen < 0;
        node.classList.toggle('none', table.hidden);
        if (chosen >= 0) widget.show(maps[chosen]);
    }
    return {node, show};
}
