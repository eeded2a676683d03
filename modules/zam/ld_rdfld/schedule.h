// Which statement serves each read of a source in each step, and how reads of a source that is kept open follow each
// other. Made once per header, then only queried.
#pragma once

#include <array>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "modules/zam/ld_rdfld/header_model.h"

namespace zam::ldrf {

enum class SourceKind { coordinate, variable, time };
constexpr std::size_t kSourceKinds = 3;

/// Place of a read among those that go on, one after another, in a file that a source keeps open. Reads of one source
/// with the same place read the same values.
struct ChainPlace {
    int chain = 0;    // the step with whose statement the chain begins
    int ordinal = 0;  // reads before this one in the chain; those that begin one go by skip and offset alone

    bool operator==(const ChainPlace&) const = default;
};

/// One source in one step.
struct ScheduledRead {
    const Source* source;     // its statement
    const std::string* file;  // resolved name
    ChainPlace place;
    bool applies_options;  // skip and offset count: the step begins a chain or has a statement of its own
};

/// Sources are told apart by kind and number (from 1; 1 for time). A step without statements of a kind has those of the
/// latest step before it; steps after the last one that the header describes begin its statements anew. A read goes on
/// where the source's latest read of the same file stopped, if that one kept the file open; otherwise it begins anew.
class Schedule {
public:
    /// @param header      borrowed; no longer changed
    /// @param field_file  name of the field file: relative names are in its directory
    Schedule(const HeaderModel& header, const std::string& field_file);

    /// The step, among those that the header describes, whose items a step has.
    int described(int step) const { return (step - 1) % described_steps_ + 1; }

    /// Whether any step has a statement of a kind.
    bool any(SourceKind kind) const { return statements(kind, last_step()) > 0; }
    /// The described step whose statements of a kind hold in `step`; 0 if there are none up to there.
    int statements(SourceKind kind, int step) const;

    /// The read of a source in a step, or `nullopt` if the statements that hold there do not name it.
    std::optional<ScheduledRead> find(SourceKind kind, int n, int step) const;

private:
    using Chain = std::shared_ptr<const std::vector<ChainPlace>>;
    struct Kind {
        std::vector<int> statements;  // by step
        std::map<int, Chain> chains;  // by number: places by step of the sources that are kept open anywhere
    };

    int last_step() const { return static_cast<int>(kinds_[0].statements.size()); }
    Kind plan(SourceKind kind, int steps) const;
    std::vector<ChainPlace> follow(SourceKind kind, int n, const std::vector<int>& statements) const;
    const std::string& file_of(const Source& source) const;

    const HeaderModel& header_;
    std::string field_file_;
    int described_steps_;
    std::unordered_map<std::string, std::string> files_;  // resolved names by those in the header
    std::array<Kind, kSourceKinds> kinds_;
};

/// The name under which a source's file is opened: absolute names and names with $XP_PATH< as they stand, others in the
/// directory of the field file.
std::string resolve_name(const std::string& name, const std::string& field_file);

}  // namespace zam::ldrf
