// The widget of lists of colours: one per object, each from 0 to 1.
import {make} from './dom.js';

const kWhite = [1, 1, 1];  // what null stands for

const toHex = (color) => `#${color.map((part) => Math.round(part * 255).toString(16).padStart(2, '0')).join('')}`;
const fromHex =
    (text) => [1, 3, 5].map((start) => Number((parseInt(text.slice(start, start + 2), 16) / 255).toFixed(4)));

/** @param {Object} context  see widgets.js */
export function colorsWidget({name, labels, edit}) {
    const node = make('div', {class: 'colors', role: 'group', ...labels});
    let colors = [];
    const makeInput = (i) => make('input', {
        type: 'color',
        'aria-label': `${name}: object ${i + 1}`,
        oninput: ({target}) => edit.drag(colors.with(i, fromHex(target.value))),
        onchange: () => edit.rest(),
    });
    return {
        node,
        show(value) {
            colors = value ?? [];
            node.classList.toggle('none', colors.length === 0);
            while (node.children.length > colors.length) node.lastChild.remove();
            while (node.children.length < colors.length) node.append(makeInput(node.children.length));
            colors.forEach((color, i) => (node.children[i].value = toHex(color ?? kWhite)));
        },
    };
}
