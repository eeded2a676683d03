// Which sets of instructions kernels (base/lanes.h) are translated for, and which of them is used.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

// Lanes of 16 bytes, 32 and 64. Between these lie no sets that are worth the time to translate them.
#define HWY_DISABLED_TARGETS (HWY_SSSE3 | HWY_AVX3_DL)
// For processors without them, one lane. What would emulate 16 bytes there lives on vectorisers, which are off here.
#define HWY_BROKEN_EMU128 1
// Nothing fuses a product and a sum, not even what asks for it.
#define HWY_DISABLE_BMI2_FMA
#include <hwy/targets.h>

/// ZAM_EXPORT(KERNEL) makes the table of a kernel's targets; ZAM_DISPATCH(KERNEL) is that of the target in use. Not
/// HWY_EXPORT: its tables begin with a function that needs Highway's library (base/lanes_target.cpp says why not).
#if (HWY_TARGETS & (HWY_TARGETS - 1)) == 0
#define ZAM_EXPORT(KERNEL) static_assert(true)
#define ZAM_DISPATCH(KERNEL) HWY_STATIC_DISPATCH(KERNEL)
#else
#define ZAM_EXPORT(KERNEL)                                                                   \
    static constexpr decltype(&HWY_STATIC_DISPATCH(KERNEL)) HWY_DISPATCH_TABLE(KERNEL)[] = { \
        nullptr, HWY_CHOOSE_TARGET_LIST(KERNEL), HWY_CHOOSE_FALLBACK(KERNEL)}
#define ZAM_DISPATCH(KERNEL) (*(HWY_DISPATCH_TABLE(KERNEL)[zam::lanes_target().GetIndex()]))
#endif

namespace zam {

/// The target in use: the best that the processor has, or what the environment's ZAM_TARGET names. That is "avx512",
/// "avx2" or "baseline" (16 bytes, SSE 4.2), and where the processor lacks it, the best of the lower ones. Other names
/// count as none. Not Highway's own choice, since the host may make that for purposes of its own.
hwy::ChosenTarget& lanes_target();

/// All targets that the processor has, for tests that try each: lanes_target().Update(target).
std::vector<std::int64_t> lanes_targets();

/// The targets that may be used, by the names that ZAM_TARGET has for them; the first one is in use.
std::vector<std::string_view> lanes_target_names();

}  // namespace zam
