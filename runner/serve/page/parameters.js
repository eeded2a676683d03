// The parameters of the chosen module, one row each: name, widget, default. What the parameter means is told beside the
// row that the pointer or the keyboard is at.
import {byId, iconButton, make} from './dom.js';
import {makeWidget} from './widgets.js';

/** Changes of one parameter, as its widget makes them. */
class Edit {
    #path;
    #changes;
    #gesture = null;

    constructor(path, changes) {
        this.#path = path;
        this.#changes = changes;
    }

    set(value) { this.#changes.set({[this.#path]: value}); }

    drag(value) {
        this.#gesture ??= this.#changes.gesture();
        this.#gesture.set({[this.#path]: value});
    }

    rest() {
        this.#gesture?.end();
        this.#gesture = null;
    }
}

const kSources = ['field', 'fields'];  // without them there would be nothing to draw

const same = (a, b) => JSON.stringify(a) === JSON.stringify(b);

export class Parameters {
    #state;
    #changes;
    #connection;
    #place = byId('parameters');
    #made = '';  // what the rows were made for
    #rows = [];

    /** @param {State} state @param {Changes} changes @param {Connection} connection */
    constructor(state, changes, connection) {
        this.#state = state;
        this.#changes = changes;
        this.#connection = connection;
        state.listen(() => this.#update());
    }

    /** Moves the keyboard to the first widget. */
    focus() { this.#place.querySelector('input, select, .row button')?.focus(); }

    #update() {
        const module = this.#state.selected;
        const made =
            JSON.stringify(module && [module.name, module.parameters.map(({value, meaning, now, ...rest}) => rest)]);
        if (made !== this.#made) {
            this.#made = made;
            this.#make(module);
        }
        for (const row of this.#rows) row.show();
    }

    #make(module) {
        if (!module) {
            this.#rows = [];
            this.#place.replaceChildren();
            return;
        }
        const inputs = module.parameters.filter(({direction}) => direction !== 'out');
        const outputs = module.parameters.filter(({direction}) => direction === 'out');
        this.#rows = inputs.map((parameter) => this.#makeRow(module.name, parameter));
        this.#place.replaceChildren(
            make(
                'header', {}, make('h2', {}, module.name), make('code', {}, module.use), make('p', {}, module.summary)),
            ...this.#rows.map(({node}) => node), outputs.length ? make('h3', {}, 'Outputs') : '',
            make(
                'dl', {class: 'outputs'},
                ...outputs.flatMap(({name, meaning}) => [make('dt', {}, name), make('dd', {}, meaning)])));
        this.#place.scrollTop = 0;
    }

    #makeRow(module, parameter) {
        const path = `${module}.${parameter.name}`;
        const [label, tip] = [`label-${path}`, `tip-${path}`];
        const widget = makeWidget({
            module,
            name: path,
            parameter,
            labels: {'aria-labelledby': label, 'aria-describedby': tip},
            edit: new Edit(path, this.#changes),
            state: this.#state,
            connection: this.#connection,
        });
        const initial = parameter.default ?? null;
        const fixed = parameter.ref !== undefined || kSources.includes(parameter.kind);
        const reset = iconButton(
            'reset', `reset ${parameter.name} to ${initial === null ? 'nothing' : JSON.stringify(initial)}`,
            () => this.#changes.reset(path), {class: 'icon-button reset'});
        return {
            node: make(
                'div', {class: `row${widget.wide ? ' wide' : ''}`},
                make('span', {id: label, class: 'label'}, parameter.name), widget.node, reset,
                make('p', {id: tip, class: 'tip', role: 'tooltip'}, parameter.meaning)),
            show: () => {
                const value = this.#state.value(path);
                widget.show(value);
                reset.disabled = fixed || (value === null && !parameter.large) || same(value, initial);
            },
        };
    }
}
