#include "runner/file_kinds.h"

#include <algorithm>

#include "runner/capture_info.h"
#include "runner/data_info.h"
#include "runner/voxel_info.h"
#include "runner/written_info.h"
#include "session/data/data_file.h"
#include "session/data/png_file.h"
#include "session/data/vtk_file.h"

namespace zam::runner {

using namespace session;

namespace {

std::vector<FileKind> all_kinds() {
    const FileKind kFileKinds[] = {
        {"field dump", is_field_dump, nullptr, describe_field_dump},
        {"PNG picture", is_png, nullptr, describe_png, true},
        {"VTK file", is_vtk, nullptr, describe_vtk, true},
        {kFieldFile.name, kFieldFile.matches, &kFieldFile},
        {kFortranGrid.name, kFortranGrid.matches, &kFortranGrid},
        {"capture file", is_capture_file, nullptr, describe_capture},
        {kVoxelText.name, kVoxelText.matches, &kVoxelText, describe_voxels},
    };
    std::vector<FileKind> kinds;
    kinds.reserve(data_file_kinds().size() + std::size(kFileKinds));
    for (const DataFileKind& kind : data_file_kinds())
        kinds.push_back({kind.name, kind.matches, nullptr, describe_data_file});
    kinds.insert(kinds.end(), std::begin(kFileKinds), std::end(kFileKinds));
    return kinds;
}

}  // namespace

const FileKind* find_file_kind(const FileStart& file) {
    static const std::vector<FileKind> kinds = all_kinds();
    const auto kind =
        std::find_if(kinds.begin(), kinds.end(), [&](const FileKind& known) { return known.matches(file.bytes); });
    return kind == kinds.end() ? nullptr : &*kind;
}

}  // namespace zam::runner
