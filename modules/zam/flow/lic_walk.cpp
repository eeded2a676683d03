#include "modules/zam/flow/lic_walk.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "modules/zam/flow/lic_walk.cpp"
#include "base/lanes.h"

HWY_BEFORE_NAMESPACE();
namespace zam::lic::HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;
using zam::HWY_NAMESPACE::load_neighbours;

constexpr double kNudge = 1e-4;  // pixels; what lies to the left of or below a grid line is the next pixel

/// Lanes of doubles D, and of the words beside them.
template <class D>
using WordLanes = hn::RebindToUnsigned<D>;
template <class D>
using Words = hn::Vec<WordLanes<D>>;

/// Where walks stand in their pixels, and what they know of these.
template <class D>
struct Stand {
    hn::Vec<D> x, y, column, row, slope_x, slope_y;
    Words<D> along, against;  // words of the vectors that are followed, and of the opposite ones
    Words<D> code;
};

/// The way to the boundary, and the code there; zeros where walks halt.
template <class D>
struct StepLanes {
    hn::Vec<D> dx, dy;
    hn::Mask<D> counts;  // whether the pixel counts
    Words<D> code;
};

/// Goes to the nearer of the two grid lines ahead, the vertical one at a tie. Without a branch, which could not be
/// predicted.
template <class D>
HWY_INLINE StepLanes<D> step(D lanes, const Stand<D>& at) {
    const WordLanes<D> words;
    const auto has = [=](Words<D> of, std::uint64_t bit)
                         HWY_ATTR { return hn::RebindMask(lanes, hn::TestBit(of, hn::Set(words, bit))); };
    const auto one = hn::Set(lanes, 1.0);
    const auto nudge = hn::Set(lanes, kNudge);
    const auto leads_right = has(at.along, kRight);
    const auto leads_down = has(at.along, kLower);
    // what goes along an axis keeps away from the line that it came over
    const auto ahead = hn::Or(at.along, at.code);
    const auto ahead_x = hn::Sub(hn::Add(at.column, hn::IfThenElseZero(has(ahead, kRight), one)), at.x);  // X - x
    const auto ahead_y = hn::Sub(hn::Add(at.row, hn::IfThenElseZero(has(ahead, kUpper), one)), at.y);     // Y - y
    const auto aside_x = hn::Sub(hn::Add(hn::Mul(ahead_y, at.slope_x), at.x), at.x);                      // xY - x
    const auto aside_y = hn::Sub(hn::Add(hn::Mul(ahead_x, at.slope_y), at.y), at.y);                      // yX - y
    const auto upright = hn::Le(hn::Add(hn::Mul(ahead_x, ahead_x), hn::Mul(aside_y, aside_y)),
                                hn::Add(hn::Mul(aside_x, aside_x), hn::Mul(ahead_y, ahead_y)));
    const auto beyond_x = hn::Sub(ahead_x, hn::IfThenZeroElse(leads_right, nudge));
    const auto beyond_y = hn::Sub(ahead_y, hn::IfThenElseZero(leads_down, nudge));

    const auto met = hn::And(at.code, at.against);  // a line in it is the one that the walk came over: it turns back
    const auto moves = hn::RebindMask(lanes, hn::Eq(met, hn::Set(words, kGoing)));
    // deliberate: a vector along x counts as going up, one along y as going left, so that both make odd steps aside
    const auto over = [=](hn::Mask<D> which, std::uint64_t line, std::uint64_t other) HWY_ATTR {
        return hn::IfThenElse(hn::RebindMask(words, which), hn::Set(words, kGoing | line),
                              hn::Set(words, kGoing | other));
    };
    const auto code = hn::IfThenElse(hn::RebindMask(words, upright), over(leads_right, kRight, kLeft),
                                     over(leads_down, kLower, kUpper));
    return {hn::IfThenElseZero(moves, hn::IfThenElse(upright, beyond_x, aside_x)),
            hn::IfThenElseZero(moves, hn::IfThenElse(upright, aside_y, beyond_y)), has(met, kGoing),
            hn::IfThenElseZero(hn::RebindMask(words, moves), code)};
}

/// Added to a whole number, leaves that in the last bits.
constexpr double kWhole = 0x1p52;

/// What the walks of a way have in common.
template <class D>
struct Way {
    const std::byte* base;
    hn::Vec<D> row_bytes, pixel_bytes;
    hn::Vec<D> origin;   // offset of column 0, row 0, and kWhole
    int along, against;  // shifts of the words
};

/// Where the pixels lie in which walks stand.
template <class D>
HWY_INLINE Words<D> offsets(D lanes, const Way<D>& way, hn::Vec<D> x, hn::Vec<D> y) {
    const WordLanes<D> words;
    const auto column = hn::Add(hn::Mul(hn::Floor(x), way.pixel_bytes), way.origin);
    const auto offset = hn::Add(hn::Mul(hn::Floor(y), way.row_bytes), column);
    return hn::Sub(hn::BitCast(words, offset), hn::BitCast(words, hn::Set(lanes, kWhole)));
}

/// A step of some walks.
/// @return their codes
template <class D>
HWY_INLINE Words<D> walk(D lanes, const Way<D>& way, hn::Vec<D> weight, hn::Vec<D> taken, Walks& walks, std::size_t w) {
    const WordLanes<D> words;
    const auto x = hn::Load(lanes, walks.x + w);
    const auto y = hn::Load(lanes, walks.y + w);
    const auto from = [&](std::size_t member) HWY_ATTR {
        return load_neighbours(lanes, [&](std::size_t i) HWY_ATTR { return way.base + walks.offset[w + i] + member; });
    };
    const auto [slope_x, bits] = from(0);
    const auto slope_y = from(offsetof(Pixel, words)).second;
    const auto along = hn::ShiftRightSame(hn::BitCast(words, bits), way.along);
    const auto against = hn::ShiftRightSame(hn::BitCast(words, bits), way.against);
    const auto stepped = step(lanes, Stand<D>{x, y, hn::Floor(x), hn::Floor(y), slope_x, slope_y, along, against,
                                              hn::Load(words, walks.code + w)});
    const auto next_x = hn::Add(x, stepped.dx);
    const auto next_y = hn::Add(y, stepped.dy);
    hn::Store(next_x, lanes, walks.x + w);
    hn::Store(next_y, lanes, walks.y + w);
    hn::Store(offsets(lanes, way, next_x, next_y), words, walks.offset + w);
    const auto goes_on = hn::RebindMask(words, hn::Lt(taken, hn::Load(lanes, walks.end + w)));
    const auto code = hn::IfThenElseZero(goes_on, stepped.code);
    hn::Store(code, words, walks.code + w);

    const auto counted = hn::IfThenElseZero(stepped.counts, weight);
    const auto white = hn::RebindMask(lanes, hn::TestBit(along, hn::Set(words, kWhite)));
    const auto noise = hn::IfThenElseZero(white, hn::Mul(counted, hn::Set(lanes, 255.0)));
    hn::Store(hn::Add(hn::Load(lanes, walks.weight + w), counted), lanes, walks.weight + w);
    hn::Store(hn::Add(hn::Load(lanes, walks.noise + w), noise), lanes, walks.noise + w);
    return code;
}

bool take_all_steps(const Pixels& pixels, int way_number, std::span<const double> weights, std::int64_t taken,
                    Walks& walks) {
    using D = hn::CappedTag<double, kTogether>;
    const D lanes;
    const WordLanes<D> words;
    constexpr double kPixel = sizeof(Pixel);
    const double row_bytes = kPixel * static_cast<double>(pixels.stride);
    const Way<D> way{
        reinterpret_cast<const std::byte*>(pixels.first), hn::Set(lanes, row_bytes), hn::Set(lanes, kPixel),
        hn::Set(lanes, row_bytes + kPixel + kWhole),      kWordBits * way_number,    kWordBits * (1 - way_number)};
    for (const double weight : weights) {
        ++taken;
        auto going = hn::Zero(words);
        for (std::size_t w = 0; w < kTogether; w += hn::Lanes(lanes))
            going = hn::Or(
                going, walk(lanes, way, hn::Set(lanes, weight), hn::Set(lanes, static_cast<double>(taken)), walks, w));
        if (hn::AllTrue(words, hn::Eq(going, hn::Zero(words)))) return false;
    }
    return true;
}

// --- Pixels ---

template <class D>
HWY_INLINE void make_some_pixels(D lanes, const double* vx, const double* vy, const std::uint8_t* noise,
                                 Pixel* pixels) {
    const WordLanes<D> words;
    const auto zero = hn::Zero(lanes);
    const auto x = hn::LoadU(lanes, vx);
    const auto y = hn::LoadU(lanes, vy);
    const auto both = [=](hn::Mask<D> which, std::uint64_t along, std::uint64_t against) HWY_ATTR {
        return hn::IfThenElseZero(hn::RebindMask(words, which), hn::Set(words, along | against << kWordBits));
    };
    const auto aside = hn::Or(both(hn::Gt(x, zero), kRight, kLeft), both(hn::Lt(x, zero), kLeft, kRight));
    const auto along = hn::Or(both(hn::Gt(y, zero), kUpper, kLower), both(hn::Lt(y, zero), kLower, kUpper));
    const auto lines = hn::Or(aside, along);
    const auto levels = hn::PromoteTo(
        words, hn::PromoteTo(hn::Rebind<std::uint32_t, D>(), hn::LoadU(hn::Rebind<std::uint8_t, D>(), noise)));
    const auto has = [=](Words<D> values, std::uint64_t bit)
                         HWY_ATTR { return both(hn::RebindMask(lanes, hn::Ne(values, hn::Zero(words))), bit, bit); };
    hn::StoreInterleaved3(hn::IfThenZeroElse(hn::Eq(y, zero), hn::Div(x, y)),
                          hn::BitCast(lanes, hn::Or(lines, hn::Or(has(lines, kGoing), has(levels, kWhite)))),
                          hn::IfThenZeroElse(hn::Eq(x, zero), hn::Div(y, x)), lanes, &pixels->slope_x);
}

void make_all_pixels(std::span<const double> vx, std::span<const double> vy, std::span<const std::uint8_t> noise,
                     Pixel* pixels) {
    const hn::ScalableTag<double> all;
    const hn::CappedTag<double, 1> one;
    const std::size_t width = hn::Lanes(all);
    std::size_t i = 0;
    for (; i + width <= vx.size(); i += width) make_some_pixels(all, &vx[i], &vy[i], &noise[i], pixels + i);
    for (; i < vx.size(); ++i) make_some_pixels(one, &vx[i], &vy[i], &noise[i], pixels + i);
}

Step take_one_step(double x, double y, double vx, double vy, std::uint64_t code) {
    using One = hn::CappedTag<double, 1>;
    const One lanes;
    const WordLanes<One> words;
    const std::uint8_t black = 0;
    Pixel pixel;
    make_some_pixels(lanes, &vx, &vy, &black, &pixel);
    const auto bits =
        hn::Or(hn::BitCast(words, hn::Set(lanes, pixel.words)), hn::Set(words, kGoing | kGoing << kWordBits));
    const auto x_lane = hn::Set(lanes, x);
    const auto y_lane = hn::Set(lanes, y);
    const auto stepped = step(
        lanes, Stand<One>{x_lane, y_lane, hn::Floor(x_lane), hn::Floor(y_lane), hn::Set(lanes, pixel.slope_x),
                          hn::Set(lanes, pixel.slope_y), bits, hn::ShiftRight<kWordBits>(bits), hn::Set(words, code)});
    return {hn::GetLane(stepped.dx), hn::GetLane(stepped.dy), hn::GetLane(stepped.code)};
}

}  // namespace
}  // namespace zam::lic::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zam::lic {

ZAM_EXPORT(make_all_pixels);
ZAM_EXPORT(take_all_steps);
ZAM_EXPORT(take_one_step);

void make_pixels(std::span<const double> vx, std::span<const double> vy, std::span<const std::uint8_t> noise,
                 Pixel* pixels) {
    ZAM_DISPATCH(make_all_pixels)(vx, vy, noise, pixels);
}

bool take_steps(const Pixels& pixels, int way, std::span<const double> weights, std::int64_t taken, Walks& walks) {
    return ZAM_DISPATCH(take_all_steps)(pixels, way, weights, taken, walks);
}

Step leave_pixel(double x, double y, double vx, double vy, std::uint64_t code) {
    return ZAM_DISPATCH(take_one_step)(x, y, vx, vy, code);
}

}  // namespace zam::lic
#endif
