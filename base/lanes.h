// Lanes: values side by side in one vector, as wide as the processor has them. A source of kernels is translated once
// per set of instructions, since it includes itself:
//
//     #undef HWY_TARGET_INCLUDE
//     #define HWY_TARGET_INCLUDE "session/convert/lane_kernels.cpp"  // this source
//     #include "base/lanes.h"
//
//     HWY_BEFORE_NAMESPACE();
//     namespace zam::session::HWY_NAMESPACE {
//     void add(const float* values, ...) { const hwy::HWY_NAMESPACE::ScalableTag<float> lanes; ... }
//     }
//     HWY_AFTER_NAMESPACE();
//
//     #if HWY_ONCE
//     namespace zam::session {
//     ZAM_EXPORT(add);
//     void add(const float* values, ...) { ZAM_DISPATCH(add)(values, ...); }
//     }
//     #endif
//
// Every target gives the same bytes: a kernel does with each value what it would do with one alone, whatever the width.
// So it keeps away from approximate operations and sums over lanes, and from what Highway leaves to the target: Min and
// Max of what may not be a number, Round, numbers that do not fit where they are converted to. What lambdas do with
// lanes needs HWY_ATTR, and constructors have to be written out.
//
// No #pragma once: Highway's header is read anew per target.
#include "base/lanes_target.h"
// in this order
#include <hwy/foreach_target.h>
#include <hwy/highway.h>
// what kernels share
#include "base/lane_values.h"
