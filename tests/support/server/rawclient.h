#pragma once

#include <QByteArray>

/// A plain connection to 127.0.0.1 that tells a reset from a close, which the socket classes of Qt do not.
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

    /// Receives until \a count bytes are there, the connection ends, or nothing has come for ten seconds.
    QByteArray receive(int count);
    /// Receives one answer, as long as its Content-Length says; what is there if it ends before.
    QByteArray receiveAnswer();
    /// Receives all that still comes. End::Open if nothing has come for \a quietMs milliseconds.
    End receiveEnd(int quietMs = 10000);

private:
    QByteArray receiveSome(int quietMs);

    int descriptor_;
    bool connected_;
    End end_ = End::Open;
    QByteArray unread_;
};

/// The bytes of a POST request with \a body.
QByteArray rawPost(const QByteArray &body, const QByteArray &path = QByteArrayLiteral("/"));
/// What follows the head in the bytes of an answer.
QByteArray bodyOf(const QByteArray &answer);
