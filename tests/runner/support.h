// What the tests of the runner share: scratch directories, files, runs of the program.
#pragma once

#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

namespace zam::test {

/// A directory that lives as long as a test.
class Scratch {
public:
    Scratch() {
        std::string pattern = (std::filesystem::temp_directory_path() / "zam_runner_XXXXXX").string();
        path_ = mkdtemp(pattern.data());
    }
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;
    ~Scratch() { std::filesystem::remove_all(path_); }

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

    struct Run {
        int status;
        std::string out, err;
    };
    /// Runs zam with the test modules in this directory.
    /// @param streams  where its standard output and error go
    Run zam(const std::string& arguments, const std::string& streams = ">.out 2>.err") const {
        const std::string command = "cd '" + path_.string() +
                                    "' && ZAM_MODULE_PATH='" ZAM_TEST_MODULES "' '" ZAM_PROGRAM "' " + arguments +
                                    " </dev/null " + streams;
        const int status = std::system(command.c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, read(".out"), read(".err")};
    }
    /// Runs a network given as text.
    Run run(const std::string& network, const std::string& options = "") const {
        write("n.json", network);
        return zam("run n.json " + options);
    }

private:
    std::filesystem::path path_;
};

}  // namespace zam::test
