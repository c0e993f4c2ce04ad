#pragma once

#include <QtNetwork/QTcpSocket>

/// One answer as it came.
struct RawAnswer
{
    int status = 0;  ///< 0: no answer came
    QByteArray head; ///< status line and headers
    QByteArray body;
};

/// A connection to the service that sends whatever bytes it is given.
class ServiceClient
{
public:
    /// Connects to \a port of 127.0.0.1.
    explicit ServiceClient(quint16 port);

    /// Sends \a bytes and waits until the socket has taken them. Returns false when the connection ends before.
    bool send(const QByteArray &bytes);

    /// Reads one answer with a Content-Length.
    RawAnswer readAnswer();

    /// Reads until \a count heads have come, and returns them with whatever stands between them.
    QByteArray readHeads(int count);

    /// Waits until the service has ended the connection. Returns false when that takes more than 20 s.
    bool waitForEnd();

    /// Ends the connection at once, whatever is under way.
    void abort() { socket_.abort(); }

    /// One request on a connection of its own.
    static RawAnswer ask(quint16 port, const QByteArray &request);

private:
    QTcpSocket socket_;
    QByteArray received_;
};
