#include "modules/zam/ld_rdfld/step_reader.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <utility>

#include "base/available_memory.h"
#include "contract/om.h"
#include "modules/zam/ld_rdfld/ascii_values.h"
#include "modules/zam/ld_rdfld/reports.h"
#include "platform/large_file.h"

namespace zam::ldrf {
namespace {

constexpr const char* kCannotOpen = "cannot open file %s";

/// One axis as a grid of its own.
KeptNodes line_of(const KeptAxis& axis) {
    KeptNodes line;
    line.ndim = 1;
    line.axis[0] = axis;
    line.full_nodes = axis.full;
    line.nodes = axis.count;
    line.last_node = axis.last();
    return line;
}

/// Two values, both of them kept.
KeptNodes pair() {
    KeptAxis axis;
    axis.full = axis.count = 2;
    return line_of(axis);
}

Placement inline_placement(xp_long start, xp_long offset = 0, xp_long stride = 1) {
    Placement placement;
    placement.start = start;
    placement.offset = offset;
    placement.stride = stride;
    return placement;
}

/// Position of a node along an axis that runs evenly from low to high.
float even_position(float low, float high, xp_long node, xp_long full) {
    if (node == 0 || full < 2) return low;
    if (node == full - 1) return high;
    const double share = static_cast<double>(node) / static_cast<double>(full - 1);
    return static_cast<float>(low + (static_cast<double>(high) - low) * share);
}

/// Whether statements gave both ends of a range, in finite numbers.
bool both_ends_given(const Row& low, const Row& high, int count) {
    const auto finite = [&](const Row& row) {
        return row.given() && row.size() >= static_cast<std::size_t>(count) &&
               std::all_of(row.begin(), row.end(), [](float value) { return std::isfinite(value); });
    };
    return finite(low) && finite(high);
}

/// Whether a step that the header describes has an extent.
bool has_extent(const HeaderModel& header, int described) {
    const auto row = static_cast<std::size_t>(described - 1);
    const StepTables& steps = header.steps;
    return row < steps.flag.size() && (steps.flag[row] & kGivenExtent) != 0 &&
           both_ends_given(steps.min_ext[row], steps.max_ext[row], header.nspace);
}

}  // namespace

StepReader::StepReader(const HeaderModel& header, const Schedule& schedule, const FieldFile& field,
                       const KeptNodes& kept, const DataFormat& format, ChainEnds& ends, CoordinateCache& cache)
    : header_(header),
      schedule_(schedule),
      field_(field),
      kept_(kept),
      format_(format),
      cache_(cache),
      sources_(header, schedule, field, format, ends, reader_) {}

bool StepReader::read(int step, StepData& data) {
    std::vector<Opened> positions;
    std::vector<Opened> variables;
    if (!open_positions(step, positions) || !open_variables(step, variables) || !enough_memory()) return false;
    if (!read_positions(step, positions, data) || !read_variables(step, variables, data)) return false;
    copy_ranges(step, data);
    return read_time(step, data);
}

// --- Opening ---

/// Positions that a source of an axis holds.
xp_long StepReader::values_of_axis(int axis) const {
    if (header_.kind == kUniform) return 2;
    return header_.kind == kRectilinear ? kept_.axis[static_cast<std::size_t>(axis)].full : kept_.full_nodes;
}

/// Bytes of one step's values when they are inline.
xp_long StepReader::inline_step_bytes() const {
    return kept_.full_nodes * header_.veclen * wire_size(value_encoding());
}

/// Axes whose positions sources give: a rectilinear field has none along axes beyond its space.
int StepReader::coordinate_axes() const {
    return header_.kind == kRectilinear ? std::min(header_.ndim, header_.nspace) : header_.nspace;
}

bool StepReader::open_positions(int step, std::vector<Opened>& opened) {
    if (header_.kind == kUniform && extent_step(step) > 0) return true;
    if (schedule_.statements(SourceKind::coordinate, step) == 0) return open_inline_positions(opened);
    for (int axis = 0; axis < coordinate_axes(); ++axis) {
        Opened& one = opened.emplace_back(Opened{{}, {.component = axis, .read_error = "read points error"}});
        const xp_long values = values_of_axis(axis);
        if (!sources_.open(SourceKind::coordinate, axis + 1, step, values, DTYPE_FLOAT, kCannotOpen, one.source)) {
            return false;
        }
        const xp_long last = header_.kind == kIrregular ? kept_.last_node : values - 1;
        if (!long_enough(one, position_encoding(), last)) return false;
    }
    return true;
}

/// Positions after the inline values of all steps: axis after axis. Uniform fields may have a pair of corners per axis.
bool StepReader::open_inline_positions(std::vector<Opened>& opened) {
    if (schedule_.any(SourceKind::variable)) {
        if (header_.kind == kUniform) return true;
        return kReport.fail("cannot get points data");
    }
    xp_long start = header_.data_start + inline_step_bytes() * std::max(1, header_.nstep);
    const int axes = header_.kind == kRectilinear ? header_.ndim : header_.nspace;
    for (int axis = 0; axis < axes; ++axis) {
        Opened& one = opened.emplace_back(Opened{{}, {.component = axis, .read_error = "couldn't read points data"}});
        one.source.file = field_.file;
        one.source.placement = inline_placement(start);
        const xp_long values = values_of_axis(axis);
        if (header_.kind == kUniform) {
            if (!too_short(field_.file, one.source.placement, position_encoding(), values - 1)) {
                start += values * xp_long{4};
                continue;
            }
            opened.clear();  // the file ends before: no corners
            return true;
        }
        if (!long_enough(one, position_encoding(), values - 1)) return false;
        start += values * xp_long{4};
    }
    return true;
}

bool StepReader::open_variables(int step, std::vector<Opened>& opened) {
    const bool is_inline = schedule_.statements(SourceKind::variable, step) == 0;
    for (int comp = 0; comp < header_.veclen; ++comp) {
        Opened& one = opened.emplace_back(Opened{{}, {.component = comp, .read_error = "read node data error"}});
        if (is_inline) {  // the values of a node lie together
            one.role.read_error = "couldn't read field data";
            one.source.file = field_.file;
            one.source.placement =
                inline_placement(header_.data_start + inline_step_bytes() * (step - 1), comp, header_.veclen);
        } else if (!sources_.open(SourceKind::variable, comp + 1, step, kept_.full_nodes, header_.data_type,
                                  kCannotOpen, one.source)) {
            return false;
        }
        if (!long_enough(one, value_encoding(), kept_.last_node)) return false;
    }
    return true;
}

/// Whether a source's file can hold its values; reports what a read would if not.
bool StepReader::long_enough(const Opened& opened, const Encoding& encoding, xp_long last_node) {
    const OpenSource& source = opened.source;
    if (source.placement.file_type == kAscii) {
        if (last_node <= platform::length(source.file) / 2) return true;  // a digit and a blank each
        // too short whatever it holds: find the item that is missing or wrong
        reader_.attach(source.file);
        reader_.begin(source.placement, encoding);
        const std::optional<Fault> fault = reader_.read_and_drop(last_node + 1);
        return !fault || report(*fault, opened.role, encoding.type);
    }
    const auto missing = too_short(source.file, source.placement, encoding, last_node);
    if (!missing) return true;
    const Fault::Kind kind = encoding.native() ? Fault::short_read : Fault::not_decoded;
    return report({.kind = kind, .asked = missing->asked, .got = missing->left}, opened.role, encoding.type);
}

/// Reports a fault. @return false
bool StepReader::report(const Fault& fault, const Role& role, int type) const {
    const auto item = static_cast<int>(std::min<xp_long>(fault.node, std::numeric_limits<int>::max()));
    const bool real = type == DTYPE_FLOAT || type == DTYPE_DOUBLE;
    switch (fault.kind) {
        case Fault::short_read:
            return kReport.fail("Attempted binary read of %lld bytes read only %lld",
                                static_cast<long long>(fault.asked), static_cast<long long>(fault.got));
        case Fault::missing_word:
            return kReport.fail(" --- 2Invalid number: component %d, item %d", role.component, item);
        case Fault::no_number:
            return kReport.fail(
                real ? "Invalid float number: component %d, item %d" : "--- 1Invalid number: component %d, item %d",
                role.component, item);
        default: return kReport.fail(role.read_error);
    }
}

/// Sparse files and files of digits can announce more than there is memory for.
bool StepReader::enough_memory() const {
    const std::size_t position_bytes =
        header_.kind == kIrregular ? sizeof(float) * static_cast<std::size_t>(header_.nspace) : 0;
    const std::size_t value_bytes = type_size(header_.data_type) * static_cast<std::size_t>(header_.veclen);
    const std::size_t node_bytes = position_bytes + value_bytes;
    if (node_bytes == 0 || AvailableMemory().take(kept_.nodes, node_bytes)) return true;
    return out_of_memory("RFread_field: Failure allocating nnodes array");
}

// --- Reading ---

bool StepReader::read_source(const Opened& opened, const Encoding& encoding, const KeptNodes& kept, std::byte* to,
                             xp_long spacing) {
    reader_.attach(opened.source.file);
    reader_.begin(opened.source.placement, encoding);
    const std::optional<Fault> fault = reader_.read(kept, to, spacing);
    return !fault || report(*fault, opened.role, encoding.type);
}

/// What decides which positions an irregular or rectilinear step has.
PositionsKey StepReader::positions_key(int step) const {
    PositionsKey key{format_, {}};
    for (int axis = 0; axis < coordinate_axes(); ++axis) {
        const auto read = schedule_.find(SourceKind::coordinate, axis + 1, step);
        if (read) key.places.push_back(read->place);
    }
    return key;
}

bool StepReader::read_positions(int step, const std::vector<Opened>& opened, StepData& data) {
    if (header_.kind == kUniform) return read_corners(step, opened, data);
    const bool rectilinear = header_.kind == kRectilinear;
    xp_long count = kept_.nodes;
    if (rectilinear) {
        count = 0;
        for (std::size_t axis = 0; axis < static_cast<std::size_t>(header_.ndim); ++axis)
            count += kept_.axis[axis].count;
    }
    OutArray<float>& positions = rectilinear ? data.points : data.coord;
    positions = OutArray<float>::allocate(count * header_.nspace);
    if (!positions) {
        return out_of_memory(rectilinear ? "RFread_field: Failure allocating points array"
                                         : "RFread_field: Failure allocating coords array");
    }
    PositionsKey key = positions_key(step);
    if (key == cache_.key && cache_.values.size() == positions.span().size()) {
        std::copy(cache_.values.begin(), cache_.values.end(), positions.data());
        return true;
    }
    if (!fill_positions(step, opened, positions)) return false;
    const bool shared =
        (step < header_.nstep && positions_key(step + 1) == key) || (step > 1 && positions_key(step - 1) == key);
    cache_.key = std::move(key);
    cache_.values.clear();
    if (shared) cache_.values.assign(positions.span().begin(), positions.span().end());
    return true;
}

/// Reads one source per axis: along the axis for a rectilinear field, at every node for an irregular one.
bool StepReader::fill_positions(int step, const std::vector<Opened>& opened, OutArray<float>& positions) {
    const bool rectilinear = header_.kind == kRectilinear;
    const auto nspace = static_cast<std::size_t>(header_.nspace);
    if (rectilinear) std::fill(positions.span().begin(), positions.span().end(), 0.0F);
    std::size_t first_point = 0;
    for (std::size_t axis = 0; axis < opened.size(); ++axis) {
        const KeptNodes kept = rectilinear ? line_of(kept_.axis[axis]) : kept_;
        if (axis < nspace) {  // an axis beyond the space has no component that counts
            auto* to = reinterpret_cast<std::byte*>(positions.data() + first_point * nspace + axis);
            if (!read_source(opened[axis], position_encoding(), kept, to, header_.nspace)) return false;
            sources_.note_end(SourceKind::coordinate, static_cast<int>(axis) + 1, step, kept.full_nodes);
        }
        if (rectilinear) first_point += static_cast<std::size_t>(kept.nodes);
    }
    return true;
}

/// The two corners of a uniform field, moved to the kept nodes: the header's extent, else pairs, else indices.
bool StepReader::read_corners(int step, const std::vector<Opened>& opened, StepData& data) {
    const auto nspace = static_cast<std::size_t>(header_.nspace);
    data.points = OutArray<float>::allocate(xp_long{2} * header_.nspace);
    if (!data.points) return out_of_memory("RFread_field: Failure allocating points array");
    const int extent = extent_step(step);
    for (std::size_t axis = 0; axis < nspace; ++axis) {
        const KeptAxis kept = axis < static_cast<std::size_t>(header_.ndim) ? kept_.axis[axis] : KeptAxis{};
        std::array<float, 2> corner{0.0F, static_cast<float>(kept.full - 1)};
        if (extent > 0) {
            const auto row = static_cast<std::size_t>(extent - 1);
            corner = {header_.steps.min_ext[row][axis], header_.steps.max_ext[row][axis]};
        } else if (axis < opened.size()) {
            std::array<float, 2> read{};
            auto* to = reinterpret_cast<std::byte*>(read.data());
            if (!read_source(opened[axis], position_encoding(), pair(), to, 1)) return false;
            sources_.note_end(SourceKind::coordinate, static_cast<int>(axis) + 1, step, pair().full_nodes);
            if (std::isfinite(read[0]) && std::isfinite(read[1])) corner = read;
        }
        const bool whole = kept.whole();
        data.points[static_cast<xp_long>(axis)] =
            whole ? corner[0] : even_position(corner[0], corner[1], kept.min, kept.full);
        data.points[static_cast<xp_long>(nspace + axis)] =
            whole ? corner[1] : even_position(corner[0], corner[1], kept.last(), kept.full);
    }
    return true;
}

bool StepReader::read_variables(int step, const std::vector<Opened>& opened, StepData& data) {
    for (std::size_t comp = 0; comp < opened.size(); ++comp) {
        int interrupt = 0;
        OMstatus_check(static_cast<int>(comp * 100 / opened.size()), nullptr, &interrupt);
        auto values = OwnedTypedBytes::allocate(header_.data_type, kept_.nodes);
        if (!values) return out_of_memory("RFread_field: Failure allocating nnodes array");
        if (!read_source(opened[comp], value_encoding(), kept_, values.bytes().data(), 1)) return false;
        sources_.note_end(SourceKind::variable, static_cast<int>(comp) + 1, step, kept_.full_nodes);
        data.components.push_back(std::move(values));
    }
    return true;
}

bool StepReader::read_time(int step, StepData& data) {
    const TimeRecord* record = header_.time(schedule_.statements(SourceKind::time, step));
    if (record == nullptr) return true;
    if (!record->from_file) {
        data.time_text = record->text;
        // a text such as "0.5 s" also gives the number that stored steps carry
        const char* text = record->text.data();
        if (parse_number(text, text + record->text.size(), data.time) == nullptr) data.time = record->value;
        return true;
    }
    if (record->source.type < kAscii || record->source.type > kBinary) {
        return kReport.fail("wrong file type %d", record->source.type);
    }
    return read_time_value(step, data);
}

/// Reads a time from its source. Whatever is wrong with the value has one text.
bool StepReader::read_time_value(int step, StepData& data) {
    OpenSource source;
    if (!sources_.open(SourceKind::time, 1, step, 1, DTYPE_FLOAT, "cannot open file for time %s", source)) return false;
    const Encoding encoding = position_encoding();
    const bool binary = source.placement.file_type != kAscii;
    bool read = !binary || !too_short(source.file, source.placement, encoding, 0);
    if (read) {
        reader_.attach(source.file);
        reader_.begin(source.placement, encoding);
        read = !reader_.read(line_of(KeptAxis{}), reinterpret_cast<std::byte*>(&data.time));
    }
    if (!read) return kReport.fail("Could not read time : end of file");
    sources_.note_end(SourceKind::time, 1, step, 1);
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%f", static_cast<double>(data.time));
    data.time_text = text.data();
    return true;
}

// --- Ranges that the header gives ---

/// The step whose extents hold for `step`: its own, else those of the first step described; 0 if there are none.
int StepReader::extent_step(int step) const {
    for (const int candidate : {schedule_.described(step), 1}) {
        if (has_extent(header_, candidate)) return candidate;
    }
    return 0;
}

void StepReader::copy_ranges(int step, StepData& data) const {
    const StepTables& steps = header_.steps;
    const int extent = extent_step(step);
    if (extent > 0 && kept_.whole()) {
        data.min_ext = steps.min_ext[static_cast<std::size_t>(extent - 1)];
        data.max_ext = steps.max_ext[static_cast<std::size_t>(extent - 1)];
    }
    const auto row = static_cast<std::size_t>(schedule_.described(step) - 1);
    if (row >= steps.flag.size() || (steps.flag[row] & kGivenRange) == 0) return;
    if (!both_ends_given(steps.min_val[row], steps.max_val[row], header_.veclen)) return;
    data.min_val = steps.min_val[row];
    data.max_val = steps.max_val[row];
}

}  // namespace zam::ldrf
