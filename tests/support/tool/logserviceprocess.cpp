#include "support/tool/logserviceprocess.h"

#include <QtCore/QDeadlineTimer>
#include <QtCore/QRegularExpression>

namespace {

constexpr int kPatienceMs = 60000;

int exitStatus(const QProcess &process)
{
    return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
}

} // namespace

LogServiceProcess::~LogServiceProcess()
{
    if (process_.state() != QProcess::NotRunning)
        stop();
}

QStringList LogServiceProcess::onFreePorts(const QString &folder)
{
    return {QStringLiteral("--port"), QStringLiteral("0"),     QStringLiteral("--report-port"),
            QStringLiteral("0"),      QStringLiteral("--dir"), folder};
}

bool LogServiceProcess::start(const QStringList &arguments)
{
    requestLines_.clear();
    process_.start(QStringLiteral(KXLOGSERVICE_PROGRAM), arguments);
    const QDeadlineTimer deadline(kPatienceMs);
    while (!process_.canReadLine()) {
        if (!process_.waitForReadyRead(int(deadline.remainingTime())))
            return false;
    }
    readyLine_ = process_.readLine();

    static const QRegularExpression pattern(QStringLiteral(
        "^kxlogservice: listening on http://127\\.0\\.0\\.1:(\\d+) \\((?:reports on (\\d+)|no reports)\\), "));
    const auto match = pattern.match(QString::fromUtf8(readyLine_));
    port_ = match.captured(1).toUShort();
    reportPort_ = match.captured(2).toUShort();
    return match.hasMatch();
}

int LogServiceProcess::run(const QStringList &arguments)
{
    process_.start(QStringLiteral(KXLOGSERVICE_PROGRAM), arguments);
    if (process_.waitForFinished(kPatienceMs))
        return exitStatus(process_);
    stop();
    return -1;
}

int LogServiceProcess::stop()
{
    process_.terminate();
    if (process_.waitForFinished(kPatienceMs))
        return exitStatus(process_);
    process_.kill();
    process_.waitForFinished();
    return -1;
}

QByteArray LogServiceProcess::requestLines()
{
    requestLines_ += process_.readAllStandardOutput();
    return requestLines_;
}

bool LogServiceProcess::waitForRequestLine(const QByteArray &text)
{
    const QDeadlineTimer deadline(kPatienceMs);
    while (!requestLines().contains(text)) {
        if (!process_.waitForReadyRead(int(deadline.remainingTime())))
            return false;
    }
    return true;
}
