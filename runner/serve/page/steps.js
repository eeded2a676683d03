// The bar of time steps: one to look at, or one after another.
import {byId} from './dom.js';
import {latest} from './latest.js';

const kPatience = 5000;  // milliseconds for a picture, which does not come if a module fails

export class Steps {
    #state;
    #connection;
    #bar = byId('step-bar');
    #slider = byId('step');
    #button = byId('play');
    #now = 0;           // the step that was asked for last
    #pending = false;   // whether it has still to be drawn
    #answered = false;  // whether the server knows of it
    #playing = false;
    #due = 0;  // when the next step may come
    #timer = 0;
    #ask = latest((step) => this.#send(step));

    /** @param {State} state @param {Connection} connection */
    constructor(state, connection) {
        this.#state = state;
        this.#connection = connection;
        this.#slider.addEventListener('input', () => this.#show(this.#slider.valueAsNumber));
        byId('step-back').addEventListener('click', () => this.move(-1));
        byId('step-on').addEventListener('click', () => this.move(1));
        this.#button.addEventListener('click', () => this.toggle());
        connection.addEventListener('picture', () => {
            if (this.#answered) this.#drawn();
        });
        connection.addEventListener('status', () => this.#stop());
        state.listen(() => this.#update());
    }

    get #steps() { return this.#state.now?.steps ?? null; }

    /** Goes on by so many steps; round and round if the loop is wanted. */
    move(places) {
        const last = this.#steps ? this.#steps.count - 1 : 0;
        const next = this.#now + places;
        const beyond = byId('loop').checked ? [last, 0] : [0, last];  // before the first, after the last
        if (last > 0) this.#show(next < 0 ? beyond[0] : next > last ? beyond[1] : next);
    }

    /** Plays, or stops; at the end it begins again. */
    toggle() {
        if (this.#playing || !this.#steps) {
            this.#stop();
            return;
        }
        this.#playing = true;
        this.#show(this.#now === this.#steps.count - 1 ? 0 : this.#now + 1);
    }

    #stop() {
        clearTimeout(this.#timer);
        this.#playing = this.#pending = this.#answered = false;
        this.#tell();
    }

    #show(step) {
        this.#now = step;
        this.#pending = true;
        this.#due = performance.now() + 1000 / Number(byId('speed').value);
        clearTimeout(this.#timer);
        this.#timer = setTimeout(() => this.#drawn(), kPatience);
        this.#tell();
        this.#ask(step);
    }

    async #send(step) {
        this.#answered = false;
        try {
            await this.#connection.post('step', {step});
            this.#answered = true;
        } catch {
            this.#stop();  // silent: the state says which step there is
        }
    }

    /** The step is seen: when it was seen for its time, the next one comes. */
    #drawn() {
        this.#pending = this.#answered = false;
        clearTimeout(this.#timer);
        if (!this.#playing) return;
        this.#timer = setTimeout(() => {
            if (this.#now === this.#steps?.count - 1 && !byId('loop').checked)
                this.#stop();
            else
                this.move(1);
        }, this.#due - performance.now());
    }

    #update() {
        this.#bar.hidden = !this.#steps;
        if (!this.#steps) return;
        if (!this.#pending) this.#now = this.#steps.now;
        this.#tell();
    }

    #tell() {
        this.#button.setAttribute('aria-pressed', this.#playing);
        this.#button.setAttribute('aria-label', this.#playing ? 'stop' : 'play');
        this.#button.querySelector('use').setAttribute('href', this.#playing ? '#icon-stop' : '#icon-play');
        if (!this.#steps) return;
        const {count} = this.#steps;
        this.#slider.max = count - 1;
        this.#slider.value = this.#now;
        byId('step-text').textContent = `${this.#now + 1} of ${count}`;
    }
}
