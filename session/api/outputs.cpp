// The files that a network writes.
#include <algorithm>
#include <utility>

#include "session/api/state.h"

namespace zam {
namespace {

/// The outputs that an event writes; null if it writes none.
const std::vector<session::Output>* outputs_of(const session::Event& event) {
    if (const auto* write = std::get_if<session::WriteEvent>(&event.what)) return &write->outputs;
    const auto* frames = std::get_if<session::ForEvent>(&event.what);
    return frames ? &frames->outputs : nullptr;
}

bool is_picture(session::OutputKind kind) {
    return kind == session::OutputKind::png || kind == session::OutputKind::webp || kind == session::OutputKind::svg;
}

const session::Output* first_picture(const std::vector<session::Output>& outputs) {
    const auto found =
        std::find_if(outputs.begin(), outputs.end(), [](const auto& output) { return is_picture(output.kind); });
    return found == outputs.end() ? nullptr : &*found;
}

/// The first picture of a network, and the number of events that are played before it.
std::optional<std::pair<session::Output, std::size_t>> first_picture(const session::Network& network) {
    const std::size_t events = network.events.size();
    if (const auto* output = first_picture(network.outputs)) return std::pair{*output, events};
    for (std::size_t i = 0; i < events; ++i) {
        const auto* write = std::get_if<session::WriteEvent>(&network.events[i].what);
        if (const auto* output = write ? first_picture(write->outputs) : nullptr) return std::pair{*output, i};
    }
    return std::nullopt;
}

}  // namespace

std::vector<Output> Network::outputs() const {
    const Turn turn(*state_->session);
    std::vector<Output> all;
    const auto add = [&](const std::vector<session::Output>& outputs, bool at_end) {
        for (const auto& output : outputs)
            all.push_back({output.file, output.from.target, std::string(ending_of(output.kind)), at_end});
    };
    for (const auto& event : state_->network.events) {
        if (const auto* outputs = outputs_of(event)) add(*outputs, false);
    }
    add(state_->network.outputs, true);
    return all;
}

bool Network::keep_first_picture(const std::string& file) {
    const Turn turn(*state_->session);
    const auto kind = session::output_kind(file);
    if (!kind || !is_picture(*kind)) throw Error(file + ": pictures are written as .png, .svg or .webp");
    session::Network& network = state_->network;
    auto first = first_picture(network);
    if (!first) return false;
    auto& [picture, played] = *first;
    network.events.resize(played);
    std::erase_if(network.events, [](const auto& event) { return outputs_of(event) != nullptr; });
    picture.file = file;
    if (picture.kind != session::OutputKind::svg) picture.kind = *kind;
    network.outputs = {std::move(picture)};
    return true;
}

}  // namespace zam
