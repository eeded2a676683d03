// What the tests of the runner share: scratch directories, files, runs of the program.
#pragma once

#include <sys/wait.h>

#include <cstdlib>
#include <string>

#include "tests/support/scratch_directory.h"

namespace zam::test {

/// A directory to run the program in.
class Scratch : public ScratchDirectory {
public:
    struct Run {
        int status;
        std::string out, err;
    };
    /// Runs zam in this directory.
    /// @param streams  where its standard output and error go
    /// @param modules  directory of the module library; empty: the project's own
    Run zam(const std::string& arguments, const std::string& streams = ">.out 2>.err",
            const std::string& modules = ZAM_TEST_MODULES) const {
        const std::string command = "cd '" + path() + "' && export ZAM_MODULE_PATH='" + modules +
                                    "' ZAM='" ZAM_PROGRAM "' && \"$ZAM\" </dev/null " + arguments + " " + streams;
        const int status = std::system(command.c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, read(".out"), read(".err")};
    }
};

}  // namespace zam::test
