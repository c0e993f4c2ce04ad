#include "http/listener.h"

#include "http/connection.h"
#include "http/connectionthreads.h"

#include <cerrno>
#include <limits>
#include <stdexcept>
#include <system_error>
#include <thread>

#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr char kHost[] = "127.0.0.1";
constexpr char kContentType[] = "Content-Type";
constexpr char kTakenContentType[] = "KX-Content-Type";

// A thread serves one connection until it ends, and clients keep theirs open for a while. With the files of their
// uploads they have to stay well below 1024 descriptors, the usual limit.
constexpr std::size_t kConnections = 300;
constexpr std::size_t kRequestsPerConnection = 10000;

void prepare(httplib::Request &request)
{
    const auto type = request.get_header_value(kContentType);
    request.headers.erase(kContentType);
    request.headers.erase(kTakenContentType);
    request.headers.emplace(kTakenContentType, type);
    // The library cuts any answer to them, under status 200 and without a look at the answer's size.
    request.ranges.clear();
}

/// The library's server, but for what a connection may take.
class Server : public httplib::Server
{
public:
    Server()
    {
        new_task_queue = [this] { return threads_ = new ConnectionThreads(kConnections); };
        // The library's own default lets two servers share a port without a word.
        set_socket_options([](socket_t socket) {
            const int yes = 1;
            ::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
        });
        set_tcp_nodelay(true);
        set_keep_alive_max_count(kRequestsPerConnection);
        // Later versions of the library refuse what is larger than 100 MB.
        set_payload_max_length(std::numeric_limits<std::size_t>::max());
    }

    /// Returns the port.
    int bind(int port)
    {
        const int bound = port == 0 ? bind_to_any_port(kHost) : bind_to_port(kHost, port) ? port : -1;
        if (bound < 0)
            throw std::runtime_error("cannot listen on port " + std::to_string(port) + " of " + kHost + ": " +
                                     std::error_code(errno, std::generic_category()).message());
        // The library lets five connections wait; more at a time would be put off by a second and longer.
        ::listen(svr_sock_, SOMAXCONN);
        return bound;
    }

private:
    using Setup = std::function<void(httplib::Request &)>;
    using Stream = httplib::Stream;
    using Base = httplib::Server;

    bool process_and_close_socket(socket_t socket) override
    {
        const auto isListening = [this] { return svr_sock_ != INVALID_SOCKET; };
        Connection connection(socket, {}, [&] { return threads_->isCrowded() || !isListening(); });
        const Setup setup = [&connection](httplib::Request &request) {
            connection.beginBody();
            prepare(request);
        };
        bool isGood = true;
        bool isClosed = false;
        for (auto left = kRequestsPerConnection; left > 0 && isGood && !isClosed && isListening(); --left)
            isGood = connection.waitForRequest() &&
                     process(&Server::process_request, connection, left == 1, isClosed, setup);
        ::shutdown(socket, SHUT_RDWR);
        ::close(socket);
        return isGood;
    }

    bool process(bool (Base::*request)(Stream &, bool, bool &, const Setup &), Stream &stream, bool isLast,
                 bool &isClosed, const Setup &setup)
    {
        return (this->*request)(stream, isLast, isClosed, setup);
    }

    /// Later versions of the library want to be told the addresses, and have more to tell.
    template<typename... More>
    bool process(bool (Base::*request)(Stream &, const std::string &, int, const std::string &, int, bool, bool &,
                                       const Setup &, More...),
                 Stream &stream, bool isLast, bool &isClosed, const Setup &setup)
    {
        return (this->*request)(stream, kHost, 0, kHost, 0, isLast, isClosed, setup, More{}...);
    }

    ConnectionThreads *threads_ = nullptr; ///< the library's, there as long as it listens
};

} // namespace

Listener::Listener(int port)
{
    auto server = std::make_unique<Server>();
    port_ = server->bind(port);
    server_ = std::move(server);
}

void Listener::start(const std::function<void()> &failed)
{
    end_ = std::async(std::launch::async, [this, failed]() noexcept {
        if (!server_->listen_after_bind())
            failed();
    });
    // A server that does not run yet ignores stop().
    while (!server_->is_running() && end_.wait_for(std::chrono::milliseconds(0)) != std::future_status::ready)
        std::this_thread::yield();
}

bool Listener::stop(std::chrono::milliseconds patience)
{
    server_->stop();
    return end_.wait_for(patience) == std::future_status::ready;
}

std::string contentTypeOf(const httplib::Request &request)
{
    return request.get_header_value(kTakenContentType);
}
