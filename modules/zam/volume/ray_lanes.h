// Rays side by side: walks through a grid that step together, without branches.
//
// A walk on its own waits for its comparisons in every cell, and the processor often mispredicts which face comes next.
// Here masks choose, four rays to a vector, and the vectors of a batch hide each other's latency.
#pragma once

#include <cstddef>
#include <cstdint>

#include "modules/support/lanes.h"
#include "modules/zam/volume/ray_entry.h"

namespace zam::tracer {

constexpr int kQuadLanes = 4;
constexpr int kQuads = 2;
constexpr int kLanes = kQuads * kQuadLanes;

using Floats = Lanes<float, kQuadLanes>;
using Ints = Lanes<std::int32_t, kQuadLanes>;
using Mask = MaskOf<Floats>;

/// The axis that each lane's ray crossed last: one mask is set per lane.
struct CrossedAxis {
    Mask x, y, z;
};

/// Four rays on their way from cell to cell.
/// Node is the type of node numbers. 32 bits serve up to 2^32 nodes: strides are added modulo 2^32.
template <class Node>
struct WalkQuad {
    using Nodes = Lanes<Node, kQuadLanes>;  // never passed by value: 64-bit ones are wider than a register

    Floats t;             // parameter at the last crossing
    Nodes node;           // the one that names the current cell
    Nodes stride[3];      // of a step along each axis, in nodes
    Floats next[3];       // parameter of the next crossing on each axis
    Floats increment[3];  // from crossing to crossing
    Ints steps_left[3];   // that stay within the grid; negative once the ray has left it along that axis

    void start(int lane, const GridEntry& entry) {
        t[lane] = entry.t;
        node[lane] = static_cast<Node>(entry.node);
        for (int a = 0; a < 3; ++a) {
            stride[a][lane] = static_cast<Node>(entry.axis[a].stride);
            next[a][lane] = entry.axis[a].next;
            increment[a][lane] = entry.axis[a].increment;
            steps_left[a][lane] = entry.axis[a].steps_left;
        }
    }

    /// Steps into the next cell. Of equal crossings x comes before z, y before x and before z.
    CrossedAxis advance() {
        const Mask x_before_y = next[1] > next[0];
        const Floats nearer = select(x_before_y, next[0], next[1]);
        CrossedAxis crossed;
        crossed.z = nearer > next[2];
        crossed.x = x_before_y & ~crossed.z;
        crossed.y = ~(x_before_y | crossed.z);
        t = select(crossed.z, next[2], nearer);
        next[0] += keep(crossed.x, increment[0]);
        next[1] += keep(crossed.y, increment[1]);
        next[2] += keep(crossed.z, increment[2]);
        steps_left[0] += crossed.x;  // masks are -1
        steps_left[1] += crossed.y;
        steps_left[2] += crossed.z;
        Nodes across_x, across_y, across_z;
        convert(crossed.x, across_x);
        convert(crossed.y, across_y);
        convert(crossed.z, across_z);
        node += (stride[0] & across_x) | (stride[1] & across_y) | (stride[2] & across_z);
        return crossed;
    }

    /// Negative in the lanes whose rays have left the grid.
    Ints left() const { return steps_left[0] | steps_left[1] | steps_left[2]; }
};

/// The nodes of one cell face in four lanes, with their weights: those of a bilinear interpolation, the first node
/// being the one that names the cell.
template <class Node>
struct FaceQuad {
    Lanes<Node, kQuadLanes> node[4];
    Floats weight[4];
};

/// Four rays on their way from cell face to cell face.
template <class Node>
struct FaceWalkQuad : WalkQuad<Node> {
    using Walk = WalkQuad<Node>;
    using typename Walk::Nodes;

    CrossedAxis crossed;  // by the last step, or by the entry
    Floats last[3];       // parameter of the last crossing on each axis
    Floats speed[3];      // |direction|

    void start(int lane, const GridEntry& entry) {
        Walk::start(lane, entry);
        crossed.x[lane] = entry.face_axis == 0 ? -1 : 0;
        crossed.y[lane] = entry.face_axis == 1 ? -1 : 0;
        crossed.z[lane] = entry.face_axis == 2 ? -1 : 0;
        for (int a = 0; a < 3; ++a) {
            last[a][lane] = entry.axis[a].last;
            speed[a][lane] = entry.axis[a].speed;
        }
    }

    void advance() {
        crossed = Walk::advance();
        last[0] = select(crossed.x, this->t, last[0]);
        last[1] = select(crossed.y, this->t, last[1]);
        last[2] = select(crossed.z, this->t, last[2]);
    }

    /// The face just crossed. Its first axis is x, or y on a face across x; its second is z, or y on a face across z.
    /// Along an axis that the ray does not move along, both nodes are the same and the second has weight 0.
    void get_face(FaceQuad<Node>& face) const {
        Nodes across_x, across_z;
        convert(crossed.x, across_x);
        convert(crossed.z, across_z);
        const Nodes first_stride = (this->stride[1] & across_x) | (this->stride[0] & ~across_x);
        const Nodes second_stride = (this->stride[1] & across_z) | (this->stride[2] & ~across_z);
        face.node[0] = this->node;
        face.node[1] = face.node[0] + first_stride;
        face.node[2] = face.node[0] + second_stride;
        face.node[3] = face.node[1] + second_stride;

        const Floats way_y = (this->t - last[1]) * speed[1];
        const Floats first = select(crossed.x, way_y, (this->t - last[0]) * speed[0]);
        const Floats second = select(crossed.z, way_y, (this->t - last[2]) * speed[2]);
        face.weight[0] = (1 - first) * (1 - second);
        face.weight[1] = first * (1 - second);
        face.weight[2] = (1 - first) * second;
        face.weight[3] = first * second;
    }
};

}  // namespace zam::tracer
