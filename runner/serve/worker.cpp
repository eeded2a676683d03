#include "runner/serve/worker.h"

#include <cstddef>

namespace zam::runner {
namespace {

constexpr std::size_t kMaxQueue = 64;

}  // namespace

void Worker::start(OwnWork own_work) {
    thread_ = std::thread([this, own_work = std::move(own_work)] { work(own_work); });
}

void Worker::stop() {
    {
        const std::scoped_lock lock(mutex_);
        stopping_ = true;
        if (cancel_) cancel_();
    }
    wake_.notify_all();
    if (thread_.joinable()) thread_.join();
}

void Worker::enqueue(std::function<void()> task, bool cancels) {
    {
        const std::scoped_lock lock(mutex_);
        if (stopping_ || queue_.size() >= kMaxQueue) throw Busy("zam has too much to do");
        queue_.push_back(std::move(task));
        if (cancels && cancel_) cancel_();
    }
    wake_.notify_all();
}

void Worker::work(const OwnWork& own_work) {
    const auto is_wanted = [this] { return stopping_ || !queue_.empty(); };
    std::unique_lock lock(mutex_);
    while (!stopping_) {
        if (!queue_.empty()) {
            const auto task = std::move(queue_.front());
            queue_.pop_front();
            lock.unlock();
            task();
            lock.lock();
            continue;
        }
        lock.unlock();
        const auto pause = own_work();
        lock.lock();
        if (pause)
            wake_.wait_for(lock, *pause, is_wanted);
        else
            wake_.wait(lock, is_wanted);
    }
}

void Worker::Cancellable::set(std::function<void()> cancel) {
    const std::scoped_lock lock(worker_.mutex_);
    worker_.cancel_ = std::move(cancel);
}

}  // namespace zam::runner
