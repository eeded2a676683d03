// VTK's XML files of grids, whoever wrote them: what they hold, and their values as far as they can be read.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "session/values/number_array.h"

namespace zam::session {

/// An array of a file, from all its pieces.
struct VtkArray {
    std::string name;
    std::string unread;  // why the values cannot be read though nothing is wrong with them; empty: nothing
    std::string stored;  // the type's name in the file
    std::optional<int> type;
    int veclen = 1;
    std::vector<NumberArray> pieces;
};

struct VtkFile {
    int grid_type = 0;
    std::vector<xp_long> dims;  // three; empty: unstructured
    xp_long nnodes = 0;
    xp_long ncells = 0;
    std::array<double, 3> first{}, last{};  // positions of a uniform grid
    std::vector<VtkArray> node_data, cell_data;
    std::vector<VtkArray> positions;   // one of points, or one per axis
    std::vector<VtkArray> cell_types;  // one, or none
    std::vector<std::string> notes;    // what of the file all this cannot tell
};

/// Whether a file begins as such files do.
bool is_vtk(std::string_view start);

/// Opens a file of image data, or of a rectilinear, structured or unstructured grid. Values are read when they are
/// needed.
/// @throws DataError  if the file cannot be read, or its arrays do not hold what it says
VtkFile open_vtk(const std::string& file);

}  // namespace zam::session
