#include "runner/serve/preview.h"

#include <algorithm>
#include <cmath>

namespace zam::runner {
namespace {

constexpr double kNewest = 0.3;  // share of the latest run in what is expected of the next
constexpr double kMinBudget = 8.0;
constexpr double kMinPixels = 48.0 * 48.0;
constexpr double kUnknown = 128.0 * 128.0;  // pixels before anything was measured

}  // namespace

void Preview::measured(const Size& size, double fixed, double of_pixels) {
    const double per_pixel = of_pixels / std::max(size.pixels(), 1.0);
    // slower than expected counts at once, faster little by little, so that an answer late once is not late again
    const double share = per_pixel_ == 0.0 || per_pixel > per_pixel_ ? 1.0 : kNewest;
    per_pixel_ += share * (per_pixel - per_pixel_);
    fixed_ += (fixed > fixed_ ? 1.0 : kNewest) * (fixed - fixed_);
}

Size Preview::choose(const Size& full) const {
    const double budget = std::max(kBudget - fixed_, kMinBudget);
    const double affordable = per_pixel_ > 0.0 ? budget / per_pixel_ : kUnknown;
    const double wanted = std::clamp(affordable, kMinPixels, std::max(full.pixels(), kMinPixels));
    const double scale = std::sqrt(wanted / std::max(full.pixels(), 1.0));
    if (scale >= 1.0) return full;
    const auto side = [&](int length) { return std::max(1, static_cast<int>(std::lround(length * scale))); };
    return {side(full.width), side(full.height)};
}

}  // namespace zam::runner
