#pragma once

#include <httplib.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

/// Threads for the connections of a server, one for each as long as it lasts.
///
/// A thread is started when a connection comes and none is free, so that slow clients hold up nobody; it is kept for
/// later ones. The library's own pool has a fixed number of threads, and 240 clients that are slow at once leave none.
class ConnectionThreads : public httplib::TaskQueue
{
    /// Nothing; later versions of the library want to know whether the connection was taken.
    using Taken = decltype(std::declval<httplib::TaskQueue &>().enqueue(nullptr));

public:
    explicit ConnectionThreads(std::size_t maxThreads);

    /// Has \a connection served, and returns when that has begun. With all threads busy the caller waits for one, and
    /// accepts no more connections meanwhile; the system keeps some that come, and turns others away.
    Taken enqueue(std::function<void()> connection) override;

    /// Whether a connection waits because all threads are busy.
    bool isCrowded() const { return isCrowded_; }

    /// Waits until all connections have ended.
    void shutdown() override;

private:
    bool startThread();
    void run();

    const std::size_t maxThreads_;
    std::mutex mutex_;
    std::condition_variable hasCome_;
    std::condition_variable wasTaken_;
    std::function<void()> next_; ///< the connection that waits for a thread; empty: none
    std::vector<std::thread> threads_;
    std::size_t free_ = 0; ///< threads without a connection
    std::atomic<bool> isCrowded_ = false;
    bool isEnding_ = false;
};
