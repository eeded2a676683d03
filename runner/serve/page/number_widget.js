// The widget of numbers: a field to type in, and a slider where the range has a lower end.
import {make} from './dom.js';
import {makeEntry} from './entry.js';
import {short} from './format.js';

const kAbove = 4;  // times the value: how far a slider goes whose range has no upper end

/** The next of 1, 2, 5, 10, 20 ... */
function roundUp(number) {
    const power = 10 ** Math.floor(Math.log10(number));
    return power * [1, 2, 5, 10].find((digit) => digit * power >= number);
}

/** The step of a slider: 1 for whole numbers, else at most a thousandth of its length, a power of ten. */
function stepOf(kind, length) { return kind === 'int' ? 1 : 10 ** Math.floor(Math.log10(length / 1000 || 1)); }

/** @param {Object} context  see widgets.js */
export function numberWidget({parameter, labels, edit}) {
    const {kind, range: [low, high] = [null, null], default: initial = null} = parameter;
    const limits = {min: low, max: high};
    const number = makeEntry(
        {type: 'number', step: kind === 'int' ? 1 : 'any', ...limits, placeholder: 'none', ...labels}, (input) => {
            if (input.value !== '' && input.reportValidity()) edit.set(input.valueAsNumber);
        });
    const slider = low === null ? null : make('input', {
        type: 'range',
        ...limits,
        ...labels,
        oninput: ({target}) => edit.drag(target.valueAsNumber),
        onchange: () => edit.rest(),
    });

    function showSlider(value) {
        if (high === null && (slider !== document.activeElement || value > Number(slider.max))) {
            slider.max = low + roundUp(kAbove * Math.max(value - low, (initial ?? 0) - low, 1));
        }
        slider.step = stepOf(kind, slider.max - low);
        slider.value = value;
    }

    return {
        node: make('div', {class: 'number'}, slider, number.node),
        show(value) {
            const shown = value ?? initial;
            if (slider) showSlider(shown ?? low);
            number.show(shown === null ? '' : short(shown, 9));
        },
    };
}
