#pragma once

#include <httplib.h>

#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <string>

/// An HTTP server on one port of 127.0.0.1, running in threads of its own. Its end waits until the last connection has
/// ended.
class Listener
{
public:
    /// Takes \a port, or a free one for 0. Throws std::runtime_error with the system's reason when it cannot be had.
    explicit Listener(int port);

    int port() const { return port_; }

    /// Routes are added here before start().
    httplib::Server &server() { return *server_; }

    /// Begins to serve; connections made since construction have waited. \a failed is called, from another thread, if
    /// serving ends without stop().
    void start(const std::function<void()> &failed);

    /// Takes no more connections. Returns whether all of them have ended within \a patience.
    bool stop(std::chrono::milliseconds patience);

private:
    std::unique_ptr<httplib::Server> server_;
    int port_ = 0;
    std::future<void> end_; ///< of serving
};

/// Returns the content type that a client gave \a request.
///
/// A Listener takes it off the request: the HTTP library parses forms by itself, and leniently; without a content type
/// it hands out the bytes as they come.
std::string contentTypeOf(const httplib::Request &request);
