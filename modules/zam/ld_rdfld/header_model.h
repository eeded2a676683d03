// The model that the header of a field file fills: one process-wide record, reset before every parse.
//
// Step tables hold one entry per time step (index: step number minus one) and grow with the step counter. What the
// statements of a step say lives in records that steps share until one of them is written to: a repeated block of
// steps costs a few words per step, and a step costs what the file says of it, not a full set of 74 sources.
#pragma once

#include <array>
#include <cfloat>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <memory_resource>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "contract/err.h"
#include "contract/types.h"

namespace zam::ldrf {

constexpr int kMaxDims = 10;
constexpr int kMaxCoordSources = 10;
constexpr int kMaxVariableSources = 64;
constexpr int kMaxCropAxes = 3;
constexpr int kMaxSteps = 1'000'000;       // some 200 MB of step tables; a header that asks for more is refused
constexpr int kMaxComponents = 1'000'000;  // values that a node or a point may have: bounds the extent and range tables
constexpr int kMaxTimeTextLength = 63;

constexpr int kCropNotSet = INT_MIN;
constexpr float kFactorNotSet = FLT_MIN;

enum FieldKind : int { kUniform = 0, kRectilinear = 1, kIrregular = 2 };
enum FileType : int { kAscii = 0, kUnformatted = 1, kBinary = 2 };

/// Bits of StepTables::flag.
enum Given : int { kGivenExtent = 1, kGivenLabels = 2, kGivenRange = 4, kGivenUnits = 8 };

/// Where the values of a source stand in its file.
struct SourceOptions {
    xp_long skip = 0;    // lines (ASCII) or bytes before the first value
    xp_long offset = 0;  // values to skip
    xp_long stride = 1;  // from value to value
    int close = 1;       // 0: reading goes on in the next step where it stopped
};

/// One COORD or VARIABLE statement, or the source of a TIME statement.
struct Source : SourceOptions {
    bool named = false;  // with a file name; else the values are in the field file, after its header
    std::string file;    // as written, until the reader replaces it by the resolved name
    int type = kAscii;   // FileType
    int stated_in = 0;   // step whose statement this is, from 1; copies of a repeated block keep it
};

struct TimeRecord {
    bool from_file = false;
    Source source;       // when from_file
    float value = 0.0F;  // else
    std::string text;
};

/// The COORD or VARIABLE statements of a step by their numbers, from 1.
using SourceBlock = std::map<int, Source>;

/// The values of an extent or range statement, shared by the steps that repeat it. Reads like a constant vector.
class Row {
public:
    Row() = default;
    explicit Row(std::vector<float> values)
        : values_(std::make_shared<std::vector<float>>(std::move(values))), given_(true) {}
    /// What a step has without a statement: -1.0 throughout.
    static Row not_given(std::size_t size) {
        Row row(std::vector<float>(size, kNotGiven));
        row.given_ = false;
        return row;
    }

    std::size_t size() const { return values_ ? values_->size() : 0; }
    bool empty() const { return size() == 0; }
    const float* data() const { return values_ ? values_->data() : nullptr; }
    const float* begin() const { return data(); }
    const float* end() const { return data() + size(); }
    float operator[](std::size_t i) const { return (*values_)[i]; }

    bool filled() const { return values_ != nullptr; }
    /// Whether a statement gave it.
    bool given() const { return given_; }
    /// Cuts or fills with -1.0 in every step that shares the row.
    void fit(std::size_t size) { values_->resize(size, kNotGiven); }

private:
    static constexpr float kNotGiven = -1.0F;

    std::shared_ptr<std::vector<float>> values_;
    bool given_ = false;
};

/// Per-step tables; LDRF_alloc sizes them all. The resource is the process heap except in tests.
struct StepTables {
    explicit StepTables(std::pmr::memory_resource* resource = std::pmr::get_default_resource());

    std::pmr::vector<std::vector<std::string>> labels, units;
    std::pmr::vector<Row> min_ext, max_ext;                  // nspace values, -1.0 where not given
    std::pmr::vector<Row> min_val, max_val;                  // veclen values, -1.0 where not given
    std::pmr::vector<int> flag;                              // Given bits
    std::pmr::vector<int> name_list_count, unit_list_count;  // texts in labels and units
    std::pmr::vector<std::uint8_t> data_not_given, points_not_given, time_not_given;  // 1 until a statement comes
    std::pmr::vector<std::shared_ptr<SourceBlock>> data, points;  // null: no source given in this step
    std::pmr::vector<std::shared_ptr<TimeRecord>> time;           // null: no time given in this step

    int count() const { return static_cast<int>(flag.size()); }
};

/// What holds for all steps.
struct HeaderItems {
    int ndim = -1;              // -1: not set
    std::vector<xp_long> dims;  // ndim values, 0 until a DIM statement
    int nspace = -1;
    int veclen = 1;
    int nstep = 1;
    int step_counter = 1;  // the step being described, from 1
    int steps_ended = 0;   // the last step that an EOT ended, or that is a copy of one
    int data_type = -1;
    int element_size = 0;  // bytes
    int xdr = 0;
    int kind = kUniform;
    std::array<int, kMaxCropAxes> crop_min{kCropNotSet, kCropNotSet, kCropNotSet};
    std::array<int, kMaxCropAxes> crop_max{kCropNotSet, kCropNotSet, kCropNotSet};
    std::array<float, kMaxCropAxes> downsize{kFactorNotSet, kFactorNotSet, kFactorNotSet};
    int end_of_header = 0;
    std::string error;       // message of the statement that failed
    xp_long data_start = 0;  // byte where inline data begins
};

struct HeaderModel : HeaderItems {
    StepTables steps;

    /// Source n (from 1) of step (from 1), or null if that step has no statement for it.
    const Source* variable(int step, int n) const;
    const Source* coordinate(int step, int n) const;
    /// The time record of a step, or null if that step has no TIME statement.
    const TimeRecord* time(int step) const;
};

/// The model of the header being read.
HeaderModel& header_model();

/// Sets every item of header_model() to its default; the step tables are as long as they were, at least `start` steps.
/// @param start  number of the first step that the header describes, from 1
/// @return 1, or 0 as LDRF_alloc
int reset_header_model(int start);

/// Sizes the per-step tables of `model` for `steps` steps; entries that exist keep what they hold.
/// Reports "rd_fld2: Failure allocating ... array" through ERRout_of_memory for the first table that does not fit;
/// the tables are empty then.
/// @return 1, or 0 if memory is exhausted or steps is above kMaxSteps (then with a message in model.error)
int LDRF_alloc(HeaderModel& model, int steps);

/// Gives every extent row nspace values and every range row veclen values, -1.0 where the header has none.
/// @return 1, or 0 if that takes too much memory (reported)
int fit_rows(HeaderModel& model);

/// Makes step `to` say what step `from` says, except for the texts of labels and units, which only count (steps from
/// 0).
void copy_step(StepTables& steps, int from, int to);

/// Copies a header to keep it between calls; its reports have the texts of the kept copy. Nothing is shared with
/// `model` that the reader of either could change.
/// @return null if memory is exhausted
std::unique_ptr<HeaderModel> copy_header(const HeaderModel& model);

/// The tables and records of a header, as reports of exhausted memory name them.
enum class Table {
    labels,
    units,
    min_ext,
    max_ext,
    min_val,
    max_val,
    flag,
    name_list_count,
    unit_list_count,
    data_in_file,
    data_ptr_file,
    points_in_file,
    points_ptr_file,
    time_in_file,
    data_struct,
    points_struct,
    time_struct
};

/// The text that says that a table could not be allocated, of the model being read or of the copy that is kept.
const char* allocation_failure(Table table, bool kept_copy = false);

/// Runs an action that allocates for a table.
/// @return whether memory sufficed; if not, that has been reported
template <class Action>
bool allocate(Table table, Action&& action, bool kept_copy = false) {
    try {
        std::forward<Action>(action)();
        return true;
    } catch (const std::bad_alloc&) {
        ERRout_of_memory(allocation_failure(table, kept_copy));
        return false;
    }
}

}  // namespace zam::ldrf
