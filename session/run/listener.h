// Who hears what happens in a run: the program prints it, other users of a session do as they like.
#pragma once

#include <algorithm>
#include <string_view>

#include "embedded/host.h"

namespace zam::session {

/// Whether a report is a warning by its flag word.
inline bool is_warning(const host::Record& record) {
    constexpr int kWarningFlags = 16;
    return record.call != "ERRout_of_memory" && record.flags == kWarningFlags;
}

/// Percent of a module's call that a record of progress tells.
inline int percent_of_call(const host::Record& record) {
    const int width = record.range_high - record.range_low;
    return record.range_low + width * std::clamp(record.percent, 0, 100) / 100;
}

class Listener {
public:
    virtual ~Listener() = default;

    /// A report of a module, or its progress.
    virtual void record(const host::Record& record) = 0;
    /// What went wrong outside any module.
    virtual void error(std::string_view text) = 0;
    /// What went wrong with a module besides its own reports.
    virtual void module_error(std::string_view module, std::string_view text) = 0;
    /// What a user should know that is no fault.
    virtual void note(std::string_view text) = 0;
    /// An output is not written because a module has failed, which has been told.
    virtual void not_written(std::string_view file, std::string_view failed_module) = 0;
    /// A module is about to run. False ends the run.
    virtual bool run_begins(std::string_view /*module*/) { return true; }
    /// Whether the run goes on. Asked when a module has told of its progress, and at the end.
    virtual bool goes_on() { return true; }
    /// A call of a module has ended; its progress is over.
    virtual void call_ended() = 0;
    /// An output was written: its file and size, as write_output() gives them.
    virtual void wrote(std::string_view /*output*/) {}
};

}  // namespace zam::session
