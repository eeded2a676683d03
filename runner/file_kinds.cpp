#include "runner/file_kinds.h"

#include <cstdio>

#include "contract/file.h"
#include "runner/file_handle.h"

namespace zam::runner {
namespace {

using Parameters = std::vector<std::pair<std::string_view, Value>>;

bool is_field_file(const FileStart& file) { return file.bytes.starts_with("# AVS"); }
Parameters field_file_parameters(const FileStart& file) { return {{"filename", {file.name}}}; }

constexpr FileKind kFileKinds[] = {
    {"field file", is_field_file, "DVLDread_field_update", field_file_parameters, "out", "time_string"},
};

}  // namespace

std::optional<FileStart> read_file_start(const std::string& name) {
    const FileHandle file(FILEfopen(name.c_str(), "rb"));
    if (!file) return std::nullopt;
    FileStart start{name, std::string(kFileStartBytes, '\0')};
    start.bytes.resize(std::fread(start.bytes.data(), 1, start.bytes.size(), file.get()));
    return start;
}

const FileKind* find_file_kind(const FileStart& file) {
    for (const FileKind& kind : kFileKinds) {
        if (kind.matches(file)) return &kind;
    }
    return nullptr;
}

}  // namespace zam::runner
