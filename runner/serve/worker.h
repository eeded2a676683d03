// A thread that does what others ask of it, one thing at a time, and work of its own in between.
#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <thread>
#include <utility>

namespace zam::runner {

/// The worker has too much to do already.
class Busy : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

class Worker {
public:
    /// A piece of the thread's own work. Gives how long the thread may wait, if nobody asks for anything, until the
    /// next one; `nullopt`: until somebody does. Throws nothing.
    using OwnWork = std::function<std::optional<std::chrono::milliseconds>()>;

    Worker() = default;
    ~Worker() { stop(); }
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    void start(OwnWork own_work);
    /// Ends the thread after what it is doing, which is cancelled if that is possible. What still waits is not done.
    void stop();

    /// Lets the thread do something, and waits until it has. What comes in together is all done before the next piece
    /// of own work.
    /// @param body  owns what it needs: it may be done after the caller has given up waiting
    /// @throws Busy         if there is too much to do
    /// @throws what the body throws
    template <class Body>
    auto ask(Body body) {
        return ask(std::move(body), false);
    }
    /// The same, and cancels the own work that is under way, if that is possible.
    template <class Body>
    auto ask_and_cancel(Body body) {
        return ask(std::move(body), true);
    }

    /// As long as it lives, the thread's own work can be cancelled. Made on the thread.
    class Cancellable {
    public:
        /// @param cancel  called on any thread, any number of times; must not wait
        Cancellable(Worker& worker, std::function<void()> cancel) : worker_(worker) { set(std::move(cancel)); }
        ~Cancellable() { set(nullptr); }
        Cancellable(const Cancellable&) = delete;
        Cancellable& operator=(const Cancellable&) = delete;

    private:
        void set(std::function<void()> cancel);

        Worker& worker_;
    };

private:
    static constexpr std::chrono::seconds kMaxWait{30};  // of those who ask

    template <class Body>
    auto ask(Body body, bool cancels) {
        using Result = decltype(body());
        auto task = std::make_shared<std::packaged_task<Result()>>(std::move(body));
        auto result = task->get_future();
        enqueue([task] { (*task)(); }, cancels);
        if (result.wait_for(kMaxWait) != std::future_status::ready)
            throw Busy("zam is still at work; it will be done later");
        return result.get();
    }
    void enqueue(std::function<void()> task, bool cancels);
    void work(const OwnWork& own_work);

    std::mutex mutex_;  // guards all below but the thread
    std::condition_variable wake_;
    std::deque<std::function<void()>> queue_;
    std::function<void()> cancel_;  // empty: nothing can be cancelled
    bool stopping_ = false;
    std::thread thread_;
};

}  // namespace zam::runner
