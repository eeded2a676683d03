// The widget of fields and lists of fields: references to other modules, files, and what the network itself holds.
import {iconButton, make} from './dom.js';
import {chooseValue} from './files.js';

const kFileKeys = ['data_file', 'field_file'];

/** A button that leads to the module that a reference names. */
export function referenceButton(target, state) {
    const [module] = target.split(/[.[]/);
    return make(
        'button', {type: 'button', class: 'reference', title: `show ${module}`, onclick: () => state.select(module)},
        `→ ${target}`);
}

/** What one field comes from. */
function describe(value, context, put) {
    const {state, parameter} = context;
    const note =
        value?.convert ? make('small', {class: 'muted', title: JSON.stringify(value.convert)}, 'converted') : null;
    if (value?.ref) return make('div', {class: 'source'}, referenceButton(value.ref, state), note);
    const key = kFileKeys.find((name) => value?.[name]);
    if (!key) {
        const {dims} = value?.field ?? {};
        return make(
            'div', {class: 'source muted', title: JSON.stringify(value)},
            value === null ? 'none' : `${dims ? `${dims.join(' × ')} nodes, ` : ''}given in the network`);
    }
    const choose = async () => {
        const file = await chooseValue(context, value[key]);
        if (file !== null) put({...value, [key]: file});
    };
    return make(
        'div', {class: 'source'}, make('span', {class: 'file', title: value[key]}, value[key]), note,
        iconButton('folder', `choose a file for ${parameter.name}`, choose));
}

/** @param {Object} context  see widgets.js */
export function fieldsWidget(context) {
    const node = make('div', {class: 'sources', role: 'group', ...context.labels});
    let shown = null;
    return {
        node,
        show(value) {
            if (JSON.stringify(value) === shown) return;
            shown = JSON.stringify(value);
            const lines = Array.isArray(value) ?
                value.map((item, i) => describe(item, context, (changed) => context.edit.set(value.with(i, changed)))) :
                [describe(value, context, (changed) => context.edit.set(changed))];
            node.replaceChildren(...lines);
        },
    };
}
