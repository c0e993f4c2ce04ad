#pragma once

#include <QtCore/QProcess>
#include <QtCore/QStringList>

/// The built local log service as a child process, ended with the object.
class LogServiceProcess
{
public:
    LogServiceProcess() = default;
    ~LogServiceProcess();

    LogServiceProcess(const LogServiceProcess &) = delete;
    LogServiceProcess &operator=(const LogServiceProcess &) = delete;

    /// The arguments for free ports and \a folder.
    static QStringList onFreePorts(const QString &folder);

    /// Starts the service and waits for its ready line. Returns false when it ends or stays silent instead.
    bool start(const QStringList &arguments);

    /// Starts the service with arguments that end it by themselves. Returns its exit status, -1 if it does not end.
    int run(const QStringList &arguments);

    /// Ends the service by SIGTERM. Returns its exit status, -1 if it did not end by itself within 20 s.
    int stop();

    quint16 port() const { return port_; }             ///< known once start() has succeeded
    quint16 reportPort() const { return reportPort_; } ///< 0 without a report port
    QByteArray readyLine() const { return readyLine_; }
    qint64 processId() const { return process_.processId(); }

    /// The lines behind the ready line, one per request, as far as they have come.
    QByteArray requestLines();
    QByteArray errorText() { return process_.readAllStandardError(); }

    /// Waits until the request lines contain \a text. Returns false when that takes more than 20 s.
    bool waitForRequestLine(const QByteArray &text);

private:
    QProcess process_;
    QByteArray readyLine_;
    QByteArray requestLines_;
    quint16 port_ = 0;
    quint16 reportPort_ = 0;
};
