#include "embedded/reports.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>

#include "contract/err.h"
#include "contract/om.h"
#include "embedded/host_state.h"

namespace zam::host {
namespace {

// Stretches nest as deep as calls do; more is a module that forgets to end them.
constexpr std::size_t kMaxRanges = 1000;

std::string format_text(const char* format, va_list arguments) ZAM_PRINTF_LIKE(1, 0);

std::string format_text(const char* format, va_list arguments) {
    va_list measured;
    va_copy(measured, arguments);
    const int length = format ? std::vsnprintf(nullptr, 0, format, measured) : 0;
    va_end(measured);
    if (length <= 0) return {};
    std::string text(static_cast<std::size_t>(length) + 1, '\0');
    std::vsnprintf(text.data(), text.size(), format, arguments);
    text.pop_back();  // the terminator
    return text;
}

}  // namespace

void Reports::set_module(std::string_view name) {
    module_ = name;
    ranges_.clear();
    cancelled_ = false;
}

void Reports::report(const char* call, const char* label, int flags, std::string text) const {
    if (!recorder_) return;
    Record record{Record::What::report, module_, call, label ? label : "", flags, std::move(text), true};
    recorder_(record);
}

void Reports::progress(int percent, const char* text) const {
    if (!recorder_) return;
    Record record{Record::What::status, module_, "OMstatus_check", "", 0, text ? text : "", text != nullptr, percent};
    record.range_low = static_cast<int>(std::lround(current().low));
    record.range_high = static_cast<int>(std::lround(current().high));
    recorder_(record);
}

bool Reports::push_range(int low, int high) {
    if (ranges_.size() >= kMaxRanges) return false;
    const Range whole = current();
    const auto share = [&](int percent) {
        return whole.low + (whole.high - whole.low) * std::clamp(percent, 0, 100) / 100.0;
    };
    ranges_.push_back({share(low), share(high)});
    return true;
}

bool Reports::pop_range() {
    if (ranges_.empty()) return false;
    ranges_.pop_back();
    return true;
}

}  // namespace zam::host

using namespace zam::host;

void ERRverror(const char* label, int flags, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    state().reports.report("ERRverror", label, flags, format_text(format, arguments));
    va_end(arguments);
}

void ERRerror(const char* label, int /*argument_count*/, int flags, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    state().reports.report("ERRerror", label, flags, format_text(format, arguments));
    va_end(arguments);
}

void ERRout_of_memory(const char* text) { state().reports.report("ERRout_of_memory", "", 0, text ? text : ""); }

int OMpush_status_range(int low, int high) {
    return status(__func__, [&] { return state().reports.push_range(low, high); });
}

int OMpop_status_range(void) {
    return status(__func__, [&] { return state().reports.pop_range(); });
}

int OMstatus_check(int percent, const char* text, int* interrupt) {
    const int result = status(__func__, [&] {
        state().reports.progress(percent, text);
        if (interrupt) *interrupt = state().reports.interrupt() ? 1 : 0;
        return true;
    });
    // where no interrupt is asked for may be a destructor
    if (interrupt && state().reports.is_cancelled()) throw CallCancelled();
    return result;
}
