// The renderer: an entry of the embedded host itself.
#pragma once

#include <array>
#include <optional>
#include <string_view>

#include "base/ranks.h"
#include "contract/types.h"
#include "embedded/host.h"

/// Renders meshes into an image field with depth. The parameters are in host_view.json.
/// @return 1; 0 if a parameter is wrong or memory runs out (reported, `out` untouched)
extern "C" ZAM_HOST_CXX_API int host_view(OMobj_id instance, unsigned event_mask, int seq);

namespace zam::host::view {

/// The entry's name in networks.
constexpr std::string_view kEntry = "host_view";

/// From now on views are drawn jointly: each rank draws its share of the objects, and rank 0 has the image; `out` of
/// the others stays as it is. Borrowed. Null: each process draws for itself.
ZAM_HOST_CXX_API void use_ranks(Ranks* ranks);

/// Scene coordinates at the sides of an image: x at the left and the right one, y at the lower and the upper one.
struct PlaneSides {
    double left, right, bottom, top;
};

/// Where a view with the instance's parameters, as they are now, shows the plane of x and y. `nullopt` if it has
/// perspective, is not seen along z or has parameters that are wrong. Reports nothing. Of a view that was drawn
/// jointly, everything is what the ranks had together then.
ZAM_HOST_CXX_API std::optional<PlaneSides> plane_sides(OMobj_id instance);

/// From the scene to the view: a scale, then a translation.
struct Fit {
    double scale = 1.0;
    std::array<double, 3> translate{};
};

/// How a view with the instance's parameters, as they are now, brings everything into view. `nullopt` if a transform is
/// given or parameters are wrong. Reports nothing. What everything is: see plane_sides.
ZAM_HOST_CXX_API std::optional<Fit> fit(OMobj_id instance);

}  // namespace zam::host::view
