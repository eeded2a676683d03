// The outputs of the network as tabs over the picture.
import {byId, make} from './dom.js';

export class Outputs {
    #tabs = byId('outputs');
    #state;
    #choose;
    #names = '';  // of the tabs that are there

    /** @param {State} state @param {function(string): void} choose  is told the output that is wanted */
    constructor(state, choose) {
        this.#state = state;
        this.#choose = choose;
        this.#tabs.addEventListener('keydown', (event) => this.#key(event));
        state.listen(() => this.#update());
    }

    /** Shows the output that is so many places on, round and round. */
    step(places) {
        const {outputs} = this.#state.now;
        const next = outputs.indexOf(this.#state.shown) + places;
        if (outputs.length) this.#choose(outputs.at(next % outputs.length).name);
    }

    #update() {
        const {outputs, shown} = this.#state.now;
        const names = JSON.stringify(outputs.map(({name}) => name));
        if (names !== this.#names) {
            this.#names = names;
            this.#tabs.replaceChildren(...outputs.map(
                ({name, module}) => make(
                    'button', {
                        type: 'button',
                        role: 'tab',
                        'aria-controls': 'room',
                        title: `drawn by ${module}`,
                        onclick: () => this.#choose(name)
                    },
                    name)));
        }
        outputs.forEach(({name}, i) => {
            const tab = this.#tabs.children[i];
            if (name === shown && tab.getAttribute('aria-selected') !== 'true')
                tab.scrollIntoView({block: 'nearest', inline: 'nearest'});
            tab.setAttribute('aria-selected', name === shown);
            tab.tabIndex = name === shown ? 0 : -1;
        });
    }

    #key(event) {
        const places = {ArrowLeft: -1, ArrowRight: 1}[event.key];
        if (!places) return;
        event.preventDefault();
        event.stopPropagation();
        const tabs = [...this.#tabs.children];
        const next = tabs.at((tabs.indexOf(document.activeElement) + places) % tabs.length);
        next.focus();
        next.click();
    }
}
