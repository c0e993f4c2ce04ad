#include "logsession.h"

#include "kxlog/kxlog.h"
#include "support/files/fileio.h"

#include <QCoreApplication>
#include <QDateTime>

LogSession::LogSession()
{
    KxLog::instance()->install_log(directory_.path());
    file_ = KxLog::instance()->fileName();
}

LogSession::~LogSession()
{
    KxLog *const log = KxLog::instance();
    log->stopReport();
    log->setShowLog(false);
    log->closeFile();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

QByteArray LogSession::bytes() const
{
    return readFile(file_);
}

bool isStamped(const QByteArray &record, qint64 from, qint64 to)
{
    for (qint64 second = from; second <= to; ++second) {
        const QString time = QDateTime::fromSecsSinceEpoch(second).toString(QStringLiteral("yyyy-MM-dd hh:mm:ss"));
        if (record.startsWith("[" + time.toLatin1() + "]"))
            return true;
    }
    return false;
}
