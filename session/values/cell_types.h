// The cell types that cell sets name.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>

namespace zam::session {

struct CellType {
    std::string_view name;
    int nnodes;           // nodes per cell; 0: cells are listed as polygons
    std::uint8_t vtk_id;  // cell type number of VTK files
};

constexpr std::array<CellType, 10> kCellTypes{{{"Point", 1, 1},
                                               {"Line", 2, 3},
                                               {"Tri", 3, 5},
                                               {"Quad", 4, 9},
                                               {"Tet", 4, 10},
                                               {"Hex", 8, 12},
                                               {"Prism", 6, 13},
                                               {"Pyr", 5, 14},
                                               {"Polyline", 0, 4},
                                               {"Polyhedron", 0, 7}}};

/// The cell type of a name; null if there is none.
constexpr const CellType* find_cell_type(std::string_view name) {
    const auto* found =
        std::find_if(kCellTypes.begin(), kCellTypes.end(), [&](const auto& type) { return type.name == name; });
    return found == kCellTypes.end() ? nullptr : found;
}

}  // namespace zam::session
