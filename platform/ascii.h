// Characters without regard to the process' locale.
#pragma once

namespace zam::platform {

/// The lower case of an ASCII letter; any other byte as it is.
constexpr char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

}  // namespace zam::platform
