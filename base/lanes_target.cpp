#include "base/lanes_target.h"

#include <cstdlib>
#include <string_view>

namespace zam {
namespace {

/// The targets up to the one that ZAM_TARGET names.
std::int64_t allowed_targets() {
    const char* const name = std::getenv("ZAM_TARGET");
    const std::string_view wanted = name ? name : "";
    if (wanted == "avx2") return HWY_TARGETS & ~HWY_AVX3;
    if (wanted == "baseline") return HWY_TARGETS & ~(HWY_AVX3 | HWY_AVX2);
    return HWY_TARGETS;
}

}  // namespace

hwy::ChosenTarget& lanes_target() {
    static hwy::ChosenTarget target;
    if (!target.IsInitialized()) target.Update(hwy::SupportedTargets() & allowed_targets());
    return target;
}

std::vector<std::int64_t> lanes_targets() {
    std::vector<std::int64_t> targets;
    targets.reserve(4);
    const std::int64_t all = (hwy::SupportedTargets() | HWY_STATIC_TARGET) & HWY_TARGETS;
    for (std::int64_t left = all; left != 0; left &= left - 1) targets.push_back(left & -left);
    return targets;
}

}  // namespace zam
