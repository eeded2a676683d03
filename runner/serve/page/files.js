// A dialog with the files below the directory that zam was started for.
import {ask} from './dialogs.js';
import {make} from './dom.js';
import {bytes} from './format.js';

const parentOf = (directory) => directory.split('/').slice(0, -1).join('/');

/** What a file below the listed directory is called from another directory below it: "../data/a.fld". */
export function nameFrom(base, file) {
    const [from, to] = [base, file].map((name) => name.split('/').filter(Boolean));
    const common = from.findIndex((part, i) => part !== to[i]);
    const same = common < 0 ? from.length : common;
    return [...from.slice(same).map(() => '..'), ...to.slice(same)].join('/');
}

/** The file that has a name in a directory below the listed one. */
export function fileOf(base, name) {
    return `${base}/${name}`
        .split('/')
        .reduce(
            (path, part) =>
                (part === '..' ? path.slice(0, -1) :
                     part      ? [...path, part] :
                                 path),
            [])
        .join('/');
}

/**
 * Lets the person choose a file for a parameter, whose names start in the network's own
 * directory. @returns {Promise<?string>}
 */
export async function chooseValue({connection, state, parameter}, chosen) {
    const {base} = state.now;
    const file = await chooseFile(connection, `File for ${parameter.name}`, fileOf(base, chosen));
    return file === null ? null : nameFrom(base, file);
}

/**
 * Lets the person choose a file.
 * @param {Connection} connection
 * @param {string} title
 * @param {string} [chosen]  the file to begin with: its directory is listed
 * @returns {Promise<?string>} its name relative to the directory that zam lists; null if none was chosen
 */
export function chooseFile(connection, title, chosen = '') {
    return ask(title, (close) => {
        const place = make('p', {class: 'directory'});
        const list = make('ul', {class: 'files'});

        async function open(directory) {
            let entries;
            try {
                ({entries} = await connection.get('files', {of: directory}));
            } catch (error) {
                if (directory) return open('');  // of a name outside, or one that is gone
                place.textContent = error.message;
                return undefined;
            }
            const inside = (name) => (directory ? `${directory}/${name}` : name);
            const line = (label, size, onclick) => make(
                'li', {}, make('button', {type: 'button', onclick}, make('span', {}, label), make('small', {}, size)));
            place.textContent = directory ? `${directory}/` : './';
            list.replaceChildren(
                ...(directory ? [line('../', '', () => open(parentOf(directory)))] : []),
                ...entries.map(
                    ({name, directory: isDirectory, size}) =>
                        (isDirectory ? line(`${name}/`, '', () => open(inside(name))) :
                                       line(name, bytes(size), () => close(inside(name))))));
            list.querySelector('button')?.focus();
            return undefined;
        }

        open(parentOf(chosen));
        return [place, list];
    });
}
