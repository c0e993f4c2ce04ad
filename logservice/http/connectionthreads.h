#pragma once

#include <httplib.h>

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

/// Threads for the connections of a server, one for each as long as it lasts.
///
/// A thread is started when a connection comes and none is free, so that slow clients hold up nobody; it is kept for
/// later ones. With \a maxThreads of them busy, a further connection waits for one to end.
class ConnectionThreads : public httplib::TaskQueue
{
public:
    explicit ConnectionThreads(std::size_t maxThreads);

    void enqueue(std::function<void()> connection) override;

    /// Waits until all connections have ended.
    void shutdown() override;

private:
    void run();

    const std::size_t maxThreads_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<std::function<void()>> waiting_;
    std::vector<std::thread> threads_;
    std::size_t free_ = 0; ///< threads without a connection
    bool isEnding_ = false;
};
