// Draws one object of a view.
#pragma once

#include "embedded/view/canvas.h"
#include "embedded/view/field.h"

namespace zam::host::view {

/// The colours that a network gives an object.
struct Look {
    std::optional<Color> color;
    Object* datamap = nullptr;
};

enum class Drawn { done, too_many_nodes, broken_datamap };

/// Draws the cell sets of a field; without cells its grid as a line, a surface or the six sides of a volume, and
/// without a grid its nodes as points. Of cells of a volume, the faces that no two of them share. What refers to nodes
/// that do not exist or are not finite is left out.
/// @param to_view  from the field with its own transform to view space
/// @throws std::bad_alloc
Drawn draw_object(Object& field, const Affine& to_view, const Look& look, Canvas& canvas);

}  // namespace zam::host::view
