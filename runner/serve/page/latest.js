// One call at a time, and the newest wins: for pictures, values under the pointer and whatever else a slow answer would
// pile up.

/**
 * Wraps `work` so that it runs once at a time. What is asked for meanwhile waits; of several that wait only the last
 * one is done.
 * @param {function(...*): Promise} work  reports its own failures
 * @returns {function(...*): void}
 */
export function latest(work) {
    let busy = false;
    let next = null;
    return async (...request) => {
        next = request;
        if (busy) return;
        busy = true;
        try {
            while (next) {
                const now = next;
                next = null;
                await work(...now);
            }
        } finally {
            busy = false;
        }
    };
}
