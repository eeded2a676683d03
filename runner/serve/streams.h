// What pages that listen are told: for each kind of event the newest, so that a slow page misses some and holds up
// nobody.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace zam::runner {

class Streams {
public:
    static constexpr int kMaxStreams = 8;

    /// One page's stream; it counts among the streams as long as it lives.
    class Subscription {
    public:
        explicit Subscription(Streams& streams) : streams_(streams) {}
        ~Subscription();
        Subscription(const Subscription&) = delete;
        Subscription& operator=(const Subscription&) = delete;

        /// Waits for events that the page has not had, and gives them in the form of server-sent events; a comment if
        /// there was nothing for some time. Empty: the stream has ended.
        std::string next();

    private:
        Streams& streams_;
        std::map<std::string, std::uint64_t> seen_;
        bool told_end_ = false;
    };

    /// Null if there are as many as there may be.
    std::shared_ptr<Subscription> subscribe();
    /// @param data  one line
    void publish(const std::string& event, std::shared_ptr<const std::string> data);
    void end();

private:
    struct Event {
        std::uint64_t number;
        std::shared_ptr<const std::string> data;
    };

    std::mutex mutex_;
    std::condition_variable changed_;
    std::map<std::string, Event> newest_;
    std::uint64_t number_ = 0;
    int count_ = 0;
    bool ended_ = false;
};

}  // namespace zam::runner
