// Reads a field file: header, crop, one step or all steps, into the fields of an instance.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "modules/zam/ld_rdfld/field_output.h"

namespace zam::ldrf {

/// What the module keeps of a header between calls.
struct KeptHeader {
    KeptHeader(std::unique_ptr<const HeaderModel> header, const std::string& field_file)
        : model(std::move(header)), schedule(*model, field_file) {}

    std::unique_ptr<const HeaderModel> model;
    Schedule schedule;  // of the model
    int nsteps = 1;
    std::vector<std::string> labels, units;  // of the first step
    CropSettings crop;                       // in force, normalised
    KeptNodes nodes;
    ChainEnds ends;
    std::vector<StoredStep> stored;  // by step, once "Output_All" has been made
};

/// One call's reading: what is wanted, what is kept from call to call, what came of it.
struct FieldRead {
    OMobj_id instance;
    FieldFile field;
    bool portable = false;
    bool swap = false;
    bool flip = false;
    bool store_all = false;
    bool all_stored = false;  // "Output_All" holds every step as wanted
    bool user_crop = false;   // `crop` is the user's, not the header's
    CropSettings crop;
    int step = 1;

    std::unique_ptr<KeptHeader> header;
    std::unique_ptr<CoordinateCache> coordinates;

    int ndim = -1;                // of the header read last; -1: none has been
    int nsteps = 1;               // likewise
    bool header_insists = false;  // the header's crop has negative values
    OMobj_id out_field{};
    OMobj_id out_all{};  // in: the stored steps, if all_stored
    std::string time_text;
};

/// Starts afresh: forgets a header and positions of another file.
void LDRFinit(FieldRead& read);

/// Reads the header only and normalises the crop. @return false after its reports
bool LDRFread_field_header(FieldRead& read);

/// Reads header, where needed, and data of `read.step`, or of all steps. @return false after one report
bool LDRFread_field(FieldRead& read);

}  // namespace zam::ldrf
