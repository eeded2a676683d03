// Principal values and directions of symmetric 3 x 3 tensors.
#pragma once

#include <span>

namespace zam {

/// Splits symmetric stress tensors into principal values and directions, largest value first.
///
/// A tensor whose six components add up to 0 in float, and one with a component that is not finite, gives zeros only.
/// Values beyond the range of floats become infinite. The result for a tensor does not depend on its neighbours.
///
/// @param tensors  nodes x 6: xx yy zz xy yz zx, in the input's unit
/// @param values   nodes x 3: same unit, descending; equal values keep the solver's order
/// @param axes     nodes x 9: unit vectors, that of the first value as x y z, then the second's, then the third's
/// @pre the spans hold the same number of nodes and do not overlap
/// Source: cyclic Jacobi rotations, Golub & Van Loan, "Matrix Computations", in double precision.
void principal_stresses(std::span<const float> tensors, std::span<float> values, std::span<float> axes);

}  // namespace zam
