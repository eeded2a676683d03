#include "modules/zam/ld_rdfld/crop.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "base/checked_product.h"

namespace zam::ldrf {

CropSettings CropSettings::from_header(const HeaderModel& header) {
    CropSettings crop;
    crop.min = header.crop_min;
    crop.max = header.crop_max;
    crop.factor = header.downsize;
    return crop;
}

bool CropSettings::any_set(int ndim) const {
    for (int i = 0; i < std::min(ndim, kMaxCropAxes); ++i) {
        const auto a = static_cast<std::size_t>(i);
        if (min[a] != kCropNotSet || max[a] != kCropNotSet || factor[a] != kFactorNotSet) return true;
    }
    return false;
}

bool CropSettings::insists(int ndim) const {
    const auto negative = [](int value) { return value < 0 && value != kCropNotSet; };
    for (int i = 0; i < std::min(ndim, kMaxCropAxes); ++i) {
        const auto a = static_cast<std::size_t>(i);
        if (factor[a] <= -1.0F || negative(min[a]) || negative(max[a])) return true;
    }
    return false;
}

void CropSettings::normalise(int ndim, const std::vector<xp_long>& dims) {
    constexpr xp_long kMaxIndex = std::numeric_limits<int>::max();  // the parameters are ints
    for (int i = 0; i < kMaxCropAxes; ++i) {
        const auto a = static_cast<std::size_t>(i);
        if (i >= ndim) {
            min[a] = max[a] = 0;
            factor[a] = 1.0F;
            end[a] = 1;
            continue;
        }
        const xp_long last = std::min(dims[a] - 1, kMaxIndex);
        xp_long low = min[a];
        xp_long high = max[a];
        if (!(factor[a] > 1.0F) || !std::isfinite(factor[a])) factor[a] = 1.0F;
        if (low < 1)
            low = 0;
        else if (low >= last)
            low = std::max<xp_long>(0, last - 1);  // an axis of one node is kept whole
        if (high < 1 || high >= last) high = last;
        if (low >= high) {
            low = 0;
            high = last;
        }
        min[a] = static_cast<int>(low);
        max[a] = static_cast<int>(high);
        end[a] = dims[a];
    }
}

xp_long KeptAxis::node(xp_long i) const {
    // exact for the indices that the int parameters can hold
    return min + static_cast<xp_long>(std::floor(static_cast<double>(i) * factor));
}

std::array<xp_long, kMaxDims> KeptNodes::dims() const {
    std::array<xp_long, kMaxDims> kept{};
    for (std::size_t i = 0; i < static_cast<std::size_t>(ndim); ++i) kept[i] = axis[i].count;
    return kept;
}

bool select_nodes(const HeaderModel& header, const CropSettings& crop, KeptNodes& kept) {
    kept = KeptNodes{};
    kept.ndim = header.ndim;
    kept.full_nodes = kept.nodes = 1;
    for (std::size_t i = 0; i < static_cast<std::size_t>(header.ndim); ++i) {
        KeptAxis& axis = kept.axis[i];
        axis.full = axis.count = header.dims[i];
        if (axis.full < 1) return false;
        if (i < kMaxCropAxes && crop.end[i] <= std::numeric_limits<int>::max()) {
            axis.min = crop.min[i];
            axis.factor = crop.factor[i];
            const double span = static_cast<double>(crop.max[i]) - static_cast<double>(crop.min[i]);
            axis.count = static_cast<xp_long>(std::floor(span / axis.factor)) + 1;
        }
        const auto full_nodes = checked_product(kept.full_nodes, axis.full);
        if (axis.count < 1 || !full_nodes) return false;
        kept.last_node += axis.last() * kept.full_nodes;
        kept.full_nodes = *full_nodes;
        kept.nodes *= axis.count;
    }
    return true;
}

}  // namespace zam::ldrf
