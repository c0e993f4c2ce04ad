#pragma once

#include "support/server/recordedrequest.h"
#include "support/server/reply.h"

#include <QSslCertificate>
#include <QSslKey>
#include <QUrl>
#include <memory>

/// What a ScriptedServer keeps of the bodies: all bytes, their SHA-1, or their number only.
enum class BodyStore { Keep, Hash, Count };

/// An HTTP server on 127.0.0.1 that does what its script says, records what it is sent, and is gone with its scope.
///
///     ScriptedServer server(8700, {Reply::json("{\"Code\":5}"), Reply::resetAfterBody()});
///     const ToolResult result = sandbox.runTool({});
///     QCOMPARE(server.requests().at(0).body, expectedLogForm(room, nameSpace, fileName, bytes));
///
/// Each request that arrives takes the next reply of the script, and when there is none left the fallback. The server
/// has threads of its own, so the test may block meanwhile. All functions are for the thread that made the object,
/// except release() and requests(), which hooks may call too.
class ScriptedServer
{
public:
    struct Config
    {
        quint16 port = 0; ///< 0: any free port
        QList<Reply> script = {};
        Reply fallback = Reply::json();
        BodyStore bodyStore = BodyStore::Keep;
        QSslCertificate certificate = QSslCertificate(); ///< not null: the server speaks TLS; see TlsIdentity
        QSslKey key = QSslKey();
    };

    explicit ScriptedServer(quint16 port = 0, const QList<Reply> &script = {}, const Reply &fallback = Reply::json());
    explicit ScriptedServer(const Config &config);
    /// Closes all connections. A hook that is running is waited for, a held request is dropped.
    ~ScriptedServer();
    ScriptedServer(const ScriptedServer &) = delete;
    ScriptedServer &operator=(const ScriptedServer &) = delete;

    /// False when the port was not to be had: QVERIFY2(server.isListening(), qPrintable(server.errorString())).
    /// The reason is also written as a warning.
    bool isListening() const;
    QString errorString() const;
    quint16 port() const;
    /// http(s)://127.0.0.1:port followed by \a path, which starts with a slash.
    QUrl url(const QString &path = QStringLiteral("/")) const;

    /// What was received, in the order in which reading it ended. A request that the server cut off or whose client
    /// went away is there as well, with bodyComplete false; it appears before the client can know of it.
    QList<RecordedRequest> requests() const;
    /// requests() without those that repeat an earlier one: Qt posts once more by itself when a server closes after the
    /// body without having answered.
    QList<RecordedRequest> distinctRequests() const;
    /// The bodies of distinctRequests(), only those that arrived complete. Needs BodyStore::Keep.
    QList<QByteArray> distinctBodies() const;
    /// Number of accepted connections.
    int connections() const;

    /// Waits until \a count requests are recorded, processing events meanwhile. Returns false at the timeout.
    bool waitForRequests(int count, int timeoutMs = 60000) const;

    /// Waits until a request has reached a place where its reply holds, processing events meanwhile.
    bool waitForHold(int timeoutMs = 60000) const;
    /// Lets one hold go on: the one that was reached first, or the next one to be reached.
    void release();

private:
    class Listener;

    const Config config_;
    const std::unique_ptr<class ServerState> state_;
    const std::unique_ptr<Listener> listener_;
};

/// A port of 127.0.0.1 that refuses connections for as long as the process lives.
quint16 unusedPort();
