// What the program says on standard error: reports of modules, its own errors, the progress line. It listens to
// sessions and to networks of the session library.
#pragma once

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

#include "session/run/listener.h"

namespace zam {
struct Callbacks;
struct Report;
}  // namespace zam

namespace zam::runner {

/// Who speaks for the program where it is one of several that work together.
class Voice {
public:
    virtual ~Voice() = default;
    /// One or more whole lines, which standard error would get.
    virtual void say(std::string_view lines) = 0;
    /// What a progress line would show.
    virtual void progress(std::string_view text) = 0;
    /// Called often while modules run.
    virtual void tick() = 0;
};

/// From now on the program speaks through a voice; borrowed. Null: on standard error.
void speak_through(Voice* voice);

class Console : public session::Listener {
public:
    /// @param progress  whether a progress line is wanted; it appears on terminals only, or is a voice's
    /// @param file      what all is about: named in the place of modules, and each text is brought into one line, as
    ///                  bytes of the file may stand in it. Empty: texts stand as they are
    explicit Console(bool progress, std::string file = {});
    ~Console() override { clear_progress(); }
    Console(const Console&) = delete;
    Console& operator=(const Console&) = delete;

    /// Lets a network of zam/session.h tell this console all; borrowed.
    Callbacks callbacks();

    /// Prints a module's report, or shows its progress.
    void record(const host::Record& record) override;
    /// "zam: error: TEXT"
    void error(std::string_view text) override;
    /// "zam: MODULE: error: TEXT"
    void module_error(std::string_view module, std::string_view text) override;
    /// "zam: note: TEXT"
    void note(std::string_view text) override { print("", "note: ", text); }
    /// "zam: FILE: not written: MODULE failed"
    void not_written(std::string_view file, std::string_view failed_module) override;
    void call_ended() override { clear_progress(); }
    void wrote(std::string_view output) override;
    /// On a terminal: "wrote FILE SIZE" for every output.
    void list_written();
    /// "zam: warning: TEXT"
    void warning(std::string_view text);
    /// Whether any error was printed.
    bool failed() const { return failed_; }

private:
    void clear_progress();
    void print(std::string_view module, std::string_view severity, std::string_view text);
    void print(const Report& report);
    void show_progress(std::string_view module, int percent, std::string_view text);

    bool progress_;
    std::string file_;
    std::string line_;  // the progress line that is shown
    std::vector<std::string> written_;
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
    bool failed_ = false;
};

/// "zam: error: TEXT"
void print_error(std::string_view text);

/// What is wrong with a network or with definitions, a line per problem.
void print_problems(const std::string& text);

/// A line on the standard output: what is told of a file, and a text.
void print_fact(std::string_view what, const std::string& text);

/// What switches a terminal to the colour of errors, warnings or notes, and with any other text back. Empty where
/// standard error is no terminal, or NO_COLOR asks for none.
const char* color_of(std::string_view severity);

/// A text for one line of a terminal: unprintable bytes become \xHH, quotations are cut to 60 bytes.
std::string one_line(std::string_view text);

/// Discards what is written to the standard output as long as it lives.
class SilentOutput {
public:
    SilentOutput();
    ~SilentOutput();
    SilentOutput(const SilentOutput&) = delete;
    SilentOutput& operator=(const SilentOutput&) = delete;

private:
    int saved_;  // descriptor of the standard output; negative: it could not be taken away
};

/// Keeps the standard output for outputs named "-" as long as it lives: what modules print goes to standard error.
class StandardOutputForFiles {
public:
    StandardOutputForFiles();
    ~StandardOutputForFiles();
    StandardOutputForFiles(const StandardOutputForFiles&) = delete;
    StandardOutputForFiles& operator=(const StandardOutputForFiles&) = delete;

private:
    std::FILE* saved_;  // null: it could not be taken away
};

}  // namespace zam::runner
