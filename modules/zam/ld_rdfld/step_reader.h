// Reads positions, node data and time of one step into arrays that can be handed to the host.
#pragma once

#include <string>
#include <vector>

#include "modules/support/host_array.h"
#include "modules/support/typed_bytes.h"
#include "modules/zam/ld_rdfld/sources.h"

namespace zam::ldrf {

/// One step as read. The arrays are complete before the host sees any of them.
struct StepData {
    OutArray<float> points;                   // uniform, rectilinear: nspace per point
    OutArray<float> coord;                    // irregular: nspace per node
    std::vector<OwnedTypedBytes> components;  // veclen of them, one value per node
    Row min_ext, max_ext;                     // nspace each; empty if the header gives none
    Row min_val, max_val;                     // veclen each; empty if the header gives none
    float time = 0.0F;
    std::string time_text;
};

/// What decides which positions a step has.
struct PositionsKey {
    DataFormat format;
    std::vector<ChainPlace> places;  // of the coordinate sources by axis; none: inline

    bool operator==(const PositionsKey&) const = default;
};

/// Positions read last, for steps that have the same.
struct CoordinateCache {
    PositionsKey key;
    std::vector<float> values;  // points or coordinates as in StepData; empty: none
};

class StepReader {
public:
    /// Everything is borrowed. `kept` selects the nodes; `ends` and `cache` live between calls.
    StepReader(const HeaderModel& header, const Schedule& schedule, const FieldFile& field, const KeptNodes& kept,
               const DataFormat& format, ChainEnds& ends, CoordinateCache& cache);
    StepReader(const StepReader&) = delete;
    StepReader& operator=(const StepReader&) = delete;

    /// Reads one step, from 1. Lengths of the files are checked before memory is asked for.
    /// @return false after one report; @throws std::bad_alloc if scratch memory is exhausted
    bool read(int step, StepData& data);

private:
    /// What is reported of a source that cannot be read.
    struct Role {
        int component;           // from 0
        const char* read_error;  // if nothing more precise is known
    };
    /// A source opened for a component or axis.
    struct Opened {
        OpenSource source;
        Role role;
    };

    bool open_positions(int step, std::vector<Opened>& opened);
    bool open_inline_positions(std::vector<Opened>& opened);
    bool open_variables(int step, std::vector<Opened>& opened);
    bool long_enough(const Opened& opened, const Encoding& encoding, xp_long last_node);
    bool read_source(const Opened& opened, const Encoding& encoding, const KeptNodes& kept, std::byte* to,
                     xp_long spacing);
    bool report(const Fault& fault, const Role& role, int type) const;

    bool read_positions(int step, const std::vector<Opened>& opened, StepData& data);
    bool read_corners(int step, const std::vector<Opened>& opened, StepData& data);
    bool fill_positions(int step, const std::vector<Opened>& opened, OutArray<float>& positions);
    bool read_variables(int step, const std::vector<Opened>& opened, StepData& data);
    bool read_time(int step, StepData& data);
    bool read_time_value(int step, StepData& data);
    void copy_ranges(int step, StepData& data) const;

    PositionsKey positions_key(int step) const;
    int extent_step(int step) const;
    int coordinate_axes() const;
    xp_long values_of_axis(int axis) const;
    xp_long inline_step_bytes() const;
    bool enough_memory() const;
    Encoding value_encoding() const { return {header_.data_type, format_.portable, format_.swap}; }
    Encoding position_encoding() const { return {DTYPE_FLOAT, format_.portable, format_.swap}; }

    const HeaderModel& header_;
    const Schedule& schedule_;
    const FieldFile& field_;
    const KeptNodes& kept_;
    DataFormat format_;
    CoordinateCache& cache_;
    ValueReader reader_;
    Sources sources_;
};

}  // namespace zam::ldrf
