#pragma once

#include "support/sinkconnection.h"

#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

/// One request as the sink saw it.
struct SinkRequest
{
    int number = 0;         ///< counted from 1 since Sink::beginRun()
    long long bodySize = 0; ///< bytes
    double seconds = 0;     ///< from its first byte to its last
};

/// A fast HTTP server: reads every request, throws it away and answers {"Code":0}. It serves any number of
/// connections from one thread of its own.
class Sink
{
public:
    /// Called on the sink's thread when a request is complete and its sender waits for the answer.
    using Observer = std::function<void(const SinkRequest &)>;

    /// Listens on an IPv4 address of this machine. Throws std::runtime_error when the port cannot be used.
    Sink(const std::string &address, int port);
    ~Sink();
    Sink(const Sink &) = delete;
    Sink &operator=(const Sink &) = delete;

    /// Counts requests from 1 again and tells \a observer about them until endRun().
    void beginRun(Observer observer);
    void endRun();
    /// Requests since beginRun().
    int requestCount() const;

private:
    void serve();
    void acceptConnection();
    bool receive(SinkConnection &connection);
    void complete(SinkConnection &connection);

    int listener_;
    int wakeUp_[2];
    std::vector<SinkConnection> connections_;
    std::string buffer_;
    mutable std::mutex mutex_; ///< for what follows
    Observer observer_;
    int requests_ = 0;
    std::thread thread_;
};
