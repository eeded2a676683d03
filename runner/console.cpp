#include "runner/console.h"

#include <algorithm>
#include <cstdio>
#include <iostream>

#if defined(_WIN32)
#include <io.h>
#else
#include <unistd.h>
#endif

namespace zam::runner {
namespace {

constexpr int kWarningFlags = 16;
constexpr std::size_t kLongestProgressText = 60;

bool standard_error_is_terminal() {
#if defined(_WIN32)
    return _isatty(2) != 0;
#else
    return isatty(STDERR_FILENO) != 0;
#endif
}

/// What modules printed comes before what is said about them.
void flush_standard_output() {
    std::cout.flush();
    std::fflush(stdout);
}

}  // namespace

bool is_warning(const host::Record& record) {
    return record.call != "ERRout_of_memory" && record.flags == kWarningFlags;
}

Console::Console(bool progress) : progress_(progress && standard_error_is_terminal()) {}

void Console::print(std::string_view module, std::string_view severity, std::string_view text) {
    if (text.ends_with('\n')) text.remove_suffix(1);
    std::string line = "zam: ";
    if (!module.empty()) line.append(module).append(": ");
    line.append(severity).append(": ").append(text).append("\n");
    clear_progress();
    flush_standard_output();
    std::fwrite(line.data(), 1, line.size(), stderr);
}

void Console::show(const host::Record& record) {
    if (record.what == host::Record::What::status) return show_progress(record);
    const bool warning = is_warning(record);
    print(record.module, warning ? "warning" : "error", record.text);
    failed_ = failed_ || !warning;
}

void Console::error(std::string_view text) { module_error("", text); }

void Console::module_error(std::string_view module, std::string_view text) {
    print(module, "error", text);
    failed_ = true;
}

void Console::show_progress(const host::Record& record) {
    if (!progress_) return;
    const int width = record.range_high - record.range_low;
    const int percent = record.range_low + width * std::clamp(record.percent, 0, 100) / 100;
    std::string text = record.text.substr(0, kLongestProgressText);
    std::replace_if(
        text.begin(), text.end(), [](unsigned char c) { return c < 0x20; }, ' ');
    const std::string line = record.module + ": " + std::to_string(percent) + " % " + text;
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
