#include "platform/directory.h"

#include <io.h>

#include "base/file_handle.h"
#include "platform/windows/wide_text.h"

namespace zam::platform {
namespace {

std::FILE* open_contents(const std::string& name, const wchar_t* mode) {
    FileHandle file(_wfopen(to_wide(name).c_str(), mode));  // directories cannot be opened here
    if (file && GetFileType(reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(file.get())))) == FILE_TYPE_PIPE) return {};
    return file.release();
}

struct CloseSearch {
    void operator()(void* search) const { FindClose(search); }
};

}  // namespace

bool create_directory(const std::string& name) { return CreateDirectoryW(to_wide(name).c_str(), nullptr) != 0; }

bool remove_directory(const std::string& name) { return RemoveDirectoryW(to_wide(name).c_str()) != 0; }

bool delete_file(const std::string& name) { return DeleteFileW(to_wide(name).c_str()) != 0; }

void visit_names(const std::string& directory, const std::function<void(std::string_view)>& visit) {
    WIN32_FIND_DATAW entry{};
    HANDLE first = FindFirstFileW(to_wide(directory + "\\*").c_str(), &entry);
    if (first == INVALID_HANDLE_VALUE) return;
    const std::unique_ptr<void, CloseSearch> search(first);
    do {
        visit(from_wide(entry.cFileName));
    } while (FindNextFileW(search.get(), &entry) != 0);
}

std::FILE* open_to_read(const std::string& name) { return open_contents(name, L"rb"); }

std::FILE* open_to_write(const std::string& name) { return open_contents(name, L"wb"); }

int process_id() { return static_cast<int>(GetCurrentProcessId()); }

}  // namespace zam::platform
