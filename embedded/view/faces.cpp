#include "embedded/view/faces.h"

#include <numeric>

#include "base/available_memory.h"

namespace zam::host::view {
namespace {

constexpr int kNone = -1;
using CellFace = std::array<int, 4>;  // corners of a cell; the last is kNone for triangles

// Corners are numbered as in VTK files: the base round, then the top; the apex last.
constexpr CellFace kTet[] = {{0, 1, 2, kNone}, {0, 1, 3, kNone}, {1, 2, 3, kNone}, {2, 0, 3, kNone}};
constexpr CellFace kPyramid[] = {{0, 1, 2, 3}, {0, 1, 4, kNone}, {1, 2, 4, kNone}, {2, 3, 4, kNone}, {3, 0, 4, kNone}};
constexpr CellFace kPrism[] = {{0, 1, 2, kNone}, {3, 4, 5, kNone}, {0, 1, 4, 3}, {1, 2, 5, 4}, {2, 0, 3, 5}};
constexpr CellFace kHex[] = {{0, 1, 2, 3}, {4, 5, 6, 7}, {0, 1, 5, 4}, {1, 2, 6, 5}, {2, 3, 7, 6}, {3, 0, 4, 7}};

std::span<const CellFace> faces_of(int corners) {
    switch (corners) {
        case 4: return kTet;
        case 5: return kPyramid;
        case 6: return kPrism;
        default: return kHex;
    }
}

}  // namespace

OuterFaces::OuterFaces(std::span<const VolumeCells> sets, xp_long nodes) {
    // The same face has the same nodes. Faces are put into the bucket of their least node, then sorted within it.
    struct Key {
        std::array<Node, 3> others;
        std::uint64_t face;
    };
    std::vector<Face> all;
    std::size_t most = 0;
    for (const VolumeCells& set : sets) most += static_cast<std::size_t>(set.count) * faces_of(set.corners).size();
    AvailableMemory memory;
    memory.require(static_cast<xp_long>(most), sizeof(Face) + sizeof(Key));
    memory.require(nodes, sizeof(std::size_t));
    all.reserve(most);
    for (const VolumeCells& set : sets) {
        std::array<Node, 8> cell{};
        for (xp_long i = 0; i < set.count; ++i) {
            const std::span<Node> taken(cell.data(), static_cast<std::size_t>(set.corners));
            if (!take_nodes(set.connect + i * set.corners, taken, nodes)) continue;
            for (const CellFace& corners : faces_of(set.corners)) {
                Face face{{}, set.first_cell + i};
                for (std::size_t k = 0; k < 4; ++k)
                    face.corners[k] = corners[k] == kNone ? kNoNode : cell[static_cast<std::size_t>(corners[k])];
                all.push_back(face);
            }
        }
    }
    std::vector<std::size_t> ends(static_cast<std::size_t>(nodes) + 1);
    for (const Face& face : all) ++ends[*std::min_element(face.corners.begin(), face.corners.end())];
    std::exclusive_scan(ends.begin(), ends.end(), ends.begin(), std::size_t{0});
    std::vector<Key> keys(all.size());
    for (std::size_t i = 0; i < all.size(); ++i) {
        std::array<Node, 4> sorted = all[i].corners;
        std::sort(sorted.begin(), sorted.end());
        keys[ends[sorted[0]]++] = {{sorted[1], sorted[2], sorted[3]}, i};
    }
    std::vector<bool> is_outer(all.size());
    std::size_t begin = 0;
    for (std::size_t node = 0; node < static_cast<std::size_t>(nodes); ++node) {
        const auto first = keys.begin() + static_cast<std::ptrdiff_t>(begin);
        const auto last = keys.begin() + static_cast<std::ptrdiff_t>(ends[node]);
        std::sort(first, last, [](const Key& a, const Key& b) { return a.others < b.others; });
        for (auto at = first; at != last;) {
            const auto next = std::find_if(at, last, [&](const Key& key) { return key.others != at->others; });
            if (next - at == 1) is_outer[at->face] = true;
            at = next;
        }
        begin = ends[node];
    }
    for (std::size_t i = 0; i < all.size(); ++i) {
        if (is_outer[i]) faces_.push_back(all[i]);
    }
}

}  // namespace zam::host::view
