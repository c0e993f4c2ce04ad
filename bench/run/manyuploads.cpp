#include "load/uploadload.h"
#include "run/bench.h"
#include "run/measurements.h"

#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QThread>

#include <stdexcept>

#include <unistd.h>

namespace {

constexpr int kPatienceMs = 30000;

int freePort()
{
    QTcpServer server;
    if (!server.listen(QHostAddress::LocalHost))
        throw std::runtime_error("no port is free");
    return server.serverPort();
}

/// A server in a process of its own, which has to end with status 0 when it is asked to. Throws std::runtime_error.
class Server
{
public:
    Server(const QString &program, const QStringList &arguments, const QString &output, int port)
    {
        process_.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        process_.setStandardOutputFile(output);
        process_.start(program, arguments);
        if (!process_.waitForStarted())
            throw std::runtime_error("cannot start " + program.toStdString());
        QTcpSocket probe;
        for (int waitedMs = 0; probe.state() != QAbstractSocket::ConnectedState; waitedMs += 10) {
            if (waitedMs > kPatienceMs || process_.waitForFinished(0))
                throw std::runtime_error(program.toStdString() + " does not listen");
            QThread::msleep(10);
            probe.connectToHost(QHostAddress::LocalHost, static_cast<quint16>(port));
            probe.waitForConnected();
        }
    }
    ~Server() { process_.kill(); }
    Server(const Server &) = delete;
    Server &operator=(const Server &) = delete;

    void stop()
    {
        process_.terminate();
        if (!process_.waitForFinished(kPatienceMs) || process_.exitStatus() != QProcess::NormalExit ||
            process_.exitCode() != 0)
            throw std::runtime_error(process_.program().toStdString() + " did not end well");
    }

private:
    QProcess process_;
};

/// Accepted uploads a second. All of them are in \a stored, as \a expected says, or this throws std::runtime_error.
double uploadRate(const Bench &bench, Server &server, UploadLoad load, const QString &stored,
                  const std::function<std::string(std::uint64_t)> &expected)
{
    load.seconds = bench.plan.loadSeconds;
    const LoadResult result = runLoad(load);
    server.stop();
    checkStored(stored.toStdString(), result.accepted, expected);
    const double rate = double(result.accepted.size()) / result.seconds;
    std::fprintf(stderr, "%zu uploads in %.1f s, all of them stored: %.0f a second\n", result.accepted.size(),
                 result.seconds, rate);
    return rate;
}

double rateOfService(const Bench &bench)
{
    const QTemporaryDir folder(QStringLiteral("load-XXXXXX"));
    const QString stored = folder.filePath(QStringLiteral("stored"));
    UploadLoad load;
    load.port = freePort();
    load.requestLine = [](std::uint64_t) { return std::string("POST /logsys/client/v1/logfile/upload HTTP/1.1"); };
    Server server(bench.plan.service,
                  {QStringLiteral("--no-report"), QStringLiteral("--port"), QString::number(load.port),
                   QStringLiteral("--dir"), stored},
                  folder.filePath(QStringLiteral("lines")), load.port);
    return uploadRate(bench, server, load, stored, loadContent);
}

/// nginx writes each body to a file, and a line for each request, as the log service does.
double rateOfNginx(const Bench &bench)
{
    const QTemporaryDir folder(QStringLiteral("load-XXXXXX"));
    UploadLoad load;
    load.port = freePort();
    load.requestLine = [](std::uint64_t number) { return "PUT /stored/" + std::to_string(number) + " HTTP/1.1"; };
    const QString base = QFileInfo(folder.path()).absoluteFilePath();
    QFile file(folder.filePath(QStringLiteral("nginx.conf")));
    const QString text = QStringLiteral("daemon off; pid %1/pid; error_log %1/errors; worker_processes auto; %3\n"
                                        "events { worker_connections 1024; }\n"
                                        "http { access_log %1/lines; client_body_temp_path %1/incoming;\n"
                                        "proxy_temp_path %1/p; fastcgi_temp_path %1/f; uwsgi_temp_path %1/u;\n"
                                        "scgi_temp_path %1/s; server { listen 127.0.0.1:%2; root %1;\n"
                                        "dav_methods PUT; create_full_put_path on; client_max_body_size 0; } }\n")
                             .arg(base)
                             .arg(load.port)
                             .arg(::geteuid() == 0 ? QStringLiteral("user root;") : QString());
    if (!file.open(QIODevice::WriteOnly) || file.write(text.toUtf8()) < 0)
        throw std::runtime_error("cannot write the configuration of nginx");
    file.close();
    QString nginx = QStandardPaths::findExecutable(QStringLiteral("nginx"));
    if (nginx.isEmpty())
        nginx = QStringLiteral("/usr/sbin/nginx");
    Server server(nginx,
                  {QStringLiteral("-e"), base + QStringLiteral("/errors"), QStringLiteral("-c"),
                   base + QStringLiteral("/nginx.conf")},
                  folder.filePath(QStringLiteral("output")), load.port);
    return uploadRate(bench, server, load, base + QStringLiteral("/stored"), loadForm);
}

} // namespace

void measureManyUploads(Bench &bench)
{
    Samples ours;
    Samples peer;
    interleave(bench.plan.loadRounds, {[&] { ours.add(rateOfService(bench)); }, [&] { peer.add(rateOfNginx(bench)); }});
    const auto text = [](double rate) { return QStringLiteral("%1/s").arg(rate, 0, 'f', 0); };
    bench.table.add({QStringLiteral("log service: uploads of 16 KiB from %1 clients at once for %2 s (nginx, to files)")
                         .arg(UploadLoad().clients)
                         .arg(bench.plan.loadSeconds),
                     text(ours.median()), text(peer.median()),
                     QString::number(ours.median() / peer.median(), 'f', 2) + QLatin1Char('x'), QString(), QString()});
}
