// The frame that every operation of the contract runs in.
#pragma once

#include <cstdint>
#include <exception>
#include <string>
#include <string_view>
#include <utility>

#include "contract/types.h"

namespace zam::host {

/// The switch that makes one call of an operation fail.
class CallSwitch {
public:
    /// As zam::host::fail_call.
    void set(std::string_view operation, std::int64_t n);
    /// Whether this call of `operation` is the one. Operations without a status count only when they are named.
    bool strikes(std::string_view operation, bool has_status);
    bool has_struck() const { return struck_; }

private:
    std::string operation_;
    std::int64_t left_ = 0;
    bool struck_ = false;
};

CallSwitch& call_switch();

/// Runs an operation whose failing result is `failure`. Nothing is thrown across the contract: memory that runs out
/// inside the host is a failing call.
template <class Result, class Body>
Result answer(std::string_view operation, Result failure, bool has_status, Body&& body) {
    if (call_switch().strikes(operation, has_status)) return failure;
    try {
        return std::forward<Body>(body)();
    } catch (const std::exception&) {
        return failure;
    }
}

/// Runs an operation with a status; `body` says whether it succeeded.
template <class Body>
int status(std::string_view operation, Body&& body) {
    return answer(operation, int{OM_STAT_FAILURE}, true,
                  [&] { return body() ? int{OM_STAT_SUCCESS} : int{OM_STAT_FAILURE}; });
}

/// Fills the place of a result, if there is one.
template <class T, class U>
bool give(T* place, U&& value) {
    if (!place) return false;
    *place = std::forward<U>(value);
    return true;
}

/// Copies a text into a buffer of `size` bytes, cut to fit, always terminated.
bool give_text(char* buffer, int size, std::string_view text);

}  // namespace zam::host
