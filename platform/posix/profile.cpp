#include "platform/profile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>

#include "platform/posix/path.h"
#include "platform/posix/profile_text.h"

namespace zam::platform {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMaxBytes = std::size_t{4} << 20;
constexpr mode_t kNobodyWrites = ~static_cast<mode_t>(S_IWUSR | S_IWGRP | S_IWOTH);
constexpr int kMaxLinks = 40;  // as many as the system follows
constexpr int kMaxNames = 100;

class OpenFile {
public:
    explicit OpenFile(int descriptor) : descriptor_(descriptor) {}
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;
    ~OpenFile() { close(); }
    int get() const { return descriptor_; }
    bool is_open() const { return descriptor_ >= 0; }
    /// Whether all that was written has been taken.
    bool close() {
        const int descriptor = std::exchange(descriptor_, -1);
        return descriptor < 0 || ::close(descriptor) == 0;
    }

private:
    int descriptor_;
};

struct Contents {
    std::string text;
    ProfileEncoding encoding;
    struct stat status;
};

/// The whole contents of a regular file. Opening must not wait for the other end of a pipe.
std::optional<Contents> read_file(const std::string& path) {
    const OpenFile file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    Contents contents{};
    if (!file.is_open() || fstat(file.get(), &contents.status) != 0) return std::nullopt;
    if (!S_ISREG(contents.status.st_mode) || contents.status.st_size > static_cast<off_t>(kMaxBytes))
        return std::nullopt;
    contents.text.resize(static_cast<std::size_t>(contents.status.st_size));
    std::size_t filled = 0;
    while (filled < contents.text.size()) {
        const auto count = read(file.get(), contents.text.data() + filled, contents.text.size() - filled);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return std::nullopt;
        if (count == 0) break;
        filled += static_cast<std::size_t>(count);
    }
    contents.text.resize(filled);
    contents.encoding = profile_encoding(contents.text);
    contents.text = decode_profile(contents.text, contents.encoding);
    return contents;
}

/// What a path finally names, links followed; also where that does not exist yet.
fs::path without_links(fs::path path) {
    std::error_code error;
    for (int i = 0; i < kMaxLinks && fs::is_symlink(path, error); ++i) {
        const fs::path target = fs::read_symlink(path, error);
        path = target.is_absolute() ? target : path.parent_path() / target;
    }
    return path;
}

bool write_whole(int descriptor, std::string_view text) {
    while (!text.empty()) {
        const auto count = write(descriptor, text.data(), text.size());
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return false;
        text.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

/// Writes a file aside and puts it in the place of `path`. @param old  status of the file there, or null
bool replace_file(const fs::path& path, std::string_view text, const struct stat* old) {
    std::string aside;
    int descriptor = -1;
    for (int i = 0; descriptor < 0 && i < kMaxNames; ++i) {
        aside = path.string() + ".new" + std::to_string(getpid()) + "_" + std::to_string(i);
        descriptor = open(aside.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, old ? 0600 : 0666);
        if (descriptor < 0 && errno != EEXIST) return false;
    }
    OpenFile file(descriptor);
    if (!file.is_open()) return false;
    bool good = write_whole(descriptor, text);
    if (old) {
        // only a process that may give files away can keep the owner; that comes first, as it takes mode bits away
        if (fchown(descriptor, old->st_uid, old->st_gid) != 0) errno = 0;
        good = fchmod(descriptor, old->st_mode & 07777) == 0 && good;
    }
    good = file.close() && good && std::rename(aside.c_str(), path.c_str()) == 0;
    if (!good) unlink(aside.c_str());
    return good;
}

bool set_value(const char* section, const char* key, const char* value, const char* file) {
    if (!can_keep_profile_texts(section, key, value)) return false;
    const fs::path path = without_links(native_path(file));
    struct stat status {};
    const bool exists = stat(path.c_str(), &status) == 0;
    if (!exists) return errno == ENOENT && replace_file(path, set_profile_value("", section, key, value), nullptr);
    const bool read_only = (status.st_mode & ~kNobodyWrites) == 0 || access(path.c_str(), W_OK) != 0;
    const auto contents = read_only ? std::nullopt : read_file(path.string());
    if (!contents) return false;
    const std::string text = set_profile_value(contents->text, section, key, value);
    if (text == contents->text) return true;
    const auto bytes = encode_profile(text, contents->encoding);
    return bytes && bytes->size() <= kMaxBytes && replace_file(path, *bytes, &contents->status);
}

std::string value_or(const char* section, const char* key, const char* otherwise, const char* file) {
    if (const auto contents = read_file(native_path(file))) {
        if (const auto value = find_profile_value(contents->text, section, key)) return std::string(*value);
    }
    const std::string_view text = otherwise ? otherwise : "";
    const auto last = text.find_last_not_of(' ');
    // one that is all blanks keeps the first of them
    return std::string(unquoted(text.substr(0, last == std::string_view::npos ? 1 : last + 1)));
}

}  // namespace
}  // namespace zam::platform

std::uint32_t GetPrivateProfileStringA(const char* section, const char* key, const char* otherwise, char* buffer,
                                       std::uint32_t size, const char* file) {
    if (!buffer || size == 0) return 0;
    buffer[0] = '\0';
    if (!section || !key || !file) return 0;
    try {
        const std::string value = zam::platform::value_or(section, key, otherwise, file);
        const std::size_t length = std::min<std::size_t>(value.size(), size - 1);
        std::memcpy(buffer, value.data(), length);
        buffer[length] = '\0';
        return static_cast<std::uint32_t>(length);
    } catch (const std::exception&) {  // memory is exhausted
        return 0;
    }
}

int WritePrivateProfileStringA(const char* section, const char* key, const char* value, const char* file) {
    if (!section || !key || !value || !file) return 0;
    try {
        return zam::platform::set_value(section, key, value, file) ? 1 : 0;
    } catch (const std::exception&) {
        return 0;
    }
}
