// Matrix helpers. Matrices are row-major floats used with row vectors: p' = p M, translation in elements 12 to 14.
#pragma once

#include "contract/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/// product = a x b (first a, then b, for row vectors); `product` may be one of the factors.
ZAM_HOST_API void MATmat4_multiply(const float a[16], const float b[16], float product[16]);

/// Transforms a point in place: (x, y, z, 1) x matrix, the first three results.
ZAM_HOST_API void MATvec3_mat4_multiply(float vector[3], const float matrix[16]);

/// Inverts a matrix. A singular one gives 0 and leaves `inverse` as it was; else 1. `inverse` may be `matrix`.
ZAM_HOST_API int MATmat3_inverse(float inverse[9], const float matrix[9]);
ZAM_HOST_API int MATmat4_inverse(float inverse[16], const float matrix[16]);

#ifdef __cplusplus
}
#endif
