#include "modules/zam/flow/lic_flow.h"

#include <algorithm>
#include <array>
#include <bit>

#include "modules/zam/lic_texture.h"

namespace zam::lic {
namespace {

using PairMask = MaskOf<Pair>;

/// How a streamline came into a pixel or leaves it.
enum Code : std::uint8_t { kHalted, kLower, kUpper, kRight, kLeft, kStart, kCodes };

constexpr int kWays = 2;         // with the vectors, against them
constexpr int kKinds = 18;       // signs of the two components, colour of the noise
constexpr double kNudge = 1e-4;  // pixels; what lies to the left of or below a grid line is the next pixel

/// How to leave a pixel: all that is known before position and slopes are.
struct Rule {
    Pair line;       // the grid lines ahead, counted from the pixel's corner
    Pair nudge;      // beyond the line that is crossed
    Pair sample;     // grey level of the noise, 1; zeros when the pixel does not count
    PairMask moves;  // zeros where the streamline halts
    Code next[2];    // the code when the horizontal or the vertical line is crossed
};

/// Signs of a vector and colour of the noise.
std::uint8_t kind_of(double vx, double vy, bool white) {
    const int sx = (vx > 0) - (vx < 0) + 1;
    const int sy = (vy > 0) - (vy < 0) + 1;
    return static_cast<std::uint8_t>(2 * (3 * sy + sx) + (white ? 1 : 0));
}

constexpr std::uint8_t kNoVector = 8;  // kind_of(0, 0, false)

bool turns_back(int sx, int sy, int code) {
    return (code == kLower && sy > 0) || (code == kUpper && sy < 0) || (code == kRight && sx < 0) ||
           (code == kLeft && sx > 0);
}

/// @param sx,sy  signs of the vector that is followed
Rule make_rule(int sx, int sy, bool white, int code) {
    const bool right = sx > 0 || code == kRight;
    const bool upper = sy > 0 || code == kUpper;
    Rule rule{};
    rule.line = Pair{right ? 1.0 : 0.0, upper ? 1.0 : 0.0};
    rule.nudge = Pair{sx > 0 ? 0.0 : kNudge, sy >= 0 ? 0.0 : kNudge};
    if (code == kHalted || (sx == 0 && sy == 0)) return rule;  // the pixel does not count
    rule.sample = Pair{white ? 255.0 : 0.0, 1.0};
    if (turns_back(sx, sy, code)) return rule;  // the pixel counts, and is the last
    rule.moves = PairMask{-1, -1};
    // deliberate: a vector along x counts as going up, one along y as going left, so that both make odd steps aside
    rule.next[0] = sy >= 0 ? kUpper : kLower;
    rule.next[1] = sx > 0 ? kRight : kLeft;
    return rule;
}

struct Rules {
    Rule of[kWays][kKinds][kCodes];

    Rules() {
        for (int way = 0; way < kWays; ++way)
            for (int kind = 0; kind < kKinds; ++kind)
                for (int code = 0; code < kCodes; ++code) {
                    const int sign = way == 0 ? 1 : -1;
                    const int sx = sign * (kind / 2 % 3 - 1);
                    const int sy = sign * (kind / 2 / 3 - 1);
                    of[way][kind][code] = make_rule(sx, sy, kind % 2 == 1, code);
                }
    }
};

const Rules kRules;

/// vx / vy, vy / vx. 0 for a division by 0: the crossing is then level with the position. Vectors that point the other
/// way have the same slopes, so that both ways use one pair.
Pair slopes_of(double vx, double vy) { return Pair{vy == 0 ? 0 : vx / vy, vx == 0 ? 0 : vy / vx}; }

Pair swap(Pair p) { return shuffle<1, 0>(p, p); }

struct Crossing {
    Pair by;      // the way to it
    int upright;  // 1: of the vertical line, 0: of the horizontal one
};

/// The nearer of the two grid lines ahead, the vertical one at a tie. Without a branch, which could not be predicted.
inline Crossing cross(Pair position, Pair corner, Pair slopes, const Rule& rule) {
    const Pair ahead = (corner + rule.line) - position;               // X - x, Y - y
    const Pair aside = (swap(ahead) * slopes + position) - position;  // xY - x, yX - y
    const Pair beyond = ahead - rule.nudge;
    const Pair distance = ahead * ahead + swap(aside * aside);  // squared: vertical, horizontal
    const PairMask upright = broadcast<0>(distance) <= broadcast<1>(distance);
    const Pair by = select(upright, shuffle<0, 3>(beyond, aside), shuffle<0, 3>(aside, beyond));
    return {by, static_cast<int>(upright[0]) & 1};
}

}  // namespace

// --- The field ---

float NodeFloats::read_end(std::int64_t node, int comp) const {
    const auto size = static_cast<std::int64_t>(bytes_.size());
    const std::int64_t start = node == whole_ ? 4 * (node * veclen_ + comp) : size;
    if (start >= size) return 0;
    float value = 0;
    std::memcpy(&value, bytes_.data() + start, static_cast<std::size_t>(std::min<std::int64_t>(4, size - start)));
    return value;
}

Flow::Flow(const VectorValues& vectors, std::span<const std::uint8_t> noise, int width, int height)
    : stride_(static_cast<std::size_t>(width) + 2) {
    const auto count = static_cast<std::size_t>(pixels(width, height));
    slopes_.resize(count);
    kinds_.resize(count, kNoVector);
    std::size_t node = 0;
    for (int row = 0; row < height; ++row)
        for (int column = 0; column < width; ++column, ++node) {
            const Vector v = vectors.at(static_cast<std::int64_t>(node));
            slopes_[pixel(column, row)].value = slopes_of(v.x, v.y);
            kinds_[pixel(column, row)] = kind_of(v.x, v.y, noise[node] != 0);
        }
}

// --- Walks ---

namespace {

struct Walk {
    Pair position{0, 0};
    Pair tally{0, 0};
    std::size_t code = kHalted;
};
using WalkArray = std::array<Walk, kTogether>;

/// When walks stop that nothing on their way has stopped: after their steps, at the last weight, or, once their rounds
/// have been counted, after the rest of a round. What they meet on their way halts them by its rule, not here.
class Stops {
public:
    /// @param weights  number of weights
    /// @param alike    whether all are the same, so that rounds can be counted
    Stops(std::span<const Start> starts, std::int64_t weights, bool alike) : starts_(starts), alike_(alike) {
        for (std::size_t w = 0; w < starts.size(); ++w) end_[w] = std::min<std::int64_t>(starts[w].steps, weights);
        set_next(0);
    }

    /// Whether all walks have taken their steps.
    bool all_taken() const { return next_ == 0; }
    /// The number of steps after which to look again, above `step`.
    std::int64_t next_look(std::int64_t step) const {
        return alike_ ? std::min(next_, std::max(step + 1, kFirstMark)) : next_;
    }
    /// Halts the walks that have taken their steps.
    void look(std::int64_t step, WalkArray& walks) {
        if (alike_ && step > kFirstMark) watch_rounds(step, walks);
        if (step < next_) return;
        for (std::size_t w = 0; w < walks.size(); ++w)
            if (end_[w] <= step) walks[w].code = kHalted;
        set_next(step);
    }

private:
    // Steps after which walks are watched for coming round. Few get there, and watching is not free.
    static constexpr std::int64_t kFirstMark = 256;

    /// The next stop is after the fewest steps above `done` that any walk is to take.
    void set_next(std::int64_t done) {
        next_ = 0;
        for (const std::int64_t end : end_)
            if (end > done && (next_ == 0 || end < next_)) next_ = end;
    }

    /// Counts the further rounds of a walk that stands where it stood at the mark, as it then will again and again, and
    /// leaves the rest of a round to be walked. The mark moves on at powers of 2, so that it comes to lie within the
    /// round (Brent, "An improved Monte Carlo factorization algorithm").
    void watch_rounds(std::int64_t step, WalkArray& walks) {
        for (std::size_t w = 0; w < starts_.size(); ++w) {
            Walk& walk = walks[w];
            const Walk& mark = marks_[w];
            if (walk.position[0] != mark.position[0] || walk.position[1] != mark.position[1]) continue;
            if (walk.code != mark.code || walk.code == kHalted || is_counted_[w]) continue;
            const std::int64_t round = step - marked_;
            const std::int64_t left = starts_[w].steps - step;
            const std::int64_t rounds = left / round;
            walk.tally += (walk.tally - mark.tally) * static_cast<double>(rounds);  // whole numbers, exact
            end_[w] = step + left % round;
            is_counted_[w] = true;
            next_ = std::min(next_, end_[w]);
        }
        if (std::has_single_bit(static_cast<std::uint64_t>(step))) {
            marks_ = walks;
            marked_ = step;
        }
    }

    std::span<const Start> starts_;
    bool alike_;
    std::array<std::int64_t, kTogether> end_{};  // steps to be taken
    std::int64_t next_ = 0;                      // the least of those that have not been taken yet
    std::array<bool, kTogether> is_counted_{};   // the rounds have been
    WalkArray marks_;
    std::int64_t marked_ = 0;  // steps that had been taken at the marks
};

/// Walks of a flow in one of the two ways, without a branch that depends on what they meet: one that has halted stands
/// still and counts nothing.
class Walks {
public:
    Walks(const Flow& flow, int way) : flow_(flow), rules_(kRules.of[way]) {}

    /// @param alike  whether the weights are all the same
    void run(std::span<const Start> starts, std::span<const double> weights, bool alike, std::span<Tally> tallies) {
        for (std::size_t w = 0; w < starts.size(); ++w) {
            walks_[w] = {.position = Pair{starts[w].column + 0.5, starts[w].row + 0.5},
                         .tally = Pair{tallies[w].noise, tallies[w].weight},
                         .code = kStart};
        }
        Stops stops(starts, static_cast<std::int64_t>(weights.size()), alike);
        const std::size_t last = weights.size() - 1;  // rounds may lead beyond it
        bool going = true;
        for (std::int64_t step = 0; going && !stops.all_taken();) {
            const std::int64_t look = stops.next_look(step);
            while (step < look && (going = step_all(weights[std::min(static_cast<std::size_t>(step), last)]))) ++step;
            if (going) stops.look(step, walks_);
        }
        for (std::size_t w = 0; w < starts.size(); ++w) tallies[w] = {walks_[w].tally[0], walks_[w].tally[1]};
    }

private:
    /// A step of every walk. @return whether any goes on
    bool step_all(double weight) {
        std::size_t codes = 0;
        for (Walk& walk : walks_) codes |= step(walk, weight);
        return codes != kHalted;
    }

    std::size_t step(Walk& walk, double weight) const {
        using IntPair = Lanes<std::int32_t, 2>;
        const Pair position = walk.position;
        const auto negative = convert<IntPair>(position < Pair{0, 0});
        const IntPair at = convert<IntPair>(position) + negative;  // rounded down
        const std::size_t pixel = flow_.pixel(at[0], at[1]);
        const Rule& rule = rules_[flow_.kind(pixel)][walk.code];
        const Crossing crossing = cross(position, convert<Pair>(at), flow_.slopes(pixel), rule);
        walk.tally += rule.sample * weight;
        walk.position = position + keep(rule.moves, crossing.by);
        walk.code = rule.next[crossing.upright];
        return walk.code;
    }

    const Flow& flow_;
    const Rule (&rules_)[kKinds][kCodes];
    WalkArray walks_;
};

}  // namespace

void follow(const Flow& flow, std::span<const Start> starts, const Kernel& kernel, std::span<Tally> tallies) {
    std::ranges::fill(tallies, Tally{});
    Walks(flow, 0).run(starts, kernel.forward, kernel.alike, tallies);
    Walks(flow, 1).run(starts, kernel.backward, kernel.alike, tallies);
}

}  // namespace zam::lic

int liccom2(double x, double y, double vx, double vy, int previous, double* dx, double* dy) {
    using namespace zam::lic;  // NOLINT(google-build-using-namespace): an entry of what stands above
    const int code = previous >= kLower && previous <= kLeft ? previous : int{kStart};
    const int sx = (vx > 0) - (vx < 0);
    const int sy = (vy > 0) - (vy < 0);
    *dx = *dy = 0;
    if (turns_back(sx, sy, code)) return kHalted;
    const Rule rule = make_rule(sx, sy, false, code);
    const Crossing crossing = cross(Pair{x, y}, Pair{std::floor(x), std::floor(y)}, slopes_of(vx, vy), rule);
    *dx = crossing.by[0];
    *dy = crossing.by[1];
    if (crossing.upright != 0) return sx > 0 ? kRight : kLeft;
    return sy >= 0 ? kUpper : kLower;
}
