// A directory that lives as long as a test.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace zam::test {

class ScratchDirectory {
public:
    ScratchDirectory() {
        std::string pattern = (std::filesystem::temp_directory_path() / "zam_test_XXXXXX").string();
        path_ = mkdtemp(pattern.data());
    }
    ScratchDirectory(const ScratchDirectory&) = delete;
    ScratchDirectory& operator=(const ScratchDirectory&) = delete;
    ~ScratchDirectory() { std::filesystem::remove_all(path_); }

    std::string path() const { return path_.string(); }
    std::string file(const std::string& name) const { return (path_ / name).string(); }
    bool has(const std::string& name) const { return std::filesystem::exists(path_ / name); }
    std::string write(const std::string& name, const std::string& text) const {
        std::ofstream(path_ / name, std::ios::binary) << text;
        return file(name);
    }
    std::string read(const std::string& name) const {
        std::ifstream in(path_ / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }

private:
    std::filesystem::path path_;
};

}  // namespace zam::test
