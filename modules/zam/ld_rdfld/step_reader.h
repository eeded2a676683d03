// Reads positions, node data and time of one step into arrays that can be handed to the host.
#pragma once

#include <string>
#include <vector>

#include "modules/support/host_array.h"
#include "modules/zam/ld_rdfld/sources.h"

namespace zam::ldrf {

/// One step as read. The arrays are complete before the host sees any of them.
struct StepData {
    OutArray<float> points;                       // uniform, rectilinear: nspace a point
    OutArray<float> coord;                        // irregular: nspace a node
    std::vector<OutArray<std::byte>> components;  // veclen of them, one value a node
    Row min_ext, max_ext;                         // nspace each; empty when the header gives none
    Row min_val, max_val;                         // veclen each; empty when the header gives none
    float time = 0.0F;
    std::string time_text;
};

/// Positions of the step read last, for steps that have none of their own.
struct CoordinateCache {
    int step = -1;              // the step whose statements gave them, 0 for inline ones; -1: empty
    std::vector<float> values;  // points or coordinates as in StepData
};

/// How binary values are encoded.
struct DataFormat {
    bool portable;  // XDR
    bool swap;
};

class StepReader {
public:
    /// Everything is borrowed. `kept` selects the nodes; `positions` and `cache` live between calls.
    StepReader(const HeaderModel& header, const FieldFile& field, const KeptNodes& kept, const DataFormat& format,
               Positions& positions, CoordinateCache& cache);

    /// Reads one step, from 1. Lengths of the files are checked before memory is asked for.
    /// @return false after one report; std::bad_alloc leaves when scratch memory is exhausted
    bool read(int step, StepData& data);
    /// Reads only the time of a step.
    bool read_time(int step, StepData& data) const;

private:
    /// A source opened for a component or axis, with what a failing read of it says.
    struct Opened {
        OpenSource source;
        SourceRole role;
    };

    bool open_positions(int step, std::vector<Opened>& opened) const;
    bool open_inline_positions(std::vector<Opened>& opened) const;
    bool open_variables(int step, std::vector<Opened>& opened) const;
    bool long_enough(const Opened& opened, const Encoding& encoding, xp_long last_node) const;
    bool read_source(const Opened& opened, const Encoding& encoding, const KeptNodes& kept, std::byte* to,
                     xp_long spacing, std::unique_ptr<NodeReader>& reader) const;

    bool read_positions(int step, const std::vector<Opened>& opened, StepData& data);
    bool read_corners(int step, const std::vector<Opened>& opened, StepData& data) const;
    bool fill_positions(int step, const std::vector<Opened>& opened, OutArray<float>& positions) const;
    bool read_variables(int step, const std::vector<Opened>& opened, StepData& data) const;
    void copy_ranges(int step, StepData& data) const;

    bool has_extent(int described) const;
    int extent_step(int step) const;
    xp_long values_of_axis(int axis) const;
    xp_long inline_step_bytes() const;
    bool enough_memory() const;
    Encoding value_encoding() const { return {header_.data_type, format_.portable, format_.swap}; }
    Encoding position_encoding() const { return {DTYPE_FLOAT, format_.portable, format_.swap}; }

    const HeaderModel& header_;
    const FieldFile& field_;
    const KeptNodes& kept_;
    DataFormat format_;
    CoordinateCache& cache_;
    SourceMap sources_;
};

}  // namespace zam::ldrf
