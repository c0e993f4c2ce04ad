#pragma once

#include <QByteArray>

/// One answer as it came.
struct RawAnswer
{
    int status = 0;  ///< 0: no whole answer came
    QByteArray head; ///< status line and headers, with their line ends
    QByteArray body;
};

/// A plain connection to 127.0.0.1 that sends whatever bytes it is given, and tells a reset from a close, which the
/// socket classes of Qt do not.
class RawClient
{
public:
    enum class End { Open, Closed, Reset };

    explicit RawClient(quint16 port);
    ~RawClient();
    RawClient(const RawClient &) = delete;
    RawClient &operator=(const RawClient &) = delete;

    bool isConnected() const { return connected_; }

    /// Sends all of \a bytes, blocking. Returns whether that worked.
    bool send(const QByteArray &bytes);
    /// Sends until nothing has been taken for \a quietMs milliseconds. Returns the number of bytes taken.
    int sendUntilStuck(const QByteArray &bytes, int quietMs);

    /// Receives until \a count bytes are there, the connection ends, or nothing has come for a minute.
    QByteArray receive(int count);
    /// Receives one answer with a Content-Length.
    RawAnswer receiveAnswer();
    /// Receives to the end of a head, and returns it with whatever stands before it.
    QByteArray receiveHead();
    /// Receives all that still comes. End::Open if nothing has come for \a quietMs milliseconds.
    End receiveEnd(int quietMs = 60000);

    /// Ends the connection at once, whatever is under way.
    void close();

    /// One request on a connection of its own.
    static RawAnswer ask(quint16 port, const QByteArray &request);

private:
    bool receiveMore(int quietMs);

    int descriptor_;
    bool connected_;
    End end_ = End::Open;
    QByteArray unread_;
};

/// The bytes of a POST request with its Content-Length, without a Content-Type when \a contentType is empty.
QByteArray post(const QByteArray &path, const QByteArray &contentType, const QByteArray &body,
                const QByteArray &moreHeaders = QByteArray());
/// The same for tests to which only the body matters.
QByteArray rawPost(const QByteArray &body, const QByteArray &path = QByteArrayLiteral("/"));
