#include "session/data/data_file.h"

#include <algorithm>

#include "session/data/byte_source.h"
#include "session/data/data_error.h"
#include "session/data/netcdf_file.h"
#include "session/data/npy.h"
#include "session/data/nrrd_file.h"
#include "session/data/zip_archive.h"
#include "session/document/suggestion.h"

namespace zam::session {
namespace {

constexpr xp_long kStartBytes = 512;
constexpr std::string_view kNpyEnding = ".npy";

// --- NumPy ---

bool is_npy(std::string_view start) { return start.starts_with(kNpyMagic); }

std::vector<DataArray> open_npy_file(const std::string& file) { return {open_npy(open_file(file))}; }

bool is_npz(std::string_view start) { return start.starts_with("PK\x03\x04") || start.starts_with("PK\x05\x06"); }

DataArray open_npz_member(const std::string& file, const std::string& member) {
    DataArray array;
    try {
        array = open_npy(open_zip_member(file, member));
    } catch (const DataError& error) {
        array.fault = error.what();
    }
    array.name = member.substr(0, member.size() - kNpyEnding.size());
    array.label = array.name;
    return array;
}

std::vector<DataArray> open_npz_file(const std::string& file) {
    std::vector<DataArray> arrays;
    for (const auto& member : zip_members(file)) {
        if (member.ends_with(kNpyEnding)) arrays.push_back(open_npz_member(file, member));
    }
    return arrays;
}

constexpr DataFileKind kKinds[] = {
    {"NumPy array", is_npy, open_npy_file},
    {"NumPy archive", is_npz, open_npz_file},
    {"NetCDF file", is_netcdf, open_netcdf},
    {"NRRD file", is_nrrd, open_nrrd},
};

bool same_shape(const DataArray& a, const DataArray& b) {
    return std::equal(a.axes.begin(), a.axes.end(), b.axes.begin(), b.axes.end(),
                      [](const DataAxis& one, const DataAxis& other) {
                          return one.size == other.size && one.vector == other.vector && one.step == other.step;
                      });
}

std::string list(const std::vector<DataArray>& arrays) {
    std::string text;
    for (const auto& array : arrays) text += (text.empty() ? "" : ", ") + describe(array);
    return text.empty() ? "none" : text;
}

/// The arrays that the request names, or the only one.
std::vector<DataArray> choose(const std::vector<DataArray>& arrays, const std::vector<std::string>& names) {
    std::vector<DataArray> data = without_descriptions(arrays);
    if (names.empty()) {
        if (data.size() > 1) throw DataError("\"variable\" has to name one of " + list(data));
        return data;
    }
    std::vector<DataArray> chosen;
    for (const auto& name : names) {
        const auto found =
            std::find_if(arrays.begin(), arrays.end(), [&](const auto& array) { return array.name == name; });
        if (found == arrays.end()) {
            throw DataError("there is no array " + name + "; there are " + list(data) +
                            did_you_mean(
                                name, arrays, [](const auto& array) -> const auto& { return array.name; }));
        }
        chosen.push_back(*found);
    }
    return chosen;
}

}  // namespace

std::vector<DataArray> without_descriptions(std::vector<DataArray> arrays) {
    std::erase_if(arrays, [](const DataArray& array) { return array.by_name_only; });
    return arrays;
}

std::string data_file_start(const std::string& file) {
    const ByteSourcePointer bytes = open_file(file);
    std::string start(static_cast<std::size_t>(std::min(bytes->size(), kStartBytes)), '\0');
    const std::string error =
        bytes->read(0, static_cast<xp_long>(start.size()), reinterpret_cast<std::byte*>(start.data()));
    if (!error.empty()) throw DataError(error);
    return start;
}

std::span<const DataFileKind> data_file_kinds() { return kKinds; }

const DataFileKind* data_file_kind(std::string_view start) {
    const auto* const kind =
        std::find_if(std::begin(kKinds), std::end(kKinds), [&](const auto& known) { return known.matches(start); });
    return kind == std::end(kKinds) ? nullptr : kind;
}

FieldPointer open_data_file(const DataRequest& request, std::vector<std::string>& notes) {
    const DataFileKind* kind = data_file_kind(data_file_start(request.file));
    if (!kind) throw DataError("this is no data file of a known kind");
    const std::vector<DataArray> arrays = choose(kind->open(request.file), request.variables);
    if (arrays.empty()) throw DataError("the file holds no arrays");
    for (const auto& array : arrays) {
        if (!array.fault.empty()) throw DataError((array.name.empty() ? "" : array.name + ": ") + array.fault);
        if (!same_shape(array, arrays.front())) {
            throw DataError(describe(array) + " has another shape than " + describe(arrays.front()));
        }
        if (!array.note.empty()) notes.push_back(array.note);
    }
    return make_field(arrays, request);
}

}  // namespace zam::session
