#include "modules/zam/readers/voxel_samples.h"

#include <algorithm>
#include <new>
#include <utility>

#include "modules/zam/readers/voxel_lines.h"
#include "modules/zam/readers/voxel_numbers.h"
#include "modules/zam/readers/voxel_reports.h"
#include "platform/large_file.h"

namespace zam::voxel {

namespace {

constexpr int kPositions = 3;
constexpr int kMinColumns = kPositions + 1;

/// What the first pass finds out.
struct Layout {
    xp_long lines = 0;  // with contents, comments among them
    char separator = ' ';
    int columns = 0;
};

void skip_header(LineSource& source, int lines) {
    for (int line = 0; line < lines && source.next(); ++line) {
    }
}

/// Skips the header lines, looking for the time key.
void read_header(LineSource& source, const ReadOptions& options, std::string& time_label) {
    if (!options.time_key) return skip_header(source, options.header_lines);
    for (int line = 0; line < options.header_lines; ++line) {
        const auto text = source.next();
        if (!text) return;
        const auto at = text->find(*options.time_key);
        if (at != std::string_view::npos) time_label = text->substr(at, kMaxTimeLabel);
    }
}

/// Counts the lines with contents up to the end. The first of them, even if it is a comment, decides how the others
/// are taken apart.
Layout survey(LineSource& source) {
    Layout layout;
    while (const auto line = source.next()) {
        if (!has_contents(*line) || layout.lines++ > 0) continue;
        const std::string_view text = contents(*line);
        layout.separator = separator_of(text);
        layout.columns = count_fields(text, layout.separator);
    }
    return layout;
}

/// Null if memory is exhausted. Uninitialised: pages that no sample reaches are never touched.
std::unique_ptr<float[]> allocate(xp_long count, MemoryBudget& memory) {
    try {
        memory.require(count, sizeof(float));
        return std::make_unique_for_overwrite<float[]>(static_cast<std::size_t>(count));
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

bool allocate(const Layout& layout, MemoryBudget& memory, Samples& samples) {
    constexpr std::array<const char*, kPositions> kNoMemory{"Cannot malloc for xval\n", "Cannot malloc for yval\n",
                                                            "Cannot malloc for zval\n"};
    constexpr const char* kNoMemoryForValues = "Cannot malloc for dval\n";
    for (std::size_t axis = 0; axis < kPositions; ++axis) {
        samples.positions[axis] = allocate(layout.lines, memory);
        if (!samples.positions[axis]) return kStream.fail(kNoMemory[axis]);
    }
    // a first line of many columns before short lines asks for much more than the file's length
    try {
        samples.values.resize(static_cast<std::size_t>(layout.columns - kPositions));
    } catch (const std::bad_alloc&) {
        return kStream.fail(kNoMemoryForValues);
    }
    for (auto& column : samples.values) {
        column = allocate(layout.lines, memory);
        if (!column) return kStream.fail(kNoMemoryForValues);
    }
    return true;
}

enum class Line { sample, none, faulty };

/// Reads a line into a row of as many numbers as there are columns.
template <char kSeparator>
Line read_line(std::string_view text, float null_value, std::span<float> row) {
    constexpr std::array<const char*, kPositions> kMissing{
        "Unexpected error in reading x.\n", "Unexpected error in reading y.\n", "Unexpected error in reading z.\n"};
    const std::string_view line = contents(text);
    const auto is_comment = [&] { return line.find('#') != std::string_view::npos; };
    if (line.empty()) return Line::none;
    Fields<kSeparator> fields(line);
    for (std::size_t column = 0; column < row.size(); ++column) {
        row[column] = null_value;
        const bool missing = fields.next(row[column]) != Fields<kSeparator>::Next::number;
        if (missing && column < kPositions) {
            if (is_comment()) return Line::none;
            kStream.fail(kMissing[column]);
            return Line::faulty;
        }
    }
    return !fields.only_numbers() && is_comment() ? Line::none : Line::sample;  // no number has a "#" in it
}

/// Reads the lines after the header into arrays that hold `layout.lines` samples; a file that has grown meanwhile is
/// read no further.
template <char kSeparator>
bool read_lines(LineSource& source, const Layout& layout, float null_value, Samples& samples) {
    std::vector<float> row(static_cast<std::size_t>(layout.columns));
    const auto room = static_cast<std::size_t>(layout.lines);
    while (samples.count < room) {
        if (const std::size_t length = read_common_line<kSeparator>(source.at_hand(), row)) {
            source.skip(length);
        } else {
            const auto line = source.next();
            if (!line) break;
            const Line read = read_line<kSeparator>(*line, null_value, row);
            if (read == Line::faulty) return false;
            if (read == Line::none) continue;
        }
        const std::size_t sample = samples.count++;
        for (std::size_t axis = 0; axis < kPositions; ++axis) samples.positions[axis][sample] = row[axis];
        for (std::size_t i = 0; i < samples.values.size(); ++i) samples.values[i][sample] = row[kPositions + i];
    }
    return true;
}

}  // namespace

std::optional<Samples> read_samples(std::FILE* file, const ReadOptions& options, MemoryBudget& memory,
                                    std::string& time_label) {
    constexpr const char* kCannotRewind = "Unexpected error\n";
    LineSource source(file, platform::length(file));
    if (!source.rewind()) return kStream.reject(kCannotRewind);  // tried first: a pipe may never end
    read_header(source, options, time_label);
    const Layout layout = survey(source);
    if (layout.columns < kMinColumns) return report.reject("This module support [x(,) y(,) z(,) value] format.");
    if (!source.rewind()) return kStream.reject(kCannotRewind);
    Samples samples;
    if (!allocate(layout, memory, samples)) return std::nullopt;
    skip_header(source, options.header_lines);
    const bool read = layout.separator == ',' ? read_lines<','>(source, layout, options.null_value, samples)
                                              : read_lines<' '>(source, layout, options.null_value, samples);
    return read ? std::optional(std::move(samples)) : std::nullopt;
}

}  // namespace zam::voxel
