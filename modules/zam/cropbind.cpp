// Crop and bind: folds a byte volume about a column. In depth, what lies right of the fold comes first, then the mirror
// image of what lies left of it.
// Reads center, xy_dist, in. Writes out: dims, points and component 0.
#include "modules/zam/cropbind.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
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

std::array<xp_long, 3> folded_dims(const std::array<xp_long, 3>& in, xp_long center) {
    return {std::max(center, in[0] - center), in[1], 2 * in[2]};
}

namespace {

/// Reverses eight bytes.
std::uint64_t reversed(std::uint64_t word) {
    word = (word >> 32) | (word << 32);
    word = ((word >> 16) & 0x0000FFFF0000FFFFU) | ((word & 0x0000FFFF0000FFFFU) << 16);
    return ((word >> 8) & 0x00FF00FF00FF00FFU) | ((word & 0x00FF00FF00FF00FFU) << 8);
}

/// Copies `count` bytes in reverse order.
void copy_reversed(const std::byte* from, std::size_t count, std::byte* to) {
    constexpr std::size_t kWord = sizeof(std::uint64_t);
    const std::byte* end = from + count;
    for (; count >= kWord; count -= kWord, to += kWord) {
        end -= kWord;
        std::uint64_t word = 0;
        std::memcpy(&word, end, kWord);
        word = reversed(word);
        std::memcpy(to, &word, kWord);
    }
    std::reverse_copy(end - count, end, to);
}

/// The part of `length` bytes, from `wanted` on, that lies within the volume.
struct Run {
    xp_long first, count;

    Run(xp_long wanted, xp_long length, xp_long size)
        : first(std::clamp<xp_long>(wanted, 0, size)), count(std::clamp<xp_long>(wanted + length, 0, size) - first) {}
};

}  // namespace

void fold_volume(std::span<const std::byte> volume, const std::array<xp_long, 3>& in, xp_long center,
                 std::span<std::byte> folded) {
    const auto size = static_cast<xp_long>(volume.size());
    const xp_long width = folded_dims(in, center)[0];
    const xp_long rows = in[0] > 0 ? in[1] * in[2] : 0;
    std::byte* to = folded.data();
    std::byte* mirrored = to + rows * width;
    const auto clear = [](std::byte* bytes, xp_long count) {
        if (count > 0) std::memset(bytes, 0, static_cast<std::size_t>(count));
    };
    for (xp_long row = 0; row < rows; ++row, to += width, mirrored += width) {
        const xp_long fold = row * in[0] + center;
        const Run right(fold, width, size);
        if (right.count > 0) std::memcpy(to, volume.data() + right.first, static_cast<std::size_t>(right.count));
        clear(to + right.count, width - right.count);
        const Run left(fold - width + 1, width, size);
        const xp_long skipped = fold + 1 - (left.first + left.count);  // columns past the volume's end
        clear(mirrored, std::min(skipped, width));
        if (left.count > 0)
            copy_reversed(volume.data() + left.first, static_cast<std::size_t>(left.count), mirrored + skipped);
        clear(mirrored + skipped + left.count, width - skipped - left.count);
    }
    clear(mirrored, folded.data() + folded.size() - mirrored);
}

namespace {

/// The volume, and the column that it is folded about.
struct Fold {
    std::array<xp_long, 3> dims{};
    xp_long center = 0;
    OutArray<xp_long> out_dims;
    int nspace = 0;
    HostArray<float> points;
    TypedBytes data;

    static std::optional<Fold> read(const Parameters& params, OMobj_id field);
    void fill_points(const Parameters& params, std::span<float> to) const;
    std::optional<xp_long> out_count() const {
        const auto nodes = checked_product(out_dims.span());
        return nodes ? std::optional(std::max(*nodes, data.count())) : std::nullopt;
    }
    // deliberate: bytes, whatever the type
    void fill_values(const Parameters& /*params*/, std::span<std::byte> to) const {
        fold_volume(data.bytes(), dims, center, to);
    }
    bool set_shape(OMobj_id out) const {
        return FLDset_ndim(out, 3) == 1 && FLDset_nspace(out, nspace) == 1 && FLDset_dims(out, out_dims.data()) == 1;
    }
    static int out_veclen() { return 1; }
};

/// The center is checked first: a wrong one is reported, whatever else the field lacks. The rest fails silently.
std::optional<Fold> Fold::read(const Parameters& params, OMobj_id field) {
    HostArray<xp_long> dims;
    int ndim = 0;
    if (FLDget_dims(field, dims.receive(), &ndim) != 1 || !dims || ndim < 1) return std::nullopt;
    Fold fold;
    fold.out_dims = OutArray<xp_long>::allocate(3);
    if (!fold.out_dims) return kFilterReport.reject(kNoFilterMemory);
    fold.center = params.integer("center", 0);
    // deliberate: center = dims[0] passes, whatever the text says
    if (fold.center < 1 || fold.center > dims[0])
        return kFilterReport.reject("Error : center > 0 && center < dims[0]\n");
    if (ndim != 3) return std::nullopt;
    std::copy_n(dims.data(), 3, fold.dims.begin());
    std::ranges::copy(folded_dims(fold.dims, fold.center), fold.out_dims.data());
    if (FLDget_nspace(field, &fold.nspace) != 1) return std::nullopt;
    if (FLDget_points(field, fold.points.receive(), fold.points.receive_count(), ARR_READ) != 1) return std::nullopt;
    auto data = TypedBytes::read(field, 0);
    if (!data) return std::nullopt;
    fold.data = std::move(*data);
    return fold;
}

/// The second corner, as far as `to` has room for it: nodes are one unit apart, or as xy_dist says for x and y.
void Fold::fill_points(const Parameters& params, std::span<float> to) const {
    constexpr std::size_t kSecond = 3;
    const auto given = params.floats("xy_dist");
    const bool use = given && given->span().size() >= 2;
    std::ranges::fill(to, 0.0F);
    for (std::size_t axis = 0; axis < 3 && kSecond + axis < to.size(); ++axis) {
        const bool from_given = use && axis < 2;
        to[kSecond + axis] = from_given ? given->span()[axis] : static_cast<float>(out_dims.span()[axis] - 1);
    }
}

}  // namespace
}  // namespace zam

int ADDcropbind(OMobj_id instance, unsigned /*event_mask*/, int /*seq*/) {
    return zam::update_uniform<zam::Fold>(instance);
}
