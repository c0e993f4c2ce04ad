#include "http/listener.h"

#include "http/connectionthreads.h"

#include <stdexcept>

#include <sys/socket.h>

namespace {

constexpr char kHost[] = "127.0.0.1";

// A thread serves one connection until it ends, and clients keep theirs open for a while. Each may have a file open;
// the library waits by select(), which knows 1024 descriptors.
constexpr std::size_t kConnections = 400;
constexpr std::size_t kRequestsPerConnection = 10000;
constexpr std::time_t kIdleSeconds = 5;
constexpr std::time_t kSilenceSeconds = 30; // within a request

} // namespace

Listener::Listener(int port)
{
    server_.new_task_queue = [] { return new ConnectionThreads(kConnections); };
    // The library's own default lets two servers share a port without a word.
    server_.set_socket_options([this](socket_t socket) {
        const int yes = 1;
        ::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
        listening_ = socket;
    });
    server_.set_tcp_nodelay(true);
    server_.set_keep_alive_max_count(kRequestsPerConnection);
    server_.set_keep_alive_timeout(kIdleSeconds);
    server_.set_read_timeout(kSilenceSeconds);
    server_.set_write_timeout(kSilenceSeconds);

    port_ = port;
    const bool isBound = port == 0 ? (port_ = server_.bind_to_any_port(kHost)) > 0 : server_.bind_to_port(kHost, port);
    if (!isBound)
        throw std::runtime_error("cannot listen on port " + std::to_string(port) + " of " + kHost +
                                 ", is it in use already?");
    // The library lets five connections wait; more at a time would be put off by a second and longer.
    ::listen(listening_, SOMAXCONN);
}

Listener::~Listener()
{
    if (thread_.joinable())
        thread_.join();
}

void Listener::start(const std::function<void()> &failed)
{
    std::promise<void> end;
    end_ = end.get_future();
    thread_ = std::thread([this, failed, end = std::move(end)]() mutable {
        server_.listen_after_bind();
        if (!isStopping_)
            failed();
        end.set_value();
    });
    // A server that does not run yet ignores stop().
    while (!server_.is_running() && end_.wait_for(std::chrono::milliseconds(0)) != std::future_status::ready)
        std::this_thread::yield();
}

bool Listener::stop(std::chrono::milliseconds patience)
{
    isStopping_ = true;
    server_.stop();
    return end_.wait_for(patience) == std::future_status::ready;
}
