// Writes field files: a text header, then binary values either after it or in files that it names.
#pragma once

#include <bit>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace zam::examples {

static_assert(std::endian::native == std::endian::little, "the example networks read little-endian values");

/// What every header says. Texts with blanks are quoted by the writer.
struct FieldHeader {
    std::vector<int> dims;
    int nspace;
    std::string data_type;           // "byte", "float", ...
    std::string kind;                // "uniform", "rectilinear", "irregular"
    std::vector<std::string> label;  // one per variable
    std::vector<std::string> unit;
    std::vector<double> min_ext, max_ext;  // nspace values each, or empty
    std::string comment;
};

/// Opens a file for writing, making its directory.
/// @throws std::runtime_error naming the file
inline std::ofstream create_file(const std::filesystem::path& path) {
    if (path.has_parent_path()) std::filesystem::create_directories(path.parent_path());
    std::ofstream file(path, std::ios::binary);
    if (!file) throw std::runtime_error("cannot write " + path.string());
    return file;
}

/// Closes a file and makes sure that everything reached it: a full disk must not pass for a success.
inline void close_file(std::ofstream& file, const std::filesystem::path& path) {
    file.close();
    if (!file) throw std::runtime_error("cannot write all of " + path.string());
}

template <class Value>
void write_values(std::ofstream& file, std::span<const Value> values) {
    const std::span<const std::byte> bytes = std::as_bytes(values);
    file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

inline void write_header(std::ofstream& file, const FieldHeader& header) {
    const auto list = [&file](std::string_view keyword, const auto& values, std::string_view quote) {
        if (values.empty()) return;
        file << keyword << " =";
        for (const auto& value : values) file << ' ' << quote << value << quote;
        file << '\n';
    };
    file << "# AVS " << header.comment << "\nndim = " << header.dims.size() << '\n';
    for (std::size_t axis = 0; axis < header.dims.size(); ++axis) {
        file << "dim" << axis + 1 << " = " << header.dims[axis] << '\n';
    }
    file << "nspace = " << header.nspace << "\nveclen = " << header.label.size() << "\ndata = " << header.data_type
         << "\nfield = " << header.kind << '\n';
    list("label", header.label, "\"");
    list("unit", header.unit, "\"");
    file << std::fixed << std::setprecision(7);  // the header language has no exponents
    list("min_ext", header.min_ext, "");
    list("max_ext", header.max_ext, "");
}

/// Two form feeds end a header; binary values follow at once.
inline void end_header(std::ofstream& file) { file << "\f\f"; }

}  // namespace zam::examples
