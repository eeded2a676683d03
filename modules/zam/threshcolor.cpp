// Threshold colour: appends a luminance byte to the colours of a field, cut off below and above two thresholds.
// Reads min, max, in. Writes out: shape, points and component 0 with one more value per node.
#include "modules/zam/threshcolor.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "base/checked_product.h"
#include "contract/fld.h"
#include "contract/om.h"
#include "modules/support/host_array.h"
#include "modules/support/parameters.h"
#include "modules/support/typed_bytes.h"
#include "modules/support/uniform_filter.h"

namespace zam {
namespace {

/// The colours, and the shape of their field.
struct Threshold {
    OutArray<xp_long> dims;
    int nspace = 0;
    int veclen = 0;
    xp_long nnodes = 0;
    HostArray<float> points;
    TypedBytes data;

    static std::optional<Threshold> read(const Parameters& params, OMobj_id field);
    void fill_points(const Parameters& /*params*/, std::span<float> to) const {
        std::ranges::copy(points.span(), to.begin());
    }
    std::optional<xp_long> out_count() const { return checked_product(xp_long{veclen} + 1, nnodes); }
    void fill_values(const Parameters& params, std::span<std::byte> to) const {
        append_luminance(data.bytes(), veclen, nnodes, params.integer("min", 0), params.integer("max", 255), to);
    }
    bool set_shape(OMobj_id out) const {
        return FLDset_ndim(out, static_cast<int>(dims.size())) == 1 && FLDset_dims(out, dims.data()) == 1 &&
               FLDset_nspace(out, nspace) == 1;
    }
    int out_veclen() const { return veclen + 1; }
};

/// `nullopt`, silently, if there are no colours.
std::optional<Threshold> Threshold::read(const Parameters& /*params*/, OMobj_id field) {
    Threshold in;
    HostArray<xp_long> dims;
    int ndim = 0;
    if (FLDget_dims(field, dims.receive(), &ndim) != 1 || !dims || ndim < 1) return std::nullopt;
    if (FLDget_nspace(field, &in.nspace) != 1 || FLDget_nnodes(field, &in.nnodes) != 1) return std::nullopt;
    if (FLDget_points(field, in.points.receive(), in.points.receive_count(), ARR_READ) != 1) return std::nullopt;
    if (FLDget_node_data_veclen(field, 0, &in.veclen) != 1 || in.veclen < 4) return std::nullopt;
    auto data = TypedBytes::read(field, 0);
    if (!data) return std::nullopt;
    in.data = std::move(*data);
    in.dims = OutArray<xp_long>::allocate(ndim);
    if (!in.dims) return kFilterReport.reject(kNoFilterMemory);
    std::copy_n(dims.data(), ndim, in.dims.data());
    return in;
}

}  // namespace
}  // namespace zam

int ADDthreshcolor(OMobj_id instance, unsigned /*event_mask*/, int /*seq*/) {
    return zam::update_uniform<zam::Threshold>(instance);
}
