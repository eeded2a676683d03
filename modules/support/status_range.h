// Progress: a part of the current stretch of work, and its end.
#pragma once

#include "contract/om.h"

namespace zam {

class StatusRange {
public:
    StatusRange(int low, int high) { OMpush_status_range(low, high); }
    ~StatusRange() { OMpop_status_range(); }
    StatusRange(const StatusRange&) = delete;
    StatusRange& operator=(const StatusRange&) = delete;

    /// Percentage within this stretch. The interrupt request is read and left: modules run to their end.
    void done(int percent) const {
        int interrupt = 0;
        OMstatus_check(percent, nullptr, &interrupt);
    }
};

/// Reports, when its scope ends, that a module has come to rest.
struct IdleAtEnd {
    ~IdleAtEnd() { OMstatus_check(100, "<idle>", nullptr); }
};

}  // namespace zam
