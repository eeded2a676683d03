// Which network shows a data file: chosen by what the data are, with ranges and opacities from their distribution.
#pragma once

#include <array>
#include <string>
#include <utility>
#include <vector>

#include "session/view/view_options.h"
#include "session/view/view_source.h"

namespace zam::session {

struct ViewPlan {
    std::string network;                                     // its text
    std::vector<std::pair<std::string, std::string>> facts;  // for people: "range" and "0 to 1"
    std::vector<std::string> notes;                          // what is worth knowing
};

/// @param file  for people
/// @throws ViewError
ViewPlan plan_view(ViewSource& source, const ViewOptions& options);

/// The network of an image that is made of a captured one.
/// @param file  as the network names it
/// @param dims  width and height
ViewPlan plan_capture(const std::string& file, std::array<xp_long, 2> dims, const ViewOptions& options);

}  // namespace zam::session
