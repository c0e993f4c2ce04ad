#pragma once

#include <httplib.h>

#include <array>
#include <chrono>
#include <functional>

/// What a connection may take; the defaults are those of the service.
struct ConnectionLimits
{
    using Time = std::chrono::milliseconds;

    std::size_t headBytes = std::size_t{128} * 1024; ///< request line and headers; also one line within a body
    std::size_t headLines = 100;
    Time idle = std::chrono::seconds(5);           ///< before a request
    Time head = std::chrono::seconds(10);          ///< from the first byte of a request to the end of its head
    Time crowded{500};                             ///< before a request, and for its head, while others wait
    Time silence = std::chrono::seconds(30);       ///< between two bytes, in either direction
    Time crowdedSilence = std::chrono::seconds(3); ///< the same while others wait
    Time leeway = std::chrono::seconds(60);        ///< for a body or an answer, on top of the time that the rate grants
    std::int64_t bytesPerSecond = 1024; ///< the least rate of a body or an answer that takes longer than the leeway
};

/// One client's connection, as the HTTP library reads and writes it.
///
/// The library bounds neither the headers of a request nor the time that it takes. Here a read or write that breaks a
/// limit fails as if the connection had ended. A body has no largest size: it only has to go on coming.
class Connection : public httplib::Stream
{
public:
    /// \a isCrowded says whether others wait for this connection to end. The socket stays open with this object's end.
    Connection(socket_t socket, const ConnectionLimits &limits, std::function<bool()> isCrowded);

    /// Waits for the first byte of the next request. Returns false when the connection is to be ended instead.
    bool waitForRequest();

    /// To be called when the head of a request has been read.
    void beginBody();

    // Versions of the library differ in which of these they have: none is marked as overriding.
    // NOLINTBEGIN(modernize-use-override)
    bool is_readable() const;
    bool is_writable() const;
    bool wait_readable() const { return is_readable(); }
    bool wait_writable() const { return is_writable(); }
    bool is_peer_alive() const { return true; }
    ssize_t read(char *bytes, std::size_t count);
    ssize_t write(const char *bytes, std::size_t count);
    void get_remote_ip_and_port(std::string & /*ip*/, int & /*port*/) const {} // nobody asks
    void get_local_ip_and_port(std::string & /*ip*/, int & /*port*/) const {}
    socket_t socket() const { return socket_; }
    time_t duration() const { return 0; }
    // NOLINTEND(modernize-use-override)

private:
    using Clock = std::chrono::steady_clock;

    bool wait(short events, Clock::time_point end, Clock::time_point crowdedEnd) const;
    bool waitInBody(short events) const;
    bool waitForBytes() const;
    bool fill();
    bool isWithinLines(const char *bytes, std::size_t count, bool isSingle);

    const socket_t socket_;
    const ConnectionLimits limits_;
    const std::function<bool()> isCrowded_;

    bool isInHead_ = true;
    Clock::time_point begin_ = Clock::now(); ///< of the wait for a request, its head, or its body with the answer
    std::int64_t moved_ = 0;                 ///< bytes of the body and the answer
    std::size_t lineBytes_ = 0;              ///< of the head; in a body, of a line
    std::size_t lines_ = 0;                  ///< of the head
    std::array<char, 32768> buffer_ = {};
    std::size_t position_ = 0; ///< of the first byte in the buffer that was not read yet
    std::size_t filled_ = 0;
};
