#pragma once

#include "support/server/scriptedserver.h"
#include "support/server/serverstate.h"

#include <QCryptographicHash>
#include <QThread>
#include <memory>

class QTcpSocket;

/// One accepted connection of a ScriptedServer, served in its own thread with blocking reads and writes.
class ScriptedConnection : public QThread
{
public:
    /// Takes over \a descriptor. \a config and \a state outlive the thread.
    ScriptedConnection(qintptr descriptor, int number, const ScriptedServer::Config &config, ServerState &state);
    ~ScriptedConnection() override;

protected:
    void run() override;

private:
    bool open();
    bool serveOne();
    bool readHead(RecordedRequest &request);
    bool readBody(RecordedRequest &request, QCryptographicHash &hash);
    bool passMarks(const RecordedRequest &request);
    void keep(RecordedRequest &request, QCryptographicHash &hash);
    bool act(const RecordedRequest &request);
    bool fill();
    bool send(const QByteArray &bytes);
    void closeInOrder();
    void resetWhenClosed();

    const qintptr descriptor_;
    const int number_;
    const ScriptedServer::Config &config_;
    ServerState &state_;
    std::unique_ptr<QTcpSocket> socket_;
    int handle_ = -1; ///< of the connection, open as long as it is served
    Reply reply_;     ///< of the request that is being served
    std::size_t nextMark_ = 0;
    QByteArray unread_; ///< taken from the socket, not yet part of a request
};
