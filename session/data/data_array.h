// Arrays of data files, and the fields that they make.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "session/data/data_request.h"
#include "session/values/field_value.h"

namespace zam::session {

/// One axis of an array.
struct DataAxis {
    xp_long size = 0;
    xp_long stride = 0;   // values from one index to the next
    std::string name;     // empty: none
    bool vector = false;  // holds the parts of a vector
    bool step = false;    // counts time steps
    std::optional<double> spacing, origin;
    std::vector<float> positions;  // of its nodes, or times of its steps, where a variable lists them; else empty
};

/// An array of a data file: axes as the file describes them, values read when they are needed.
struct DataArray {
    std::string name;           // empty: the file's only one
    std::string fault;          // why no field can be made of it; empty: nothing
    std::string note;           // what of the file the field cannot tell; empty: nothing
    bool by_name_only = false;  // describes other arrays; not among those that a file is asked for without a name
    int type = DTYPE_FLOAT;
    std::vector<DataAxis> axes;
    bool x_first = false;       // the axes of space are listed from x on; else the last of them is x
    ValueSourcePointer values;  // in the order in which they are stored
    std::string label, units;
    std::optional<double> null_value;
};

/// Gives the axes of an array strides without gaps.
/// @param first_fastest  whether neighbours along the first axis are neighbours in the file; else along the last axis
/// @return the number of values; `nullopt` if that overflows or a size is negative
std::optional<xp_long> set_strides(std::vector<DataAxis>& axes, bool first_fastest);

/// "float 4 x 6 x 8", the axes in the file's order.
std::string describe(const DataArray& array);

/// A field with one component per array. Axes of vectors and steps are taken out of the grid, by what the arrays say of
/// their axes and what the request names; more than three others are refused.
/// @param arrays  at least one, all of the same shape
/// @throws DataError
FieldPointer make_field(const std::vector<DataArray>& arrays, const DataRequest& request);

}  // namespace zam::session
