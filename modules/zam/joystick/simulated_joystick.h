// Joysticks that are not there, for networks played without a hand on the stick.
#pragma once

#include <stdint.h>  // NOLINT(modernize-deprecated-headers): C programs read this too

#include "contract/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/// Plugs a simulated joystick in, at the first call, and moves it. Whoever asks for joystick `id` then reads it, also
/// when a device has that number; devices keep the numbers that they have.
/// @param id     1 or 2
/// @param state  x y z r u v pov buttons: axes 0 to 65535, hundredths of a degree clockwise from up or 65535 for a
///               released hat, bit i for button i. Null unplugs it.
/// @return 1, or 0 where joysticks cannot be simulated
ZAM_MODULE_API int zam_simulate_joystick(int id, const uint32_t* state);

#ifdef __cplusplus
}
#endif
