#include "support/server/scriptedserver.h"

#include "support/process/waitfor.h"
#include "support/server/scriptedconnection.h"
#include "support/server/serverstate.h"

#include <QSemaphore>
#include <QTcpServer>
#include <algorithm>
#include <vector>

#include <netinet/in.h>
#include <sys/socket.h>

namespace {

class Acceptor : public QTcpServer
{
public:
    Acceptor(const ScriptedServer::Config &config, ServerState &state) : config_(config), state_(state) {}

    ~Acceptor() override
    {
        for (const auto &connection : connections_)
            connection->wait();
    }

protected:
    void incomingConnection(qintptr descriptor) override
    {
        connections_.push_back(
            std::make_unique<ScriptedConnection>(descriptor, state_.countConnection(), config_, state_));
        connections_.back()->start();
    }

private:
    const ScriptedServer::Config &config_;
    ServerState &state_;
    std::vector<std::unique_ptr<ScriptedConnection>> connections_;
};

} // namespace

/// The thread that accepts. The results of listening are valid once start() has returned.
class ScriptedServer::Listener : public QThread
{
public:
    Listener(const Config &config, ServerState &state) : config_(config), state_(state)
    {
        start();
        ready_.acquire();
    }

    ~Listener() override
    {
        state_.stop();
        quit();
        wait();
    }

    quint16 port = 0;
    QString error;

protected:
    void run() override
    {
        Acceptor acceptor(config_, state_);
        if (acceptor.listen(QHostAddress::LocalHost, config_.port)) {
            port = acceptor.serverPort();
        } else {
            error = QStringLiteral("cannot listen on 127.0.0.1:%1: %2").arg(config_.port).arg(acceptor.errorString());
        }
        ready_.release();
        if (port != 0)
            exec();
    }

private:
    const Config &config_;
    ServerState &state_;
    QSemaphore ready_;
};

ScriptedServer::ScriptedServer(quint16 port, const QList<Reply> &script, const Reply &fallback)
    : ScriptedServer(Config{port, script, fallback})
{
}

ScriptedServer::ScriptedServer(const Config &config)
    : config_(config), state_(std::make_unique<ServerState>(config.script, config.fallback)),
      listener_(std::make_unique<Listener>(config_, *state_))
{
    if (!isListening())
        qWarning("ScriptedServer: %s", qPrintable(errorString()));
}

ScriptedServer::~ScriptedServer() = default;

bool ScriptedServer::isListening() const
{
    return listener_->port != 0;
}

QString ScriptedServer::errorString() const
{
    return listener_->error;
}

quint16 ScriptedServer::port() const
{
    return listener_->port;
}

QUrl ScriptedServer::url(const QString &path) const
{
    const QString scheme = config_.certificate.isNull() ? QStringLiteral("http") : QStringLiteral("https");
    return QUrl(scheme + QStringLiteral("://127.0.0.1:%1").arg(port()) + path);
}

QList<RecordedRequest> ScriptedServer::requests() const
{
    return state_->requests();
}

QList<RecordedRequest> ScriptedServer::distinctRequests() const
{
    QList<RecordedRequest> distinct;
    for (const RecordedRequest &request : requests()) {
        const auto repeats = [&](const RecordedRequest &earlier) { return request.isRepeatOf(earlier); };
        if (std::none_of(distinct.begin(), distinct.end(), repeats))
            distinct.append(request);
    }
    return distinct;
}

QList<QByteArray> ScriptedServer::distinctBodies() const
{
    QList<QByteArray> bodies;
    for (const RecordedRequest &request : distinctRequests()) {
        if (request.bodyComplete)
            bodies.append(request.body);
    }
    return bodies;
}

int ScriptedServer::connections() const
{
    return state_->connections();
}

bool ScriptedServer::waitForRequests(int count, int timeoutMs) const
{
    return waitFor([&] { return requests().size() >= count; }, timeoutMs);
}

bool ScriptedServer::waitForHold(int timeoutMs) const
{
    return waitFor([&] { return state_->isHolding(); }, timeoutMs);
}

void ScriptedServer::release()
{
    state_->release();
}

quint16 unusedPort()
{
    // Bound but not listening, and never closed: nobody else gets the port, and connections to it are refused.
    static const quint16 port = [] {
        const int descriptor = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        auto *generic = reinterpret_cast<sockaddr *>(&address);
        const bool bound = ::bind(descriptor, generic, size) == 0 && ::getsockname(descriptor, generic, &size) == 0;
        return bound ? ntohs(address.sin_port) : quint16(0);
    }();
    return port;
}
