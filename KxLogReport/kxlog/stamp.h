#pragma once

#include <QDate>
#include <QLatin1String>
#include <QString>
#include <QTime>

/// Time stamps of records, file names and day markers: local time, in the digits 0 to 9 whatever the locale.
///
/// A format is made of runs of the letters y, M, d, h, m and s, each of which stands for one digit of the year, month,
/// day, hour (0 to 23), minute or second; all else stands for itself.

/// The text of \a date and \a time in \a format.
QString formatStamp(const QString &format, const QDate &date, const QTime &time = QTime(0, 0));

/// The date of a \a stamp that is as a whole a date and time in \a format; else an invalid date.
QDate parseStamp(const QString &format, const QString &stamp);

/// "yyyy-MM-dd hh:mm:ss" of the second \a secsSinceEpoch, valid until the same thread asks for another one.
///
/// Fast while the second stays the same: each thread keeps the last text.
QLatin1String recordTime(qint64 secsSinceEpoch);
