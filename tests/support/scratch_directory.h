// A directory that lives as long as a test.
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>

namespace zam::test {

class ScratchDirectory {
public:
    ScratchDirectory() {
        std::random_device number;
        do {
            path_ = std::filesystem::temp_directory_path() / ("zam_test_" + std::to_string(number()));
        } while (!std::filesystem::create_directory(path_));
    }
    ScratchDirectory(const ScratchDirectory&) = delete;
    ScratchDirectory& operator=(const ScratchDirectory&) = delete;
    ~ScratchDirectory() { std::filesystem::remove_all(path_); }

    /// With slashes on every system.
    std::string path() const { return path_.generic_string(); }
    std::string file(const std::filesystem::path& name) const { return (path_ / name).generic_string(); }
    bool has(const std::filesystem::path& name) const { return std::filesystem::exists(path_ / name); }
    std::string write(const std::filesystem::path& name, const std::string& text) const {
        std::ofstream(path_ / name, std::ios::binary) << text;
        return file(name);
    }
    std::string read(const std::filesystem::path& name) const {
        std::ifstream in(path_ / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }

private:
    std::filesystem::path path_;
};

}  // namespace zam::test
