// Turns, scales and moves what is shown, by the transforms of the modules that draw it.
import {fromMatrix, multiply, rotation, scaling, toMatrix, translation} from './transform.js';

const kRestAfter =
    300;  // milliseconds without a key or a turn of the wheel that end a gesture without an end of its own

export class View {
    #state;
    #changes;
    #gesture = null;
    #matrices = new Map();  // of the gesture: path to matrix, not rounded
    #timer = 0;

    constructor(state, changes) {
        this.#state = state;
        this.#changes = changes;
    }

    /** Whether there is a transform that can be changed. */
    get turnable() { return this.#targets().length > 0; }

    /** Turns by degrees: to the right, downward, and clockwise. */
    turn(right, down, roll = 0) {
        this.#apply([rotation(1, right), rotation(0, down), rotation(2, -roll)].reduce(multiply));
    }

    scale(factor) { this.#apply(scaling(factor)); }

    /** Moves by fractions of the picture's shorter side, to the right and upward. */
    move(right, up) { this.#apply(translation([right, up, 0])); }

    /** Ends the gesture that the calls before belong to. */
    end() {
        clearTimeout(this.#timer);
        this.#gesture?.end();
        this.#gesture = null;
        this.#matrices.clear();
    }

    /** Ends the gesture when nothing more comes for a moment. */
    endSoon() {
        clearTimeout(this.#timer);
        this.#timer = setTimeout(() => this.end(), kRestAfter);
    }

    #apply(matrix) {
        clearTimeout(this.#timer);
        if (!this.#gesture) this.#begin();
        if (!this.#matrices.size) return;
        for (const [path, before] of this.#matrices) this.#matrices.set(path, multiply(before, matrix));
        this.#gesture.set(Object.fromEntries([...this.#matrices].map(([path, now]) => [path, fromMatrix(now)])));
    }

    #begin() {
        this.#gesture = this.#changes.gesture();
        for (const path of this.#targets()) {
            const value = this.#state.value(path) ?? this.#state.parameter(path).now ?? null;
            const matrix = toMatrix(value);
            if (matrix) this.#matrices.set(path, matrix);
        }
    }

    /** The transforms nearest to the picture: of its own module, else of those that it refers to, and so on. */
    #targets() {
        let modules = [this.#state.shown?.module];
        const seen = new Set(modules);
        while (modules.length) {
            const paths = modules.flatMap((name) => this.#transformsOf(name));
            if (paths.length) return [...new Set(paths)];
            modules = modules.flatMap((name) => this.#state.upstream(name))
                          .filter((name) => !seen.has(name) && seen.add(name));
        }
        return [];
    }

    #transformsOf(name) {
        const transforms = this.#state.module(name)?.parameters.filter(
            ({kind, direction}) => kind === 'transform' && direction !== 'out');
        return (transforms ?? [])
            .map((parameter) => parameter.ref ?? `${name}.${parameter.name}`)
            .filter((path) => this.#state.parameter(path)?.kind === 'transform');
    }
}
