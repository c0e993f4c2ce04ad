#pragma once

#include <QByteArray>
#include <QRegularExpression>

/// The text of a log with "[time]" in place of every record's time.
inline QByteArray withoutTimes(const QByteArray &log)
{
    static const QRegularExpression time(QStringLiteral("\\[\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\]"));
    return QString::fromUtf8(log).replace(time, QStringLiteral("[time]")).toUtf8();
}
