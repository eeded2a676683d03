// JSON, and texts that several threads send.
#pragma once

#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>

namespace zam::runner {

using Json = nlohmann::ordered_json;  // zam::Json is a text
using Text = std::shared_ptr<const std::string>;

inline Text shared_text(std::string text) { return std::make_shared<const std::string>(std::move(text)); }

/// On one line; what is no UTF-8 is replaced.
inline std::string dump(const Json& json) { return json.dump(-1, ' ', false, Json::error_handler_t::replace); }

}  // namespace zam::runner
