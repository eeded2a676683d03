// The server's state as this page sees it: the newest one, values that were sent but have not come back yet, and the
// chosen module.

/** The names that references within a value lead to, such as "reader.out". */
function referencesIn(value) {
    if (Array.isArray(value)) return value.flatMap(referencesIn);
    if (value === null || typeof value !== 'object') return [];
    return typeof value.ref === 'string' ? [value.ref] : Object.values(value).flatMap(referencesIn);
}

export class State {
    /** As the server sends it; null before the first. */
    now = null;
    #wanted = new Map();  // "module.parameter" to {value, change}; change is null until the server has answered
    #selected = null;
    #listeners = [];

    /** Calls `listener` after every change of what this object says. */
    listen(listener) { this.#listeners.push(listener); }

    /** Takes what the server sent. */
    take(state) {
        this.now = state;
        this.#settle();
        this.#tell();
    }

    /** What was on its way to the server is lost. */
    forget() { this.#wanted.clear(); }

    module(name) { return this.now?.modules.find((module) => module.name === name); }

    /** @param {string} path  "module.parameter" */
    parameter(path) {
        const dot = path.indexOf('.');
        return this.module(path.slice(0, dot))?.parameters.find((parameter) => parameter.name === path.slice(dot + 1));
    }

    /** The value that a parameter has or, as far as this page knows, soon will have; null where none is given. */
    value(path) { return this.#wanted.has(path) ? this.#wanted.get(path).value : this.parameter(path)?.value ?? null; }

    /** Notes values that are on their way to the server. */
    want(values) {
        for (const [path, value] of Object.entries(values)) this.#wanted.set(path, {value, change: null});
        this.#tell();
    }

    /** The server has answered: they are part of its change `number`, or refused if that is undefined. */
    answered(values, number) {
        for (const [path, value] of Object.entries(values)) {
            const wanted = this.#wanted.get(path);
            if (wanted?.value !== value) continue;  // a newer one is on its way
            if (number === undefined)
                this.#wanted.delete(path);
            else
                wanted.change = number;
        }
        this.#settle();
        this.#tell();
    }

    /** Whether everything that this page has changed is drawn, as far as it can be. */
    get settled() {
        const is = (wanted) => this.now.modules.some(({state}) => state === wanted);
        return this.#wanted.size === 0 && (!is('waiting') || is('failed'));
    }

    /** The output whose picture is looked at. */
    get shown() { return this.now?.outputs.find((output) => output.name === this.now.shown) ?? null; }

    /** The module whose parameters are seen: the chosen one, else the one that makes the picture. */
    get selected() {
        return this.module(this.#selected) ?? this.module(this.shown?.module) ?? this.now?.modules.at(-1) ?? null;
    }

    select(name) {
        this.#selected = name;
        this.#tell();
    }

    /** The names of the modules that a module refers to. */
    upstream(name) {
        const given = this.module(name)?.parameters ?? [];
        return [...new Set(given.flatMap(({value}) => referencesIn(value)).map((target) => target.split(/[.[]/)[0]))];
    }

    /**
     * What the modules are given that a module gets its inputs from, and the step: if it is the same text, so are the
     * inputs.
     */
    inputsOf(name) {
        const given = {};
        const add = (module) => {
            if (module in given) return;
            given[module] = this.module(module)?.parameters.map(({value}) => value);
            this.upstream(module).forEach(add);
        };
        this.upstream(name).forEach(add);
        return JSON.stringify([
            given, this.module(name)?.parameters.map(({kind, value}) => (kind.startsWith('field') ? value : null)),
            this.now.steps?.now
        ]);
    }

    #settle() {
        for (const [path, {change}] of this.#wanted) {
            if (change !== null && change <= this.now?.change) this.#wanted.delete(path);
        }
    }

    #tell() {
        if (!this.now) return;
        for (const listener of this.#listeners) listener(this);
    }
}
