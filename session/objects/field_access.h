// Reads the parts of a host's field.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "contract/fld.h"
#include "session/objects/host_array.h"

namespace zam::session {

struct FieldShape {
    int nspace = 0;
    std::vector<xp_long> dims;  // empty: unstructured
    xp_long nnodes = 0;
    int grid_type = FLD_UNSTRUCTURED;

    bool has_points() const { return grid_type == FLD_UNIFORM || grid_type == FLD_RECTILINEAR; }
};

FieldShape read_shape(OMobj_id field);

/// The name of the grid type: "uniform".
std::string_view grid_type_name(const FieldShape& shape);

int component_count(OMobj_id node_data);

struct ComponentHeader {
    int veclen = 0;           // 0: not declared
    std::optional<int> type;  // `nullopt`: not declared
    std::string label, units;
    int id = 0;

    /// The label, or DATA and the number of the component.
    std::string name(int comp) const { return label.empty() ? "DATA" + std::to_string(comp) : label; }
};

ComponentHeader read_component_header(OMobj_id node_data, int comp);

/// Values of any type; empty if there are none.
struct LentValues {
    int type = DTYPE_FLOAT;
    LentArray<const std::byte> values;  // counted in elements of `type`
};
LentValues read_node_values(OMobj_id node_data, int comp);
LentValues read_array(OMobj_id object);

/// Points of a uniform or rectilinear field, coordinates of others or of a time step; empty if there are none.
LentArray<float> read_points(OMobj_id field);
LentArray<float> read_coordinates(OMobj_id mesh);

/// Two numbers of a component's type, or `nullopt` if it has no values.
struct Limits {
    alignas(double) std::byte minimum[sizeof(double)];
    alignas(double) std::byte maximum[sizeof(double)];
};
std::optional<Limits> read_limits(OMobj_id node_data, int comp);

}  // namespace zam::session
