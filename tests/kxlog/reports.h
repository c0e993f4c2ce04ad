#pragma once

#include "kxlog/kxlog.h"
#include "support/process/waitfor.h"

#include <QNetworkAccessManager>

/// Where reports go, whatever the host.
constexpr quint16 kReportPort = 21999;

/// Hands \a message to \a log as the message handler does, with fixed texts for its time, level and place.
inline void report(KxLog &log, const QString &message, QtMsgType type = QtDebugMsg)
{
    log.reportLog(QStringLiteral("[time][Level]"), QStringLiteral("[f][1][g]"), message, type);
}

/// Waits until \a log has no request on its way any more. Returns false if it still has one after a minute.
inline bool waitForNoManagers(const KxLog &log)
{
    return waitFor([&log] { return log.findChildren<QNetworkAccessManager *>().isEmpty(); });
}
