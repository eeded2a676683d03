#include "embedded/events.h"

#include <algorithm>
#include <limits>

#include "embedded/host_state.h"

namespace zam::host {
namespace {

/// a + b for b >= 0, at most the largest time there is.
std::int64_t later(std::int64_t a, std::int64_t b) {
    constexpr std::int64_t kEnd = std::numeric_limits<std::int64_t>::max();
    return a > kEnd - b ? kEnd : a + b;
}

}  // namespace

void Events::add(const Registration& registration) {
    pending_.push_back({registration, later(clock_, registration.interval)});
}

bool Events::remove(const Registration& registration) {
    const auto found = std::find_if(pending_.begin(), pending_.end(),
                                    [&](const Pending& pending) { return pending.registration == registration; });
    if (found == pending_.end()) return false;
    pending_.erase(found);
    return true;
}

std::list<Events::Pending>::iterator Events::earliest() {
    return std::min_element(pending_.begin(), pending_.end(),
                            [](const Pending& a, const Pending& b) { return a.due < b.due; });
}

void Events::advance(std::int64_t units) {
    if (units <= 0) return;
    const std::int64_t outer = target_;
    const std::int64_t target = later(clock_, units);
    target_ = std::max(target, outer);  // a callback that advances the clock does not cut the outer call short
    for (auto next = earliest(); next != pending_.end() && next->due <= target; next = earliest()) {
        if (next->due == std::numeric_limits<std::int64_t>::max()) break;
        clock_ = std::max(clock_, next->due);
        next->due = later(next->due, next->registration.interval);
        const Registration called = next->registration;  // the callback may remove its own registration
        called.callback(called.object);
    }
    clock_ = std::max(clock_, target);
    target_ = std::max(outer, clock_);
}

void Events::flush() {
    for (Pending& pending : pending_) {
        if (pending.due > target_) continue;
        const std::int64_t interval = pending.registration.interval;
        pending.due += (target_ - pending.due) / interval * interval;  // the last one dropped
        pending.due = later(pending.due, interval);
    }
}

std::optional<std::int64_t> Events::next_due() const {
    std::optional<std::int64_t> soonest;
    for (const Pending& pending : pending_) {
        const std::int64_t wait = std::max<std::int64_t>(pending.due - clock_, 0);
        soonest = std::min(soonest.value_or(wait), wait);
    }
    return soonest;
}

void Events::reset() {
    pending_.clear();
    clock_ = 0;
    target_ = 0;
}

}  // namespace zam::host

using namespace zam::host;

namespace {

Events::Registration registration(int source, EVcallback callback, int mask, void* object, int interval) {
    return {source, callback, mask, object, std::max(interval, 1)};
}

}  // namespace

int EVadd_select(int kind, int source, EVcallback callback, int mask, void* object, int interval) {
    return status(__func__, [&] {
        if (kind != EV_PERIODIC || !callback) return false;
        state().events.add(registration(source, callback, mask, object, interval));
        return true;
    });
}

int EVdel_select(int kind, int source, EVcallback callback, int mask, void* object, int interval) {
    return status(__func__, [&] {
        return kind == EV_PERIODIC && state().events.remove(registration(source, callback, mask, object, interval));
    });
}

void EVflush_events(void) { state().events.flush(); }
