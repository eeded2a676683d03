// What the program says on standard error: reports of modules, its own errors, the progress line.
#pragma once

#include <string>
#include <string_view>

#include "embedded/host.h"

namespace zam::runner {

class Console {
public:
    /// @param progress  whether a progress line is wanted; it appears on terminals only
    explicit Console(bool progress);
    ~Console() { clear_progress(); }
    Console(const Console&) = delete;
    Console& operator=(const Console&) = delete;

    /// Prints a module's report, or shows its progress.
    void show(const host::Record& record);
    /// "zam: error: TEXT"
    void error(std::string_view text);
    /// "zam: MODULE: error: TEXT"
    void module_error(std::string_view module, std::string_view text);
    /// Takes the progress line away.
    void clear_progress();

    /// Whether any error was printed.
    bool failed() const { return failed_; }

private:
    void print(std::string_view module, std::string_view severity, std::string_view text);
    void show_progress(const host::Record& record);

    bool progress_;
    std::string line_;  // the progress line that is shown
    bool failed_ = false;
};

/// Whether a report is a warning by its flag word.
bool is_warning(const host::Record& record);

}  // namespace zam::runner
