// Threshold colour: appends a luminance byte to the colours of a field, cut off below and above two thresholds.
// Reads min, max, in. Writes out: shape, points and component 0 with one value a node more.
#include "modules/zam/threshcolor.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <new>
#include <optional>
#include <vector>

#include "contract/fld.h"
#include "contract/om.h"
#include "modules/support/component_bytes.h"
#include "modules/support/host_array.h"
#include "modules/support/memory_budget.h"
#include "modules/support/parameters.h"
#include "modules/support/report.h"

namespace zam {
namespace {

/// What a colour's byte contributes, for all of its values.
class Channel {
public:
    Channel(double weight, int min, int max) {
        for (int byte = 0; byte < kBytes; ++byte) {
            const int value = byte < 128 ? byte : byte - 256;  // deliberate: bytes from 128 up count as negative
            const auto entry = static_cast<std::size_t>(byte);
            weighted_[entry] = weight * value;
            // every bit that all three channels share cuts the node off
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

/// Appends the byte to every node. `Size` says how many bytes a node has.
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
    if (whole == nodes) return;  // else a node is begun or missing, and those behind it are black
    const auto begun = from.subspan(static_cast<std::size_t>(whole) * size);
    std::vector<std::byte> node(size);
    std::ranges::copy(begun, node.begin());
    append(
        node.data(), [size] { return size; }, 1, luminance, rest.data());
}

namespace {

constexpr Reporter report{.label = "", .flags = 96};
constexpr const char* kNoMemory = "Error : Can't allocate memory.\n";

struct Input {
    std::vector<xp_long> dims;
    int nspace = 0;
    int veclen = 0;
    xp_long nnodes = 0;
    HostArray<float> points;
    ComponentBytes data;
};

/// Nothing, silently, when there are no colours.
std::optional<Input> read_input(OMobj_id instance) {
    const OMobj_id field = find_parameter(instance, "in", OM_OBJ_RW);
    Input input;
    HostArray<xp_long> dims;
    int ndim = 0;
    if (FLDget_dims(field, dims.place(), &ndim) != 1 || !dims || ndim < 1) return std::nullopt;
    input.dims.assign(dims.data(), dims.data() + ndim);
    if (FLDget_nspace(field, &input.nspace) != 1 || FLDget_nnodes(field, &input.nnodes) != 1) return std::nullopt;
    if (FLDget_points(field, input.points.place(), input.points.count_place(), ARR_READ) != 1) return std::nullopt;
    if (FLDget_node_data_veclen(field, 0, &input.veclen) != 1 || input.veclen < 4) return std::nullopt;
    if (!input.data.read(field, 0)) return std::nullopt;
    return input;
}

struct Output {
    OutArray<xp_long> dims;
    OutArray<float> points;
    OutArray<std::byte> data;
};

/// Empty, after a report, when memory runs out.
std::optional<Output> make_output(OMobj_id instance, const Input& input) {
    const auto fail = [] {
        report.fail(kNoMemory);
        return std::nullopt;
    };
    Output out;
    out.dims = OutArray<xp_long>::allocate(static_cast<xp_long>(input.dims.size()));
    if (!out.dims) return fail();
    std::ranges::copy(input.dims, out.dims.data());
    out.points = OutArray<float>::allocate(input.points.size());
    if (!out.points) return fail();
    std::ranges::copy(input.points.span(), out.points.data());
    const auto values = checked_product(xp_long{input.veclen} + 1, input.nnodes);
    MemoryBudget memory;
    if (values) out.data = memory.allocate_as(input.data.type, *values);
    if (!out.data) return fail();
    append_luminance(input.data.bytes(), input.veclen, input.nnodes, int_or(instance, "min", 0),
                     int_or(instance, "max", 255), out.data.span());
    return out;
}

/// Silent when the host refuses a part: what it has taken stays.
void write_field(OMobj_id field, const Input& input, Output& out) {
    if (FLDset_ndim(field, static_cast<int>(input.dims.size())) == 1 && FLDset_dims(field, out.dims.data()) == 1 &&
        FLDset_nspace(field, input.nspace) == 1)
        hand_over_uniform(field, out.points, input.veclen + 1, out.data);
}

void update(OMobj_id instance) {
    const auto input = read_input(instance);
    if (!input) return;
    auto out = make_output(instance, *input);
    if (out) write_field(find_parameter(instance, "out", OM_OBJ_RD), *input, *out);
}

}  // namespace
}  // namespace zam

int ADDthreshcolor(OMobj_id instance, unsigned /*event_mask*/, int /*seq*/) {
    try {
        zam::update(instance);
    } catch (const std::bad_alloc&) {
        zam::report.fail(zam::kNoMemory);
    }
    return 1;  // deliberate: also after a failure
}
