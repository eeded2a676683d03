// The volume tracer as callers see it: the exported functions, with C linkage, and the plain structures that they take.
// A network calls ZAMtracer_render_update; the others serve programs and scripts that trace without a field.
//
// Matrices are 16 floats, row-major, for row vectors: a point p becomes p M; elements 12 to 14 are the translation.
// Colours and pixels are in the order opacity, red, green, blue. Everything runs on one thread and keeps one view for
// the whole process, so two renders must not run at once.
#pragma once

#include "contract/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/// An entry of a colour table. A table has 256, one per byte value.
/// deliberate: opacity is 0 to 1, colours are 0 to 255. Opacities multiply; colours only add up, and are clamped at
/// 255.
typedef struct TracerColor {
    float opacity;
    float red, green, blue;
} TracerColor;

typedef struct TracerVolume {
    int veclen;           // bytes per node: 1 (looked up in the colour table) or 4 (opacity, red, green, blue)
    const xp_long* dims;  // nx, ny, nz
    const float* bounds;  // xmin, xmax, ymin, ymax, zmin, zmax; in index space 0, nx - 1 and so on
    const void* data;     // nx * ny * nz nodes, x fastest
} TracerVolume;

typedef struct TracerImage {
    unsigned char* pixels;  // width * height * 4 bytes, the top row first
} TracerImage;

/// A ray in voxel index space.
typedef struct TracerRay {
    float start[3];
    float direction[3];   // of unit length
    float reciprocal[3];  // 1 / direction, 1e30 for a component of exactly 0
} TracerRay;

// --- The module ---

/// The module's entry: renders the field `in` into the image field `out`. The parameters are in tracer.json.
/// @return 1 after a render, also of a volume that has neither one byte per node nor four (reported; the image is then
///         all 0), and also if `out` does not take it (not reported); 0 if the input cannot be read or
///         rendered (reported, `out` untouched)
ZAM_MODULE_API int ZAMtracer_render_update(OMobj_id instance, unsigned event_mask, int seq);

// --- Rendering ---

/// Renders a volume into an image, in four bands of rows, with progress through the host.
/// @param matrix       turns the volume: from voxel to view space
/// @param color_table  256 entries, or null: opacity from pow_table, grey levels
/// @param a_scale      opacity scale; null is 1
/// @param fptr         perspective: 0 for parallel rays, else 1 / distance of the eye; null is 1
/// @param interpolate  0: constant voxels; else values interpolated between nodes
/// @return 1; 0 with nothing written when an array is missing, a dimension is not in 1 .. 2^31 - 1, or the bytes of the
///         volume cannot be counted in 64 bits
ZAM_MODULE_API int tracer_body(const TracerVolume* volume, const float* matrix, const TracerColor* color_table,
                               const TracerImage* image, const float* a_scale, const float* fptr, int width, int height,
                               int interpolate);

/// Render a band of rows, with constant voxels (inner_loop) or interpolated between nodes (interp_loop). Progress goes
/// to the host once per row.
/// @param image      the whole image; rows first_row to first_row + rows - 1 are written
/// @param inverse    from view to voxel space: the inverse of the view matrix
/// @param largest    largest of nx, ny, nz: what one unit of the screen spans
/// @param a_scale    opacity scale
/// No row is written for a veclen other than 1 and 4, for fewer than one row, rows outside the image, or no data.
ZAM_MODULE_API void inner_loop(unsigned char* image, int first_row, int rows, int width, int height,
                               const float* inverse, const void* data, int nx, int ny, int nz, double largest,
                               double fptr, const TracerColor* color_table, int veclen, double a_scale);
ZAM_MODULE_API void interp_loop(unsigned char* image, int first_row, int rows, int width, int height,
                                const float* inverse, const void* data, int nx, int ny, int nz, double largest,
                                double fptr, const TracerColor* color_table, int veclen, double a_scale);

/// March one ray and write one pixel of four bytes. A ray that misses the volume, or is not finite, gives four zeros.
/// trace_...: constant voxels in the box [0, n]; interp_...: interpolated between nodes, in the box [0, n - 1].
/// ..._byte_volume: one byte per node and a table (or null); else four bytes per node. They return 0.
ZAM_MODULE_API int trace_volume(unsigned char* pixel, const TracerRay* ray, const void* data, int nx, int ny, int nz,
                                double a_scale);
ZAM_MODULE_API int trace_byte_volume(unsigned char* pixel, const TracerRay* ray, const void* data, int nx, int ny,
                                     int nz, const TracerColor* color_table, double a_scale);
ZAM_MODULE_API int interp_trace_volume(unsigned char* pixel, const TracerRay* ray, const void* data, int nx, int ny,
                                       int nz, double a_scale);
ZAM_MODULE_API int interp_trace_byte_volume(unsigned char* pixel, const TracerRay* ray, const void* data, int nx,
                                            int ny, int nz, const TracerColor* color_table, double a_scale);

// --- Tables ---

/// Opacity where there is no colour table: the square of value / 255. All 0 until init_pow_table() has run.
ZAM_MODULE_API extern float pow_table[256];
ZAM_MODULE_API void init_pow_table(void);

/// Opacity of a value: of its table entry; without a table 0 for 0, else from pow_table.
ZAM_MODULE_API float get_alpha(unsigned char value, const TracerColor* color_table);

/// Adds the colour of a value, times a weight, to three sums; without a table the value is the grey level, and green
/// and blue become copies of the red sum. Terms and sums are formed in double precision. Returns 0.
ZAM_MODULE_API int get_rgb(unsigned char value, const TracerColor* color_table, double weight, float* red, float* green,
                           float* blue);

// --- Matrices ---

/// Inverse of an affine matrix; may be `source` itself. A singular matrix gives numbers that are not finite.
ZAM_MODULE_API void matrix_inverse(float* result, const float* source);

/// Prints a matrix on standard output, one row per line.
ZAM_MODULE_API void mat_print(const float* matrix);

/// Kept for callers that look it up: does nothing, returns 0.
ZAM_MODULE_API int tracer_spec(void);

#ifdef __cplusplus
}
#endif
