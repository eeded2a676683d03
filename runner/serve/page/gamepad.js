// Gamepads of the browser as joysticks of the network: the first two, polled once per frame, sent when they have
// changed.
import {latest} from './latest.js';

const kMost = 65535;  // an axis at its far end; a hat that is let go
const kAxes = ['x', 'y', 'z', 'r', 'u', 'v'];
const kHat = [12, 15, 13, 14];  // the buttons of the standard layout for up, right, down, left

/** The hat's direction in hundredths of a degree clockwise from up. */
function hatOf(buttons) {
    const [up, right, down, left] = kHat.map((button) => (buttons[button]?.pressed ? 1 : 0));
    if (up === down && left === right) return kMost;
    return (Math.round((Math.atan2(right - left, up - down) * 18000) / Math.PI) + 36000) % 36000;
}

/**
 * The event of network files that says how a gamepad stands.
 * @param {Gamepad} gamepad
 * @param {number} id  1 or 2
 */
export function joystickEvent({axes, buttons, mapping}, id) {
    const moved = axes.slice(0, kAxes.length).map((place, i) => [kAxes[i], Math.round(((place + 1) / 2) * kMost)]);
    const standard = mapping === 'standard';
    const mask = buttons.reduce(
        (sum, {pressed}, i) => (pressed && i < 32 && !(standard && kHat.includes(i)) ? sum + 2 ** i : sum), 0);
    return {id, ...Object.fromEntries(moved), ...(standard ? {pov: hatOf(buttons)} : {}), buttons: mask};
}

/** @param {Connection} connection @param {function(string): void} say */
export function listenForGamepads(connection, say) {
    const sent = ['', ''];
    const senders = sent.map(
        () => latest(
            (event) => connection.post('joystick', event).catch(() => {})));  // silent: the next movement is sent again
    let polling = false;

    function poll() {
        const gamepads = navigator.getGamepads().filter(Boolean).slice(0, sent.length);
        gamepads.forEach((gamepad, i) => {
            const event = joystickEvent(gamepad, i + 1);
            const text = JSON.stringify(event);
            if (text === sent[i]) return;
            sent[i] = text;
            senders[i](event);
        });
        polling = gamepads.length > 0;
        if (polling) requestAnimationFrame(poll);
    }

    window.addEventListener('gamepadconnected', ({gamepad}) => {
        say(`${gamepad.id} is a joystick now`);
        if (polling) return;
        polling = true;
        requestAnimationFrame(poll);
    });
}
