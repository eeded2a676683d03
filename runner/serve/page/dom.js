// Elements made in one expression. Texts go in as texts: nothing that a file, a module or the server says is parsed as
// HTML.

const kSvg = 'http://www.w3.org/2000/svg';

function fill(element, attributes, children) {
    for (const [name, value] of Object.entries(attributes)) {
        if (name.startsWith('on'))
            element.addEventListener(name.slice(2), value);
        else if (value === true)
            element.setAttribute(name, '');
        else if (value !== false && value !== null && value !== undefined)
            element.setAttribute(name, value);
    }
    element.append(...children.filter((child) => child !== null));
    return element;
}

/**
 * An HTML element.
 * @param {string} tag
 * @param {Object} [attributes]  `onNAME` are listeners; `true` is an attribute without a value; `false` and `null` are
 *     left out
 * @param {...(Node|string|null)} children
 */
export function make(tag, attributes = {}, ...children) {
    return fill(document.createElement(tag), attributes, children);
}

/** An SVG element; the arguments are those of `make`. */
export function makeSvg(tag, attributes = {}, ...children) {
    return fill(document.createElementNS(kSvg, tag), attributes, children);
}

/** One of the drawings at the end of index.html. */
export function icon(name) {
    return makeSvg('svg', {class: 'icon', 'aria-hidden': 'true'}, makeSvg('use', {href: `#icon-${name}`}));
}

/** A button with a drawing and a name for those who do not see it. */
export function iconButton(name, label, onclick, attributes = {}) {
    return make(
        'button', {type: 'button', class: 'icon-button', 'aria-label': label, title: label, onclick, ...attributes},
        icon(name));
}

/** The element of index.html with an id. */
export function byId(id) { return document.getElementById(id); }
