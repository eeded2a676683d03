// Puts the page together.
import {Changes} from './changes.js';
import {Connection} from './connection.js';
import {byId} from './dom.js';
import {listenForDrags} from './drag.js';
import {listenForGamepads} from './gamepad.js';
import {Graph} from './graph.js';
import {listenForKeys} from './keys.js';
import {say, showStatus} from './messages.js';
import {Outputs} from './outputs.js';
import {Parameters} from './parameters.js';
import {Picture} from './picture.js';
import {Reports} from './reports.js';
import {State} from './state.js';
import {Steps} from './steps.js';
import {Toolbar} from './toolbar.js';
import {View} from './view.js';

const connection = new Connection();
const state = new State();
const changes = new Changes(connection, state, say);
const view = new View(state, changes);
const picture = new Picture(connection, state);
const outputs = new Outputs(state, (name) => picture.choose(name).catch((error) => say(error.message)));
const graph = new Graph(state, connection);
const parameters = new Parameters(state, changes, connection);
const steps = new Steps(state, connection);
const toolbar = new Toolbar(state, connection, say);
new Reports(state, connection);

listenForDrags(byId('sheet'), () => picture.place, view);
listenForGamepads(connection, say);
const {showHelp} = listenForKeys({view, steps, toolbar, outputs, graph, parameters});
byId('help').addEventListener('click', showHelp);
state.listen(() => byId('sheet').classList.toggle('turnable', view.turnable));

connection.addEventListener('state', ({detail}) => {
    state.take(detail);
    byId('page').inert = false;
});
connection.addEventListener('status', ({detail}) => {
    showStatus(detail);
    if (detail === 'connected') return;
    byId('page').inert = true;  // until the server has told how things stand
    state.forget();
    picture.forget();
});
connection.open();
