#include "session/outputs/output_file.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <vector>

#if defined(_WIN32)
#include <io.h>
#else
#include <unistd.h>
#endif

#include "base/element_types.h"
#include "base/file_path.h"
#include "contract/file.h"
#include "session/objects/run_error.h"

namespace zam::session {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kSwapBlock = std::size_t{1} << 16;

std::FILE* standard_output = nullptr;  // null: `stdout`

/// Names of the files that are being written aside, where a handler of signals finds them. A name that finds no place
/// or is too long is not removed by it.
struct Part {
    std::atomic<bool> used{false};
    std::array<char, 4096> name{};
};
std::array<Part, 16> parts;

void remember_part(const std::string& name) {
    if (name.size() >= Part{}.name.size()) return;
    const auto free = std::find_if(parts.begin(), parts.end(), [](const Part& part) { return !part.used; });
    if (free == parts.end()) return;
    std::copy_n(name.c_str(), name.size() + 1, free->name.data());
    free->used = true;
}

void forget_part(const std::string& name) {
    for (auto& part : parts) {
        if (part.used && name == part.name.data()) part.used = false;
    }
}

}  // namespace

std::string output_path(const std::string& directory, const std::string& name) {
    return FILEis_path_absolute(name.c_str()) == 1 ? name : (file_path(directory) / file_path(name)).string();
}

void set_standard_output(std::FILE* stream) { standard_output = stream; }

void remove_parts() noexcept {
    for (const auto& part : parts) {
        if (part.used) unlink(part.name.data());
    }
}

OutputFile::OutputFile(const std::string& directory, const std::string& name) {
    if (name == kStandardOutput) {
        stream_ = standard_output ? standard_output : stdout;
        return;
    }
    path_ = output_path(directory, name);
    std::error_code error;
    if (FILEis_path_absolute(name.c_str()) != 1) {
        const fs::path folder = file_path(path_).parent_path();
        if (!folder.empty()) fs::create_directories(folder, error);
        if (error) throw RunError("cannot make the directory of " + path_ + ": " + error.message());
    }
    const auto status = fs::status(file_path(path_), error);
    if (!fs::exists(status) || fs::is_regular_file(status)) aside_ = path_ + ".part";
    open();
}

void OutputFile::open() {
    if (!aside_.empty()) remember_part(aside_);
    file_.reset(std::fopen(aside_.empty() ? path_.c_str() : aside_.c_str(), "wb"));
    stream_ = file_.get();
    if (file_) return;
    forget_part(aside_);
    fail("cannot write");
}

OutputFile::~OutputFile() {
    file_.reset();
    remove_aside();
}

void OutputFile::remove_aside() {
    if (aside_.empty()) return;
    std::remove(aside_.c_str());
    forget_part(aside_);
    aside_.clear();
}

void OutputFile::fail(const char* what) const {
    throw RunError(std::string(what) + " " + (path_.empty() ? "the standard output" : path_) + ": " +
                   std::strerror(errno));
}

void OutputFile::write(const void* bytes, std::size_t count) {
    if (text_) {
        text_->append(static_cast<const char*>(bytes), count);
        return;
    }
    if (count > 0 && std::fwrite(bytes, 1, count, stream_) != count) fail("cannot write");
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
    const bool flushed = std::fflush(stream_) == 0 && std::ferror(stream_) == 0;
    if (!flushed || (file_ && std::fclose(file_.release()) != 0)) fail("cannot write");
    if (aside_.empty()) return;
    std::error_code error;
    fs::rename(file_path(aside_), file_path(path_), error);
    if (error) throw RunError("cannot write " + path_ + ": " + error.message());
    forget_part(aside_);
    aside_.clear();
}

}  // namespace zam::session
