#include "kxlog/logretention.h"

#include <QDir>
#include <QFile>
#include <QTime>

namespace {

constexpr qint64 kMinExpiredAgeDays = 3;

// The general parser of QDateTime took most of a pass over many files: it asks for the time zone at every name.
QDate stampDate(const QString &stamp, const QString &format)
{
    if (stamp.size() != format.size())
        return {};
    int year = 0;
    int month = 0;
    int day = 0;
    int hour = 0;
    int minute = 0;
    int second = 0;
    const auto field = [&](ushort letter) -> int * {
        switch (letter) {
        case 'y':
            return &year;
        case 'M':
            return &month;
        case 'd':
            return &day;
        case 'h':
            return &hour;
        case 'm':
            return &minute;
        case 's':
            return &second;
        default:
            return nullptr;
        }
    };
    for (int i = 0; i < format.size(); ++i) {
        const ushort character = stamp.at(i).unicode();
        int *value = field(format.at(i).unicode());
        if (value == nullptr) {
            if (stamp.at(i) != format.at(i))
                return {};
        } else {
            if (character < '0' || character > '9')
                return {};
            *value = *value * 10 + (character - '0');
        }
    }
    return QTime::isValid(hour, minute, second) ? QDate(year, month, day) : QDate();
}

// Calendar days, not periods of 24 hours: a log of 23:59:59 is three days old three midnights later.
qint64 ageDays(const RetentionRule &rule, const QString &name, const QDate &today)
{
    QString stamp = name.left(name.indexOf(QLatin1Char('.')));
    if (!rule.removedPrefix.isEmpty())
        stamp.remove(rule.removedPrefix);
    // A stamp that does not parse has no date, and daysTo() is 0 for it.
    return stampDate(stamp, rule.stampFormat).daysTo(today);
}

} // namespace

RetentionRule ownLogRule()
{
    return {{QStringLiteral("*.*")},
            QStringLiteral("yyyy_MM_dd"),
            QStringLiteral("crash_"),
            QStringLiteral("yyyy_MM_dd_hh_mm_ss")};
}

RetentionRule sdkLogRule()
{
    return {{QStringLiteral("*.log"), QStringLiteral("*.dat")},
            QStringLiteral("yyyyMMdd"),
            QString(),
            QStringLiteral("yyyyMMddhhmmss")};
}

QString dayMarkerName(const RetentionRule &rule, const QDate &today)
{
    return today.toString(rule.markerFormat) + QStringLiteral(".dat");
}

bool isExpired(const RetentionRule &rule, const QString &name, const QDate &today)
{
    // As broad as it looks: update.log contains "dat" as well, and goes.
    if (name.contains(QLatin1String("dat")) && name != dayMarkerName(rule, today))
        return true;
    return ageDays(rule, name, today) >= kMinExpiredAgeDays;
}

void pruneLogDirectory(const QString &dir, const RetentionRule &rule, const QDate &today)
{
    const QString prefix = dir + QLatin1Char('/');
    const QString markerPath = prefix + dayMarkerName(rule, today);
    if (QFile::exists(markerPath))
        return;

    const QStringList names =
        QDir(dir).entryList(rule.nameFilters, QDir::Files | QDir::Readable | QDir::NoDotAndDotDot, QDir::Name);
    for (const QString &name : names) {
        if (isExpired(rule, name, today))
            QFile::remove(prefix + name);
    }

    QFile marker(markerPath);
    if (marker.open(QIODevice::WriteOnly))
        marker.write("1");
}
