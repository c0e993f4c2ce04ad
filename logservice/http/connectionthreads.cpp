#include "http/connectionthreads.h"

#include <system_error>

ConnectionThreads::ConnectionThreads(std::size_t maxThreads) : maxThreads_(maxThreads)
{
    threads_.emplace_back([this] { run(); });
}

void ConnectionThreads::enqueue(std::function<void()> connection)
{
    const std::lock_guard<std::mutex> guard(mutex_);
    waiting_.push_back(std::move(connection));
    if (waiting_.size() > free_ && threads_.size() < maxThreads_) {
        try {
            threads_.emplace_back([this] { run(); });
        } catch (const std::system_error &) {
            // The system allows no more: the connection waits for one of the threads that are there.
        }
    }
    changed_.notify_one();
}

void ConnectionThreads::shutdown()
{
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        isEnding_ = true;
    }
    changed_.notify_all();
    for (auto &thread : threads_)
        thread.join();
}

void ConnectionThreads::run()
{
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;) {
        ++free_;
        changed_.wait(lock, [this] { return !waiting_.empty() || isEnding_; });
        --free_;
        if (waiting_.empty())
            return;
        const auto connection = std::move(waiting_.front());
        waiting_.pop_front();
        lock.unlock();
        connection();
        lock.lock();
    }
}
