#include "modules/zam/ld_rdfld/sources.h"

#include <algorithm>
#include <array>

#include "contract/file.h"
#include "modules/zam/ld_rdfld/reports.h"
#include "platform/large_file.h"

namespace zam::ldrf {
namespace {

const char* keyword(SourceKind kind) {
    switch (kind) {
        case SourceKind::coordinate: return "COORD";
        case SourceKind::variable: return "VARIABLE";
        default: return "TIME";
    }
}

/// For each step the latest one up to it that has a block of sources, else 0.
template <class Blocks>
std::vector<int> latest_given(const Blocks& blocks) {
    std::vector<int> latest(blocks.size());
    int last = 0;
    for (std::size_t i = 0; i < blocks.size(); ++i) {
        if (blocks[i]) last = static_cast<int>(i) + 1;
        latest[i] = last;
    }
    return latest;
}

/// Steps that the header says something about; at least one.
int count_described(const HeaderModel& header) {
    const auto row = static_cast<std::size_t>(header.step_counter - 1);
    const StepTables& steps = header.steps;
    const bool last =
        row < steps.flag.size() && (steps.flag[row] != 0 || steps.data[row] || steps.points[row] || steps.time[row]);
    return std::max(1, last ? header.step_counter : header.step_counter - 1);
}

/// Whether the last byte of nodes x stride values still has a position.
bool positions_fit(const Source& source, xp_long nodes) {
    constexpr double kLimit = 4e18;
    constexpr double kWidestValue = 8.0;
    const double spread = static_cast<double>(nodes) * static_cast<double>(source.stride);
    const double values = static_cast<double>(source.offset) + spread;
    return static_cast<double>(source.skip) + kWidestValue * values < kLimit;
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

SourceMap::SourceMap(const HeaderModel& header, Positions& positions)
    : header_(header),
      positions_(positions),
      described_steps_(count_described(header)),
      coordinate_step_(latest_given(header.steps.points)),
      variable_step_(latest_given(header.steps.data)) {}

int SourceMap::step_with(SourceKind kind, int step) const {
    if (step < 1) return 0;
    const int own = described(step);
    const auto row = static_cast<std::size_t>(own - 1);
    if (kind == SourceKind::time) return header_.time(own) != nullptr ? step : 0;
    const std::vector<int>& latest = kind == SourceKind::coordinate ? coordinate_step_ : variable_step_;
    const int given = row < latest.size() ? latest[row] : 0;
    return given == 0 ? 0 : step - (own - given);
}

const Source* SourceMap::source(SourceKind kind, int n, int step) const {
    if (step < 1) return nullptr;
    const int own = described(step);
    if (kind == SourceKind::coordinate) return header_.coordinate(own, n);
    if (kind == SourceKind::variable) return header_.variable(own, n);
    const TimeRecord* time = header_.time(own);
    return time != nullptr && time->from_file ? &time->source : nullptr;
}

/// Whether `step` goes on where the step before it stopped.
bool SourceMap::continues(SourceKind kind, int n, int step) const {
    const int before = step_with(kind, step - 1);
    const Source* previous = before > 0 ? source(kind, n, before) : nullptr;
    const Source* current = source(kind, n, step);
    return previous != nullptr && current != nullptr && previous->close == 0 && previous->named == current->named &&
           previous->file == current->file && previous->type == current->type;
}

bool SourceMap::valid(SourceKind kind, int n, int step, const FieldFile& field, xp_long nodes) const {
    const Source& described = *source(kind, n, step);
    const bool sensible =
        described.skip >= 0 && described.offset >= 0 && described.stride >= 1 && positions_fit(described, nodes);
    if (sensible) return true;
    return refuse("Problem reading file %s: SKIP, OFFSET or STRIDE of %s %d, step %d, is out of range",
                  field.name.c_str(), keyword(kind), n, step);
}

/// Where `step` of a source lies, once the end of the step before it is known.
Placement SourceMap::place(SourceKind kind, int n, int step) const {
    const Source& described = *source(kind, n, step);
    Placement placement;
    placement.file_type = described.type;
    placement.stride = described.stride;
    placement.offset = described.offset;
    if (!continues(kind, n, step)) {
        placement.start = described.named ? 0 : header_.data_start;
        placement.skip = described.skip;
        return placement;
    }
    placement.start = positions_.at({kind, n, step_with(kind, step - 1)});
    if (described.type != kUnformatted) placement.offset = 0;  // right behind the last value; a record starts anew
    return placement;
}

/// Finds where the step before `step` ends when `step` continues it, passing over steps that have not been read.
bool SourceMap::find_start(SourceKind kind, int n, int step, const FieldFile& field, std::FILE* file, xp_long nodes,
                           const Encoding& encoding) const {
    std::vector<int> unread;  // latest first
    for (int at = step; continues(kind, n, at) && !positions_.contains({kind, n, step_with(kind, at - 1)});) {
        at = step_with(kind, at - 1);
        if (!valid(kind, n, at, field, nodes)) return false;
        unread.push_back(at);
    }
    const SourceRole silent{.component = 0, .read_error = "", .quiet = true};
    for (auto at = unread.rbegin(); at != unread.rend(); ++at) {
        const auto reader = open_nodes(file, place(kind, n, *at), encoding, silent, Asking::whole_field);
        positions_[{kind, n, *at}] = reader->end_position(nodes);
    }
    return true;
}

bool SourceMap::open(SourceKind kind, int n, int step, const FieldFile& field, xp_long nodes, const Encoding& encoding,
                     const char* cannot_open, OpenSource& opened) const {
    const Source* described = source(kind, n, step);
    if (described == nullptr) {
        return refuse("Problem reading file %s: there is no %s %d for step %d", field.name.c_str(), keyword(kind), n,
                      step);
    }
    if (!valid(kind, n, step, field, nodes)) return false;
    opened.file = field.file;
    opened.name = field.name;
    if (described->named) {
        opened.name = resolve_name(described->file, field.name);
        opened.owned.reset(FILEfopen(opened.name.c_str(), "rb"));
        opened.file = opened.owned.get();
        if (opened.file == nullptr || platform::length(opened.file) < 0) {
            return refuse(cannot_open, opened.name.c_str());
        }
    }
    if (!find_start(kind, n, step, field, opened.file, nodes, encoding)) return false;
    opened.placement = place(kind, n, step);
    return true;
}

void SourceMap::note_end(SourceKind kind, int n, int step, NodeReader& reader, xp_long nodes) const {
    const Source* described = source(kind, n, step);
    if (described != nullptr && described->close == 0) positions_[{kind, n, step}] = reader.end_position(nodes);
}

}  // namespace zam::ldrf
