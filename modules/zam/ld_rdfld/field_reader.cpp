#include "modules/zam/ld_rdfld/field_reader.h"

#include <algorithm>
#include <new>
#include <utility>

#include "base/available_memory.h"
#include "modules/support/status_range.h"
#include "modules/zam/ld_rdfld/header_reader.h"
#include "modules/zam/ld_rdfld/reports.h"
#include "platform/large_file.h"

namespace zam::ldrf {
namespace {

/// All values and positions, inline or not, must have places that a file position can name.
bool sizes_fit(const HeaderModel& header, const KeptNodes& nodes) {
    constexpr double kLimit = 4e18;
    constexpr double kWidestValue = 8.0;
    const double per_step = static_cast<double>(nodes.full_nodes) * std::max(1, header.veclen) * kWidestValue;
    return per_step * std::max(1, header.nstep) < kLimit;
}

/// @return null after one report
std::unique_ptr<const HeaderModel> read_model(FieldRead& read) {
    platform::seek(read.field.file, 0, SEEK_SET);
    return read_header(read.field.file, read.field.name.c_str(), 1);
}

/// Checks the header's numbers and brings the crop, the header's own or the user's, into their range.
bool check_model(FieldRead& read, const HeaderModel& model, KeptNodes& nodes) {
    if (model.ndim < 0 || model.nspace < 0 || model.nspace > kMaxCoordSources || model.veclen < 0 ||
        model.data_type < 0 || model.kind < 0) {
        return kReport.fail("Invalid .fld header specification");
    }
    if (model.ndim < 1) return kReport.fail("Error: ndim is less than 1?");
    const CropSettings of_header = CropSettings::from_header(model);
    read.ndim = model.ndim;
    read.nsteps = std::max(1, model.nstep);
    read.header_insists = of_header.insists(model.ndim);
    if (!read.user_crop) read.crop = of_header.any_set(model.ndim) ? of_header : CropSettings{};
    read.crop.normalise(model.ndim, model.dims);
    if (!select_nodes(model, read.crop, nodes) || !sizes_fit(model, nodes)) {
        return kReport.fail("Invalid dims in .fld header specification");
    }
    if (model.nspace < 1) return kReport.fail("Error: nspace is less than 1?");
    return true;
}

/// Takes the texts of the first step, if its statements give as many as there are components.
bool take_texts(KeptHeader& kept) {
    const HeaderModel& model = *kept.model;
    const StepTables& steps = model.steps;
    if (steps.flag.empty()) return true;
    if ((steps.flag[0] & kGivenLabels) != 0) {
        if (steps.name_list_count[0] != model.veclen) return kReport.fail("number of LABELS does not match VECLEN");
        kept.labels = steps.labels[0];
    }
    if ((steps.flag[0] & kGivenUnits) != 0) {
        if (steps.unit_list_count[0] != model.veclen) return kReport.fail("number of UNITS does not match VECLEN");
        kept.units = steps.units[0];
    }
    return true;
}

/// Reads the header and keeps it, unless one is kept already.
bool load_header(FieldRead& read) {
    if (!read.coordinates) read.coordinates = std::make_unique<CoordinateCache>();
    if (read.header) return true;
    std::unique_ptr<const HeaderModel> model = read_model(read);
    KeptNodes nodes;
    if (!model || !check_model(read, *model, nodes)) return false;
    auto kept = std::make_unique<KeptHeader>(std::move(model), read.field.name);
    kept->nsteps = read.nsteps;
    kept->crop = read.crop;
    kept->nodes = nodes;
    if (!take_texts(*kept)) return false;
    read.header = std::move(kept);
    return true;
}

FieldFrame frame_of(const FieldRead& read) {
    const KeptHeader& kept = *read.header;
    return {*kept.model, kept.nodes, kept.labels, kept.units, read.flip};
}

StepReader step_reader(FieldRead& read) {
    KeptHeader& kept = *read.header;
    const DataFormat format{.portable = read.portable || kept.model->xdr != 0, .swap = read.swap};
    return {*kept.model, kept.schedule, read.field, kept.nodes, format, kept.ends, *read.coordinates};
}

/// All steps together may be more than there is memory for, however small the file is: repeated steps cost it nothing.
bool enough_memory_for_all(const FieldRead& read) {
    constexpr double kStepRecords = 2048.0;  // what the host and this module keep of a step besides its values
    const HeaderModel& model = *read.header->model;
    const double per_node = 8.0 * model.veclen + (model.kind == kIrregular ? 4.0 * model.nspace : 0.0);
    double per_step = static_cast<double>(read.header->nodes.nodes) * per_node + kStepRecords;
    if (model.kind == kRectilinear) {  // as read, and as kept
        for (const KeptAxis& axis : read.header->nodes.axis)
            per_step += 8.0 * static_cast<double>(axis.count) * model.nspace;
    }
    constexpr double kBeyondAll = 9.0e18;
    const auto bytes = static_cast<std::int64_t>(std::min(per_step * read.header->nsteps, kBeyondAll));
    if (AvailableMemory().take(bytes, 1)) return true;
    return kReport.fail("Problem reading file %s: all %d steps together need more memory than there is",
                        read.field.name.c_str(), read.header->nsteps);
}

bool read_all_steps(FieldRead& read) {
    if (!enough_memory_for_all(read)) return false;
    const int nsteps = read.header->nsteps;
    std::vector<StepData> steps(static_cast<std::size_t>(nsteps));
    StepReader reader = step_reader(read);
    for (int step = 1; step <= nsteps; ++step) {
        const StatusRange range(static_cast<int>(100LL * (step - 1) / nsteps), static_cast<int>(100LL * step / nsteps));
        if (!reader.read(step, steps[static_cast<std::size_t>(step - 1)])) return false;
        range.done(100);
    }
    std::vector<StoredStep> stored = keep_steps(steps);
    if (!write_all_steps(read.instance, frame_of(read), steps, read.out_all)) return false;
    read.header->stored = std::move(stored);
    return true;
}

/// Stores all steps, unless they are stored already, and copies the one wanted.
bool read_stored(FieldRead& read) {
    const bool stored = read.all_stored && !read.header->stored.empty();
    if (!stored && !read_all_steps(read)) return false;
    const StoredStep& step = read.header->stored[static_cast<std::size_t>(read.step) - 1];
    read.time_text = step.time_text;
    return LDRFfield_extract(read.instance, frame_of(read), read.out_all, read.step, step, read.out_field);
}

bool read_wanted(FieldRead& read) {
    if (!load_header(read)) return false;
    read.step = std::clamp(read.step, 1, read.header->nsteps);
    if (read.store_all) return read_stored(read);
    StepData data;
    if (!step_reader(read).read(read.step, data)) return false;
    read.time_text = data.time_text;
    return write_field(read.instance, frame_of(read), data, read.out_field);
}

}  // namespace

void LDRFinit(FieldRead& read) {
    read.header.reset();
    read.coordinates.reset();
}

bool LDRFread_field_header(FieldRead& read) {
    KeptNodes nodes;
    const std::unique_ptr<const HeaderModel> model = read_model(read);
    if (!model) return kReport.fail("Problem reading file %s: %s", read.field.name.c_str(), "LDRFread_field_header");
    return check_model(read, *model, nodes);
}

bool LDRFread_field(FieldRead& read) {
    try {
        return read_wanted(read);
    } catch (const std::bad_alloc&) {
        return out_of_memory("Error allocating temporary arrays");
    }
}

}  // namespace zam::ldrf
