// The picture in the middle: the newest one of the output that is shown, as large as there is room. Outputs with lines,
// letters, a legend or axes are drawings; while something is dragged the picture alone comes, and lies over its place
// in the drawing.
import {byId} from './dom.js';
import {latest} from './latest.js';

const kWhole = [0, 0, 1, 1];  // of a drawing: x, y, width and height in parts of its sides

export class Picture {
    #connection;
    #state;
    #room = byId('room');    // all the place there is
    #sheet = byId('sheet');  // the part of it that is drawn on
    #canvas = byId('picture');
    #drawing = byId('drawing');
    #shown = null;  // name of the output that is seen, or was asked for
    #version = 0;   // of the picture that is seen, if it is in full, else 0
    #load = latest((event) => this.#draw(event));
    #ask = latest((x, y) => this.#showValue(x, y));
    #tell = latest(() => this.#tellSize());

    /** @param {Connection} connection @param {State} state */
    constructor(connection, state) {
        this.#connection = connection;
        this.#state = state;
        connection.addEventListener('picture', ({detail}) => {
            if (detail.output === state.now?.shown) this.#load(detail);
        });
        state.listen(() => this.#update());
        new ResizeObserver(() => this.#tell()).observe(this.#room);
        this.#sheet.addEventListener('pointermove', (event) => this.#point(event));
        this.#sheet.addEventListener('pointerleave', () => byId('value').replaceChildren());
    }

    /** Where the picture is in the window. */
    get place() { return this.#sheet.getBoundingClientRect(); }

    /** Looks at another output. */
    async choose(output) {
        const [width, height] =
            [this.#room.clientWidth, this.#room.clientHeight].map((side) => Math.round(side * devicePixelRatio));
        await this.#connection.post('show', {output, width, height});
    }

    /** Asks for the picture again, as after a lost connection. */
    forget() { this.#shown = null; }

    async #tellSize() {
        const {shown} = this.#state.now ?? {};
        if (shown)
            await this.choose(shown).catch(
                () => {});  // silent: a lost connection is told elsewhere, and the next state asks again
    }

    #update() {
        const {shown, now} = this.#state;
        this.#tellBusy();
        const blank = byId('blank');
        blank.hidden = shown !== null && shown.kind !== 'other';
        byId('begin').hidden = now.file !== '';
        byId('blank-text').textContent = shown ? `${shown.name} holds data, not a picture: “zam run” writes it.` :
            now.file ? 'Nothing is drawn by this network.' :
                       'A network, or a data file for which one is chosen.';
        this.#sheet.hidden = !blank.hidden;
        if (!blank.hidden || this.#shown === shown.name) return;
        this.#shown = shown.name;
        this.#version = 0;
        this.#sheet.setAttribute('aria-label', `picture ${shown.name}`);
        this.#canvas.hidden = this.#drawing.hidden = true;
        this.#tell();
        if (now.version > 0)
            this.#load({output: shown.name, version: now.version, full: true});  // else it comes by itself
    }

    async #draw({output, version, full, width, inside = kWhole}) {
        const isDrawing = this.#state.now.outputs.some(({name, kind}) => name === output && kind === 'vector');
        if (isDrawing && full)
            await this.#showDrawing(output, version);
        else if (width !== 0)
            await this.#showBitmap(output, version, full, inside);
        if (this.#state.shown?.name !== output) return;
        this.#version = full ? version : 0;
        this.#tellBusy();
    }

    /** For those who wait for the picture in full. */
    #tellBusy() {
        const {shown, now, settled} = this.#state;
        const drawn = !shown || shown.kind === 'other' || this.#version >= Math.max(now.version, 1);
        this.#room.setAttribute('aria-busy', !settled || !drawn);
    }

    async #showDrawing(output, version) {
        const image = new Image();
        image.id = 'drawing';
        image.alt = '';
        image.draggable = false;
        image.src = `vector?${new URLSearchParams({output, version})}`;
        try {
            await image.decode();
        } catch {
            return;  // silent: there is none yet, or the connection is lost, which is told elsewhere
        }
        if (this.#state.shown?.name !== output) return;
        this.#drawing.replaceWith(image);
        this.#drawing = image;
        this.#canvas.hidden = true;
        this.#sheet.style.setProperty('--aspect', image.naturalWidth / image.naturalHeight);
        this.#tellPixels(this.#state.shown, true);
    }

    async #showBitmap(output, version, full, inside) {
        let bitmap;
        try {
            bitmap = await createImageBitmap(await (await this.#connection.fetch('picture', {output, version})).blob());
        } catch {
            return;  // silent, as above
        }
        const {shown} = this.#state;
        if (shown?.name !== output) return;
        const [left, top, width, height] = inside.map((part) => `${part * 100}%`);
        Object.assign(this.#canvas.style, {left, top, width, height});
        Object.assign(this.#canvas, {width: bitmap.width, height: bitmap.height, hidden: false});
        this.#canvas.getContext('2d').drawImage(bitmap, 0, 0);
        const whole = shown.width && shown.height ? shown : bitmap;  // a preview's sides are rounded
        if (this.#drawing.hidden) this.#sheet.style.setProperty('--aspect', whole.width / whole.height);
        this.#tellPixels(bitmap, full);
        bitmap.close();
    }

    #tellPixels({width, height}, full) {
        byId('size').textContent = width ? `${width} × ${height}${full ? '' : ' (preview)'}` : '';
    }

    #point(event) {
        const {shown} = this.#state;
        const {left, top, width, height} = this.place;
        const [x0, y0, partX, partY] = shown.inside ?? kWhole;
        const x = Math.floor((((event.clientX - left) / width - x0) / partX) * shown.width);
        const y = Math.floor((((event.clientY - top) / height - y0) / partY) * shown.height);
        if (event.buttons === 0 && x >= 0 && y >= 0 && x < shown.width && y < shown.height) this.#ask(x, y);
    }

    async #showValue(x, y) {
        const answer = await this.#connection.get('value', {output: this.#state.now.shown, x, y}).catch(() => null);
        byId('value').textContent = answer?.text ?? '';
    }
}
