#include "base/lanes_target.h"

#include <cstdlib>
#include <string_view>

namespace zam {
namespace {

/// Targets that the processor has. On x86 the compiler's own question serves: Highway's library, once loaded, first
/// measures its clock, which takes 4 ms.
std::int64_t supported_targets() {
#if defined(ZAM_WITHOUT_HWY_LIBRARY)
    std::int64_t targets = HWY_SCALAR;
    if (!__builtin_cpu_supports("sse4.2") || !__builtin_cpu_supports("aes") || !__builtin_cpu_supports("pclmul"))
        return targets;
    targets |= HWY_SSE4;
    if (!__builtin_cpu_supports("avx2") || !__builtin_cpu_supports("fma") || !__builtin_cpu_supports("bmi") ||
        !__builtin_cpu_supports("bmi2"))
        return targets;
    targets |= HWY_AVX2;
    const bool avx512 = __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl") &&
                        __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512dq") &&
                        __builtin_cpu_supports("avx512cd");
    return avx512 ? targets | HWY_AVX3 : targets;
#else
    return hwy::SupportedTargets();
#endif
}

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
    if (!target.IsInitialized()) target.Update(supported_targets() & allowed_targets());
    return target;
}

std::vector<std::int64_t> lanes_targets() {
    std::vector<std::int64_t> targets;
    targets.reserve(4);
    const std::int64_t all = (supported_targets() | HWY_STATIC_TARGET) & HWY_TARGETS;
    for (std::int64_t left = all; left != 0; left &= left - 1) targets.push_back(left & -left);
    return targets;
}

std::vector<std::string_view> lanes_target_names() {
    std::vector<std::string_view> names;
    const std::int64_t targets = supported_targets() & allowed_targets();
    if ((targets & HWY_AVX3) != 0) names.emplace_back("avx512");
    if ((targets & HWY_AVX2) != 0) names.emplace_back("avx2");
    names.emplace_back("baseline");
    return names;
}

}  // namespace zam
