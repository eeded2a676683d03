#include "runner/serve/history.h"

namespace zam::runner {
namespace {

constexpr std::size_t kMaxSteps = 500;
constexpr std::size_t kMaxBytes = std::size_t{32} << 20;

}  // namespace

std::size_t History::Step::bytes() const {
    std::size_t sum = 0;
    for (const auto* values : {&before, &after}) {
        for (const auto& [target, value] : *values) sum += target.size() + value.size();
    }
    return sum;
}

void History::note(const WrittenValues& before, const WrittenValues& after, std::int64_t gesture) {
    steps_.resize(now_);
    if (now_ == 0 || gesture == 0 || steps_.back().gesture != gesture) {
        steps_.push_back({{}, {}, gesture});
        ++now_;
    }
    Step& step = steps_.back();
    step.before.insert(before.begin(), before.end());  // those of the gesture's first change stay
    for (const auto& [target, value] : after) step.after[target] = value;
    forget_oldest();
}

void History::forget_oldest() {
    std::size_t bytes = 0;
    for (const auto& step : steps_) bytes += step.bytes();
    while (steps_.size() > kMaxSteps || (bytes > kMaxBytes && steps_.size() > 1)) {
        bytes -= steps_.front().bytes();
        steps_.pop_front();
        --now_;
    }
}

std::optional<WrittenValues> History::undo() {
    if (!can_undo()) return std::nullopt;
    steps_[--now_].gesture = 0;
    return steps_[now_].before;
}

std::optional<WrittenValues> History::redo() {
    if (!can_redo()) return std::nullopt;
    return steps_[now_++].after;
}

}  // namespace zam::runner
