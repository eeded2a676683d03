// The record of host calls: one JSON object per line, in the order of the calls, each line flushed.
#pragma once

#include <string>

#include "base/file_handle.h"
#include "embedded/host.h"

namespace zam::session {

class CallLog {
public:
    /// @return false if the file cannot be written
    bool open(const std::string& file);

    void update(const std::string& module, const std::string& entry);
    void result(const std::string& module, const std::string& entry, int result);
    void record(const host::Record& record);

    /// Whether every line went to the file so far; true without a file.
    bool good() const { return good_; }

private:
    template <class Json>
    void line(const Json& json);

    FileHandle file_;
    bool good_ = true;
};

}  // namespace zam::session
