// JSON as people write it: what fits on a line stands on one.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace zam::session {

using Json = nlohmann::ordered_json;

/// A value as text, at most 118 columns wide where it can be broken, without a line end after it.
std::string network_text(const Json& value);

/// A number with as many digits as tell it from others that differ by a ten-thousandth of `span`.
double rounded(double value, double span);

}  // namespace zam::session
