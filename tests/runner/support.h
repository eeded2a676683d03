// What the tests of the runner share: scratch directories, files, runs of the program. Variables of the environment
// name another program and its test modules, which cannot run the shell's commands itself.
#pragma once

#if !defined(_WIN32)
#include <sys/wait.h>
#endif

#include <cstdlib>
#include <string>

#include "tests/support/scratch_directory.h"

namespace zam::test {

/// The text of a variable, or else what was built with this.
inline std::string variable_or(const char* variable, const char* otherwise) {
    const char* text = std::getenv(variable);
    return text ? text : otherwise;
}
inline std::string program() { return variable_or("ZAM_TEST_PROGRAM", ZAM_PROGRAM); }
inline std::string test_modules() { return variable_or("ZAM_TEST_MODULE_DIR", ZAM_TEST_MODULES); }

#if !defined(_WIN32)
/// A directory to run the program in.
class Scratch : public ScratchDirectory {
public:
    struct Run {
        int status;
        std::string out, err;
    };
    /// Runs zam in this directory.
    /// @param streams  where its standard output and error go
    /// @param modules  directory of plug-ins; empty: none
    Run zam(const std::string& arguments, const std::string& streams = ">.out 2>.err",
            const std::string& modules = test_modules()) const {
        const std::string command = "cd '" + path() + "' && export ZAM_MODULE_PATH='" + modules + "' ZAM='" +
                                    program() + "' && \"$ZAM\" </dev/null " + arguments + " " + streams;
        const int status = std::system(command.c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, read(".out"), read(".err")};
    }
};
#endif

}  // namespace zam::test
