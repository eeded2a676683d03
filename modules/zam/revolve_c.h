// Revolve: sweeps a plane profile around the x axis into rings of quadrilaterals.
#pragma once

#include <span>
#include <vector>

#include "contract/types.h"

namespace zam {

/// Sine and cosine of the nodes of a ring.
class RingAngles {
public:
    /// @param resolution  nodes per ring, at least 1
    explicit RingAngles(int resolution);

    std::size_t size() const { return angles_.size(); }

    /// Positions of the ring at (x, radius): the first node at +z, on towards +y.
    /// @param ring  resolution nodes x 3
    void place(float x, float radius, float* ring) const;

private:
    struct Angle {
        double sine, cosine;
    };
    std::vector<Angle> angles_;
};

/// Positions of a surface of revolution, ring after ring.
///
/// @param profile  points x 2: x and radius; a last number without a partner is ignored
/// @param smooth   whether neighbouring segments share a ring; else each segment has two of its own, so that a shader
///                 finds no common normals at the edges
/// @param coord    points x resolution nodes x 3 (smooth) or 2 (points - 1) x resolution nodes x 3
void revolve_nodes(std::span<const float> profile, int resolution, bool smooth, std::span<float> coord);

/// Node lists of the quadrilaterals between two rings whose first nodes are `first` and `second`.
/// @param connect  resolution quadrilaterals x 4
void ring_quads(xp_long first, xp_long second, int resolution, std::span<xp_long> connect);

}  // namespace zam

/// The module's entry: writes the surface that `profile` sweeps around the x axis into `out`, one cell set per segment.
/// The parameters are in revolve_c.json.
/// @return 1, whatever happens. What is wrong with the parameters, or a surface that does not fit into memory, is
///         reported and leaves `out` as it was; an `out` that gives no coordinates after taking its new size is
///         reported too.
extern "C" ZAM_MODULE_API int DVRevolveUpdate(OMobj_id instance, unsigned event_mask, int seq);
