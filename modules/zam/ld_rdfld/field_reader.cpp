#include "modules/zam/ld_rdfld/field_reader.h"

#include <algorithm>
#include <new>

#include "modules/support/status_range.h"
#include "modules/zam/ld_rdfld/header_reader.h"
#include "modules/zam/ld_rdfld/reports.h"
#include "platform/large_file.h"
#include "platform/memory.h"

namespace zam::ldrf {
namespace {

/// Whether anything has been said of the step being described when the header ended.
bool last_step_described(const HeaderModel& header) {
    const auto row = static_cast<std::size_t>(header.step_counter - 1);
    const StepTables& steps = header.steps;
    return row < steps.flag.size() && (steps.flag[row] != 0 || steps.data[row] || steps.points[row] || steps.time[row]);
}

/// All values and positions, inline or not, must have places that a file position can name.
bool sizes_fit(const HeaderModel& header, const KeptNodes& nodes) {
    constexpr double kLimit = 4e18;
    constexpr double kWidestValue = 8.0;
    const double per_step = static_cast<double>(nodes.full_nodes) * std::max(1, header.veclen) * kWidestValue;
    return per_step * std::max(1, header.nstep) < kLimit;
}

bool read_model(FieldRead& read, int step) {
    platform::seek(read.field.file, 0, SEEK_SET);
    return read_header(read.field.file, read.field.name.c_str(), step) == 1;
}

/// Checks the header's numbers and brings the crop, the header's own or the user's, into their range.
bool check_model(FieldRead& read, const HeaderModel& model, KeptNodes& nodes) {
    if (model.ndim < 0 || model.nspace < 0 || model.nspace > kMaxCoordSources || model.veclen < 0 ||
        model.data_type < 0 || model.kind < 0) {
        return refuse("Invalid .fld header specification");
    }
    if (model.ndim < 1) return refuse("Error: ndim is less than 1?");
    const CropSettings of_header = CropSettings::from_header(model);
    read.header_insists = of_header.insists(model.ndim);
    if (!read.user_crop) read.crop = of_header.any_set(model.ndim) ? of_header : CropSettings{};
    read.crop.normalise(model.ndim, model.dims);
    if (!select_nodes(model, read.crop, nodes) || !sizes_fit(model, nodes)) {
        return refuse("Invalid dims in .fld header specification");
    }
    if (model.nspace < 1) return refuse("Error: nspace is less than 1?");
    return true;
}

/// Texts of the first step described, when its statement says as many as there are components.
bool take_texts(const HeaderModel& model, int first_step, KeptHeader& kept) {
    const auto row = static_cast<std::size_t>(first_step - 1);
    const StepTables& steps = model.steps;
    if (row >= steps.flag.size()) return true;
    if ((steps.flag[row] & kGivenLabels) != 0) {
        if (steps.name_list_count[row] != model.veclen) return refuse("number of LABELS does not match VECLEN");
        kept.labels = steps.labels[row];
    }
    if ((steps.flag[row] & kGivenUnits) != 0) {
        if (steps.unit_list_count[row] != model.veclen) return refuse("number of UNITS does not match VECLEN");
        kept.units = steps.units[row];
    }
    return true;
}

/// Reads the header for a step that the kept one does not describe.
bool load_header(FieldRead& read, int step) {
    const bool first = read.header == nullptr;
    if (!read_model(read, step)) return false;
    auto kept = first ? std::make_unique<KeptHeader>() : std::move(read.header);
    if (!check_model(read, header_model(), kept->nodes)) return false;
    kept->model = copy_header(header_model());
    if (!kept->model) return false;
    kept->first_step = step;
    kept->crop = read.crop;
    if (first) {
        kept->nsteps = std::max(1, kept->model->nstep);
        if (!take_texts(*kept->model, step, *kept)) return false;
    }
    read.header = std::move(kept);
    return true;
}

FieldFrame frame_of(const FieldRead& read) {
    const KeptHeader& kept = *read.header;
    return {*kept.model, kept.nodes, kept.labels, kept.units, read.flip};
}

bool read_step(FieldRead& read, int step, StepData& data) {
    if (!read.header->covers(step) && !load_header(read, step)) return false;
    if (!read.coordinates) read.coordinates = std::make_unique<CoordinateCache>();
    KeptHeader& kept = *read.header;
    const DataFormat format{.portable = read.portable || kept.model->xdr != 0, .swap = read.swap};
    StepReader reader(*kept.model, kept.first_step, read.field, kept.nodes, format, kept.positions, *read.coordinates);
    return reader.read(step, data);
}

/// All steps together may be more than the machine holds, however small the file: repeated steps cost it nothing.
bool enough_memory_for_all(const FieldRead& read) {
    const HeaderModel& model = *read.header->model;
    const double a_node = 8.0 * model.veclen + (model.kind == kIrregular ? 4.0 * model.nspace : 0.0);
    const double bytes = static_cast<double>(read.header->nodes.nodes) * a_node * read.header->nsteps;
    if (bytes < static_cast<double>(platform::physical_memory())) return true;
    return refuse("Problem reading file %s: all %d steps together need more memory than there is",
                  read.field.name.c_str(), read.header->nsteps);
}

bool read_all_steps(FieldRead& read) {
    if (!read.header && !load_header(read, 1)) return false;
    if (!enough_memory_for_all(read)) return false;
    const int nsteps = read.header->nsteps;
    std::vector<StepData> steps(static_cast<std::size_t>(nsteps));
    for (int step = 1; step <= nsteps; ++step) {
        const StatusRange range(static_cast<int>(100LL * (step - 1) / nsteps), static_cast<int>(100LL * step / nsteps));
        if (!read_step(read, step, steps[static_cast<std::size_t>(step - 1)])) return false;
        range.done(100);
    }
    read.time_text = steps[static_cast<std::size_t>(std::clamp(read.step, 1, nsteps) - 1)].time_text;
    return write_all_steps(read.instance, frame_of(read), steps, read.out_all);
}

/// The time text of a stored step; a time that is kept in a file is read again from there.
bool stored_time(FieldRead& read) {
    if (!read.header->covers(read.step) && !load_header(read, read.step)) return false;
    StepData data;
    KeptHeader& kept = *read.header;
    CoordinateCache unused;
    const DataFormat format{.portable = read.portable || kept.model->xdr != 0, .swap = read.swap};
    StepReader reader(*kept.model, kept.first_step, read.field, kept.nodes, format, kept.positions, unused);
    if (!reader.read_time(read.step, data)) return false;
    read.time_text = data.time_text;
    return true;
}

bool read_wanted(FieldRead& read) {
    if (read.store_all) {
        const bool stored = read.all_stored && read.header != nullptr;
        if (stored ? !stored_time(read) : !read_all_steps(read)) return false;
        return LDRFfield_extract(read.instance, frame_of(read), read.out_all, read.step, read.out_field);
    }
    if (!read.header && !load_header(read, read.step)) return false;
    StepData data;
    if (!read_step(read, read.step, data)) return false;
    read.time_text = data.time_text;
    return write_field(read.instance, frame_of(read), data, read.out_field);
}

}  // namespace

bool KeptHeader::covers(int step) const {
    const int described = last_step_described(*model) ? model->step_counter : model->step_counter - 1;
    return step >= first_step && step <= std::max(first_step, described);
}

void LDRFinit(FieldRead& read) {
    read.header.reset();
    read.coordinates.reset();
}

bool LDRFread_field_header(FieldRead& read) {
    KeptNodes nodes;
    if (!read_model(read, 1)) {
        return refuse("Problem reading file %s: %s", read.field.name.c_str(), "LDRFread_field_header");
    }
    return check_model(read, header_model(), nodes);
}

bool LDRFread_field(FieldRead& read) {
    try {
        return read_wanted(read);
    } catch (const std::bad_alloc&) {
        return out_of_memory("Error allocating temporary arrays");
    }
}

}  // namespace zam::ldrf
