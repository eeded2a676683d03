// Modules that recompute one component of a uniform field: the frame around a shape and a kernel.
#pragma once

#include <cstddef>
#include <new>
#include <optional>
#include <span>

#include "contract/fld.h"
#include "contract/om.h"
#include "modules/support/host_array.h"
#include "modules/support/memory_budget.h"
#include "modules/support/parameters.h"
#include "modules/support/report.h"
#include "modules/support/typed_bytes.h"

namespace zam {

constexpr Reporter kFilterReport{.label = "", .flags = 96};
constexpr const char* kNoFilterMemory = "Error : Can't allocate memory.\n";

/// Hands over the points of a field whose dims are set, then `values` as its only component. What the host has taken
/// before it refuses a part stays taken.
inline void hand_over_uniform(OMobj_id field, OutArray<float>& points, int veclen, OwnedTypedBytes& values) {
    if (FLDset_points(field, points.data(), points.size(), ARR_HOST_OWNS) != 1) return;
    points.release();
    if (FLDset_node_data_ncomp(field, 1) == 1 && FLDset_node_data_veclen(field, 0, veclen) == 1)
        values.hand_over(field, 0);
}

template <class Filter>
void apply_filter(const Parameters& params) {
    auto filter = Filter::read(params, params.find("in", OM_OBJ_RW));
    if (!filter) return;
    auto points = OutArray<float>::allocate(filter->points.size());
    if (!points) return kFilterReport.warn(kNoFilterMemory);
    filter->fill_points(params, points.span());
    MemoryBudget memory;
    const auto count = filter->out_count();
    auto values = count ? OwnedTypedBytes::allocate(memory, filter->data.type(), *count) : OwnedTypedBytes();
    if (!values) return kFilterReport.warn(kNoFilterMemory);
    filter->fill_values(params, values.bytes());
    const OMobj_id out = params.find("out", OM_OBJ_RD);
    if (filter->set_shape(out)) hand_over_uniform(out, points, filter->out_veclen(), values);
}

/// The update of a module that reads uniform field `in` and writes `out`. A filter has
///
///     static std::optional<Filter> read(const Parameters&, OMobj_id in);  // `nullopt`: silently, or after a report
///     HostArray<float> points;                                            // of `in`; `out` has as many
///     TypedBytes data;                                                    // of `in`; `out` has their type
///     void fill_points(const Parameters&, std::span<float>) const;
///     std::optional<xp_long> out_count() const;                           // values; `nullopt` if not countable
///     void fill_values(const Parameters&, std::span<std::byte>) const;    // the kernel
///     bool set_shape(OMobj_id out) const;                                 // whether the host took dims and space
///     int out_veclen() const;
///
/// @return 1, whatever happens. Failed allocations are reported and leave `out` as it was; a part that the host refuses
///         is not, and what it has taken before stays
template <class Filter>
int update_uniform(OMobj_id instance) {
    try {
        apply_filter<Filter>(Parameters(instance));
    } catch (const std::bad_alloc&) {
        kFilterReport.warn(kNoFilterMemory);
    }
    return 1;  // deliberate: also after a failure
}

}  // namespace zam
