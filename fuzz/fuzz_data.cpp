// Data files of other programs, and those that are described only: whatever a file says, its arrays are read or
// refused, and hold no more than its length justifies. Left alone are files in HDF5, which a process of their own
// reads, as the library for them does not withstand every damage.
#include <algorithm>
#include <vector>

#include "base/element_types.h"
#include "fuzz/target.h"
#include "session/data/data_error.h"
#include "session/data/data_file.h"
#include "session/data/png_file.h"
#include "session/data/vtk_file.h"
#include "tests/support/scratch_directory.h"

using namespace zam;
using namespace zam::session;

namespace {

constexpr xp_long kMostPerByte = 2 * 1032;      // deflate, and numbers that become wider ones
constexpr xp_long kMaxRead = xp_long{4} << 20;  // bytes per component

/// Reads the values in blocks, as conversions do.
void read_values(const NumberArray& values, std::size_t file_size) {
    const auto size = std::max<xp_long>(static_cast<xp_long>(type_size(values.type)), 1);
    fuzz::require(values.count >= 1);
    fuzz::require(values.count / kMostPerByte <= static_cast<xp_long>(file_size) / size);
    const xp_long count = std::min(values.count, kMaxRead / size);
    std::vector<std::byte> block(static_cast<std::size_t>(std::min(count * size, kStreamBlockBytes)));
    const auto per_block = static_cast<xp_long>(block.size()) / size;
    for (xp_long first = 0; first < count; first += per_block) {
        const xp_long wanted = std::min(per_block, count - first);
        if (!copy_values(values, first, wanted, block.data()).empty()) return;
    }
    static_cast<void>(copy_values(values, values.count - 1, 1, block.data()));
}

void read_array(const DataArray& array, std::size_t file_size) {
    try {
        const FieldPointer field = make_field({array}, {});
        for (const auto& component : field->node_data) read_values(component.values, file_size);
        if (!field->steps.empty()) read_values(field->steps.back().node_data.front().values, file_size);
    } catch (const DataError& error) {
        fuzz::require(*error.what() != '\0');
    }
}

void read_vtk(const std::string& file, std::size_t file_size) {
    const VtkFile vtk = open_vtk(file);
    for (const auto* arrays : {&vtk.node_data, &vtk.cell_data, &vtk.positions, &vtk.cell_types}) {
        for (const VtkArray& array : *arrays) {
            for (const NumberArray& piece : array.pieces) read_values(piece, file_size);
        }
    }
}

}  // namespace

// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming): the sanitizer looks it up
/// These libraries lose some of their own memory when a header is broken.
extern "C" const char* __lsan_default_suppressions() { return "leak:libnetcdf\nleak:libteem\n"; }
// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const test::ScratchDirectory scratch;
    const std::string text = fuzz::text_of(data, size);
    if (text.starts_with("\x89HDF")) return 0;
    const std::string file = scratch.write("data", text);
    try {
        const std::string start = data_file_start(file);
        if (is_vtk(start)) read_vtk(file, size);
        if (is_png(start)) read_png(file);
        const DataFileKind* kind = data_file_kind(start);
        if (!kind) return 0;
        for (const DataArray& array : kind->open(file)) {
            if (array.fault.empty()) read_array(array, size);
        }
    } catch (const DataError& error) {
        const std::string_view what = error.what();
        fuzz::require(!what.empty() && what.find('\n') == std::string_view::npos);
    }
    return 0;
}
