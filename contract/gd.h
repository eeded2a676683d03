// Graphics helpers: colours through a datamap, composite matrices of transforms.
#pragma once

#include "contract/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/// Maps values through a datamap to packed colours.
/// @param datamap     the datamap object
/// @param values      `count` values of `type`
/// @param argb        receives 4 bytes per value: alpha, red, green, blue
/// @param components  1
/// @param size_a,size_b,flags  `count`, `count`, 0
ZAM_HOST_API int GDgen_argbs(OMobj_id datamap, const void* values, int type, unsigned char* argb, xp_long count,
                             int components, xp_long size_a, xp_long size_b, int flags);

/// The 4x4 matrix of a transform object: p' = (p - center) x mat + xlate + center.
ZAM_HOST_API int GDxform_get_comp_matrix(OMobj_id xform, float matrix[16]);

#ifdef __cplusplus
}
#endif
