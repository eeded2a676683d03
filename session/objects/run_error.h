// What stops a part of a run: a value that cannot be made, an output that cannot be written.
#pragma once

#include <stdexcept>

namespace zam::session {

class RunError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A run has ended before its time because the listener wanted it to.
class RunCancelled : public std::runtime_error {
public:
    RunCancelled() : std::runtime_error("the run was cancelled") {}
};

/// For steps that only fail if memory is exhausted or a test makes a host call fail.
inline void require(bool done, const char* what) {
    if (!done) throw RunError(what);
}

}  // namespace zam::session
