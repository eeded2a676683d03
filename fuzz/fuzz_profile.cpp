// Any bytes as a profile file: what is set is found again, everything else stays, and setting it again changes nothing.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "platform/posix/profile_text.h"

namespace {

void require(bool held) {
    if (!held) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace zam::platform;
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const auto other = find_profile_value(text, "joystick", "threshold");
    const auto old = find_profile_value(text, "joystick", "interval");
    const std::string set = set_profile_value(text, "joystick", "interval", "50");
    require(find_profile_value(set, "joystick", "interval") == "50");
    require(find_profile_value(set, "joystick", "threshold") == other);
    require(set_profile_value(set, "joystick", "interval", "50") == set);
    require(set.size() + (old ? text.size() : 0) >= text.size());
    return 0;
}
