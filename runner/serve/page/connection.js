// What goes to the server and comes from it: requests below the page's own address, and the stream of events, taken up
// again when it breaks.

const kAgainAfter = 1500;  // milliseconds from a lost stream to the next attempt

/** An answer other than success; the message is the server's. */
export class Refused extends Error {
    /** @param {number} status  of HTTP; 0: no answer at all */
    constructor(status, message) {
        super(message);
        this.status = status;
    }
}

/**
 * Sends the server's events on as its own, their data in `detail`: "state", "progress", "picture". In addition
 * "status": "connected", "lost" or "ended".
 */
export class Connection extends EventTarget {
    #events = null;
    #status = '';

    /** Begins to listen, and keeps trying. */
    open() {
        this.#events = new EventSource('events');
        this.#events.onopen = () => this.#tell('connected');
        for (const name of ['state', 'progress', 'picture']) {
            this.#events.addEventListener(name, (event) => this.#send(name, JSON.parse(event.data)));
        }
        this.#events.addEventListener('end', () => this.#tell('ended'));
        this.#events.onerror = () => {
            this.#events.close();
            if (this.#status !== 'ended') this.#tell('lost');
            setTimeout(() => this.open(), kAgainAfter);
        };
    }

    /** @returns {Promise<Response>} @throws {Refused} */
    async fetch(path, query = {}) { return this.#request(`${path}?${new URLSearchParams(query)}`); }

    /** @returns {Promise<Object>} the answer's JSON @throws {Refused} */
    async get(path, query) { return (await this.fetch(path, query)).json(); }

    /** @returns {Promise<Object>} the answer's JSON @throws {Refused} */
    async post(path, body = {}) {
        const answer = await this.#request(
            path, {method: 'POST', headers: {'Content-Type': 'application/json'}, body: JSON.stringify(body)});
        return answer.json();
    }

    async #request(address, options) {
        let answer;
        try {
            answer = await fetch(address, options);
        } catch {
            throw new Refused(0, 'zam does not answer');
        }
        if (answer.ok) return answer;
        const {error} = await answer.json().catch(() => ({}));
        throw new Refused(answer.status, error ?? `the server refuses (${answer.status})`);
    }

    #tell(status) {
        if (status === this.#status) return;
        this.#status = status;
        this.#send('status', status);
    }

    #send(name, detail) { this.dispatchEvent(new CustomEvent(name, {detail})); }
}
