#include "session/run/frame_memory.h"

#include <algorithm>
#include <cstddef>

namespace zam::session {
namespace {

/// Follows an event through the modules that it reaches, upstream before downstream.
class Reach {
public:
    Reach(const Network& network, const Dependencies& dependencies, const ForEvent& event)
        : network_(network),
          dependencies_(dependencies),
          reached_(network.instances.size()),
          remembers_(network.instances.size()) {
        for (const auto& sweep : event.sweeps) by_parameter(sweep.module, *sweep.parameter, true);
        for (const std::size_t module : dependencies.order()) by_references(module);
    }

    /// The modules that remember, and of the others reached those that lead to them.
    std::vector<bool> to_replay() const {
        std::vector<bool> wanted = remembers_;
        const auto order = dependencies_.order();
        for (auto module = order.rbegin(); module != order.rend(); ++module) {
            if (!wanted[*module]) continue;
            for (const std::size_t other : dependencies_.upstream(*module)) {
                if (reached_[other]) wanted[other] = true;
            }
        }
        return wanted;
    }

private:
    void by_parameter(std::size_t module, const Parameter& parameter, bool swept) {
        reached_[module] = true;
        if (parameter.any_order) return;
        const bool counts = swept && parameter.shape.kind == Kind::trigger;
        const bool remembers = counts || keeps_something(*network_.instances[module].definition);
        if (remembers || dependencies_.refers_to_itself(module)) remembers_[module] = true;
    }

    void by_references(std::size_t module) {
        for (const auto& parameter : network_.instances[module].definition->parameters) {
            const auto upstream = dependencies_.upstream_of(module, parameter.name);
            if (std::any_of(upstream.begin(), upstream.end(), [&](std::size_t other) { return reached_[other]; }))
                by_parameter(module, parameter, false);
        }
    }

    const Network& network_;
    const Dependencies& dependencies_;
    std::vector<bool> reached_, remembers_;
};

}  // namespace

bool keeps_something(const Definition& definition) {
    const auto& parameters = definition.parameters;
    return definition.is_class || std::any_of(parameters.begin(), parameters.end(),
                                              [](const auto& p) { return p.direction == Direction::inout; });
}

std::vector<bool> modules_to_replay(const Network& network, const Dependencies& dependencies, const ForEvent& event) {
    return Reach(network, dependencies, event).to_replay();
}

}  // namespace zam::session
