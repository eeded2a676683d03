// The bar on top: what is open, and opening, saving, recording, undoing.
import {askName, confirm} from './dialogs.js';
import {byId} from './dom.js';
import {chooseFile, fileOf} from './files.js';

const kConflict = 409;  // the status of "there is such a file"

export class Toolbar {
    #state;
    #connection;
    #say;

    /** @param {State} state @param {Connection} connection @param {function(string): void} say  tells a message */
    constructor(state, connection, say) {
        this.#state = state;
        this.#connection = connection;
        this.#say = say;
        byId('begin').addEventListener('click', () => this.open());
        for (const name of ['open', 'save', 'record', 'undo', 'redo'])
            byId(name).addEventListener('click', () => this[name]());
        state.listen(() => this.#update());
    }

    /** Opens another network or data file. */
    async open() {
        const {changed, file, base} = this.#state.now;
        if (changed && !await confirm('The changes of this network are not saved. Open another one?', 'Open')) return;
        const chosen = await chooseFile(this.#connection, 'Open a network or a data file', fileOf(base, file));
        if (chosen !== null) await this.#post('open', {file: chosen});
    }

    /** Saves the network under a name, over another file only if the person confirms it. */
    async save() {
        const {file: now, events} = this.#state.now;
        const answer = await askName(
            'Save the network', now || 'network.json', 'Save', events ? `with its events (${events})` : null);
        if (!answer) return;
        const [file, wanted] = [answer.name, {file: answer.name, events: answer.chosen}];
        try {
            await this.#connection.post('save', {...wanted, confirmed: false});
        } catch (error) {
            if (error.status !== kConflict) return this.#say(error.message);
            if (!await confirm(`There is a file ${file}. Overwrite it?`, 'Overwrite')) return;
            if (!await this.#post('save', {...wanted, confirmed: true})) return;
        }
        this.#say(`Saved as ${file}`);
    }

    /** Begins to record, or ends it. */
    async record() {
        const {recording} = this.#state.now;
        const answer = await this.#post('record', {on: !recording});
        if (answer && recording) this.#say('What was recorded is saved with the network');
    }

    async undo() {
        if (this.#state.now.undo) await this.#post('undo');
    }

    async redo() {
        if (this.#state.now.redo) await this.#post('redo');
    }

    /** @returns {Promise<?Object>} the answer; null if it failed, which is told */
    async #post(path, body) {
        try {
            return await this.#connection.post(path, body);
        } catch (error) {
            this.#say(error.message);
            return null;
        }
    }

    #update() {
        const {file, directory, changed, undo, redo, recording} = this.#state.now;
        byId('file').textContent = file || 'no file';
        byId('file').title = directory;
        byId('changed').hidden = !changed;
        document.title = `${changed ? '• ' : ''}${file || 'zam'}`;
        byId('undo').disabled = !undo;
        byId('redo').disabled = !redo;
        byId('record').setAttribute('aria-pressed', recording);
        byId('record').querySelector('span').textContent = recording ? 'Recording' : 'Record';
    }
}
