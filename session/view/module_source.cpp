// Files that a module reads: it is run, and what it wrote is borrowed.
#include <algorithm>
#include <optional>

#include "contract/om.h"
#include "embedded/host.h"
#include "session/network/network_check.h"
#include "session/network/network_reader.h"
#include "session/objects/borrowed_field.h"
#include "session/objects/field_access.h"
#include "session/run/session.h"
#include "session/view/view_source.h"

namespace zam::session {
namespace {

constexpr const char* kReader = "reader";

Json instance_of(const FileReader& reader, const Json& params) {
    return {{kReader, {{"use", reader.use}, {"params", params}}}};
}

/// @throws ViewError
Network reading_network(const FileReader& reader, const Definitions& definitions) {
    Problems problems;
    Environment environment{problems, {}};
    const auto document =
        Document::from_option("view", network_text({{"modules", instance_of(reader, reader.params)}}));
    Network network = read_network(*document, definitions, {}, environment);
    check_network(network, problems, true);
    if (problems.any()) throw ViewError(problems.lines().front());
    return network;
}

class ModuleSource final : public ViewSource {
public:
    ModuleSource(FileReader reader, Json params, const Definitions& definitions, const ModuleLibrary& library,
                 Listener& listener)
        : reader_(std::move(reader)),
          params_(std::move(params)),
          network_(reading_network(reader_, definitions)),
          session_(network_, library, listener, log_) {
        if (!session_.has_entries()) throw ViewError("the module library has no " + reader_.use);
        session_.build();
        session_.run_changed();
        instance_ = host::find(host::root(), kReader);
        stepno_ = network_.instances[0].definition->find_parameter("stepno");
        if (stepno_) OMget_name_int_val(instance_, OMstr_to_name("nsteps"), &steps_);
    }

    Json modules() const override { return instance_of(reader_, params_); }
    Json events() const override {
        Json events = Json::array();
        // a reader begins a file with its first step, whatever its parameters say
        if (step_ > 0) events.push_back({{"set", {{step_track().first, step_ + 1}}}});
        return events;
    }
    Json value() const override { return {{"ref", std::string(kReader) + "." + reader_.output}}; }
    int steps() const override { return std::max(steps_, 1); }
    std::pair<std::string, int> step_track() const override { return {std::string(kReader) + ".stepno", 1}; }
    void go_to(int step) override {
        if (step != step_ && stepno_) session_.set({{0, stepno_, {step + 1}, {}}});
        step_ = step;
    }
    FieldPointer field() override {
        const OMobj_id out = host::find(instance_, reader_.output);
        if (read_shape(out).nnodes < 1) throw ViewError("");
        return borrow_field(out);
    }

private:
    FileReader reader_;
    Json params_;
    Network network_;
    CallLog log_;
    Session session_;
    OMobj_id instance_{};
    const Parameter* stepno_ = nullptr;
    int steps_ = 1;
    int step_ = 0;
};

}  // namespace

std::unique_ptr<ViewSource> open_module_source(const FileReader& reader, const Json& network_params,
                                               const Definitions& definitions, const ModuleLibrary& library,
                                               Listener& listener) {
    return std::make_unique<ModuleSource>(reader, network_params, definitions, library, listener);
}

}  // namespace zam::session
