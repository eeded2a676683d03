// One widget per kind of parameter: numbers with sliders, choices, file names, texts, triggers, references and whatever
// else a network file can say. A widget is `{node, show(value)}`; `show` is given null where the network says nothing.
import {colorTableWidget, datamapsWidget} from './color_tables.js';
import {colorsWidget} from './colors_widget.js';
import {iconButton, make} from './dom.js';
import {makeEntry} from './entry.js';
import {fieldsWidget, referenceButton} from './fields_widget.js';
import {chooseValue} from './files.js';
import {bytes} from './format.js';
import {numberWidget} from './number_widget.js';
import {transformWidget} from './transform_widget.js';

/**
 * What a widget is made from.
 * @typedef {Object} Context
 * @property {string} module
 * @property {string} name  "module.parameter"
 * @property {Object} parameter  of the state
 * @property {Object} labels  attributes that name the main element of the widget
 * @property {{set: function(*), drag: function(*), rest: function()}} edit  a whole change; a change of a drag; its end
 * @property {State} state
 * @property {Connection} connection
 */

const asText = (value) => (value === null ? '' : JSON.stringify(value));

function choiceWidget({parameter, labels, edit}) {
    const texts = parameter.choices.map(([, text]) => text);
    const select = make(
        'select', {...labels, onchange: () => edit.set(parameter.choices[select.selectedIndex][0])},
        ...texts.map((text) => make('option', {}, text)));
    return {
        node: select,
        show(value) {
            select.selectedIndex = parameter.choices.findIndex(([choice]) => choice === (value ?? parameter.default));
        },
    };
}

function textWidget(context) {
    const {parameter, labels, edit} = context;
    const input = makeEntry({type: 'text', ...labels}, ({value}) => edit.set(value));
    const choose = async () => {
        const file = await chooseValue(context, input.node.value);
        if (file !== null) edit.set(file);
    };
    return {
        node: make(
            'div', {class: 'text'}, input.node,
            parameter.file ? iconButton('folder', `choose a file for ${parameter.name}`, choose) : null),
        show: (value) => input.show(value ?? parameter.default ?? ''),
    };
}

function triggerWidget({parameter, labels, edit}) {
    let now = 0;
    const button =
        make('button', {type: 'button', onclick: () => edit.set(now), ...labels, title: parameter.meaning}, 'Trigger');
    return {node: button, show: (value) => (now = value ?? parameter.default ?? 0)};
}

function referenceWidget({parameter, state}) {
    return {node: referenceButton(parameter.ref, state), show() {}};
}

/** A value that is too large to be shown. */
function largeWidget({parameter, labels}) {
    return {
        node: make('span', {class: 'muted', ...labels}, `${bytes(parameter.large)} of text in the network`),
        show() {}
    };
}

/** Any value, as network files write it. */
function writtenWidget({parameter, labels, edit}) {
    const input = makeEntry({type: 'text', class: 'written', placeholder: 'none', ...labels}, (typed) => {
        try {
            typed.setCustomValidity('');
            edit.set(typed.value === '' ? null : JSON.parse(typed.value));
        } catch {
            typed.setCustomValidity('as in network files: a number, a "text", a [list] or an {object}');
            typed.reportValidity();
        }
    });
    return {node: input.node, show: (value) => input.show(asText(value ?? parameter.default ?? null))};
}

/**
 * The widget of a parameter.
 * @param {Context} context
 * @returns {{node: HTMLElement, show: function(*): void, wide: boolean}} wide: it takes the whole width
 */
export function makeWidget(context) {
    const {parameter} = context;
    if (parameter.ref && parameter.kind !== 'field') return {...referenceWidget(context), wide: false};
    if (parameter.large) return {...largeWidget(context), wide: false};
    if (parameter.choices) return {...choiceWidget(context), wide: false};
    const [makeKind, wide] = {
        int: [numberWidget, false],
        real: [numberWidget, false],
        text: [textWidget, false],
        trigger: [triggerWidget, false],
        field: [fieldsWidget, false],
        fields: [fieldsWidget, false],
        colors: [colorsWidget, false],
        transform: [transformWidget, true],
        color_table: [colorTableWidget, true],
        datamap: [colorTableWidget, true],
        datamaps: [datamapsWidget, true],
    }[parameter.kind] ??
        [writtenWidget, false];
    return {...makeKind(context), wide};
}
