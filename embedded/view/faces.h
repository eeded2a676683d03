// The faces of an object in forms that need no copy of them: each form calls a visitor for one face after another, with
// the face's corners, which are nodes of the patch, and with the number of the cell that it belongs to.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <span>
#include <vector>

#include "embedded/field.h"

namespace zam::host::view {

using Node = std::uint32_t;                           // of a patch
constexpr xp_long kMaxPatchNodes = xp_long{1} << 26;  // 24 bytes each

/// Copies node numbers that are below `nodes`; false if one is not.
inline bool take_nodes(const xp_long* from, std::span<Node> to, xp_long nodes) {
    for (Node& node : to) {
        if (*from < 0 || *from >= nodes) return false;
        node = static_cast<Node>(*from++);
    }
    return true;
}

/// Cells of one face each, all with the same number of corners.
struct CellFaces {
    static constexpr bool kHasCreases = false;
    const xp_long* connect;
    xp_long count;
    int corners;  // 3 or 4
    xp_long nodes, first_cell;

    template <class Visit>
    void each(Visit&& visit) const {
        std::array<Node, 4> face;
        const std::span<Node> taken(face.data(), static_cast<std::size_t>(corners));
        for (xp_long i = 0; i < count; ++i) {
            if (take_nodes(connect + i * corners, taken, nodes)) visit(taken, first_cell + i);
        }
    }
};

/// Polygons of any number of corners.
struct Polygons {
    static constexpr bool kHasCreases = false;
    std::span<const xp_long> counts, connect;
    xp_long nodes, first_cell;

    template <class Visit>
    void each(Visit&& visit) const {
        std::vector<Node> face;
        std::size_t next = 0;
        for (std::size_t i = 0; i < counts.size(); ++i) {
            if (counts[i] < 0 || static_cast<std::size_t>(counts[i]) > connect.size() - next) return;
            face.resize(static_cast<std::size_t>(counts[i]));
            const bool complete = take_nodes(connect.data() + next, face, nodes);
            next += face.size();
            if (complete && face.size() >= 3) visit(std::span<Node>(face), first_cell + static_cast<xp_long>(i));
        }
    }
};

/// The quads of a grid of nodes, u fastest.
struct GridFaces {
    static constexpr bool kHasCreases = false;
    xp_long nu, nv;
    xp_long first_cell, cell_stride_u, cell_stride_v;

    template <class Visit>
    void each(Visit&& visit) const {
        for (xp_long v = 0; v + 1 < nv; ++v) {
            for (xp_long u = 0; u + 1 < nu; ++u) {
                const auto node = static_cast<Node>(v * nu + u);
                const auto row = static_cast<Node>(nu);
                std::array<Node, 4> face{node, node + 1, node + row + 1, node + row};
                visit(std::span<Node>(face), first_cell + u * cell_stride_u + v * cell_stride_v);
            }
        }
    }
};

/// Cells of a volume, all of one type.
struct VolumeCells {
    const xp_long* connect;
    xp_long count;
    int corners;  // 4, 5, 6 or 8
    xp_long first_cell;
};

/// The faces of volume cells that belong to one cell only.
class OuterFaces {
public:
    static constexpr bool kHasCreases = true;

    /// Cells that refer to nodes that do not exist do not count.
    OuterFaces(std::span<const VolumeCells> sets, xp_long nodes);

    template <class Visit>
    void each(Visit&& visit) const {
        for (const Face& face : faces_) {
            std::array<Node, 4> corners = face.corners;
            visit(std::span<Node>(corners.data(), corners[3] == kNoNode ? 3 : 4), face.cell);
        }
    }

private:
    static constexpr Node kNoNode = std::numeric_limits<Node>::max();
    struct Face {
        std::array<Node, 4> corners;  // the last is kNoNode for triangles
        xp_long cell;
    };

    std::vector<Face> faces_;
};

}  // namespace zam::host::view
