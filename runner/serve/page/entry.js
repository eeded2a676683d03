// Inputs that a person types into while newer values arrive.
import {make} from './dom.js';

/**
 * An input that shows values as they come, but keeps what somebody is typing until it is done.
 * @param {Object} attributes  as of `make`
 * @param {function(HTMLInputElement): void} typed  called when something has been typed
 * @returns {{node: HTMLInputElement, show: function(string): void}}
 */
export function makeEntry(attributes, typed) {
    let shown = '';
    const node = make('input', {
        autocomplete: 'off',
        spellcheck: 'false',
        ...attributes,
        onchange: () => {
            shown = node.value;
            typed(node);
        }
    });
    return {
        node,
        show(text) {
            if (node === document.activeElement && node.value !== shown) return;
            node.value = text;
            shown = node.value;
        },
    };
}
