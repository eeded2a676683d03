#include "runner/serve/edited_network.h"

#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

#include "session/values/color_tables.h"

namespace zam::runner {

Json default_of(const Parameter& parameter) {
    if (parameter.default_json.empty()) return {};
    Json value = Json::parse(parameter.default_json, nullptr, false);
    if (!value.is_discarded()) return value;
    // of a preset there is the name, of arrays their size
    const auto names = session::preset_names();
    const bool preset = std::find(names.begin(), names.end(), parameter.default_json) != names.end();
    return preset ? Json{{"preset", parameter.default_json}} : Json();
}

EditedNetwork::EditedNetwork(const Session& session, Network network) : network_(std::move(network)) {
    for (const auto& [name, definition] : network_.modules()) modules_[name] = &session.module(definition);
}

const Parameter* EditedNetwork::parameter(const std::string& target) const {
    const auto dot = target.find('.');
    const auto module = modules_.find(target.substr(0, dot));
    if (dot == std::string::npos || module == modules_.end()) return nullptr;
    return module->second->find(target.substr(dot + 1));
}

Json EditedNetwork::default_value(const std::string& target) const {
    const auto* found = parameter(target);
    return found ? default_of(*found) : Json();
}

// --- Values ---

std::string EditedNetwork::written(const std::string& target) const {
    if (scaled_ && target == scaled_->width) return scaled_->written_width;
    if (scaled_ && target == scaled_->height) return scaled_->written_height;
    return network_.written(target);
}

WrittenValues EditedNetwork::written(const WrittenValues& of) const {
    WrittenValues values;
    for (const auto& [target, value] : of) values[target] = written(target);
    return values;
}

void EditedNetwork::set(const std::string& target, const std::string& value) {
    value.empty() ? network_.reset(target) : network_.set(target, zam::Json{value});
}

void EditedNetwork::give(const WrittenValues& values) {
    const WrittenValues before = written(values);
    std::vector<std::string> done;
    try {
        for (const auto& [target, value] : values) {
            set(target, value);
            done.push_back(target);
        }
    } catch (const Error&) {
        for (auto target = done.rbegin(); target != done.rend(); ++target) set(*target, before.at(*target));
        throw;
    }
}

// --- The picture's size ---

std::optional<EditedNetwork::OwnSize> EditedNetwork::own_size(const std::string& module) const {
    constexpr std::int64_t kMaxSide = 32767;
    const auto side = [&](const char* name, std::string& target, std::string& value) {
        target = module + "." + name;
        const auto* found = parameter(target);
        if (!found || found->kind != "int") return 0;
        value = written(target);
        const Json number = value.empty() ? default_of(*found) : Json::parse(value);
        if (!number.is_number_integer()) return 0;
        return static_cast<int>(std::clamp<std::int64_t>(number.get<std::int64_t>(), 0, kMaxSide));
    };
    OwnSize own;
    own.size.width = side("width", own.width, own.written_width);
    own.size.height = side("height", own.height, own.written_height);
    return own.size.pixels() > 0 ? std::optional(own) : std::nullopt;
}

void EditedNetwork::scale(const OwnSize& own, const Size& size) {
    network_.set(own.width, size.width);
    network_.set(own.height, size.height);
    scaled_ = own;
}

bool EditedNetwork::restore_size() {
    if (!scaled_) return false;
    const OwnSize own = *std::exchange(scaled_, std::nullopt);
    give({{own.width, own.written_width}, {own.height, own.written_height}});
    return true;
}

}  // namespace zam::runner
