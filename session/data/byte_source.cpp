#include "session/data/byte_source.h"

#include <array>
#include <cstdio>
#include <filesystem>

#include "base/file_handle.h"
#include "base/file_path.h"
#include "contract/file.h"
#include "platform/large_file.h"
#include "session/data/data_error.h"

namespace zam::session {
namespace {

/// Opened by the first read, and kept open: readers that take rows here and there read often.
class FileBytes final : public ByteSource {
public:
    FileBytes(std::string name, xp_long start, xp_long size) : name_(std::move(name)), start_(start), size_(size) {}

    xp_long size() const override { return size_; }
    std::string read(xp_long first, xp_long count, std::byte* destination) const override {
        if (!file_) file_.reset(FILEfopen(name_.c_str(), "rb"));
        if (!file_) return "cannot open the file";
        if (platform::seek(file_.get(), start_ + first, SEEK_SET) != 0) return "cannot seek in the file";
        const auto wanted = static_cast<std::size_t>(count);
        return std::fread(destination, 1, wanted, file_.get()) == wanted ? "" : "the file ended early";
    }

private:
    std::string name_;
    xp_long start_, size_;
    mutable FileHandle file_;
};

}  // namespace

ByteSourcePointer open_file(const std::string& name, xp_long start) {
    std::array<char, FILE_NAME_SIZE> expanded{};
    FILEmap_variables(name.c_str(), expanded.data(), static_cast<int>(expanded.size()));
    const auto path = file_path(expanded.data());
    std::error_code error;
    if (!std::filesystem::exists(path, error)) throw DataError("the file does not exist");
    if (!std::filesystem::is_regular_file(path, error)) throw DataError("this is not a regular file");
    const auto size = static_cast<xp_long>(std::filesystem::file_size(path, error));
    if (error) throw DataError("cannot read the file: " + error.message());
    return std::make_shared<FileBytes>(name, start, std::max<xp_long>(size - start, 0));
}

}  // namespace zam::session
