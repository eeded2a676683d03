// Output files: written aside and renamed into place, so that a name never stands for half a file. Devices and pipes,
// which cannot be replaced, are written to as they are.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "base/file_handle.h"
#include "contract/types.h"

namespace zam::session {

/// The name of an output that goes to the standard output.
constexpr std::string_view kStandardOutput = "-";

/// The name of an output's file with its directory. @param directory  empty: the current directory
std::string output_path(const std::string& directory, const std::string& name);

/// Where such outputs go if not to `stdout`; borrowed. Null: `stdout` again.
void set_standard_output(std::FILE* stream);

/// Removes the files that are being written aside. For handlers of signals: it allocates nothing and locks nothing.
void remove_parts() noexcept;

/// Every member throws RunError if the file system refuses.
class OutputFile {
public:
    /// @param directory  where a relative name goes; directories on the way are made. Empty: the current directory
    OutputFile(const std::string& directory, const std::string& name);
    /// Appends to a text in place of a file. @param text  borrowed
    explicit OutputFile(std::string& text) : text_(&text) {}
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;
    /// Removes what was written unless it was committed.
    ~OutputFile();

    void write(const void* bytes, std::size_t count);
    void write(std::string_view text) { write(text.data(), text.size()); }
    /// `count` elements of a type, little-endian.
    void write_values(int type, const void* values, xp_long count);

    std::FILE* stream() { return stream_; }
    /// The name with its directory; empty for the standard output.
    const std::string& path() const { return path_; }
    /// Gives the file its name.
    void commit();

private:
    [[noreturn]] void fail(const char* what) const;

    void open();
    void remove_aside();

    std::string path_;
    std::string aside_;  // empty: the file is written as it is
    FileHandle file_;
    std::FILE* stream_ = nullptr;
    std::string* text_ = nullptr;
};

}  // namespace zam::session
