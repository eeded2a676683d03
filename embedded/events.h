// Periodic events on a virtual clock.
#pragma once

#include <cstdint>
#include <list>
#include <optional>

#include "contract/ev.h"

namespace zam::host {

class Events {
public:
    struct Registration {
        int source;
        EVcallback callback;
        int mask;
        void* object;
        int interval;
        bool operator==(const Registration&) const = default;
    };

    void add(const Registration& registration);
    bool remove(const Registration& registration);

    /// Moves the clock on by `units`, calling what falls due: in order of due time, at one time in order of
    /// registration. Callbacks may add and remove registrations.
    void advance(std::int64_t units);
    /// Drops the calls that the running advance() has yet to make.
    void flush();
    /// Units until the next call.
    std::optional<std::int64_t> next_due() const;

    void reset();

private:
    struct Pending {
        Registration registration;
        std::int64_t due;
    };
    std::list<Pending>::iterator earliest();

    std::list<Pending> pending_;  // in order of registration
    std::int64_t clock_ = 0;
    std::int64_t target_ = 0;  // where the running advance() ends; the clock if none runs
};

}  // namespace zam::host
