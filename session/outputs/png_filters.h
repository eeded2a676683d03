// The filters of PNG files: what remains of a row's bytes when a prediction from its neighbours is subtracted.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace zam::session {

/// As the format numbers them.
enum class PngFilter : std::uint8_t { none, sub, up, average, paeth };
constexpr std::size_t kPngFilters = 5;

/// Bytes of a row between zeros, so that what lies before it and whole vectors, however wide, can be read.
class PngRow {
public:
    static constexpr std::size_t kMargin = 64;

    explicit PngRow(std::size_t count) : bytes_(kMargin + (count + kMargin - 1) / kMargin * kMargin) {}

    /// Bytes from data() on, zeros at the end among them.
    std::size_t room() const { return bytes_.size() - kMargin; }
    std::uint8_t* data() { return bytes_.data() + kMargin; }
    const std::uint8_t* data() const { return bytes_.data() + kMargin; }

private:
    std::vector<std::uint8_t> bytes_;
};

/// Filters a row. The filters are those of the PNG specification, section "Filter algorithms".
/// @param above  the row above it, of the same size; zeros for the first row
/// @param pixel  bytes per pixel
/// @param to     receives as many bytes, and no zeros after them
/// @return sum of the magnitudes of all these as signed numbers: the smaller, the better a row is likely to be
/// compressed
std::uint64_t filter_row(PngFilter filter, const PngRow& row, const PngRow& above, std::size_t pixel, PngRow& to);

}  // namespace zam::session
