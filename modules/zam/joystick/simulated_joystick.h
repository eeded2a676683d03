// Simulated joysticks, for networks that are played without a device.
#pragma once

#include <stdint.h>  // NOLINT(modernize-deprecated-headers): C programs read this too

#include "contract/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/// Plugs in a simulated joystick at the first call, and moves it. Whoever asks for joystick `id` then reads it, even if
/// a device has that number; devices keep their numbers.
/// @param id     1 or 2
/// @param state  x y z r u v pov buttons: axes 0 to 65535, hundredths of a degree clockwise from up or 65535 for a
///               released hat, bit i for button i. Null unplugs it.
/// @return 1, or 0 if joysticks cannot be simulated here
ZAM_MODULE_API int zam_simulate_joystick(int id, const uint32_t* state);

#ifdef __cplusplus
}
#endif
