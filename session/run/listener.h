// Who hears what happens in a run: the program prints it, other users of a session do as they like.
#pragma once

#include <string_view>

#include "embedded/host.h"

namespace zam::session {

class Listener {
public:
    virtual ~Listener() = default;

    /// A report of a module, or its progress.
    virtual void record(const host::Record& record) = 0;
    /// What went wrong outside any module.
    virtual void error(std::string_view text) = 0;
    /// What went wrong with a module besides its own reports.
    virtual void module_error(std::string_view module, std::string_view text) = 0;
    /// A call of a module has ended; its progress is over.
    virtual void call_ended() = 0;
};

}  // namespace zam::session
