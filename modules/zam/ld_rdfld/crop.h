// The part of a field's nodes that is read: a box in index space, thinned by a factor along each axis.
#pragma once

#include <array>

#include "modules/zam/ld_rdfld/header_model.h"

namespace zam::ldrf {

/// Crop box and down-size factors as the parameters and the header give them.
struct CropSettings {
    std::array<int, kMaxCropAxes> min{0, 0, 0};
    std::array<int, kMaxCropAxes> max{0, 0, 0};
    std::array<float, kMaxCropAxes> factor{1.0F, 1.0F, 1.0F};
    std::array<xp_long, kMaxCropAxes> end{1, 1, 1};  // full dimensions, written back

    /// What a header says; values that it does not set keep their not-set markers.
    static CropSettings from_header(const HeaderModel& header);

    /// Whether any value of the first `ndim` axes differs from its not-set marker.
    bool any_set(int ndim) const;
    /// A factor at or below -1 or a negative crop value: the header insists on its own crop.
    bool insists(int ndim) const;
    /// Brings every value into the range that the dimensions allow and records the full dimensions.
    void normalise(int ndim, const std::vector<xp_long>& dims);
};

/// The nodes kept along one axis: node i is min + floor(i * factor).
struct KeptAxis {
    xp_long full = 1;  // nodes in the file
    xp_long min = 0;
    double factor = 1.0;
    xp_long count = 1;  // nodes kept

    xp_long node(xp_long i) const;
    xp_long last() const { return node(count - 1); }
    bool whole() const { return count == full; }
};

/// The nodes kept of a structured grid.
struct KeptNodes {
    int ndim = 0;
    std::array<KeptAxis, kMaxDims> axis;
    xp_long full_nodes = 0;  // product of the file's dimensions
    xp_long nodes = 0;       // product of the kept ones
    xp_long last_node = 0;   // index, in the file's order, of the last node kept

    bool whole() const { return nodes == full_nodes; }
    std::array<xp_long, kMaxDims> dims() const;
};

/// Combines dimensions and (normalised) crop.
/// @return false if a dimension is below 1 or the product of the dimensions overflows
bool select_nodes(const HeaderModel& header, const CropSettings& crop, KeptNodes& kept);

}  // namespace zam::ldrf
