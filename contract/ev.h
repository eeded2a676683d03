// Periodic events of the host's event loop.
#pragma once

#include "contract/types.h"

#ifdef __cplusplus
extern "C" {
#endif

enum { EV_PERIODIC = 5 };

/// Called by the event loop with the object that was registered.
typedef void (*EVcallback)(void* object);

/// Registers a callback.
/// @param kind      EV_PERIODIC
/// @param source    0
/// @param callback  called every `interval` units of the host's timer, first after one interval
/// @param mask      0
/// @param object    handed to the callback
/// @param interval  units of the host's timer; below 1 counts as 1
ZAM_HOST_API int EVadd_select(int kind, int source, EVcallback callback, int mask, void* object, int interval);

/// Removes the registration made with the same arguments; fails if there is none.
ZAM_HOST_API int EVdel_select(int kind, int source, EVcallback callback, int mask, void* object, int interval);

/// Drops events that are due but not yet delivered.
ZAM_HOST_API void EVflush_events(void);

#ifdef __cplusplus
}
#endif
