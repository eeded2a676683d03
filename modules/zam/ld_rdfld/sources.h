// Which source serves a coordinate, variable or time in which step, and where in its file that step begins.
#pragma once

#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "modules/zam/ld_rdfld/node_reader.h"

namespace zam::ldrf {

enum class SourceKind { coordinate, variable, time };

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using OwnedFile = std::unique_ptr<std::FILE, CloseFile>;

/// The field file of a read: open, and its name for messages and for the directory of relative names.
struct FieldFile {
    std::FILE* file;
    std::string name;
};

/// Byte at which the values of a step of a source end, by kind, number of the source (from 1) and step. Kept between
/// calls, so that sources that stay open are found when stepping backward.
using Positions = std::map<std::tuple<SourceKind, int, int>, xp_long>;

/// A source of one step, opened: either the field file or a file of its own.
struct OpenSource {
    std::FILE* file = nullptr;  // to read from
    OwnedFile owned;            // when it is not the field file
    std::string name;           // resolved, for messages
    Placement placement;
};

/// The sources of a header. Steps that have no statement of a kind use the latest earlier step that has. Steps behind
/// the last one that the header describes begin with its statements anew, as if the header were read for them.
class SourceMap {
public:
    SourceMap(const HeaderModel& header, Positions& positions);

    /// The step, among those that the header describes, whose statements a step has.
    int described(int step) const { return (step - 1) % described_steps_ + 1; }

    /// The step whose statements hold for `step`, or 0 when there are none up to there.
    int step_with(SourceKind kind, int step) const;

    /// Opens source n (from 1; 1 for time) of `step`, a result of step_with(). Reports what is wrong with it.
    /// @param nodes     values that each step of the source holds
    /// @param encoding  of these values
    /// @param cannot_open  message with one %s for the name
    bool open(SourceKind kind, int n, int step, const FieldFile& field, xp_long nodes, const Encoding& encoding,
              const char* cannot_open, OpenSource& opened) const;

    /// Notes where `step` ends, once the reader has read it, if the source stays open.
    void note_end(SourceKind kind, int n, int step, NodeReader& reader, xp_long nodes) const;

private:
    const Source* source(SourceKind kind, int n, int step) const;
    bool continues(SourceKind kind, int n, int step) const;
    bool valid(SourceKind kind, int n, int step, const FieldFile& field, xp_long nodes) const;
    Placement place(SourceKind kind, int n, int step) const;
    bool find_start(SourceKind kind, int n, int step, const FieldFile& field, std::FILE* file, xp_long nodes,
                    const Encoding& encoding) const;

    const HeaderModel& header_;
    Positions& positions_;
    int described_steps_;
    std::vector<int> coordinate_step_, variable_step_;  // by step: the latest with statements
};

/// The name under which a source's file is opened: absolute names and names with $XP_PATH< as they stand, others in the
/// directory of the field file.
std::string resolve_name(const std::string& name, const std::string& field_file);

}  // namespace zam::ldrf
