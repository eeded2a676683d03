// Vectors on curvilinear grids, expressed in the grid's index space.
#pragma once

#include <array>
#include <span>

#include "contract/mat.h"
#include "contract/types.h"

namespace zam {

/// Inverts a square matrix, in place if the two are the same. @return not 1 if there is no inverse
using MatrixInverse = int (*)(float* inverse, const float* matrix);

/// Expresses vectors given in physical space by how fast they move through the indices of a structured grid.
///
/// The Jacobian matrix of a node has the rows d(position)/di, d(position)/dj, ..: central differences of the positions,
/// one-sided ones on the border, formed in float; along an axis of one node the unit vector of that axis. A vector,
/// taken as a row, is multiplied by the inverse of that matrix. The inverse is formed in double precision and rounded
/// to float once, as hosts invert matrices; the products are float, summed in ascending order.
///
/// A Jacobian without an inverse in floats (cells without volume, positions that are not finite) is left to the host's
/// inverse, as a matrix for vectors with a further component of 1; if the host finds no inverse either, the node gets a
/// zero vector. A vector that is not finite gives components that are not.
///
/// @param dims       nodes along each of the N axes (2 or 3), the first running fastest
/// @param positions  nodes x N, node after node
/// @param vectors    nodes x N
/// @param result     nodes x N, index steps per unit of time; does not overlap the inputs
/// @param inverse    of (N + 1) x (N + 1) floats, row-major: the host's
/// @pre the three spans hold product(dims) * N floats
template <int N>
void to_index_space(const std::array<xp_long, N>& dims, std::span<const float> positions,
                    std::span<const float> vectors, std::span<float> result,
                    MatrixInverse inverse = N == 2 ? MATmat3_inverse : MATmat4_inverse);

}  // namespace zam
