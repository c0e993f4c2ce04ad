#include "http/connectionthreads.h"

#include <exception>

ConnectionThreads::ConnectionThreads(std::size_t maxThreads) : maxThreads_(maxThreads)
{
    threads_.emplace_back([this] { run(); });
}

ConnectionThreads::Taken ConnectionThreads::enqueue(std::function<void()> connection)
{
    std::unique_lock<std::mutex> lock(mutex_);
    next_ = std::move(connection);
    isCrowded_ = free_ == 0 && !startThread();
    hasCome_.notify_one();
    wasTaken_.wait(lock, [this] { return !next_; });
    isCrowded_ = false;
    return Taken(true);
}

void ConnectionThreads::shutdown()
{
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        isEnding_ = true;
    }
    hasCome_.notify_all();
    for (auto &thread : threads_)
        thread.join();
}

bool ConnectionThreads::startThread()
{
    if (threads_.size() == maxThreads_)
        return false;
    try {
        threads_.emplace_back([this] { run(); });
        return true;
    } catch (const std::exception &) {
        return false; // the system allows no more, or has no memory for it
    }
}

void ConnectionThreads::run()
{
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;) {
        ++free_;
        hasCome_.wait(lock, [this] { return next_ || isEnding_; });
        --free_;
        if (!next_)
            return;
        const auto connection = std::exchange(next_, nullptr);
        wasTaken_.notify_one();
        lock.unlock();
        connection();
        lock.lock();
    }
}
