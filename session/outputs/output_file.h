// Output files: written aside and renamed into place, so that a name never stands for half a file.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "base/file_handle.h"
#include "contract/types.h"

namespace zam::session {

/// Every member throws RunError if the file system refuses.
class OutputFile {
public:
    /// @param directory  where a relative name goes; directories on the way are made. Empty: the current directory
    OutputFile(const std::string& directory, const std::string& name);
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;
    /// Removes what was written unless it was committed.
    ~OutputFile();

    void write(const void* bytes, std::size_t count);
    void write(std::string_view text) { write(text.data(), text.size()); }
    /// `count` elements of a type, little-endian.
    void write_values(int type, const void* values, xp_long count);

    std::FILE* stream() { return file_.get(); }
    /// Gives the file its name.
    void commit();

private:
    [[noreturn]] void fail(const char* what) const;

    std::string path_;
    std::string aside_;
    FileHandle file_;
};

}  // namespace zam::session
