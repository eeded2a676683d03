// What modules report, each beside its module's name, what is wrong with a network that cannot run, and how the last
// run was.
import {byId, make} from './dom.js';
import {bytes, duration} from './format.js';

export class Reports {
    #state;
    #told = '';  // the reports that are shown

    /** @param {State} state @param {Connection} connection */
    constructor(state, connection) {
        this.#state = state;
        state.listen(() => this.#update());
        byId('back').addEventListener('click', () => (byId('problems').hidden = true));
        connection.addEventListener('progress', ({detail: {module, percent, text}}) => {
            byId('progress').hidden = false;
            byId('progress').value = percent;
            byId('run').textContent = [`${module} ${percent} %`, text].filter(Boolean).join(', ');
        });
    }

    #update() {
        const {modules, problems, reports, milliseconds, memory} = this.#state.now;
        byId('progress').hidden = true;
        byId('progress').value = 0;
        byId('run').textContent = modules.length ? `run in ${duration(milliseconds)}` : 'not run';
        byId('memory').textContent = bytes(memory);
        const told = JSON.stringify([problems, reports, modules.map(({name, reports}) => [name, reports])]);
        if (told === this.#told) return;
        this.#told = told;
        this.#showProblems(problems);
        this.#showReports([{name: '', reports}, ...modules].flatMap(
            (module) => module.reports.map((report) => ({name: module.name, ...report}))));
    }

    #showProblems(problems) {
        const {modules, file} = this.#state.now;
        byId('problems').hidden = problems.length === 0;
        byId('back').hidden = modules.length === 0;  // what was open before still is
        byId('back').textContent = `Back to ${file}`;
        byId('problem-list')
            .replaceChildren(...problems.map(({place, text}) => make('li', {}, make('code', {}, place), text)));
    }

    #showReports(reports) {
        byId('reports').hidden = reports.length === 0;
        byId('reports').replaceChildren(...reports.map(
            ({name, severity, text}) => make(
                'li', {class: severity},
                name ? make(
                           'button', {type: 'button', title: `show ${name}`, onclick: () => this.#state.select(name)},
                           name) :
                       make('span', {}, 'network'),
                make('span', {class: 'severity'}, severity), make('span', {class: 'text'}, text))));
    }
}
