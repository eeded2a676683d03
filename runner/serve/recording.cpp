#include "runner/serve/recording.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <utility>

namespace zam::runner {
namespace {

constexpr std::size_t kMaxEvents = 20'000;
constexpr std::size_t kMaxBytes = std::size_t{64} << 20;

/// "frame_0007.png", of the kind that the shown output is.
std::string frame_file(int frame, const std::string& shown) {
    constexpr std::size_t kDigits = 4;
    std::string number = std::to_string(frame);
    number.insert(0, kDigits - std::min(number.size(), kDigits), '0');
    const std::string ending = std::filesystem::path(shown).extension().string();
    return "frame_" + number + (ending.empty() ? ".png" : ending);
}

/// Every parameter's value, by "MODULE.PARAM".
std::map<std::string, Json> values_of(const Json& network) {
    std::map<std::string, Json> values;
    for (const auto& [name, module] : network.at("modules").items()) {
        const Json params = module.value("params", Json::object());
        const std::string prefix = name + ".";
        for (const auto& [parameter, value] : params.items()) values[prefix + parameter] = value;
    }
    return values;
}

/// The same after the network's events.
std::map<std::string, Json> values_after_events(const Json& network) {
    auto values = values_of(network);
    for (const auto& event : network.value("events", Json::array())) {
        const Json set = event.value("set", Json::object());
        for (const auto& [target, value] : set.items()) values[target] = value;
    }
    return values;
}

}  // namespace

bool Recording::has_room() const { return is_on_ && events_.size() < kMaxEvents && bytes_ < kMaxBytes; }

void Recording::note_change(const WrittenValues& values, const EditedNetwork& network) {
    if (!has_room()) return;
    if (events_.empty() || !events_.back().contains("set")) events_.push_back({{"set", Json::object()}});
    for (const auto& [target, value] : values) {
        bytes_ += target.size() + value.size();
        const Json set = value.empty() ? network.default_value(target) : Json::parse(value);
        if (!set.is_null()) events_.back()["set"][target] = set;
    }
}

void Recording::note_frame(const OutputEntry& shown) {
    if (!has_room() || events_.empty() || events_.back().contains("write")) return;
    events_.push_back({{"write", {{frame_file(frames_++, shown.file), shown.json}}}});
}

void Recording::note_event(Json event) {
    if (has_room()) events_.push_back(std::move(event));
}

Json Recording::as_network(const Json& now, const EditedNetwork& network) const {
    Json recorded = Json::parse(network_);
    recorded["events"] = events_;
    const auto values = values_after_events(recorded);
    const auto wanted = values_of(now);
    Json last = Json::object();
    for (const auto& [target, value] : wanted) {
        const auto found = values.find(target);
        if (found == values.end() || found->second != value) last[target] = value;
    }
    for (const auto& [target, value] : values) {
        const Json taken_back = wanted.contains(target) ? Json() : network.default_value(target);
        if (!taken_back.is_null() && value != taken_back) last[target] = taken_back;
    }
    if (!last.empty()) recorded["events"].push_back({{"set", last}});
    return recorded;
}

}  // namespace zam::runner
