// Threshold colour: appends a luminance byte to the colours of a field, cut off below and above two thresholds.
// Reads min, max, in. Writes out: shape, points and component 0 with one more value per node.
#include "modules/zam/threshcolor.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <optional>
#include <utility>
#include <vector>

#include "base/checked_product.h"
#include "contract/fld.h"
#include "contract/om.h"
#include "modules/support/host_array.h"
#include "modules/support/parameters.h"
#include "modules/support/typed_bytes.h"
#include "modules/support/uniform_filter.h"

namespace zam {
namespace {

/// What one byte of a colour contributes, for each of its values.
class Channel {
public:
    Channel(double weight, int min, int max) {
        for (int byte = 0; byte < kBytes; ++byte) {
            const int value = byte < 128 ? byte : byte - 256;  // deliberate: bytes from 128 up count as negative
            const auto entry = static_cast<std::size_t>(byte);
            weighted_[entry] = weight * value;
            // a bit that all three channels share cuts the node off
            cut_[entry] = static_cast<std::uint8_t>((value <= min ? 1 : 0) | (value >= max ? 2 : 0));
        }
    }

    double weighted(std::byte value) const { return weighted_[static_cast<std::size_t>(value)]; }
    unsigned cut(std::byte value) const { return cut_[static_cast<std::size_t>(value)]; }

private:
    static constexpr int kBytes = 256;
    std::array<double, kBytes> weighted_{};
    std::array<std::uint8_t, kBytes> cut_{};
};

struct Luminance {
    Channel red, green, blue;

    Luminance(int min, int max) : red(0.298912, min, max), green(0.586611, min, max), blue(0.114478, min, max) {}

    /// @param color  opacity or whatever else, red, green, blue
    std::byte of(const std::byte* color) const {
        const double sum = green.weighted(color[2]) + red.weighted(color[1]) + blue.weighted(color[3]);
        const unsigned cut = red.cut(color[1]) & green.cut(color[2]) & blue.cut(color[3]);
        return static_cast<std::byte>(static_cast<unsigned>(static_cast<int>(sum)) & (cut != 0 ? 0U : 0xFFU));
    }
};

/// Appends the byte to every node. `Size` gives the bytes per node.
template <class Size>
void append(const std::byte* from, Size size, xp_long nodes, const Luminance& luminance, std::byte* to) {
    for (xp_long node = 0; node < nodes; ++node) {
        std::memcpy(to, from, size());
        to[size()] = luminance.of(from);
        from += size();
        to += size() + 1;
    }
}

}  // namespace

void append_luminance(std::span<const std::byte> from, int veclen, xp_long nodes, int min, int max,
                      std::span<std::byte> to) {
    const Luminance luminance(min, max);
    const auto size = static_cast<std::size_t>(veclen);
    const xp_long whole = std::min<xp_long>(nodes, static_cast<xp_long>(from.size() / size));
    if (veclen == 4) {
        append(
            from.data(), [] { return std::size_t{4}; }, whole, luminance, to.data());
    } else {
        append(
            from.data(), [size] { return size; }, whole, luminance, to.data());
    }
    auto rest = to.subspan(static_cast<std::size_t>(whole) * (size + 1));
    std::ranges::fill(rest, std::byte{0});
    if (whole == nodes) return;  // else one node is cut short or missing, and those after it are black
    const auto begun = from.subspan(static_cast<std::size_t>(whole) * size);
    std::vector<std::byte> node(size);
    std::ranges::copy(begun, node.begin());
    append(
        node.data(), [size] { return size; }, 1, luminance, rest.data());
}

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
