#include "session/outputs/output_file.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <vector>

#include "base/element_types.h"
#include "contract/file.h"
#include "session/objects/run_error.h"

namespace zam::session {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kSwapBlock = std::size_t{1} << 16;

}  // namespace

OutputFile::OutputFile(const std::string& directory, const std::string& name) : path_(name) {
    if (FILEis_path_absolute(name.c_str()) != 1) {
        path_ = (fs::path(directory) / name).string();
        std::error_code error;
        if (fs::path(path_).has_parent_path()) fs::create_directories(fs::path(path_).parent_path(), error);
        if (error) throw RunError("cannot make the directory of " + path_ + ": " + error.message());
    }
    aside_ = path_ + ".part";
    file_.reset(std::fopen(aside_.c_str(), "wb"));
    if (!file_) fail("cannot write");
}

OutputFile::~OutputFile() {
    if (!file_) return;
    file_.reset();
    std::remove(aside_.c_str());
}

void OutputFile::fail(const char* what) const {
    throw RunError(std::string(what) + " " + path_ + ": " + std::strerror(errno));
}

void OutputFile::write(const void* bytes, std::size_t count) {
    if (count > 0 && std::fwrite(bytes, 1, count, file_.get()) != count) fail("cannot write");
}

void OutputFile::write_values(int type, const void* values, xp_long count) {
    const std::size_t size = type_size(type);
    const auto* bytes = static_cast<const std::byte*>(values);
    const std::size_t total = static_cast<std::size_t>(count) * size;
    if constexpr (std::endian::native == std::endian::little) return write(bytes, total);
    std::vector<std::byte> swapped;
    for (std::size_t done = 0; done < total; done += swapped.size()) {
        swapped.assign(bytes + done, bytes + std::min(done + kSwapBlock, total));
        for (std::size_t i = 0; i < swapped.size(); i += size) {
            std::reverse(swapped.data() + i, swapped.data() + i + size);
        }
        write(swapped.data(), swapped.size());
    }
}

void OutputFile::commit() {
    if (std::fflush(file_.get()) != 0) fail("cannot write");
    file_.reset();
    std::error_code error;
    fs::rename(aside_, path_, error);
    if (!error) return;
    std::remove(aside_.c_str());
    throw RunError("cannot write " + path_ + ": " + error.message());
}

}  // namespace zam::session
