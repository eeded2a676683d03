// Steps that have been read into fields of the host.
#pragma once

#include <string>
#include <vector>

#include "modules/zam/ld_rdfld/step_reader.h"

namespace zam::ldrf {

/// What all steps of a field have in common.
struct FieldFrame {
    const HeaderModel& header;
    const KeptNodes& kept;
    const std::vector<std::string>& labels;  // veclen texts, or empty: then "DATA0" and so on
    const std::vector<std::string>& units;   // veclen texts, or empty
    bool flip;                               // node data in reverse order
};

/// Creates the field "Output_Field" below `parent` from one step. The step's arrays are handed to the host.
/// @return false after one report
bool write_field(OMobj_id parent, const FieldFrame& frame, StepData& data, OMobj_id& field);

/// Creates the field "Output_All" below `parent` from all steps.
bool write_all_steps(OMobj_id parent, const FieldFrame& frame, std::vector<StepData>& steps, OMobj_id& all);

/// What "Output_All" cannot hold of a step, or holds only in its own way.
struct StoredStep {
    std::vector<float> points;  // of uniform and rectilinear fields, where they are not those of the first step
    Row min_ext, max_ext;       // as in StepData
    std::string time_text;
};

/// Copies what LDRFfield_extract() needs of the steps besides "Output_All".
std::vector<StoredStep> keep_steps(const std::vector<StepData>& steps);

/// Creates "Output_Field" below `parent` as a copy of one step (from 1) of "Output_All".
/// @param stored  of that step
bool LDRFfield_extract(OMobj_id parent, const FieldFrame& frame, OMobj_id all, int step, const StoredStep& stored,
                       OMobj_id& field);

}  // namespace zam::ldrf
