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
    if (position_ == filled_ && !(wait(POLLIN, begin_ + limits_.idle, begin_ + limits_.crowded) && fill()))
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

/// Waits to read or write until \a end, or only until \a crowdedEnd while others wait for the connection's end.
bool Connection::wait(short events, Clock::time_point end, Clock::time_point crowdedEnd) const
{
    for (;;) {
        const auto left = (isCrowded_() ? std::min(end, crowdedEnd) : end) - Clock::now();
        const auto step = std::chrono::ceil<std::chrono::milliseconds>(std::min<Clock::duration>(left, kLookAround));
        pollfd state = {socket_, events, 0};
        if (::poll(&state, 1, static_cast<int>(std::max<std::int64_t>(step.count(), 0))) > 0)
            return true;
        if (left <= Clock::duration::zero())
            return false;
    }
}

/// Waits to read or write within a body or an answer.
bool Connection::waitInBody(short events) const
{
    const auto now = Clock::now();
    const auto granted = limits_.leeway + std::chrono::seconds(moved_ / limits_.bytesPerSecond);
    return wait(events, std::min<Clock::time_point>(now + limits_.silence, begin_ + granted),
                now + limits_.crowdedSilence);
}

bool Connection::waitForBytes() const
{
    return isInHead_ ? wait(POLLIN, begin_ + limits_.head, begin_ + limits_.crowded) : waitInBody(POLLIN);
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
