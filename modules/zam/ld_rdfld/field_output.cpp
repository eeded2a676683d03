#include "modules/zam/ld_rdfld/field_output.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <type_traits>

#include "contract/fld.h"
#include "modules/support/batch.h"
#include "modules/support/typed_bytes.h"
#include "modules/zam/ld_rdfld/reports.h"

namespace zam::ldrf {
namespace {

using Corner = std::array<float, kMaxCoordSources>;
using Value = std::array<std::byte, 8>;  // one value of any type

const char* step_template(int kind) {
    switch (kind) {
        case kUniform: return "Mesh_Unif Node_Data";
        case kRectilinear: return "Mesh_Rect Node_Data";
        default: return "Mesh_Struct Node_Data";
    }
}

const char* all_steps_template(int kind) {
    switch (kind) {
        case kUniform: return "Mesh_Unif Time_Node_Data";
        case kRectilinear: return "Mesh_Rect Time_Node_Data";
        default: return "Time_Mesh_Struct Time_Node_Data";
    }
}

bool create(OMobj_id parent, const char* name, const char* template_name, OMobj_id& field) {
    if (FLDcreate(parent, &field, 0, name, template_name) == 1) return true;
    return kFieldReport.fail("Error creating field");
}

bool set_frame(OMobj_id field, const FieldFrame& frame) {
    const auto dims = frame.kept.dims();
    if (FLDset_ndim(field, frame.kept.ndim) != 1) return kFieldReport.fail("Error setting ndim");
    if (FLDset_dims(field, dims.data()) != 1) return kFieldReport.fail("Error setting dims");
    if (FLDset_nspace(field, frame.header.nspace) != 1) return kFieldReport.fail("Error setting space");
    return true;
}

bool set_points(OMobj_id field, int nspace, OutArray<float>& points) {
    if (FLDset_npoints(field, points.size() / nspace) != 1 ||
        FLDset_points(field, points.data(), points.size(), ARR_HOST_OWNS) != 1) {
        return kFieldReport.fail("Error setting point data");
    }
    points.release();
    return true;
}

bool set_coordinates(OMobj_id mesh, OutArray<float>& coord) {
    if (FLDset_coord(mesh, coord.data(), coord.size(), ARR_HOST_OWNS) != 1) {
        return kFieldReport.fail("Error setting coordinates");
    }
    coord.release();
    return true;
}

bool set_extent(OMobj_id mesh, const StepData& data, int nspace, const char* text) {
    if (data.min_ext.empty()) return true;
    if (FLDset_coord_extent(mesh, data.min_ext.data(), data.max_ext.data(), nspace) == 1) return true;
    return kFieldReport.fail(text);
}

/// Reverses the order of the nodes of a component in the host's array.
bool flip_nodes(OMobj_id field, int comp) {
    const auto values = TypedBytes::change(field, comp);
    if (!values) return kFieldReport.fail("Error getting node data for flip");
    with_type(values->type(), [&](auto zero) { std::ranges::reverse(values->as_writable<decltype(zero)>()); });
    return true;
}

/// A header's range value in a component's own type; integers go through the widest one and take its low bytes.
Value in_type(float value, int type) {
    Value bytes{};
    constexpr float kLongLimit = 9.2233720e18F;
    const xp_long whole = std::fabs(value) < kLongLimit ? static_cast<xp_long>(value) : 0;
    with_type(type, [&](auto typed) {
        using T = decltype(typed);
        if constexpr (std::is_floating_point_v<T>)
            typed = T{value};
        else
            typed = static_cast<T>(whole);
        std::memcpy(bytes.data(), &typed, sizeof typed);
    });
    return bytes;
}

/// Sets the header's value range, if it gives both ends.
bool set_range(OMobj_id field, int comp, const StepData& data, int type) {
    const auto at = static_cast<std::size_t>(comp);
    if (data.min_val.size() <= at || data.max_val.size() <= at) return true;
    const Value low = in_type(data.min_val[at], type);
    const Value high = in_type(data.max_val[at], type);
    if (FLDset_node_data_minmax(field, comp, low.data(), high.data(), type) == 1) return true;
    return kFieldReport.fail("Error setting node data");
}

bool set_component(OMobj_id field, int comp, const FieldFrame& frame, StepData& data) {
    const auto at = static_cast<std::size_t>(comp);
    const std::string label = at < frame.labels.size() ? frame.labels[at] : "DATA" + std::to_string(comp);
    const char* units = at < frame.units.size() ? frame.units[at].c_str() : "";
    if (FLDset_node_data_comp(field, comp, 1, label.c_str(), units) != 1) {
        return kFieldReport.fail("Error setting node data component");
    }
    OwnedTypedBytes& values = data.components[at];
    if (!values.hand_over(field, comp)) return kFieldReport.fail("Error setting node data");
    return (!frame.flip || flip_nodes(field, comp)) && set_range(field, comp, data, values.type());
}

bool set_node_data(OMobj_id field, const FieldFrame& frame, StepData& data) {
    if (FLDset_node_data_ncomp(field, frame.header.veclen) != 1) {
        return kFieldReport.fail("Error setting node_data_ncomp");
    }
    for (int comp = 0; comp < frame.header.veclen; ++comp) {
        if (!set_component(field, comp, frame, data)) return false;
    }
    return true;
}

// --- Copying a stored step ---

/// A copy, for the host, of an array that it lent.
template <class T>
OutArray<T> copy_of(const HostArray<T>& lent) {
    auto copy = OutArray<T>::allocate(lent.size());
    if (copy) std::copy(lent.data(), lent.data() + lent.size(), copy.data());
    return copy;
}

bool copy_points(OMobj_id all, const StoredStep& step, OMobj_id field, int nspace) {
    HostArray<float> stored;
    if (FLDget_points(all, stored.receive(), stored.receive_count(), ARR_READ) != 1) {
        return kFieldReport.fail("Error getting point data");
    }
    auto points = copy_of(stored);
    if (!points) return out_of_memory("RFread_field: Failure allocating points array");
    // all steps of such a field share the points of the first one
    if (step.points.size() == points.span().size()) std::copy(step.points.begin(), step.points.end(), points.data());
    return set_points(field, nspace, points);
}

bool copy_coordinates(OMobj_id step_mesh, OMobj_id field) {
    HostArray<float> stored;
    if (FLDget_coord(step_mesh, stored.receive(), stored.receive_count(), ARR_READ) != 1) {
        return kFieldReport.fail("Error getting coordinates");
    }
    auto coord = copy_of(stored);
    if (!coord) return out_of_memory("RFread_field: Failure allocating coords array");
    return set_coordinates(field, coord);
}

bool copy_extent(OMobj_id from, const StoredStep& step, OMobj_id to, int nspace) {
    Corner low{};
    Corner high{};
    if (FLDget_coord_extent(from, low.data(), high.data()) != 1) {
        return kFieldReport.fail("Error getting coord extent");
    }
    if (!step.min_ext.empty()) {
        std::copy(step.min_ext.begin(), step.min_ext.end(), low.begin());
        std::copy(step.max_ext.begin(), step.max_ext.end(), high.begin());
    } else if (!step.points.empty()) {
        return true;  // the extent is that of the step's own points
    }
    if (FLDset_coord_extent(to, low.data(), high.data(), nspace) == 1) return true;
    return kFieldReport.fail("Error setting coord extent");
}

bool copy_xform(OMobj_id from, OMobj_id to) {
    std::array<float, 16> xform{};
    if (FLDget_xform(from, xform.data()) != 1) return kFieldReport.fail("Error getting xform");
    if (FLDset_xform(to, xform.data()) == 1) return true;
    return kFieldReport.fail("Error setting xform");
}

bool any_finite(const TypedBytes& values) {
    return with_type(values.type(), [&](auto zero) {
        return std::ranges::any_of(values.as<decltype(zero)>(),
                                   [](auto value) { return std::isfinite(static_cast<double>(value)); });
    });
}

bool copy_component(OMobj_id from, OMobj_id to, int comp, const FieldFrame& frame) {
    const auto stored = TypedBytes::read(from, comp);
    if (!stored) return kFieldReport.fail("Error getting node data");
    Value low{};
    Value high{};
    const bool ranged = FLDget_node_data_minmax(from, comp, low.data(), high.data()) == 1;
    // values without a finite one have no range, and need none
    if (!ranged && any_finite(*stored)) return kFieldReport.fail("Error getting node minmax");
    StepData data;
    data.components.resize(static_cast<std::size_t>(comp) + 1);
    OwnedTypedBytes& values = data.components.back();
    values = OwnedTypedBytes::allocate(stored->type(), stored->count());
    if (!values) return out_of_memory("RFread_field: Failure allocating nnodes array");
    std::ranges::copy(stored->bytes(), values.bytes().begin());
    const FieldFrame as_stored{frame.header, frame.kept, frame.labels, frame.units, /*flip=*/false};
    if (!set_component(to, comp, as_stored, data)) return false;
    if (!ranged) return true;
    if (FLDset_node_data_minmax(to, comp, low.data(), high.data(), stored->type()) == 1) return true;
    return kFieldReport.fail("Error setting node data");
}

bool copy_mesh(OMobj_id all, int step, const StoredStep& stored, const FieldFrame& frame, OMobj_id field) {
    const int nspace = frame.header.nspace;
    if (frame.header.kind != kIrregular) {
        return copy_points(all, stored, field, nspace) && copy_extent(all, stored, field, nspace);
    }
    OMobj_id step_mesh = OMnull_obj();
    if (FLDget_time_coordinates(all, step - 1, &step_mesh) != 1) {
        return kFieldReport.fail("Error getting coordinates id ");  // deliberate: the blank at the end
    }
    return copy_coordinates(step_mesh, field) && copy_extent(step_mesh, stored, field, nspace);
}

bool copy_node_data(OMobj_id all, int step, const FieldFrame& frame, OMobj_id field) {
    OMobj_id step_data = OMnull_obj();
    if (FLDget_time_node_data(all, step - 1, &step_data) != 1) {
        return kFieldReport.fail("Error getting node id ");  // deliberate: the blank at the end
    }
    if (FLDset_node_data_ncomp(field, frame.header.veclen) != 1) {
        return kFieldReport.fail("Error setting node_data_ncomp");
    }
    for (int comp = 0; comp < frame.header.veclen; ++comp) {
        if (!copy_component(step_data, field, comp, frame)) return false;
    }
    return true;
}

}  // namespace

bool write_field(OMobj_id parent, const FieldFrame& frame, StepData& data, OMobj_id& field) {
    const WriteBatch batch;
    if (!create(parent, "Output_Field", step_template(frame.header.kind), field) || !set_frame(field, frame)) {
        return false;
    }
    const bool placed = frame.header.kind == kIrregular ? set_coordinates(field, data.coord)
                                                        : set_points(field, frame.header.nspace, data.points);
    return placed && set_extent(field, data, frame.header.nspace, "cannot set extent") &&
           set_node_data(field, frame, data);
}

bool write_all_steps(OMobj_id parent, const FieldFrame& frame, std::vector<StepData>& steps, OMobj_id& all) {
    const WriteBatch batch;
    const int nspace = frame.header.nspace;
    const bool irregular = frame.header.kind == kIrregular;
    constexpr const char* kCannotSetExtent = "cannot set store_all extent";
    if (!create(parent, "Output_All", all_steps_template(frame.header.kind), all) || !set_frame(all, frame)) {
        return false;
    }
    if (FLDset_ncell_sets(all, 1) != 1) return kFieldReport.fail("Error setting cell sets");
    if (FLDset_time_nsteps(all, static_cast<int>(steps.size())) != 1) {
        return kFieldReport.fail("Error setting time steps");
    }
    if (!irregular &&
        !(set_points(all, nspace, steps.front().points) && set_extent(all, steps.front(), nspace, kCannotSetExtent))) {
        return false;
    }
    std::vector<float> times;
    for (StepData& data : steps) {
        const int index = static_cast<int>(times.size());
        times.push_back(data.time);
        OMobj_id part = OMnull_obj();
        if (irregular) {
            if (FLDget_time_coordinates(all, index, &part) != 1) {
                return kFieldReport.fail("Error getting coordinates id ");
            }
            if (!set_coordinates(part, data.coord) || !set_extent(part, data, nspace, kCannotSetExtent)) return false;
        }
        if (FLDget_time_node_data(all, index, &part) != 1) return kFieldReport.fail("Error getting node id ");
        if (!set_node_data(part, frame, data)) return false;
    }
    if (FLDset_time_values(all, times.data(), static_cast<int>(times.size())) == 1) return true;
    return kFieldReport.fail("Error setting time values");
}

std::vector<StoredStep> keep_steps(const std::vector<StepData>& steps) {
    std::vector<StoredStep> kept;
    for (const StepData& data : steps) {
        StoredStep& step = kept.emplace_back(StoredStep{{}, data.min_ext, data.max_ext, data.time_text});
        const auto points = data.points.span();
        const auto first = steps.front().points.span();
        if (!std::equal(points.begin(), points.end(), first.begin(), first.end())) {
            step.points.assign(points.begin(), points.end());
        }
    }
    return kept;
}

bool LDRFfield_extract(OMobj_id parent, const FieldFrame& frame, OMobj_id all, int step, const StoredStep& stored,
                       OMobj_id& field) {
    xp_long nodes = 0;
    if (FLDget_nnodes(all, &nodes) != 1) return kFieldReport.fail("Error getting nnode");
    // not the field that was stored: something else has been connected
    if (nodes != frame.kept.nodes) return kFieldReport.fail("Error from LDRFfield_extract");
    const WriteBatch batch;
    return create(parent, "Output_Field", step_template(frame.header.kind), field) && set_frame(field, frame) &&
           copy_mesh(all, step, stored, frame, field) && copy_node_data(all, step, frame, field) &&
           copy_xform(all, field);
}

}  // namespace zam::ldrf
