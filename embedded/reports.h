// Reports of failures, and progress of modules.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "embedded/host.h"

namespace zam::host {

class Reports {
public:
    void set_recorder(std::function<void(const Record&)> recorder) { recorder_ = std::move(recorder); }
    /// Also forgets stretches that the previous module left open.
    void set_module(std::string_view name);
    void set_interrupt(bool requested) { interrupt_ = requested; }
    bool interrupt() const { return interrupt_; }
    void cancel() { cancelled_ = true; }
    bool is_cancelled() const { return cancelled_; }

    void report(const char* call, const char* label, int flags, std::string text) const;
    void progress(int percent, const char* text) const;

    bool push_range(int low, int high);
    bool pop_range();

private:
    struct Range {  // percent of the whole
        double low = 0.0;
        double high = 100.0;
    };
    Range current() const { return ranges_.empty() ? Range{} : ranges_.back(); }

    std::function<void(const Record&)> recorder_;
    std::string module_;
    std::vector<Range> ranges_;
    bool interrupt_ = false;
    bool cancelled_ = false;  // the call that runs now
};

}  // namespace zam::host
