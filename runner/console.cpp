#include "runner/console.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <iostream>

#include <utility>

#include "session/outputs/output_file.h"
#include "zam/session.h"

#include <fcntl.h>
#if defined(_WIN32)
#include <io.h>
#else
#include <unistd.h>
#endif

namespace zam::runner {
namespace {

constexpr std::size_t kMaxProgressText = 60;
constexpr std::size_t kMaxQuote = 60;
constexpr std::size_t kMaxWritten = 20;        // outputs that are listed
constexpr std::chrono::seconds kQuietTime{2};  // what ends sooner needs no progress line

#if defined(_WIN32)
bool standard_error_is_terminal() { return _isatty(2) != 0; }
std::FILE* open_descriptor(int descriptor) { return _fdopen(descriptor, "wb"); }
int open_nothing() { return _open("NUL", _O_WRONLY); }
int duplicate(int descriptor) { return _dup(descriptor); }
void duplicate(int from, int to) { _dup2(from, to); }
void close_descriptor(int descriptor) { _close(descriptor); }
#else
bool standard_error_is_terminal() { return isatty(STDERR_FILENO) != 0; }
std::FILE* open_descriptor(int descriptor) { return fdopen(descriptor, "wb"); }
int open_nothing() { return open("/dev/null", O_WRONLY | O_CLOEXEC); }
int duplicate(int descriptor) { return dup(descriptor); }
void duplicate(int from, int to) { dup2(from, to); }
void close_descriptor(int descriptor) { close(descriptor); }
#endif
constexpr int kStandardOutput = 1;
constexpr int kStandardError = 2;

Voice* speaker = nullptr;  // null: standard error

void say(const std::string& lines) {
    if (speaker) return speaker->say(lines);
    std::fwrite(lines.data(), 1, lines.size(), stderr);
}

/// Flushes what modules printed, so that it comes before what is said about them.
void flush_standard_output() {
    std::cout.flush();
    std::fflush(stdout);
}

/// Length of the UTF-8 character that a text begins with; 0 if it begins with none, or with one that does not print.
std::size_t printable_length(std::string_view text) {
    const auto byte = [&](std::size_t i) { return i < text.size() ? static_cast<unsigned char>(text[i]) : 0U; };
    const unsigned lead = byte(0);
    if (lead < 0x80) return lead >= 0x20 && lead != 0x7F ? 1 : 0;
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC2 || lead > 0xF4 || (lead == 0xC2 && byte(1) < 0xA0)) return 0;  // U+0080 to U+009F are controls
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xC0) != 0x80) return 0;
    }
    return length;
}

/// A text without its line end.
std::string_view without_end(std::string_view text) {
    return text.substr(0, text.size() - (text.ends_with('\n') ? 1 : 0));
}

/// What stands between the first quote and the last one, cut.
std::string with_short_quote(std::string_view text) {
    const auto begin = text.find('"') + 1;
    const auto end = text.rfind('"');
    if (begin == 0 || end <= begin + kMaxQuote) return std::string(text);
    return std::string(text.substr(0, begin + kMaxQuote)) + "..." + std::string(text.substr(end));
}

}  // namespace

std::string one_line(std::string_view text) {
    text = text.substr(0, text.find_last_not_of("\r\n") + 1);
    const std::string shortened = with_short_quote(text);
    std::string line;
    for (std::string_view rest = shortened; !rest.empty();) {
        const std::size_t length = printable_length(rest);
        if (length > 0) {
            line.append(rest.substr(0, length));
        } else {
            std::array<char, 8> code{};
            std::snprintf(code.data(), code.size(), "\\x%02X",
                          static_cast<unsigned>(static_cast<unsigned char>(rest[0])));
            line.append(code.data());
        }
        rest.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return line;
}

SilentOutput::SilentOutput() : saved_(-1) {
    flush_standard_output();
    const int nothing = open_nothing();
    if (nothing < 0) return;
    saved_ = duplicate(kStandardOutput);
    if (saved_ >= 0) duplicate(nothing, kStandardOutput);
    close_descriptor(nothing);
}

SilentOutput::~SilentOutput() {
    flush_standard_output();
    if (saved_ < 0) return;
    duplicate(saved_, kStandardOutput);
    close_descriptor(saved_);
}

StandardOutputForFiles::StandardOutputForFiles() : saved_(nullptr) {
    flush_standard_output();
    const int descriptor = duplicate(kStandardOutput);
    if (descriptor < 0) return;
    saved_ = open_descriptor(descriptor);
    if (saved_) {
        duplicate(kStandardError, kStandardOutput);
        session::set_standard_output(saved_);
    } else {
        close_descriptor(descriptor);
    }
}

StandardOutputForFiles::~StandardOutputForFiles() {
    flush_standard_output();
    session::set_standard_output(nullptr);
    if (saved_) std::fclose(saved_);  // outputs were flushed one by one
}

void print_fact(std::string_view what, const std::string& text) {
    std::printf("%-11.*s %s\n", static_cast<int>(what.size()), what.data(), text.c_str());
}

void speak_through(Voice* voice) { speaker = voice; }

void print_error(std::string_view text) {
    say(std::string("zam: ") + color_of("error") + "error:" + color_of("") + " " + std::string(text) + "\n");
}

const char* color_of(std::string_view severity) {
    const char* const no_color = std::getenv("NO_COLOR");
    const char* const terminal = std::getenv("TERM");
    const bool plain = (no_color && *no_color) || (terminal && std::string_view(terminal) == "dumb");
    if (plain || !standard_error_is_terminal()) return "";
    if (severity == "error" || severity == "not written") return "\033[31m";
    if (severity == "warning") return "\033[33m";
    return severity == "note" ? "\033[36m" : "\033[0m";
}

void print_problems(const std::string& text) { say(color_of("error") + text + "\n" + color_of("")); }

Console::Console(bool progress, std::string file)
    : progress_(progress && (speaker || standard_error_is_terminal())), file_(std::move(file)) {}

void Console::print(std::string_view module, std::string_view severity, std::string_view text) {
    const std::string about = file_.empty() ? std::string(module) : one_line(file_);
    std::string line = "zam: ";
    if (!about.empty()) line.append(about).append(": ");
    const auto word = severity.substr(0, severity.find(':'));
    line.append(color_of(word)).append(word).append(":").append(color_of("")).append(" ");
    line.append(file_.empty() ? std::string(text) : one_line(text)).append("\n");
    clear_progress();
    flush_standard_output();
    say(line);
}

void Console::print(const Report& report) {
    using Severity = Report::Severity;
    failed_ = failed_ || report.severity == Severity::Error;
    const std::string_view word = report.severity == Severity::Error     ? "error"
                                  : report.severity == Severity::Warning ? "warning"
                                                                         : "note";
    if (report.not_written.empty()) return print(report.module, word, report.text);
    const std::string_view failure = "not written";
    const std::string_view text = report.text;
    print(report.not_written, failure, text.substr(report.not_written.size() + failure.size() + 4));
}

Callbacks Console::callbacks() {
    return {.report = [this](const Report& report) { print(report); },
            .progress =
                [this](const Progress& progress) {
                    if (!progress.begins) show_progress(progress.module, progress.percent, progress.text);
                    return true;
                },
            .written = [this](std::string_view output) { wrote(output); },
            .call_ended = [this] { clear_progress(); }};
}

void Console::record(const host::Record& record) {
    if (record.what == host::Record::What::status)
        return show_progress(record.module, session::percent_of_call(record), record.text);
    const bool warning = session::is_warning(record);
    print(record.module, warning ? "warning: " : "error: ", without_end(record.text));
    failed_ = failed_ || !warning;
}

void Console::error(std::string_view text) { module_error("", text); }

void Console::module_error(std::string_view module, std::string_view text) {
    print(module, "error: ", without_end(text));
    failed_ = true;
}

void Console::not_written(std::string_view file, std::string_view failed_module) {
    print(file, "not written: ", std::string(failed_module) + " failed");
    failed_ = true;
}

void Console::warning(std::string_view text) { print("", "warning: ", text); }

void Console::wrote(std::string_view output) {
    const bool known = std::find(written_.begin(), written_.end(), output) != written_.end();
    if (progress_ && !speaker && !output.empty() && !known) written_.emplace_back(output);
}

void Console::list_written() {
    const std::size_t shown = std::min(written_.size(), kMaxWritten);
    flush_standard_output();
    for (std::size_t i = 0; i < shown; ++i) std::fprintf(stderr, "wrote %s\n", written_[i].c_str());
    if (shown < written_.size()) std::fprintf(stderr, "wrote %zu more\n", written_.size() - shown);
    written_.clear();
}

void Console::show_progress(std::string_view module, int percent, std::string_view status) {
    if (speaker) speaker->tick();
    if (!progress_) return;
    const auto elapsed = std::chrono::steady_clock::now() - start_;
    if (elapsed < kQuietTime) return;
    std::string text(status.substr(0, kMaxProgressText));
    std::replace_if(
        text.begin(), text.end(), [](unsigned char c) { return c < 0x20; }, ' ');
    const std::string line = std::string(module) + ": " + std::to_string(percent) + " %, " +
                             std::to_string(std::chrono::duration_cast<std::chrono::seconds>(elapsed).count()) + " s" +
                             (text.empty() ? "" : ", " + text);
    if (speaker) return speaker->progress(line);
    if (line == line_) return;  // modules call far more often than a person can see
    line_ = line;
    std::fprintf(stderr, "\r\033[K%s", line.c_str());
    std::fflush(stderr);
}

void Console::clear_progress() {
    if (line_.empty()) return;
    std::fputs("\r\033[K", stderr);
    std::fflush(stderr);
    line_.clear();
}

}  // namespace zam::runner
