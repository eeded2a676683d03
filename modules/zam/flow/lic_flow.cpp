#include "modules/zam/flow/lic_flow.h"

#include <algorithm>
#include <array>
#include <bit>
#include <iterator>

#include "modules/zam/lic_texture.h"

namespace zam::lic {

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
    : stride_(static_cast<std::size_t>(width) + 2),
      pixels_(std::make_unique_for_overwrite<Pixel[]>(static_cast<std::size_t>(pixels(width, height)))) {
    const auto columns = static_cast<std::size_t>(width);
    std::vector<double> vx(columns), vy(columns);
    std::int64_t node = 0;
    Pixel* next = std::fill_n(pixels_.get(), stride_, Pixel{});
    for (int row = 0; row < height; ++row) {
        for (std::size_t column = 0; column < columns; ++column, ++node) {
            const Vector v = vectors.at(node);
            vx[column] = v.x;
            vy[column] = v.y;
        }
        *next++ = Pixel{};
        make_pixels(vx, vy, noise.subspan(static_cast<std::size_t>(row) * columns, columns), next);
        next += width;
        *next++ = Pixel{};
    }
    std::fill_n(next, stride_, Pixel{});
}

// --- Walks ---

namespace {

/// Steps after which walks are watched for coming round. Few get there, and watching is not free.
constexpr std::int64_t kFirstMark = 256;

/// Walks that come round, under weights that are all the same.
class Rounds {
public:
    explicit Rounds(std::span<const Start> starts) : starts_(starts) {}

    /// Counts the further rounds of a walk that stands where it stood at the mark, as it then will again and again, and
    /// leaves the rest of a round to be walked. The mark moves on at powers of 2, so that it comes to lie within the
    /// round (Brent, "An improved Monte Carlo factorization algorithm").
    /// @param step  steps that have been taken
    void watch(std::int64_t step, Walks& walks) {
        for (std::size_t w = 0; w < starts_.size(); ++w) {
            if (walks.x[w] != mark_.x[w] || walks.y[w] != mark_.y[w]) continue;
            if (walks.code[w] != mark_.code[w] || walks.code[w] == 0 || is_counted_[w]) continue;
            const std::int64_t round = step - marked_;
            const std::int64_t left = starts_[w].steps - step;
            const std::int64_t rounds = left / round;
            const auto times = static_cast<double>(rounds);  // of whole numbers, exact
            walks.noise[w] += (walks.noise[w] - mark_.noise[w]) * times;
            walks.weight[w] += (walks.weight[w] - mark_.weight[w]) * times;
            walks.end[w] = static_cast<double>(step + left % round);
            if (left % round == 0) walks.code[w] = 0;
            is_counted_[w] = true;
        }
        if (std::has_single_bit(static_cast<std::uint64_t>(step))) {
            mark_ = walks;
            marked_ = step;
        }
    }

private:
    std::span<const Start> starts_;
    std::array<bool, kTogether> is_counted_{};  // the rounds have been
    Walks mark_{};
    std::int64_t marked_ = 0;  // steps that had been taken at the mark
};

/// Where the walks start. They halt after their steps, or at the last weight; once their rounds have been counted,
/// after the rest of a round.
Walks start_walks(const Pixels& pixels, std::span<const Start> starts, std::size_t weights) {
    Walks walks;
    for (std::size_t w = 0; w < kTogether; ++w) {
        const bool is_used = w < starts.size();
        const Start start = is_used ? starts[w] : Start{};
        walks.offset[w] = pixels.offset(start.column, start.row);
        walks.x[w] = start.column + 0.5;
        walks.y[w] = start.row + 0.5;
        walks.noise[w] = walks.weight[w] = 0;
        walks.code[w] = is_used ? kGoing : 0;
        walks.end[w] = static_cast<double>(std::min(static_cast<std::size_t>(start.steps), weights));
    }
    return walks;
}

/// Follows the streamlines in one of the two ways.
void follow_way(const Pixels& pixels, int way, std::span<const Start> starts, std::span<const double> weights,
                bool alike, Walks& walks) {
    const auto count = static_cast<std::int64_t>(weights.size());
    const std::int64_t together = alike ? std::min(count, kFirstMark) : count;
    if (!take_steps(pixels, way, weights.first(static_cast<std::size_t>(together)), 0, walks)) return;
    Rounds rounds(starts);
    for (std::int64_t step = together; take_steps(pixels, way, weights.last(1), step, walks);)
        rounds.watch(++step, walks);
}

}  // namespace

void follow(const Flow& flow, std::span<const Start> starts, const Kernel& kernel, std::span<Tally> tallies) {
    const Pixels pixels = flow.pixels();
    Walks forward = start_walks(pixels, starts, kernel.forward.size());
    Walks backward = forward;
    follow_way(pixels, 0, starts, kernel.forward, kernel.alike, forward);
    std::ranges::copy(forward.noise, backward.noise);
    std::ranges::copy(forward.weight, backward.weight);
    follow_way(pixels, 1, starts, kernel.backward, kernel.alike, backward);
    for (std::size_t w = 0; w < starts.size(); ++w) tallies[w] = {backward.noise[w], backward.weight[w]};
}

}  // namespace zam::lic

int liccom2(double x, double y, double vx, double vy, int previous, double* dx, double* dy) {
    using namespace zam::lic;  // NOLINT(google-build-using-namespace): an entry of what stands above
    constexpr std::uint64_t kLines[]{0, kLower, kUpper, kRight, kLeft};
    const std::uint64_t line = previous >= 0 && previous < std::ssize(kLines) ? kLines[previous] : 0;
    const Step step = leave_pixel(x, y, vx, vy, kGoing | line);
    *dx = step.dx;
    *dy = step.dy;
    return static_cast<int>(std::ranges::find(kLines, step.code & ~std::uint64_t{kGoing}) - kLines);
}
