#pragma once

#include <httplib.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <thread>

/// An HTTP server on one port of 127.0.0.1, running in threads of its own.
class Listener
{
public:
    /// Takes \a port, or a free one for 0. Throws std::runtime_error with the system's reason when it cannot be had.
    explicit Listener(int port);

    /// Waits until the last connection has ended.
    ~Listener();

    int port() const { return port_; }

    /// Routes are added here before start().
    httplib::Server &server() { return *server_; }

    /// Begins to serve; connections made since construction have waited. \a failed is called, from another thread, if
    /// serving ends without stop().
    void start(const std::function<void()> &failed);

    /// Takes no more connections. Returns whether all of them have ended within \a patience.
    bool stop(std::chrono::milliseconds patience);

private:
    const std::unique_ptr<httplib::Server> server_;
    socket_t listening_ = INVALID_SOCKET;
    int port_ = 0;
    std::atomic<bool> isStopping_ = false;
    std::thread thread_;
    std::future<void> end_;
};

/// Returns the content type that a client gave \a request.
///
/// A Listener takes it off the request: the HTTP library parses forms by itself, and leniently; without a content type
/// it hands out the bytes as they come.
std::string contentTypeOf(const httplib::Request &request);
