#include "modules/zam/ld_rdfld/schedule.h"

#include <algorithm>
#include <set>
#include <string_view>

#include "contract/file.h"

namespace zam::ldrf {
namespace {

constexpr std::array kKinds{SourceKind::coordinate, SourceKind::variable, SourceKind::time};

/// Steps that the header says something about, if only that they end; at least one.
int count_described(const HeaderModel& header) {
    const auto row = static_cast<std::size_t>(header.step_counter - 1);
    const StepTables& steps = header.steps;
    const bool last =
        row < steps.flag.size() && (steps.flag[row] != 0 || steps.data[row] || steps.points[row] || steps.time[row]);
    return std::max({1, header.steps_ended, last ? header.step_counter : 0});
}

bool has_statements(const HeaderModel& header, SourceKind kind, int step) {
    const auto row = static_cast<std::size_t>(step - 1);
    const StepTables& steps = header.steps;
    if (row >= steps.flag.size()) return false;
    switch (kind) {
        case SourceKind::coordinate: return steps.points[row] != nullptr;
        case SourceKind::variable: return steps.data[row] != nullptr;
        default: return steps.time[row] != nullptr;
    }
}

const Source* statement(const HeaderModel& header, SourceKind kind, int n, int step) {
    if (kind == SourceKind::coordinate) return header.coordinate(step, n);
    if (kind == SourceKind::variable) return header.variable(step, n);
    const TimeRecord* time = header.time(step);
    return time != nullptr && time->from_file ? &time->source : nullptr;
}

/// Calls visit(kind, number, source) for every statement of a header; steps that share theirs are visited once.
template <class Visit>
void visit_sources(const HeaderModel& header, Visit visit) {
    const auto visit_blocks = [&](SourceKind kind, const auto& blocks) {
        std::set<const SourceBlock*> seen;
        for (const auto& block : blocks) {
            if (!block || !seen.insert(block.get()).second) continue;
            for (const auto& [n, source] : *block) visit(kind, n, source);
        }
    };
    visit_blocks(SourceKind::coordinate, header.steps.points);
    visit_blocks(SourceKind::variable, header.steps.data);
    for (const auto& time : header.steps.time) {
        if (time && time->from_file) visit(SourceKind::time, 1, time->source);
    }
}

}  // namespace

std::string resolve_name(const std::string& name, const std::string& field_file) {
    if (FILEis_path_absolute(name.c_str()) == 1 || name.find("$XP_PATH<") != std::string::npos) return name;
    std::array<char, FILE_NAME_SIZE> directory{};
    std::array<char, FILE_NAME_SIZE> joined{};
    FILEget_dir_name(field_file.c_str(), directory.data(), static_cast<int>(directory.size()));
    FILEconcat_dir_and_file(directory.data(), name.c_str(), joined.data(), static_cast<int>(joined.size()));
    return joined.data();
}

Schedule::Schedule(const HeaderModel& header, const std::string& field_file)
    : header_(header), field_file_(field_file), described_steps_(count_described(header)) {
    std::array<std::set<int>, kSourceKinds> kept_open;
    visit_sources(header, [&](SourceKind kind, int n, const Source& source) {
        if (source.close == 0) kept_open[static_cast<std::size_t>(kind)].insert(n);
        if (source.named && !files_.contains(source.file)) files_[source.file] = resolve_name(source.file, field_file);
    });
    for (const SourceKind kind : kKinds) {
        Kind& plan = kinds_[static_cast<std::size_t>(kind)];
        int latest = 0;
        for (int step = 1; step <= std::max(1, header.nstep); ++step) {
            if (has_statements(header, kind, described(step))) latest = described(step);
            plan.statements.push_back(latest);
        }
        Chain before;
        for (const int n : kept_open[static_cast<std::size_t>(kind)]) {
            auto places = follow(kind, n, plan.statements);
            // sources mostly go on in the same steps: those share what would be 8 bytes per step
            if (!before || *before != places)
                before = std::make_shared<const std::vector<ChainPlace>>(std::move(places));
            plan.chains[n] = before;
        }
    }
}

/// The places of a source's reads, step by step.
std::vector<ChainPlace> Schedule::follow(SourceKind kind, int n, const std::vector<int>& statements) const {
    std::vector<ChainPlace> places(statements.size());
    std::unordered_map<std::string_view, ChainPlace> open;  // reads that left their file open, by its name
    for (std::size_t i = 0; i < statements.size(); ++i) {
        const Source* source = statement(header_, kind, n, statements[i]);
        if (source == nullptr) continue;
        const bool stays_open = source->close == 0;
        const std::string& file = file_of(*source);
        const auto left = open.find(file);
        places[i] = left == open.end() ? ChainPlace{stays_open ? static_cast<int>(i) + 1 : statements[i], 0}
                                       : ChainPlace{left->second.chain, left->second.ordinal + 1};
        if (stays_open) {
            open[file] = places[i];
        } else {
            open.erase(file);
        }
    }
    return places;
}

const std::string& Schedule::file_of(const Source& source) const {
    return source.named ? files_.at(source.file) : field_file_;
}

int Schedule::statements(SourceKind kind, int step) const {
    const std::vector<int>& statements = kinds_[static_cast<std::size_t>(kind)].statements;
    const auto row = static_cast<std::size_t>(step - 1);
    return step >= 1 && row < statements.size() ? statements[row] : 0;
}

std::optional<ScheduledRead> Schedule::find(SourceKind kind, int n, int step) const {
    const int own = statements(kind, step);
    const Source* source = statement(header_, kind, n, own);
    if (source == nullptr) return std::nullopt;
    const Kind& plan = kinds_[static_cast<std::size_t>(kind)];
    const auto chain = plan.chains.find(n);
    const ChainPlace place =
        chain != plan.chains.end() ? (*chain->second)[static_cast<std::size_t>(step - 1)] : ChainPlace{own, 0};
    return ScheduledRead{source, &file_of(*source), place, place.ordinal == 0 || source->stated_in == step};
}

}  // namespace zam::ldrf
