// Polygons as triangles.
#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <vector>

#include "embedded/view/field.h"

namespace zam::host::view {

using Corners = std::array<std::size_t, 3>;  // of a triangle, by their numbers in the polygon

/// Twice the area, in the direction of the normal; also of polygons that are not plane.
/// Source: Newell's method, in Sutherland, Sproull & Schumacker, "A Characterization of Ten Hidden-Surface Algorithms",
/// Computing Surveys 1974.
Point area_normal(std::span<const Point> polygon);

/// Appends the triangles of a polygon. A concave one of up to kMaxClipped corners is cut by its ears, seen along the
/// normal; a larger one becomes a fan round its first corner, which is right for convex ones.
void triangulate(std::span<const Point> polygon, const Point& normal, std::vector<Corners>& triangles);

constexpr std::size_t kMaxClipped = 128;  // the time for a polygon grows with the square of its corners

}  // namespace zam::host::view
