// Opens the sources of a step at the places where its values begin.
#pragma once

#include <compare>
#include <cstdio>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "base/file_handle.h"
#include "modules/zam/ld_rdfld/schedule.h"
#include "modules/zam/ld_rdfld/value_reader.h"

namespace zam::ldrf {

/// The field file of a read: open, and its name for messages.
struct FieldFile {
    std::FILE* file;
    std::string name;
};

/// How binary values are encoded.
struct DataFormat {
    bool portable;  // XDR
    bool swap;

    // NOLINTNEXTLINE(modernize-use-nullptr): clang-tidy 14 sees a 0 in what the compiler makes of this
    auto operator<=>(const DataFormat&) const = default;
};

/// Bytes at which the reads of chains end, by ordinal: of a format, kind, number of the source and chain. Kept between
/// calls, so that steps are found from anywhere.
using ChainEnds = std::map<std::tuple<DataFormat, SourceKind, int, int>, std::vector<xp_long>>;

/// A source of one step, opened: either the field file or a file of its own.
struct OpenSource {
    std::FILE* file = nullptr;  // to read from
    FileHandle owned;           // if it is not the field file
    Placement placement;
};

class Sources {
public:
    /// Everything is borrowed; `reader` is used between the reads of others.
    Sources(const HeaderModel& header, const Schedule& schedule, const FieldFile& field, const DataFormat& format,
            ChainEnds& ends, ValueReader& reader)
        : header_(header), schedule_(schedule), field_(field), format_(format), ends_(ends), reader_(reader) {}

    /// Opens source n of a step. Reports what is wrong with it.
    /// @param nodes        values that each step of the source holds
    /// @param type         of these values
    /// @param cannot_open  message with one %s for the name
    bool open(SourceKind kind, int n, int step, xp_long nodes, int type, const char* cannot_open, OpenSource& opened);

    /// Notes where `step` ends, once the reader has read it, if that place is not known yet and the source stays open.
    void note_end(SourceKind kind, int n, int step, xp_long nodes);

private:
    std::vector<xp_long>& ends_of(SourceKind kind, int n, const ScheduledRead& read) const;
    bool valid(SourceKind kind, int n, int step, const Source& source, xp_long nodes) const;
    bool pass_over(SourceKind kind, int n, int step, std::FILE* file, xp_long nodes, int type);
    Placement place(SourceKind kind, int n, const ScheduledRead& read) const;

    const HeaderModel& header_;
    const Schedule& schedule_;
    const FieldFile& field_;
    DataFormat format_;
    ChainEnds& ends_;
    ValueReader& reader_;
};

}  // namespace zam::ldrf
