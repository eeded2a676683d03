// Dialogs over the page, one promise each.
import {make} from './dom.js';

/**
 * Shows a dialog until something closes it.
 * @param {string} title
 * @param {function(function(*): void): Node[]} fill  makes the contents; what it is given closes the dialog with a
 *     result
 * @returns {Promise<*>} the result; null if the person has left it
 */
export function ask(title, fill) {
    return new Promise((resolve) => {
        let result = null;
        const dialog = make('dialog', {
            'aria-label': title,
            onclose: () => {
                dialog.remove();
                resolve(result);
            }
        });
        const close = (value) => {
            result = value;
            dialog.close();
        };
        dialog.append(
            make(
                'header', {}, make('h2', {}, title),
                make(
                    'button', {type: 'button', class: 'icon-button', 'aria-label': 'close', onclick: () => close(null)},
                    '✕')),
            ...fill(close));
        document.body.append(dialog);
        dialog.showModal();
    });
}

/** A question with one way to say yes. @returns {Promise<boolean>} */
export async function confirm(question, yes) {
    return await ask(
               question,
               (close) => [make(
                   'footer', {}, make('button', {type: 'button', onclick: () => close(null)}, 'Cancel'),
                   make('button', {type: 'button', class: 'main', onclick: () => close(true)}, yes))]) === true;
}

/**
 * Asks for a name, and whether something goes with it.
 * @param {string} title
 * @param {string} name  to begin with
 * @param {string} yes   what the button says
 * @param {?string} choice  the text of a box to tick; null: there is none
 * @returns {Promise<?{name: string, chosen: boolean}>}
 */
export function askName(title, name, yes, choice) {
    return ask(title, (close) => {
        const input = make('input', {type: 'text', value: name, required: true, spellcheck: 'false'});
        const box = make('input', {type: 'checkbox', checked: true});
        const submit = (event) => {
            event.preventDefault();
            close({name: input.value, chosen: box.checked});
        };
        return [make(
            'form', {onsubmit: submit}, make('label', {}, 'File', input),
            choice === null ? null : make('label', {class: 'choice'}, box, choice),
            make(
                'footer', {}, make('button', {type: 'button', onclick: () => close(null)}, 'Cancel'),
                make('button', {type: 'submit', class: 'main'}, yes)))];
    });
}
