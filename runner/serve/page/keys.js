// The keyboard: one table of keys, from which the help is made as well.
import {ask} from './dialogs.js';
import {byId, make} from './dom.js';

const kDegrees = 5;   // of an arrow
const kScale = 1.05;  // of + and -
const kMove = 0.05;   // of the picture's shorter side

/**
 * @param {{view: View, steps: Steps, toolbar: Toolbar, outputs: Outputs, graph: Graph, parameters: Parameters}} page
 * @returns {Array<{key: string, shown: string, does: string, run: function()}>} `key` is what the browser says, with
 *     "Ctrl+" and "Shift+" before
 */
function tableOf({view, steps, toolbar, outputs, graph, parameters}) {
    const look = (change) => () => {
        change();
        view.endSoon();
    };
    return [
        {key: 'ArrowLeft', shown: '←', does: 'turn to the left', run: look(() => view.turn(-kDegrees, 0))},
        {key: 'ArrowRight', shown: '→', does: 'turn to the right', run: look(() => view.turn(kDegrees, 0))},
        {key: 'ArrowUp', shown: '↑', does: 'turn upward', run: look(() => view.turn(0, -kDegrees))},
        {key: 'ArrowDown', shown: '↓', does: 'turn downward', run: look(() => view.turn(0, kDegrees))},
        {key: '<', shown: '<', does: 'roll to the left', run: look(() => view.turn(0, 0, -kDegrees))},
        {key: '>', shown: '>', does: 'roll to the right', run: look(() => view.turn(0, 0, kDegrees))},
        {key: 'Shift+ArrowLeft', shown: 'Shift ←', does: 'move to the left', run: look(() => view.move(-kMove, 0))},
        {key: 'Shift+ArrowRight', shown: 'Shift →', does: 'move to the right', run: look(() => view.move(kMove, 0))},
        {key: 'Shift+ArrowUp', shown: 'Shift ↑', does: 'move upward', run: look(() => view.move(0, kMove))},
        {key: 'Shift+ArrowDown', shown: 'Shift ↓', does: 'move downward', run: look(() => view.move(0, -kMove))},
        {key: '+', shown: '+', does: 'larger', run: look(() => view.scale(kScale))},
        {key: '-', shown: '−', does: 'smaller', run: look(() => view.scale(1 / kScale))},
        {key: '[', shown: '[', does: 'the output before', run: () => outputs.step(-1)},
        {key: ']', shown: ']', does: 'the next output', run: () => outputs.step(1)},
        {key: ' ', shown: 'Space', does: 'play or stop', run: () => steps.toggle()},
        {key: ',', shown: ',', does: 'one step back', run: () => steps.move(-1)},
        {key: '.', shown: '.', does: 'one step on', run: () => steps.move(1)},
        {key: 'g', shown: 'G', does: 'to the graph', run: () => graph.focus()},
        {key: 'p', shown: 'P', does: 'to the parameters', run: () => parameters.focus()},
        {key: 'Ctrl+z', shown: 'Ctrl Z', does: 'undo', run: () => toolbar.undo()},
        {key: 'Ctrl+Shift+z', shown: 'Ctrl Shift Z', does: 'redo', run: () => toolbar.redo()},
        {key: 'Ctrl+o', shown: 'Ctrl O', does: 'open a file', run: () => toolbar.open()},
        {key: 'Ctrl+s', shown: 'Ctrl S', does: 'save the network', run: () => toolbar.save()},
        {key: 'r', shown: 'R', does: 'record, or end it', run: () => toolbar.record()},
    ];
}

const kOfPointers = [
    ['drag', 'turn the picture'],
    ['Shift drag', 'move it'],
    ['Alt drag', 'roll it'],
    ['wheel, pinch', 'scale it'],
    ['click', 'in curves: add a point'],
    ['Enter', 'at a point: add the next'],
    ['Delete', 'at a point: remove it'],
];

const nameOf = ({key, ctrlKey, metaKey, shiftKey}) => {
    const control = ctrlKey || metaKey;
    const plain = key.length === 1 ? key.toLowerCase() : key;
    return `${control ? 'Ctrl+' : ''}${shiftKey && (control || key.length > 1) ? 'Shift+' : ''}${plain}`;
};

/** Whether the element that has the keyboard uses a key itself. */
function isTaken(element, name) {
    if (name.startsWith('Ctrl+')) return element.matches('input[type=text], input[type=number]') && name.endsWith('z');
    if (element.matches('input, select, textarea')) return true;
    return element.matches('button, [role=button]') && (name === ' ' || name === 'Enter');
}

/** Lets the keys of the table do what it says, and `?` show it. */
export function listenForKeys(page) {
    const table = tableOf(page);
    const keys = new Map(table.map(({key, run}) => [key, run]));
    keys.set('?', () => showHelp(table));
    document.addEventListener('keydown', (event) => {
        const name = nameOf(event);
        const run = keys.get(name);
        if (!run || event.altKey || byId('page').inert || document.querySelector('dialog') ||
            isTaken(event.target, name))
            return;
        event.preventDefault();
        run();
    });
    return {showHelp: () => showHelp(table)};
}

function showHelp(table) {
    const makeRow = ([key, does]) => make('div', {}, make('dt', {}, make('kbd', {}, key)), make('dd', {}, does));
    const rows = [...table.map(({shown, does}) => [shown, does]), ...kOfPointers];
    return ask('Keys', () => [make('dl', {class: 'keys'}, ...rows.map(makeRow))]);
}
