// A directory that lives as long as a test.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace zam::test {

struct ScratchDirectory {
    ScratchDirectory() {
        std::string pattern = (std::filesystem::temp_directory_path() / "zam_joystick_XXXXXX").string();
        path = mkdtemp(pattern.data());
    }
    ScratchDirectory(const ScratchDirectory&) = delete;
    ScratchDirectory& operator=(const ScratchDirectory&) = delete;
    ~ScratchDirectory() { std::filesystem::remove_all(path); }

    std::string file(const std::string& name) const { return path + "/" + name; }
    std::string write(const std::string& name, const std::string& text) const {
        std::ofstream(file(name), std::ios::binary) << text;
        return file(name);
    }
    std::string read(const std::string& name) const {
        std::ifstream in(file(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }
    std::string path;
};

}  // namespace zam::test
