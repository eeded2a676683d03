// Line integral convolution as callers see it: the module's entry and its building blocks, with C linkage.
//
// Positions are in pixels: pixel (i, j) covers [i, i + 1) x [j, j + 1), so a grid line belongs to the pixel above it or
// to its right. Source of the method: Cabral and Leedom, "Imaging vector fields using line integral convolution",
// SIGGRAPH 1993.
#pragma once

#include "contract/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/// The module's entry: draws the field `in_fld` as the image field `out_fld`. The parameters are in lic_texture.json.
/// The noise comes from one generator per process, seeded anew at each update.
/// @return 1; 0 if the input cannot be read (silent where a query of the field fails, else reported), memory runs out
///         or `out_fld` cannot be written (both reported; its shape may have been written by then)
ZAM_MODULE_API int ZAMlic_texture_func(OMobj_id instance, unsigned event_mask, int seq);

/// Leaves the current pixel along a constant vector.
/// @param previous  how the streamline came into the pixel: what the last call returned, 0 at its start
/// @param dx,dy     receive the step to the pixel's boundary; a step down or left ends 0.0001 beyond it. 0 at a stop
/// @return 1 left through the lower grid line, 2 the upper, 3 the right, 4 the left one; 0: the streamline turns back
///         across the line that it came through, and stops
ZAM_MODULE_API int liccom2(double x, double y, double vx, double vy, int previous, double* dx, double* dy);

/// The integral of (1 + cos(a s)) (1 + cos(b s + p)) / 4 over s from s0 to s1, in closed form: a Hann window times a
/// ripple of phase p. Computed in double; terms whose frequency is 0 take their limits.
ZAM_MODULE_API float ripple(double s0, double s1, double a, double b, double p);

/// Random numbers x[n] = (x[n - 55] - x[n - 24]) mod 1000000000. Source: Knuth, "The Art of Computer Programming",
/// volume 2, subtractive method.
/// @param index  where the next number is taken from; beyond the table, it is refilled
/// @param table  56 numbers, of which 1 to 55 are used
ZAM_MODULE_API void init_rnd2(int seed, int* index, int* table);
/// The next number, 0 to 999999999.
ZAM_MODULE_API int irnd2(int* index, int* table);
/// The next number times 1e-9: in [0, 1).
ZAM_MODULE_API double rnd2(int* index, int* table);

#ifdef __cplusplus
}
#endif
