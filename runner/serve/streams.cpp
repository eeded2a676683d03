#include "runner/serve/streams.h"

#include <algorithm>
#include <iterator>
#include <utility>
#include <vector>

namespace zam::runner {
namespace {

constexpr std::chrono::seconds kKeepAlive{5};  // after which a page that has gone is noticed

}  // namespace

std::shared_ptr<Streams::Subscription> Streams::subscribe() {
    const std::scoped_lock lock(mutex_);
    if (count_ >= kMaxStreams || ended_) return nullptr;
    auto subscription = std::make_shared<Subscription>(*this);
    ++count_;
    return subscription;
}

Streams::Subscription::~Subscription() {
    const std::scoped_lock lock(streams_.mutex_);
    --streams_.count_;
}

void Streams::publish(const std::string& event, std::shared_ptr<const std::string> data) {
    {
        const std::scoped_lock lock(mutex_);
        newest_[event] = {++number_, std::move(data)};
    }
    changed_.notify_all();
}

void Streams::end() {
    {
        const std::scoped_lock lock(mutex_);
        ended_ = true;
    }
    changed_.notify_all();
}

std::string Streams::Subscription::next() {
    std::unique_lock lock(streams_.mutex_);
    const auto is_new = [&](const auto& event) { return event.second.number > seen_[event.first]; };
    const auto any_new = [&] {
        return streams_.ended_ || std::any_of(streams_.newest_.begin(), streams_.newest_.end(), is_new);
    };
    if (!streams_.changed_.wait_for(lock, kKeepAlive, any_new)) return ":\n\n";
    if (streams_.ended_) return std::exchange(told_end_, true) ? "" : "event: end\ndata: {}\n\n";
    std::vector<std::pair<std::string, Event>> events;
    std::copy_if(streams_.newest_.begin(), streams_.newest_.end(), std::back_inserter(events), is_new);
    for (const auto& [name, event] : events) seen_[name] = event.number;
    lock.unlock();
    std::sort(events.begin(), events.end(),
              [](const auto& a, const auto& b) { return a.second.number < b.second.number; });
    std::string text;
    for (const auto& [name, event] : events) text += "event: " + name + "\ndata: " + *event.data + "\n\n";
    return text;
}

}  // namespace zam::runner
