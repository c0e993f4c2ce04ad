#include "support/sink.h"

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <utility>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr std::size_t kBufferSize = 256 * 1024;

int listenOn(const std::string &host, int port)
{
    const int descriptor = ::socket(AF_INET, SOCK_STREAM, 0);
    const int yes = 1;
    ::setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    if (::inet_pton(AF_INET, host.c_str(), &address.sin_addr) != 1 ||
        ::bind(descriptor, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 ||
        ::listen(descriptor, SOMAXCONN) != 0) {
        const std::string reason = std::strerror(errno);
        ::close(descriptor);
        throw std::runtime_error("cannot listen on " + host + ":" + std::to_string(port) + ": " + reason);
    }
    return descriptor;
}

} // namespace

Sink::Sink(const std::string &address, int port) : listener_(listenOn(address, port)), buffer_(kBufferSize, '\0')
{
    if (::pipe(wakeUp_) != 0)
        throw std::runtime_error("cannot make a pipe");
    thread_ = std::thread([this] { serve(); });
}

Sink::~Sink()
{
    ::close(wakeUp_[1]);
    thread_.join();
    ::close(wakeUp_[0]);
    ::close(listener_);
}

void Sink::beginRun(Observer observer)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    observer_ = std::move(observer);
    requests_ = 0;
}

void Sink::endRun()
{
    const std::lock_guard<std::mutex> lock(mutex_);
    observer_ = {};
}

int Sink::requestCount() const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    return requests_;
}

void Sink::serve()
{
    while (true) {
        std::vector<pollfd> watched{{wakeUp_[0], POLLIN, 0}, {listener_, POLLIN, 0}};
        for (const SinkConnection &connection : connections_)
            watched.push_back({connection.descriptor(), POLLIN, 0});
        if (::poll(watched.data(), static_cast<nfds_t>(watched.size()), -1) < 0)
            continue;
        if (watched[0].revents != 0)
            return;

        // From the back, because those that have ended are taken out.
        for (std::size_t i = connections_.size(); i-- > 0;) {
            if (watched[i + 2].revents != 0 && !receive(connections_[i]))
                connections_.erase(connections_.begin() + static_cast<std::ptrdiff_t>(i));
        }
        if (watched[1].revents != 0)
            acceptConnection();
    }
}

void Sink::acceptConnection()
{
    const int descriptor = ::accept(listener_, nullptr, nullptr);
    if (descriptor >= 0)
        connections_.emplace_back(descriptor);
}

/// Returns false at the end of the connection.
bool Sink::receive(SinkConnection &connection)
{
    const ssize_t received = ::recv(connection.descriptor(), &buffer_[0], buffer_.size(), 0);
    if (received <= 0)
        return false;
    const auto size = static_cast<std::size_t>(received);
    for (std::size_t taken = 0; taken < size;) {
        taken += connection.take(buffer_.data() + taken, size - taken);
        if (connection.isComplete())
            complete(connection);
    }
    return true;
}

void Sink::complete(SinkConnection &connection)
{
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        ++requests_;
        if (observer_)
            observer_({requests_, connection.bodySize(), connection.seconds()});
    }
    connection.answer();
}
