#include "kxlog/logretention.h"

#include "kxlog/stamp.h"

#include <QDir>
#include <QFile>

namespace {

constexpr qint64 kMinExpiredAgeDays = 3;

// Calendar days, not periods of 24 hours: a log of 23:59:59 is three days old three midnights later.
qint64 ageDays(const RetentionRule &rule, const QString &name, const QDate &today)
{
    QString stamp = name.left(name.indexOf(QLatin1Char('.')));
    if (!rule.removedPrefix.isEmpty())
        stamp.remove(rule.removedPrefix);
    // A stamp that does not parse has no date, and daysTo() is 0 for it.
    return parseStamp(rule.stampFormat, stamp).daysTo(today);
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
    return formatStamp(rule.markerFormat, today) + QStringLiteral(".dat");
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
