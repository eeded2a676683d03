// Where a bilinearly interpolated plane vector field vanishes, and what its flow looks like there.
//
// Source: Helman and Hesselink, "Visualizing vector field topology in fluid flows", IEEE Computer Graphics and
// Applications 11 (1991).
#pragma once

#include "modules/zam/flow/skeleton.h"

namespace zam::topology {

/// Derivatives of the vector (u, v): a = du/dx, b = du/dy, c = dv/dx, d = dv/dy.
struct Jacobian {
    double a, b, c, d;
};

/// Fills the records of critical points with the zeros of the field, cell by cell along the rows, in single precision.
/// A zero on the border of cells is found by each of them.
/// @pre  all records are unused
/// @return whether all fit; the table is full otherwise
bool find_critical_points(const VectorGrid& grid, Skeleton& skeleton);

/// The class of a critical point. A saddle gets the next ordinal, and its directions.
/// @return TOPOLOGY_SADDLE to TOPOLOGY_CENTRE; -1 if an eigenvalue is zero or not a number
int classify_critical_point(const VectorGrid& grid, CriticalPoint& point, Skeleton& skeleton);

/// Eigenvectors of a saddle, given its eigenvalues.
Directions saddle_directions(const Jacobian& jacobian, double lambda1, double lambda2);

}  // namespace zam::topology
