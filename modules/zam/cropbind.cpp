// Crop and bind: folds a byte volume about a column, so that what lies right of the fold comes first in depth and the
// mirror image of what lies left of it behind.
// Reads center, xy_dist, in. Writes out: dims, points and component 0.
#include "modules/zam/cropbind.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <new>
#include <optional>

#include "contract/fld.h"
#include "contract/om.h"
#include "modules/support/component_bytes.h"
#include "modules/support/float_values.h"
#include "modules/support/host_array.h"
#include "modules/support/memory_budget.h"
#include "modules/support/parameters.h"
#include "modules/support/report.h"

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

/// Copies `count` bytes so that the last one comes first.
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

/// The part of `count` bytes from `first` on that lies within the volume.
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
        const xp_long skipped = fold + 1 - (left.first + left.count);  // columns behind the volume's end
        clear(mirrored, std::min(skipped, width));
        if (left.count > 0)
            copy_reversed(volume.data() + left.first, static_cast<std::size_t>(left.count), mirrored + skipped);
        clear(mirrored + skipped + left.count, width - skipped - left.count);
    }
    clear(mirrored, folded.data() + folded.size() - mirrored);
}

namespace {

constexpr Reporter report{.label = "", .flags = 96};
constexpr const char* kNoMemory = "Error : Can't allocate memory.\n";

/// Dims of the input, and the column that it is folded about.
struct Fold {
    std::array<xp_long, 3> dims{};
    xp_long center = 0;
    OutArray<xp_long> out_dims;
};

/// Empty when there is no volume to fold, silently, or after a report. The center is checked first: a wrong one is
/// reported whatever else the field lacks.
std::optional<Fold> read_fold(OMobj_id instance, OMobj_id field) {
    const auto fail = [](const char* text) {
        report.fail(text);
        return std::nullopt;
    };
    HostArray<xp_long> dims;
    int ndim = 0;
    if (FLDget_dims(field, dims.place(), &ndim) != 1 || !dims || ndim < 1) return std::nullopt;
    Fold fold;
    fold.out_dims = OutArray<xp_long>::allocate(3);
    if (!fold.out_dims) return fail(kNoMemory);
    fold.center = int_or(instance, "center", 0);
    // deliberate: center = dims[0] passes, whatever the text says
    if (fold.center < 1 || fold.center > dims[0]) return fail("Error : center > 0 && center < dims[0]\n");
    if (ndim != 3) return std::nullopt;
    std::copy_n(dims.data(), 3, fold.dims.begin());
    std::ranges::copy(folded_dims(fold.dims, fold.center), fold.out_dims.data());
    return fold;
}

struct Input {
    int nspace = 0;
    HostArray<float> points;
    ComponentBytes data;
};

/// Nothing, silently, when the volume lacks a part.
std::optional<Input> read_input(OMobj_id field) {
    Input input;
    if (FLDget_nspace(field, &input.nspace) != 1) return std::nullopt;
    if (FLDget_points(field, input.points.place(), input.points.count_place(), ARR_READ) != 1) return std::nullopt;
    if (!input.data.read(field, 0)) return std::nullopt;
    return input;
}

struct Output {
    OutArray<float> points;
    OutArray<std::byte> data;
};

/// The second corner, as far as there are numbers for it: one node a unit, or what xy_dist says of x and y.
void fill_points(std::span<float> points, std::span<const xp_long> dims, OMobj_id instance) {
    constexpr std::size_t kSecond = 3;
    const auto given = FloatValues::read_array(instance, "xy_dist");
    const bool use = given && given->span().size() >= 2;
    std::ranges::fill(points, 0.0F);
    for (std::size_t axis = 0; axis < 3 && kSecond + axis < points.size(); ++axis) {
        const bool from_given = use && axis < 2;
        points[kSecond + axis] = from_given ? given->span()[axis] : static_cast<float>(dims[axis] - 1);
    }
}

/// Empty, after a report, when memory runs out.
std::optional<Output> make_output(OMobj_id instance, const Fold& fold, const Input& input) {
    const auto fail = [] {
        report.fail(kNoMemory);
        return std::nullopt;
    };
    Output out;
    out.points = OutArray<float>::allocate(input.points.size());
    if (!out.points) return fail();
    fill_points(out.points.span(), fold.out_dims.span(), instance);

    const auto nodes = checked_product(fold.out_dims.span());
    MemoryBudget memory;
    if (nodes) out.data = memory.allocate_as(input.data.type, std::max(*nodes, input.data.values.size()));
    if (!out.data) return fail();
    // deliberate: bytes, whatever the type
    fold_volume(input.data.bytes(), fold.dims, fold.center, out.data.span());
    return out;
}

/// Silent when the host refuses a part: what it has taken stays.
void write_field(OMobj_id field, const Fold& fold, const Input& input, Output& out) {
    if (FLDset_ndim(field, 3) == 1 && FLDset_nspace(field, input.nspace) == 1 &&
        FLDset_dims(field, fold.out_dims.data()) == 1)
        hand_over_uniform(field, out.points, 1, out.data);
}

void update(OMobj_id instance) {
    const OMobj_id field = find_parameter(instance, "in", OM_OBJ_RW);
    const auto fold = read_fold(instance, field);
    if (!fold) return;
    const auto input = read_input(field);
    if (!input) return;
    auto out = make_output(instance, *fold, *input);
    if (out) write_field(find_parameter(instance, "out", OM_OBJ_RD), *fold, *input, *out);
}

}  // namespace
}  // namespace zam

int ADDcropbind(OMobj_id instance, unsigned /*event_mask*/, int /*seq*/) {
    try {
        zam::update(instance);
    } catch (const std::bad_alloc&) {
        zam::report.fail(zam::kNoMemory);
    }
    return 1;  // deliberate: also after a failure
}
