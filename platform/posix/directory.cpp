#include "platform/directory.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/posix/listing.h"
#include "platform/posix/path.h"

namespace zam::platform {
namespace {

constexpr mode_t kDirectoryMode = 0777;  // less what the user's mask takes away
constexpr mode_t kFileMode = 0666;

std::FILE* open_contents(const std::string& name, int flags, const char* mode) {
    // without O_NONBLOCK, opening a pipe waits for its other end
    const int handle = ::open(native_path(name).c_str(), flags | O_NONBLOCK | O_CLOEXEC, kFileMode);
    if (handle < 0) return nullptr;
    struct stat status {};
    const bool has_contents = fstat(handle, &status) == 0 && (S_ISREG(status.st_mode) || S_ISCHR(status.st_mode));
    std::FILE* file = has_contents && fcntl(handle, F_SETFL, 0) == 0 ? fdopen(handle, mode) : nullptr;
    if (!file) ::close(handle);
    return file;
}

}  // namespace

bool create_directory(const std::string& name) { return mkdir(native_path(name).c_str(), kDirectoryMode) == 0; }

bool remove_directory(const std::string& name) { return rmdir(native_path(name).c_str()) == 0; }

bool delete_file(const std::string& name) { return unlink(native_path(name).c_str()) == 0; }

void visit_names(const std::string& directory, const std::function<void(std::string_view)>& visit) {
    const Listing open = open_listing(native_path(directory));
    if (!open) return;
    while (const dirent* entry = readdir(open.get())) visit(entry->d_name);
}

std::FILE* open_to_read(const std::string& name) { return open_contents(name, O_RDONLY, "rb"); }

std::FILE* open_to_write(const std::string& name) { return open_contents(name, O_WRONLY | O_CREAT | O_TRUNC, "wb"); }

int process_id() { return static_cast<int>(getpid()); }

}  // namespace zam::platform
