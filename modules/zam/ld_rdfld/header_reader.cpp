#include "modules/zam/ld_rdfld/header_reader.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <string_view>

#include "header_grammar.hpp"
#include "modules/zam/ld_rdfld/header_scanner.h"
#include "modules/zam/ld_rdfld/header_statements.h"
#include "modules/zam/ld_rdfld/reports.h"
#include "platform/large_file.h"

namespace zam::ldrf {
namespace {

/// The value of a line "nstep = 12"; 0 if it has none.
xp_long step_value(std::string_view line) {
    const std::size_t equals = line.find('=');
    if (equals == std::string_view::npos) return 0;
    line.remove_prefix(equals + 1);
    line.remove_prefix(std::min(line.size(), line.find_first_not_of(" \t\r\v\f")));
    if (line.starts_with('+')) line.remove_prefix(1);
    xp_long value = 0;
    const auto result = std::from_chars(line.data(), line.data() + line.size(), value);
    if (result.ec == std::errc::result_out_of_range && !line.starts_with('-')) return kMaxSteps + xp_long{1};
    return std::max<xp_long>(value, 0);
}

bool has_right_first_line(std::FILE* file) {
    std::array<char, 256> line{};  // what is longer is left to the scanner
    constexpr std::string_view kFirst = "# AVS";
    return std::fgets(line.data(), static_cast<int>(line.size()), file) != nullptr &&
           std::string_view(line.data()).starts_with(kFirst);
}

/// Puts the file at the byte after the first two form feeds.
///
/// deliberate: a pair that two blocks share is not found; without a pair the file stays at its end.
/// @return that byte, or -1 if the file cannot be positioned
xp_long find_data_start(std::FILE* file) {
    if (platform::seek(file, 0, SEEK_SET) != 0) return -1;
    std::array<char, 1024> block;
    xp_long begin = 0;
    while (const std::size_t count = std::fread(block.data(), 1, block.size(), file)) {
        const std::size_t pair = std::string_view(block.data(), count).find("\f\f");
        if (pair != std::string_view::npos) {
            const xp_long start = begin + static_cast<xp_long>(pair) + 2;
            return platform::seek(file, start, SEEK_SET) == 0 ? start : -1;
        }
        begin += static_cast<xp_long>(count);
    }
    return begin;
}

/// The scanner while it has a file; its buffer goes with it.
struct Scanner {
    explicit Scanner(std::FILE* file) {
        std::clearerr(file);  // the scanner takes an error of an earlier read for its own, and ends the process
        LDRF_yyrestart(file);
    }
    ~Scanner() { LDRF_yylex_destroy(); }
    Scanner(const Scanner&) = delete;
    Scanner& operator=(const Scanner&) = delete;
};

/// Runs scanner and grammar over the statements.
/// @return whether they held
bool parse_statements(std::FILE* file) {
    const Scanner scanner(file);
    if (LDRF_yyparse() == kStatementFailed) return false;
    if (!token_was_too_long()) return true;
    header_model().error = "a word of more than " + std::to_string(kMaxTokenLength) + " characters";
    return false;
}

/// What follows only from the whole header: the number of steps, and tables that fit it.
bool complete_model() {
    HeaderModel& model = header_model();
    if (model.step_counter > model.nstep) model.nstep = model.step_counter - 1;
    if (model.nstep > model.steps.count() && LDRF_alloc(model, model.nstep) != 1) return false;
    return fit_rows(model) == 1;
}

/// Everything after the first line.
/// @return whether the model is complete; if not, its `error` says why, or is empty after a report
bool read_model(std::FILE* file, int start) {
    reset_statements();
    if (reset_header_model(start) != 1 || !parse_statements(file) || !complete_model()) return false;
    header_model().data_start = find_data_start(file);
    if (header_model().data_start < 0) header_model().error = "cannot find the start of the data";
    return header_model().data_start >= 0;
}

}  // namespace

int count_steps(std::FILE* file) {
    const bool ends_somewhere = platform::length(file) > 0;  // a device may go on for ever
    std::rewind(file);
    const bool field_file = ends_somewhere && has_right_first_line(file);
    std::rewind(file);
    if (!field_file) return 1;
    std::array<char, 8192> piece{};  // of a line; a longer line counts in pieces
    xp_long ends = 0, value = 0;
    while (std::fgets(piece.data(), static_cast<int>(piece.size()), file) != nullptr) {
        const std::string_view line(piece.data());
        if (line.starts_with("\f\f")) break;
        if (line.starts_with("EOT")) ++ends;
        if (line.starts_with("nste")) value = step_value(line);
    }
    std::rewind(file);
    const xp_long steps = std::max({xp_long{1}, ends, value});
    if (steps > kMaxSteps) return kReport.fail("A field file has at most %d time steps", kMaxSteps);
    return static_cast<int>(steps);
}

std::unique_ptr<HeaderModel> read_header(std::FILE* file, const char* name, int start) {
    if (!has_right_first_line(file)) {
        kReport.fail("File is not an AVS field file? (\"# AVS\" in first line)");
        return nullptr;
    }
    bool complete = false;
    allocate(Table::data_struct, [&] { complete = read_model(file, start); });
    if (complete) return copy_header(header_model());
    const std::string& error = header_model().error;
    // empty: memory ran out, which has been reported
    if (!error.empty()) kReport.fail("Problem reading file %s: %s", name, error.c_str());
    return nullptr;
}

}  // namespace zam::ldrf
