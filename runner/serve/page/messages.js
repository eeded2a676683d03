// Short messages at the foot of the page, and the banner that says that the server is not there.
import {byId} from './dom.js';

const kSeconds = 6;  // that a message stays
const kBanners = {
    connected: '',
    lost: 'The connection to zam is lost. Trying again…',
    ended: 'zam serve has ended. Start it again and open the address that it prints.',
};

let timer = 0;

/** Says something for a few seconds. */
export function say(text) {
    clearTimeout(timer);
    byId('message').textContent = text;
    byId('message').hidden = false;
    timer = setTimeout(() => (byId('message').hidden = true), kSeconds * 1000);
}

/** @param {string} status  "connected", "lost" or "ended" */
export function showStatus(status) {
    const banner = byId('banner');
    banner.textContent = kBanners[status];
    banner.hidden = status === 'connected';
}
