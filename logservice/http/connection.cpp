#include "http/connection.h"

#include <algorithm>
#include <cerrno>

#include <poll.h>
#include <sys/socket.h>

namespace {

constexpr std::chrono::milliseconds kLookAround(100);

bool isToBeTriedAgain(int error)
{
    return error == EAGAIN || error == EWOULDBLOCK || error == EINTR;
}

} // namespace

Connection::Connection(socket_t socket, const ConnectionLimits &limits, std::function<bool()> isCrowded)
    : socket_(socket), limits_(limits), isCrowded_(std::move(isCrowded))
{
}

bool Connection::waitForRequest()
{
    isInHead_ = true;
    begin_ = Clock::now();
    lineBytes_ = 0;
    lines_ = 0;
    if (position_ == filled_ && !(waitInHead(limits_.idle) && fill()))
        return false;
    begin_ = Clock::now();
    return true;
}

void Connection::beginBody()
{
    isInHead_ = false;
    begin_ = Clock::now();
    moved_ = 0;
    lineBytes_ = 0;
}

bool Connection::is_readable() const
{
    return position_ < filled_ || waitForBytes();
}

bool Connection::is_writable() const
{
    return waitInBody(POLLOUT);
}

ssize_t Connection::read(char *bytes, std::size_t count)
{
    if (position_ == filled_ && !fill())
        return -1;
    const auto got = std::min(count, filled_ - position_);
    std::copy_n(buffer_.data() + position_, got, bytes);
    position_ += got;
    moved_ += static_cast<std::int64_t>(got);
    return isWithinLines(bytes, got, count == 1) ? static_cast<ssize_t>(got) : -1;
}

ssize_t Connection::write(const char *bytes, std::size_t count)
{
    for (;;) {
        const auto sent = ::send(socket_, bytes, count, MSG_DONTWAIT);
        if (sent >= 0 || !isToBeTriedAgain(errno)) {
            moved_ += std::max<ssize_t>(sent, 0);
            return sent;
        }
        if (!is_writable())
            return -1;
    }
}

bool Connection::waitFor(short events, Clock::time_point end) const
{
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count();
    pollfd state = {socket_, events, 0};
    return ::poll(&state, 1, static_cast<int>(std::max<std::int64_t>(left, 0))) > 0;
}

/// Waits for bytes until \a limit has passed since the beginning, or less when others wait for the connection's end.
bool Connection::waitInHead(ConnectionLimits::Time limit) const
{
    for (;;) {
        const auto now = Clock::now();
        const auto end = begin_ + (isCrowded_() ? std::min(limits_.crowded, limit) : limit);
        if (waitFor(POLLIN, std::min(now + kLookAround, end)))
            return true;
        if (now >= end)
            return false;
    }
}

/// How long to wait for the next byte of a body or an answer.
Connection::Clock::time_point Connection::endOfPatience() const
{
    const auto granted = limits_.leeway + std::chrono::seconds(moved_ / limits_.bytesPerSecond);
    return std::min(Clock::now() + limits_.silence, begin_ + granted);
}

/// Waits to read or write within a body or an answer, for less long when others wait for the connection's end.
bool Connection::waitInBody(short events) const
{
    const auto begin = Clock::now();
    const auto last = endOfPatience();
    for (;;) {
        const auto now = Clock::now();
        const auto end = isCrowded_() ? std::min(last, begin + limits_.crowdedSilence) : last;
        if (waitFor(events, std::min(now + kLookAround, end)))
            return true;
        if (now >= end)
            return false;
    }
}

bool Connection::waitForBytes() const
{
    return isInHead_ ? waitInHead(limits_.head) : waitInBody(POLLIN);
}

/// Reads what has come, after waiting for it if need be. Returns false when nothing comes any more.
bool Connection::fill()
{
    for (;;) {
        const auto got = ::recv(socket_, buffer_.data(), buffer_.size(), MSG_DONTWAIT);
        position_ = 0;
        filled_ = static_cast<std::size_t>(std::max<ssize_t>(got, 0));
        if (got >= 0 || !isToBeTriedAgain(errno))
            return got > 0;
        if (!waitForBytes())
            return false;
    }
}

/// The library reads lines byte by byte, and holds each of them until its end.
bool Connection::isWithinLines(const char *bytes, std::size_t count, bool isSingle)
{
    const bool isLine = isInHead_ || isSingle;
    const auto ends = isLine ? static_cast<std::size_t>(std::count(bytes, bytes + count, '\n')) : 0;
    lineBytes_ = isInHead_ || (isLine && ends == 0) ? lineBytes_ + count : 0;
    lines_ += isInHead_ ? ends : 0;
    return lineBytes_ <= limits_.headBytes && lines_ <= limits_.headLines;
}
