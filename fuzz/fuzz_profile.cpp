// Any bytes as a profile file: what is set is found again, everything else stays, and setting it again changes nothing.
#include "fuzz/target.h"
#include "platform/posix/profile_text.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace zam::platform;
    using zam::fuzz::require;
    const std::string text = zam::fuzz::text_of(data, size);
    const auto other = find_profile_value(text, "joystick", "threshold");
    const auto old = find_profile_value(text, "joystick", "interval");
    const std::string set = set_profile_value(text, "joystick", "interval", "50");
    require(find_profile_value(set, "joystick", "interval") == "50");
    require(find_profile_value(set, "joystick", "threshold") == other);
    require(set_profile_value(set, "joystick", "interval", "50") == set);
    require(set.size() + (old ? text.size() : 0) >= text.size());
    return 0;
}
