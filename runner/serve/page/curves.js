// An editor of the four curves of a colour table, over the histogram of the data. Points are dragged, or chosen by Tab
// and moved by the arrows; a click beside them adds one, Delete or a double click removes it.
import {addPoint, curveOf, kChannels, kEntries, movePoint, sample, toPoints} from './curve.js';
import {make, makeSvg} from './dom.js';

const kWidth = 320;  // of the drawing, in its own units
const kHeight = 150;
const kMargin = 8;    // round the plot, so that handles at its edges are whole
const kBigStep = 10;  // of an arrow with Shift

const toX = (index) => kMargin + (index / (kEntries - 1)) * (kWidth - 2 * kMargin);
const toY = (value) => kHeight - kMargin - (value / 255) * (kHeight - 2 * kMargin);
const toIndex = (x) => ((x - kMargin) / (kWidth - 2 * kMargin)) * (kEntries - 1);
const toValue = (y) => ((kHeight - kMargin - y) / (kHeight - 2 * kMargin)) * 255;
const pathOf = (points) =>
    points.map(([index, value]) => `${toX(index).toFixed(1)},${toY(value).toFixed(1)}`).join(' ');

export class Curves {
    /** The element of the editor. */
    node;
    #change;
    #channel = 'alpha';
    #table = {};
    #presets = {};
    #points = [];   // of the channel that is edited
    #handles = [];  // one per point
    #dragged = -1;  // a point, or -1
    #plot = makeSvg('svg', {viewBox: `0 0 ${kWidth} ${kHeight}`, class: 'plot', role: 'group'});
    #histogram = makeSvg('polygon', {class: 'histogram'});
    #layer = makeSvg('g');  // of the handles, over the lines
    #lines =
        Object.fromEntries(kChannels.map((channel) => [channel, makeSvg('polyline', {class: `curve ${channel}`})]));
    #strip = make('canvas', {class: 'strip', width: kEntries, height: 1, 'aria-hidden': 'true'});
    #place = make('output', {class: 'place'});
    #choices;

    /**
     * @param {string} name  of what is edited, for those who do not see it
     * @param {{drag: function(Object): void, rest: function(): void}} change  is told the new table, and when a drag
     *     has ended
     */
    constructor(name, change) {
        this.#change = change;
        this.#choices = kChannels.map(
            (channel) => make(
                'button', {type: 'button', class: `channel ${channel}`, onclick: () => this.#choose(channel)},
                channel));
        this.#plot.append(this.#histogram, makeSvg('g', {}, ...Object.values(this.#lines)), this.#layer);
        this.#plot.addEventListener('pointerdown', (event) => this.#press(event));
        this.#plot.addEventListener('pointermove', (event) => this.#drag(event));
        this.#plot.addEventListener('dblclick', (event) => this.#remove(this.#handleAt(event)));
        for (const end of ['pointerup', 'pointercancel']) this.#plot.addEventListener(end, () => this.#letGo());
        this.node = make(
            'div', {class: 'curves', role: 'group', 'aria-label': `curves of ${name}`},
            make('div', {class: 'channels'}, ...this.#choices, this.#place), this.#plot, this.#strip);
    }

    /** @param {Object} table  as network files write it @param {Object<string, string[]>} presets */
    show(table, presets) {
        this.#table = table;
        this.#presets = presets;
        this.#points = toPoints(curveOf(table, this.#channel, presets));
        this.#draw();
    }

    /**
     * @param {?{counts: number[], min: number, max: number}} histogram
     * @param {number[]} range  the values at the table's ends
     */
    showHistogram(histogram, [low, high]) {
        const {counts = [], min = 0, max = 0} = histogram ?? {};
        const most = Math.log1p(Math.max(1, ...counts));
        const bars =
            counts
                .map((count, i) => {
                    const value = min + ((i + 0.5) / counts.length) * (max - min);
                    return [((value - low) / (high - low || 1)) * (kEntries - 1), (Math.log1p(count) / most) * 255];
                })
                .filter(([index]) => index >= 0 && index <= kEntries - 1);
        const ends = bars.length ? [[bars[0][0], 0], ...bars, [bars.at(-1)[0], 0]] : [];
        this.#histogram.setAttribute('points', pathOf(ends));
    }

    #choose(channel) {
        this.#channel = channel;
        this.show(this.#table, this.#presets);
    }

    #draw() {
        for (const channel of kChannels) {
            const curve = channel === this.#channel ? this.#points : curveOf(this.#table, channel, this.#presets);
            this.#lines[channel].setAttribute('points', pathOf(sample(curve).map((value, index) => [index, value])));
            this.#lines[channel].classList.toggle('chosen', channel === this.#channel);
        }
        this.#choices.forEach((button, i) => button.setAttribute('aria-pressed', kChannels[i] === this.#channel));
        this.#lines[this.#channel].parentNode.append(this.#lines[this.#channel]);  // over the others
        this.#plot.setAttribute('aria-label', `${this.#channel}: ${this.#points.length} points`);
        this.#drawHandles();
        this.#drawStrip();
    }

    #drawHandles() {
        while (this.#handles.length > this.#points.length) this.#handles.pop().remove();
        while (this.#handles.length < this.#points.length) {
            this.#handles.push(this.#makeHandle(this.#handles.length));
            this.#layer.append(this.#handles.at(-1));
        }
        this.#points.forEach(([index, value], i) => {
            const handle = this.#handles[i];
            handle.setAttribute('cx', toX(index));
            handle.setAttribute('cy', toY(value));
            handle.setAttribute('class', `handle ${this.#channel}`);
            handle.setAttribute('aria-valuenow', Math.round(value));
            handle.setAttribute('aria-valuetext', `index ${index}, value ${Math.round(value)}`);
        });
    }

    #makeHandle(which) {
        return makeSvg('circle', {
            r: 4.5,
            tabindex: 0,
            role: 'slider',
            'aria-label': `point ${which + 1}`,
            'aria-valuemin': 0,
            'aria-valuemax': 255,
            onkeydown: (event) => this.#key(event, which),
            onfocus: () => this.#tellPlace(which),
        });
    }

    /** The colours, as opaque as they are. */
    #drawStrip() {
        const [alpha, red, green, blue] =
            kChannels.map((channel) => sample(curveOf(this.#table, channel, this.#presets)));
        const context = this.#strip.getContext('2d');
        const pixels = context.createImageData(kEntries, 1);
        for (let i = 0; i < kEntries; i += 1) pixels.data.set([red[i], green[i], blue[i], 64 + alpha[i] * 0.75], 4 * i);
        context.putImageData(pixels, 0, 0);
    }

    #tellPlace(which) {
        const [index, value] = this.#points[which];
        this.#place.textContent = `${index} → ${Math.round(value)}`;
    }

    #put(points, which) {
        this.#points = points;
        this.#table = {...this.#table, [this.#channel]: points};
        this.#draw();
        if (which >= 0) this.#tellPlace(which);
        this.#change.drag(this.#table);
    }

    #remove(which) {
        if (which < 0 || this.#points.length < 2) return;
        this.#put(this.#points.toSpliced(which, 1), -1);
        this.#handles[Math.min(which, this.#points.length - 1)].focus();
        this.#change.rest();
    }

    /** The point under the pointer, which may be captured; -1 if there is none. */
    #handleAt(event) { return this.#handles.indexOf(document.elementFromPoint(event.clientX, event.clientY)); }

    #at(event) {
        const place = new DOMPoint(event.clientX, event.clientY).matrixTransform(this.#plot.getScreenCTM().inverse());
        return [toIndex(place.x), toValue(place.y)];
    }

    #press(event) {
        event.preventDefault();
        this.#plot.setPointerCapture(event.pointerId);
        this.#dragged = this.#handleAt(event);
        if (this.#dragged < 0) {
            const {points, which} = addPoint(this.#points, ...this.#at(event));
            if (which < 0) return;
            this.#dragged = which;
            this.#put(points, which);
        }
        this.#handles[this.#dragged].focus();
    }

    #drag(event) {
        if (this.#dragged >= 0) this.#put(movePoint(this.#points, this.#dragged, ...this.#at(event)), this.#dragged);
    }

    #letGo() {
        if (this.#dragged >= 0) this.#change.rest();
        this.#dragged = -1;
    }

    #key(event, which) {
        const steps = {ArrowLeft: [-1, 0], ArrowRight: [1, 0], ArrowUp: [0, 1], ArrowDown: [0, -1]}[event.key];
        const [index, value] = this.#points[which];
        if (steps) {
            const size = event.shiftKey ? kBigStep : 1;
            this.#put(movePoint(this.#points, which, index + size * steps[0], value + size * steps[1]), which);
            this.#change.rest();
        } else if (event.key === 'Delete' || event.key === 'Backspace') {
            this.#remove(which);
        } else if (event.key === 'Insert' || event.key === 'Enter') {
            this.#addAfter(which);
        } else {
            return;
        }
        event.preventDefault();
        event.stopPropagation();
    }

    /** A point halfway to the next one, or to the end. */
    #addAfter(which) {
        const [index] = this.#points[which];
        const halfway = Math.floor((index + (this.#points[which + 1]?.[0] ?? kEntries)) / 2);
        const added = addPoint(this.#points, halfway, sample(this.#points)[halfway]);
        if (added.which < 0) return;
        this.#put(added.points, added.which);
        this.#handles[added.which].focus();
        this.#change.rest();
    }
}
