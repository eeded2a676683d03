// Sends changes of parameters: at most one per animation frame, and each only after the one before was answered. What
// is set meanwhile is merged. The changes of one gesture are one step of undo.

const nextFrame = () => new Promise(requestAnimationFrame);

/** The number of a gesture; other pages have gestures too. */
const newNumber = () => Math.floor(Math.random() * Number.MAX_SAFE_INTEGER);

/** Values set one after another, as in a drag. */
class Gesture {
    #changes;
    #number = newNumber();

    constructor(changes) { this.#changes = changes; }

    /** @param {Object<string, *>} values  by "module.parameter", in the form of network files */
    set(values) { this.#changes.push({values, gesture: this.#number, dragging: true}); }

    /** The person has let go: the picture is wanted in full. */
    end() { this.#changes.push({gesture: this.#number, dragging: true, rest: true}); }
}

export class Changes {
    #connection;
    #state;
    #failed;
    #waiting = [];
    #busy = false;

    /** @param {function(string): void} failed  is told what the server says against a change */
    constructor(connection, state, failed) {
        this.#connection = connection;
        this.#state = state;
        this.#failed = failed;
    }

    gesture() { return new Gesture(this); }

    /** A change that is not part of a drag. */
    set(values) { this.push({values, gesture: newNumber(), dragging: false}); }

    /** Takes back what a parameter was given. */
    reset(path) { this.push({reset: [path], gesture: newNumber(), dragging: false}); }

    push({values = {}, reset = [], gesture, dragging, rest = false}) {
        this.#state.want(values);
        const last = this.#waiting.at(-1);
        if (last?.gesture === gesture) {
            Object.assign(last.values, values);
            last.rest ||= rest;
        } else {
            this.#waiting.push({values: {...values}, reset, gesture, dragging, rest});
        }
        this.#sendAll();
    }

    async #sendAll() {
        if (this.#busy) return;
        this.#busy = true;
        while (this.#waiting.length) {
            await nextFrame();
            await this.#send(this.#waiting.shift());
        }
        this.#busy = false;
    }

    async #send({values, reset, gesture, dragging, rest}) {
        try {
            if (Object.keys(values).length || reset.length) {
                const {change} = await this.#connection.post('change', {set: values, reset, dragging, gesture});
                this.#state.answered(values, change);
            }
            if (rest) await this.#connection.post('rest');
        } catch (error) {
            this.#state.answered(values);
            this.#failed(error.message);
        }
    }
}
