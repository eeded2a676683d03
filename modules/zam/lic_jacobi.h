// Jacobian transform of vectors: the exported functions, with C linkage. What they compute: index_space.h.
#pragma once

#include "contract/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/// The module's entry: expresses the vectors of the curvilinear field `fld_in` in its index space and writes them as
/// the uniform field `fld_out` of the same dims. The parameters are in lic_jacobi.json.
/// @return 1; 0 with one report if the input does not fit or memory runs out (`fld_out` untouched), or if `fld_out`
///         cannot be written
ZAM_MODULE_API int ZAMjacobiTransVec_comp_func(OMobj_id instance, unsigned event_mask, int seq);

/// Transforms a point in place: (x, y, 1) x matrix, the first two results. Matrices are 9 floats, row-major.
ZAM_MODULE_API void MATvec2_mat3_multiply(float vector[2], const float matrix[9]);

#ifdef __cplusplus
}
#endif
