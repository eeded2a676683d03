// Node data as bytes, for modules that move values without regard to their type.
#pragma once

#include <cstddef>
#include <span>

#include "contract/fld.h"
#include "modules/support/host_array.h"

namespace zam {

/// A component's values as the host holds them.
struct ComponentBytes {
    int type = DTYPE_BYTE;
    HostArray<std::byte> values;  // counted in values of `type`

    /// @return whether the host has values of component `comp`
    bool read(OMobj_id field, int comp) {
        return FLDget_node_data(field, comp, &type, values.untyped_place(), values.count_place(), ARR_READ) == 1 &&
               values;
    }
    std::span<const std::byte> bytes() const { return {values.data(), values.span().size() * type_size(type)}; }
};

/// Hands values over to a component, whose veclen is set. They stay with the caller when the host refuses them.
inline void hand_over(OMobj_id field, int comp, OutArray<std::byte>& values) {
    if (FLDset_node_data(field, comp, values.data(), values.type(), values.size(), ARR_HOST_OWNS) == 1)
        values.release();
}

/// Hands over the points of a field whose dims are set, then `values` as its only component. What the host has taken
/// before it refuses a part stays taken.
inline void hand_over_uniform(OMobj_id field, OutArray<float>& points, int veclen, OutArray<std::byte>& values) {
    if (FLDset_points(field, points.data(), points.size(), ARR_HOST_OWNS) != 1) return;
    points.release();
    if (FLDset_node_data_ncomp(field, 1) == 1 && FLDset_node_data_veclen(field, 0, veclen) == 1)
        hand_over(field, 0, values);
}

}  // namespace zam
