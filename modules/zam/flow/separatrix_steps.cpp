#include "modules/zam/flow/separatrix_steps.h"

#include <cstdint>
#include <limits>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "modules/zam/flow/separatrix_steps.cpp"
#include "base/lanes.h"

HWY_BEFORE_NAMESPACE();
namespace zam::topology::HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;
using zam::HWY_NAMESPACE::load_neighbours;
using zam::HWY_NAMESPACE::Neighbours;

/// Lanes of doubles D, and of words beside them: vectors, u below v.
template <class D>
using WordLanes = hn::RebindToUnsigned<D>;
template <class D>
using Words = hn::Vec<WordLanes<D>>;

/// The vectors of two nodes of a row.
template <class D>
using NodePair = Neighbours<WordLanes<D>>;

/// The field, as the lanes need it.
template <class D>
struct Field {
    const std::byte* vectors;
    std::size_t row_bytes;
    hn::Vec<D> columns, last_column, last_row;
};

template <class D>
HWY_INLINE NodePair<D> load_nodes(D lanes, const std::byte* row, const std::uint64_t* offsets);
template <class D>
HWY_INLINE hn::Vec<D> first_float(D lanes, Words<D> words);

/// A component in the cells, given its values at their corners.
template <class D>
HWY_INLINE hn::Vec<D> blend(D lanes, const NodePair<D>& near, const NodePair<D>& far, hn::Vec<D> fx, hn::Vec<D> fy) {
    const auto one = hn::Set(lanes, 1.0);
    const auto along_row = [=](const NodePair<D>& row) HWY_ATTR {
        return hn::Add(hn::Mul(first_float(lanes, row.first), hn::Sub(one, fx)),
                       hn::Mul(first_float(lanes, row.second), fx));
    };
    return hn::Add(hn::Mul(along_row(near), hn::Sub(one, fy)), hn::Mul(along_row(far), fy));
}

/// The v of vectors in place of their u.
template <class D>
HWY_INLINE NodePair<D> second_floats(const NodePair<D>& nodes) {
    return {hn::ShiftRight<32>(nodes.first), hn::ShiftRight<32>(nodes.second)};
}

/// A step of some separatrices.
/// @return whether any goes on
template <class D>
HWY_INLINE bool step(D lanes, const Field<D>& field, const double* interval, const double* x, const double* y,
                     double* next_x, double* next_y) {
    const WordLanes<D> words;
    const auto zero = hn::Zero(lanes);
    const auto read_x = hn::Load(lanes, x);
    const auto goes = hn::Eq(read_x, read_x);
    const auto at_x = hn::IfThenElseZero(goes, read_x);
    const auto at_y = hn::IfThenElseZero(goes, hn::Load(lanes, y));
    const auto column = hn::Floor(at_x);
    const auto row = hn::Floor(at_y);
    // a whole number has all its bits at the end once 2^52 is added
    const auto whole = hn::Set(lanes, 0x1p52);
    const auto node = hn::Add(hn::Add(hn::Mul(row, field.columns), column), whole);
    alignas(64) std::uint64_t offsets[hn::MaxLanes(D())];
    hn::Store(hn::ShiftLeft<3>(hn::Sub(hn::BitCast(words, node), hn::BitCast(words, whole))), words, offsets);
    const auto near = load_nodes(lanes, field.vectors, offsets);
    const auto far = load_nodes(lanes, field.vectors + field.row_bytes, offsets);
    const auto fx = hn::Sub(at_x, column);
    const auto fy = hn::Sub(at_y, row);
    const auto u = blend(lanes, near, far, fx, fy);
    const auto v = blend(lanes, second_floats<D>(near), second_floats<D>(far), fx, fy);

    const auto by = hn::Load(lanes, interval);
    const auto to_x = hn::Add(at_x, hn::Div(u, by));
    const auto to_y = hn::Add(at_y, hn::Div(v, by));
    const auto flows = hn::Ge(hn::Add(hn::Mul(u, u), hn::Mul(v, v)), hn::Set(lanes, kMayRest));
    const auto in_x = hn::And(hn::Ge(to_x, zero), hn::Lt(to_x, field.last_column));
    const auto in_y = hn::And(hn::Ge(to_y, zero), hn::Lt(to_y, field.last_row));
    const auto goes_on = hn::And(hn::And(goes, flows), hn::And(in_x, in_y));
    const auto stopped = hn::Set(lanes, std::numeric_limits<double>::quiet_NaN());
    hn::Store(hn::IfThenElse(goes_on, to_x, stopped), lanes, next_x);
    hn::Store(to_y, lanes, next_y);
    return !hn::AllFalse(lanes, goes_on);
}

void take_all_steps(const VectorGrid& grid, Run& run) {
    using D = hn::CappedTag<double, kTogether>;
    const D lanes;
    const Field<D> field{reinterpret_cast<const std::byte*>(grid.vectors),
                         2 * sizeof(float) * static_cast<std::size_t>(grid.columns), hn::Set(lanes, grid.columns),
                         hn::Set(lanes, grid.columns - 1), hn::Set(lanes, grid.rows - 1)};
    bool goes_on = true;
    for (std::size_t s = 0; s < kRun && goes_on; ++s) {
        goes_on = false;
        for (std::size_t w = 0; w < kTogether; w += hn::Lanes(lanes))
            goes_on |=
                step(lanes, field, run.interval + w, run.x[s] + w, run.y[s] + w, run.x[s + 1] + w, run.y[s + 1] + w);
    }
}

// --- Loading ---

template <class D>
HWY_INLINE NodePair<D> load_nodes(D /*lanes*/, const std::byte* row, const std::uint64_t* offsets) {
    return load_neighbours(WordLanes<D>(), [=](std::size_t i) HWY_ATTR { return row + offsets[i]; });
}

template <class D>
HWY_INLINE hn::Vec<D> first_float(D lanes, Words<D> words) {
    const hn::Rebind<std::uint32_t, D> bits;
    return hn::PromoteTo(lanes, hn::BitCast(hn::Rebind<float, D>(), hn::TruncateTo(bits, words)));
}

}  // namespace
}  // namespace zam::topology::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zam::topology {

ZAM_EXPORT(take_all_steps);

void take_run(const VectorGrid& grid, Run& run) { ZAM_DISPATCH(take_all_steps)(grid, run); }

}  // namespace zam::topology
#endif
