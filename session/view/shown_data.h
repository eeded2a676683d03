// What of a field a picture shows.
#pragma once

#include <array>
#include <cstddef>
#include <numeric>
#include <string>
#include <vector>

#include "session/values/field_value.h"
#include "session/view/view_source.h"

namespace zam::session {

using Numbers3 = std::array<double, 3>;

struct Box {
    Numbers3 low{}, high{};

    double length(std::size_t axis) const { return high[axis] - low[axis]; }
    Numbers3 middle() const {
        return {std::midpoint(low[0], high[0]), std::midpoint(low[1], high[1]), std::midpoint(low[2], high[2])};
    }
    Numbers3 half() const { return {length(0) / 2, length(1) / 2, length(2) / 2}; }
};

/// The box of a field's positions that are finite, before its transform; in index space if it has none.
/// @throws ViewError
Box box_of(const FieldValue& field);

/// Number of axes that have more than one node.
std::size_t axes_of_space(const FieldValue& field);
/// Whether positions follow from the axes.
bool is_on_axes(const FieldValue& field);
/// Whether positions of a uniform field go down along an axis.
bool descends(const FieldValue& field);
/// "64 x 48", or "1000 nodes".
std::string dims_text(const FieldValue& field);

/// The components that are shown.
struct Shown {
    std::vector<std::size_t> components;  // several: the parts of a vector
    int parts = 0;                        // values per node; 0: there are none
    std::string name;                     // for people
};

/// What was asked for, else the parts of a vector of the grid's own number of axes, else the first component.
/// @throws ViewError
Shown choose_shown(const FieldValue& field, const ViewSource& source, const WantedData& wanted);

/// The conversion that takes what is shown out of the field: one component, on a grid without axes of a single node.
Json taking(const FieldValue& field, const Shown& shown);

}  // namespace zam::session
