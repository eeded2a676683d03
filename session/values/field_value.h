// Fields written in a network file: every key may be left out where it follows from the rest.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "contract/fld.h"
#include "session/document/cursor.h"
#include "session/values/number_array.h"
#include "session/values/transforms.h"

namespace zam::session {

class ValueRange;

struct ComponentValue {
    int veclen = 1;
    int type = DTYPE_FLOAT;
    std::string label, units;
    int id = 0;
    std::optional<NumberArray> minimum, maximum;  // one number of the component's type; computed if not given
    std::optional<NumberArray> null_value;
    NumberArray values;  // nnodes x veclen, or empty
    // what the lowest and the highest value of a whole type stand for, where the values were scaled; null: they were
    // not
    std::shared_ptr<const ValueRange> scaled_from;
};

struct CellSetValue {
    std::string name;
    xp_long ncells = 0;
    NumberArray connect;  // ncells x nodes per cell
    xp_long npolys = 0;
    NumberArray poly_connect;
};

struct StepValue {
    NumberArray coord;  // nnodes x nspace, or empty
    std::vector<ComponentValue> node_data;
};

/// A field whose parts fit each other.
struct FieldValue {
    int nspace = 0;
    std::vector<xp_long> dims;  // empty: unstructured
    xp_long nnodes = 0;
    int grid_type = FLD_UNSTRUCTURED;
    NumberArray points;  // uniform and rectilinear: nspace numbers per point, or empty
    NumberArray coord;   // else: nnodes x nspace, or empty
    std::optional<NumberArray> extent_minimum, extent_maximum;  // nspace numbers
    std::optional<Transform> xform;
    std::vector<ComponentValue> node_data;
    std::vector<CellSetValue> cell_sets;
    std::vector<float> time_values;
    std::vector<StepValue> steps;
};

using FieldPointer = std::shared_ptr<const FieldValue>;

/// The names of grid types in network files, in the order of their codes from 1.
constexpr std::string_view kGridTypeNames[] = {"uniform", "rectilinear", "structured", "unstructured"};

/// The keys of a field.
constexpr std::string_view kFieldKeys[] = {"nspace", "ndim",   "dims",  "nnodes",    "grid_type", "points",
                                           "coord",  "extent", "xform", "node_data", "cell_sets", "time"};

/// Reads a field from an object of a document. Null after a problem.
FieldPointer read_field(const Cursor& cursor);

}  // namespace zam::session
