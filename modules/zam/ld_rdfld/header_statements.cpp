#include "modules/zam/ld_rdfld/header_statements.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <optional>

#include "contract/types.h"
#include "modules/zam/ld_rdfld/header_trace.h"

namespace zam::ldrf {
namespace {

/// DO ... ENDDO: a block of steps to repeat.
struct Loop {
    int begins = 0;  // DO statements
    bool ended = false;
    int start = 0;     // index of the block's first step
    int repeated = 0;  // steps written by copying, in the whole header
};

/// What statements leave for later ones, besides the model.
struct Pending {
    std::vector<float> numbers;
    SourceOptions options;
    Loop loop;
};
Pending pending;

ZAM_PRINTF_LIKE(1, 2) bool fail(const char* format, ...) {
    std::array<char, 1200> text;  // longer than any message with a token of 1023 characters
    va_list arguments;
    va_start(arguments, format);
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): the checker loses sight of va_start
    std::vsnprintf(text.data(), text.size(), format, arguments);
    va_end(arguments);
    header_model().error = text.data();
    return false;
}

/// Stores a number that has to be at most `limit` and to fit into 32 bits.
bool store(const char* statement, xp_long n, xp_long limit, int& item) {
    if (n > limit || n < INT_MIN) {
        return fail("%s = %lld is outside the valid range(%d to %lld)", statement, static_cast<long long>(n), INT_MIN,
                    static_cast<long long>(limit));
    }
    item = static_cast<int>(n);
    return true;
}

/// Numbers in messages have 32 bits.
int shown(xp_long n) { return static_cast<int>(std::clamp<xp_long>(n, INT_MIN, INT_MAX)); }

/// Index of the step being described; the tables grow to hold it. `nullopt` if they cannot.
std::optional<std::size_t> current_step() {
    HeaderModel& model = header_model();
    if (model.step_counter > model.steps.count() && LDRF_alloc(model, model.step_counter) != 1) return std::nullopt;
    return static_cast<std::size_t>(model.step_counter) - 1;
}

template <class Record>
std::shared_ptr<Record> make_record(const std::pmr::vector<std::shared_ptr<Record>>& like, const Record& value) {
    return std::allocate_shared<Record>(like.get_allocator(), value);
}

/// The sources of a step, for writing: steps that shared them keep what they had.
SourceBlock& own_block(std::pmr::vector<std::shared_ptr<SourceBlock>>& blocks, std::size_t step) {
    std::shared_ptr<SourceBlock>& block = blocks[step];
    if (!block) block = make_record(blocks, SourceBlock());
    if (block.use_count() > 1) block = make_record(blocks, *block);
    return *block;
}

/// Gives sources 1 to `last` of the current step the default options, if it has such sources.
bool reset_options(std::pmr::vector<std::shared_ptr<SourceBlock>>& blocks, int last, Table table) {
    const auto step = static_cast<std::size_t>(header_model().step_counter) - 1;
    if (step >= blocks.size() || !blocks[step]) return true;
    return allocate(table, [&] {
        for (auto& [number, source] : own_block(blocks, step)) {
            if (number <= last) static_cast<SourceOptions&>(source) = SourceOptions();
        }
    });
}

bool check_axis(const char* needs_ndim, xp_long axis) {
    const int ndim = header_model().ndim;
    if (ndim == 0) return fail("%s", needs_ndim);
    if (axis >= 1 && axis <= ndim) return true;
    return fail("dimension specification %d is outside the valid range(%d)", shown(axis), ndim);
}

/// The texts of a list statement whose length is that of another item.
struct ListTexts {
    const char* statement;
    const char* unset;
    const char* wrong_count;
};

bool check_list(const ListTexts& texts, int expected) {
    if (expected == 0) return fail("%s", texts.unset);
    if (static_cast<xp_long>(pending.numbers.size()) != expected) return fail("%s", texts.wrong_count);
    return true;
}

bool set_crop(const ListTexts& texts, std::array<int, kMaxCropAxes>& crop) {
    if (!check_list(texts, header_model().ndim)) return false;
    if (pending.numbers.size() > crop.size()) {
        return fail("%s: fields of more than %d dimensions cannot be cropped", texts.statement, kMaxCropAxes);
    }
    for (std::size_t i = 0; i < pending.numbers.size(); ++i) {
        const float number = pending.numbers[i];
        const bool fits = std::fabs(number) < 2147483648.0F;  // the most negative int is the not-set marker
        if (!fits) return fail("%s: %g is out of range", texts.statement, double{number});
        crop[i] = static_cast<int>(number);
    }
    return true;
}

bool set_row(const ListTexts& texts, int expected, Table table, std::pmr::vector<Row> StepTables::*rows, Given given) {
    if (!check_list(texts, expected)) return false;
    const auto step = current_step();
    if (!step) return false;
    StepTables& steps = header_model().steps;
    steps.flag[*step] |= given;
    return allocate(table, [&] { (steps.*rows)[*step] = Row(pending.numbers); });
}

bool add_text(const char* statement, const char* text, Table table, std::vector<std::string>& texts, int& count) {
    if (texts.size() >= kMaxComponents) return fail("%s: more than %d texts", statement, kMaxComponents);
    if (!allocate(table, [&] { texts.emplace_back(text); })) return false;
    ++count;
    return true;
}

Source described_source(const char* file, xp_long type) {
    Source source;
    static_cast<SourceOptions&>(source) = std::exchange(pending.options, SourceOptions());
    source.named = file != nullptr;
    if (source.named) source.file = file;
    source.type = static_cast<int>(type);
    source.stated_in = header_model().step_counter;
    return source;
}

/// A statement that gives a source by its number.
struct NumberedSource {
    const char* statement;
    int limit;
    Table table;
    std::pmr::vector<std::shared_ptr<SourceBlock>> StepTables::*blocks;
    std::pmr::vector<std::uint8_t> StepTables::*not_given;
};

bool set_source(const NumberedSource& kind, xp_long n, const char* file, xp_long type) {
    if (n < 1 || n > kind.limit) {
        return fail("%s %d is outside the valid range(1 to %d)", kind.statement, shown(n), kind.limit);
    }
    const auto step = current_step();
    if (!step) return false;
    StepTables& steps = header_model().steps;
    (steps.*kind.not_given)[*step] = 0;
    return allocate(kind.table,
                    [&] { own_block(steps.*kind.blocks, *step)[static_cast<int>(n)] = described_source(file, type); });
}

bool set_time(const TimeRecord& time) {
    const auto step = current_step();
    if (!step) return false;
    StepTables& steps = header_model().steps;
    steps.time_not_given[*step] = 0;
    return allocate(Table::time_struct, [&] { steps.time[*step] = make_record(steps.time, time); });
}

void copy_steps(int from, int to, int count) {
    for (int j = 0; j < count; ++j) copy_step(header_model().steps, from + j, to + j);
}

struct TypeItems {
    int code, size, xdr;
    const char* name;
};

// by DataTypeName
constexpr TypeItems kTypes[] = {
    {DTYPE_BYTE, 1, 0, "byte"},     {DTYPE_SHORT, 2, 0, "short"},       {DTYPE_SHORT, 2, 1, "xdr_short"},
    {DTYPE_INT, 4, 0, "integer"},   {DTYPE_INT, 4, 1, "xdr_integer"},   {DTYPE_LONG, 8, 0, "long"},
    {DTYPE_LONG, 8, 1, "xdr_long"}, {DTYPE_FLOAT, 4, 0, "float"},       {DTYPE_FLOAT, 4, 1, "xdr_float"},
    {DTYPE_DOUBLE, 8, 0, "double"}, {DTYPE_DOUBLE, 8, 1, "xdr_double"},
};

constexpr const char* kKinds[] = {"uniform", "rectilinear", "irregular"};  // by FieldKind

}  // namespace

void reset_statements() { pending = Pending(); }

bool set_ndim(xp_long n) {
    HeaderModel& model = header_model();
    if (!store("NDIM", n, kMaxDims, model.ndim)) return false;
    model.dims.assign(static_cast<std::size_t>(std::max(0, model.ndim)), 0);
    pending.options = SourceOptions();
    pending.loop = Loop{.repeated = pending.loop.repeated};
    LDRF_TRACE("ndim = %d\n", model.ndim);
    return true;
}

bool set_dim(xp_long axis, xp_long nodes) {
    if (!check_axis("cannot set DIMENSIONS until NDIM has been set", axis)) return false;
    header_model().dims[static_cast<std::size_t>(axis) - 1] = nodes;
    LDRF_TRACE("dim %d = %ld\n", shown(axis), static_cast<long>(nodes));
    return true;
}

bool set_nspace(xp_long n) {
    HeaderModel& model = header_model();
    if (!store("NSPACE", n, kMaxComponents, model.nspace)) return false;
    LDRF_TRACE("nspace = %d\n", model.nspace);
    return reset_options(model.steps.points, model.ndim, Table::points_struct);  // deliberate: ndim, not nspace
}

bool set_veclen(xp_long n) {
    HeaderModel& model = header_model();
    if (!store("VECLEN", n, kMaxComponents, model.veclen)) return false;
    LDRF_TRACE("veclen = %d\n", model.veclen);
    return reset_options(model.steps.data, model.veclen, Table::data_struct);
}

bool set_nstep(xp_long n) {
    if (!store("NSTEP", n, kMaxSteps, header_model().nstep)) return false;
    LDRF_TRACE("nstep = %d\n", header_model().nstep);
    return true;
}

bool set_data_type(xp_long name) {
    HeaderModel& model = header_model();
    const TypeItems& type = kTypes[name];
    model.data_type = type.code;
    model.element_size = type.size;
    model.xdr = type.xdr;
    LDRF_TRACE("data type = %s\n", type.name);
    return true;
}

bool set_field_kind(xp_long kind) {
    header_model().kind = static_cast<int>(kind);
    LDRF_TRACE("uniform = %s\n", kKinds[kind]);
    return true;
}

bool set_element_size(xp_long bytes) {
    if (!store("SIZE", bytes, INT_MAX, header_model().element_size)) return false;
    LDRF_TRACE("size = %d\n", header_model().element_size);
    return true;
}

bool set_downsize(xp_long axis, float factor) {
    if (!check_axis("cannot set DOWNSIZE until NDIM has been set", axis)) return false;
    if (axis > kMaxCropAxes) return fail("DOWNSIZE %d is outside the valid range(1 to %d)", shown(axis), kMaxCropAxes);
    header_model().downsize[static_cast<std::size_t>(axis) - 1] = factor;
    LDRF_TRACE("downsize %d = %f\n", shown(axis), double{factor});
    return true;
}

void begin_numbers() { pending.numbers.clear(); }

bool add_number(float number) {
    // One more than any list may have is enough to see that a list is too long.
    if (pending.numbers.size() > kMaxComponents) return true;
    return allocate(Table::min_val, [&] { pending.numbers.push_back(number); });
}

bool set_crop_min() {
    return set_crop(
        {"CROP_MIN", "cannot set CROP_MIN until NDIM is set!\n", "there are not NDIM entries in the CROP_MIN list"},
        header_model().crop_min);
}

bool set_crop_max() {
    return set_crop(
        {"CROP_MAX", "cannot set CROP_MAX until NDIM is set!\n", "there are not NDIM entries in the CROP_MAX list"},
        header_model().crop_max);
}

bool set_min_ext() {
    return set_row({"MIN_EXT", "cannot set MIN_EXTENT until NSPACE is set!\n",
                    "there are not NSPACE entries in the MIN_EXTENT list"},
                   header_model().nspace, Table::min_ext, &StepTables::min_ext, kGivenExtent);
}

bool set_max_ext() {
    return set_row({"MAX_EXT", "cannot set MAX_EXTENT until NSPACE is set!\n",
                    "there are not NSPACE entries in the MAX_EXTENT list"},
                   header_model().nspace, Table::max_ext, &StepTables::max_ext, kGivenExtent);
}

bool set_min_val() {
    return set_row(
        {"MIN_VAL", "cannot set MIN_VAL until VECLEN is set!\n", "there are not VECLEN entries in the MIN_VAL list"},
        header_model().veclen, Table::min_val, &StepTables::min_val, kGivenRange);
}

bool set_max_val() {
    return set_row(
        {"MAX_VAL", "cannot set MAX_VAL until VECLEN is set!\n", "there are not VECLEN entries in the MAX_VAL list"},
        header_model().veclen, Table::max_val, &StepTables::max_val, kGivenRange);
}

bool add_label(const char* text) {
    if (header_model().veclen == 0) return fail("cannot set LABELS until VECLEN is set!\n");
    const auto step = current_step();
    if (!step) return false;
    StepTables& steps = header_model().steps;
    steps.flag[*step] |= kGivenLabels;
    return add_text("LABEL", text, Table::labels, steps.labels[*step], steps.name_list_count[*step]);
}

bool add_unit(const char* text) {
    if (header_model().veclen == 0) return fail("cannot set UNITS until VECLEN is set!\n");
    const auto step = current_step();
    if (!step) return false;
    StepTables& steps = header_model().steps;
    steps.flag[*step] |= kGivenUnits;
    return add_text("UNIT", text, Table::units, steps.units[*step], steps.unit_list_count[*step]);
}

void set_skip(xp_long n) { pending.options.skip = n; }
void set_offset(xp_long n) { pending.options.offset = n; }
void set_stride(xp_long n) { pending.options.stride = n; }
bool set_close(xp_long n) { return store("CLOSE", n, INT_MAX, pending.options.close); }

bool set_coord(xp_long n, const char* file, xp_long type) {
    return set_source(
        {"COORD", kMaxCoordSources, Table::points_struct, &StepTables::points, &StepTables::points_not_given}, n, file,
        type);
}

bool set_variable(xp_long n, const char* file, xp_long type) {
    return set_source(
        {"VARIABLE", kMaxVariableSources, Table::data_struct, &StepTables::data, &StepTables::data_not_given}, n, file,
        type);
}

bool set_time_source(const char* file, xp_long type) {
    return set_time({.from_file = true, .source = described_source(file, type), .text = {}});
}

bool set_time_text(const char* text) {
    TimeRecord time;
    time.text = std::string_view(text).substr(0, kMaxTimeTextLength);
    LDRF_TRACE(" timestring %s\n", time.text.c_str());
    return set_time(time);
}

bool set_time_value(float value) {
    TimeRecord time;
    std::array<char, kMaxTimeTextLength + 1> text{};
    std::snprintf(text.data(), text.size(), "%4.2f", double{value});
    time.value = value;
    time.text = text.data();
    LDRF_TRACE(" timestring %s\n", text.data());
    return set_time(time);
}

bool end_step() {
    HeaderModel& model = header_model();
    if (model.step_counter > kMaxSteps) return fail("EOT: more than %d time steps", kMaxSteps);
    model.steps_ended = std::max(model.steps_ended, model.step_counter++);
    return true;
}

bool begin_repeat() {
    ++pending.loop.begins;
    pending.loop.start = header_model().step_counter - 1;
    return true;
}

bool end_repeat() {
    HeaderModel& model = header_model();
    Loop& loop = pending.loop;
    if (loop.begins == 0) return fail("cannot find  DO  before ENDDO !\n");
    if (loop.ended || loop.begins > 1) return fail("cannot set multiple DO-ENDDO loops !\n");
    loop.ended = true;

    const int block = model.step_counter - loop.start - 1;
    LDRF_TRACE(" w_count = %d, step_count = %d start_count = %d\n", block, model.step_counter, loop.start);
    if (model.nstep < 1) model.nstep = model.step_counter = 1;
    if (model.nstep == 1 && model.step_counter < 2) {
        model.step_counter = model.nstep;
        return true;
    }
    if (block == 0) return fail("Can not find EOT.");

    // A block longer than what is left of nstep stays as it is; one after nstep, too.
    const int repeats = (model.nstep - loop.start) / block;
    const int remainder = (model.nstep - loop.start) % block;
    LDRF_TRACE(" mod_count = %d  stepno = %d\n", remainder, model.nstep);
    loop.repeated += std::max(0, model.nstep - loop.start);
    if (loop.repeated > kMaxSteps) return fail("ENDDO: more than %d repeated time steps", kMaxSteps);
    if (LDRF_alloc(model, std::max(model.steps.count(), model.nstep)) != 1) return false;
    for (int k = 0; k < repeats - 1; ++k) copy_steps(loop.start, loop.start + (k + 1) * block, block);
    if (repeats > 0) copy_steps(loop.start, loop.start + repeats * block, remainder);
    model.steps_ended = std::max(model.steps_ended, model.nstep);
    model.step_counter = model.nstep;
    return true;
}

bool unknown_keyword(const char* token) { return fail("Unknown keyword at or near \"%.1023s\"", token); }

}  // namespace zam::ldrf
