// The network as a graph: drawn by the server, coloured by the modules' states here. Choosing a module shows its
// parameters.
import {byId, make, makeSvg} from './dom.js';
import {duration} from './format.js';

/** What is said of a module in one line: its state ("waiting", "failed"), or how long it took. */
function summary({state, milliseconds}) { return state === 'ran' ? duration(milliseconds) : state; }

const kSmallest = 0.7;  // of a drawing, so that its letters can be read

export class Graph {
    #state;
    #place = byId('graph');
    #drawn = null;         // the SVG text, or the names of a list, that is there
    #modules = new Map();  // by name: the element that stands for it

    /** @param {State} state @param {Connection} connection */
    constructor(state, connection) {
        this.#state = state;
        state.listen(() => this.#update());
        connection.addEventListener('progress', ({detail}) => this.#showRunning(detail.module));
    }

    /** Moves the keyboard to the chosen module. */
    focus() { this.#modules.get(this.#state.selected?.name)?.focus(); }

    #update() {
        const {graph, modules} = this.#state.now;
        const wanted = graph || JSON.stringify(modules.map(({name}) => name));
        if (wanted !== this.#drawn) {
            this.#drawn = wanted;
            this.#modules = graph ? this.#drawGraph(graph) : this.#drawList();
        }
        const selected = this.#state.selected?.name;
        for (const module of modules) {
            const element = this.#modules.get(module.name);
            if (!element) continue;
            element.setAttribute('class', `module ${module.state}${module.name === selected ? ' selected' : ''}`);
            element.setAttribute('aria-label', `${module.name}: ${summary(module)}`);
            if (module.name === selected && element.getAttribute('aria-pressed') !== 'true')
                element.scrollIntoView({block: 'nearest', inline: 'nearest'});
            element.setAttribute('aria-pressed', module.name === selected);
            element.querySelector('.time').textContent = summary(module);
        }
    }

    /** Until the next state, which comes when the run has ended. */
    #showRunning(name) {
        for (const element of this.#place.querySelectorAll('.running')) element.classList.remove('running');
        const element = this.#modules.get(name);
        if (!element) return;
        element.classList.add('running');
        element.querySelector('.time').textContent = 'running';
    }

    /** Of the server's drawing; the line with the entry's name gives way to that with state and time. */
    #drawGraph(text) {
        const drawing =
            document.importNode(new DOMParser().parseFromString(text, 'image/svg+xml').documentElement, true);
        drawing.setAttribute('aria-label', 'modules and their connections');
        const width = drawing.viewBox.baseVal.width;
        drawing.style.width = `clamp(${kSmallest * width}px, 100%, ${width}px)`;
        for (const title of drawing.querySelectorAll('title')) title.remove();
        this.#place.replaceChildren(drawing);
        const found = this.#state.now.modules.map(({name, use}) => {
            const group = drawing.querySelector(`#${CSS.escape(`module-${name}`)}`);
            if (!group) return [name, null];
            const lines = group.querySelectorAll('text');
            lines[0]?.classList.add('name');
            lines[lines.length - 1]?.classList.add('time');
            group.append(makeSvg('title', {}, use));
            group.setAttribute('role', 'button');
            group.setAttribute('tabindex', '0');
            group.addEventListener('click', () => this.#state.select(name));
            group.addEventListener('keydown', (event) => {
                if (event.key !== 'Enter' && event.key !== ' ') return;
                event.preventDefault();
                event.stopPropagation();
                this.#state.select(name);
            });
            return [name, group];
        });
        return new Map(found.filter(([, group]) => group));
    }

    /** Where the server cannot draw graphs. */
    #drawList() {
        const makeButton = ({name, use}) => make(
            'button', {type: 'button', title: use, onclick: () => this.#state.select(name)}, name,
            make('span', {class: 'time'}));
        const {modules} = this.#state.now;
        const buttons = modules.map(makeButton);
        this.#place.replaceChildren(make('div', {class: 'module-list'}, ...buttons));
        return new Map(modules.map(({name}, i) => [name, buttons[i]]));
    }
}
