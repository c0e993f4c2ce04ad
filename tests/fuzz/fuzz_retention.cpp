#include "fuzztargets.h"
#include "kxlog/logretention.h"

#include <QDateTime>

namespace {

/// A name of what the rules look at, which is found much later among all bytes.
QString spelled(const QByteArray &input)
{
    static const QString letters = QStringLiteral("0123456789_012345.crash_dat -+Tz");
    QString name;
    for (const char byte : input)
        name.append(letters.at(static_cast<unsigned char>(byte) % letters.size()));
    return name;
}

/// What the product did before it had a parser of its own.
bool expectsExpired(const RetentionRule &rule, const QString &name, const QDate &today)
{
    if (name.contains(QLatin1String("dat")) && name != dayMarkerName(rule, today))
        return true;
    QString stamp = name.split(QLatin1Char('.')).first();
    if (!rule.removedPrefix.isEmpty())
        stamp.remove(rule.removedPrefix);
    return QDateTime::fromString(stamp, rule.stampFormat).date().daysTo(today) > 2;
}

// Qt takes "+6" for a day of two digits. Such a name is no stamp, and is kept.
bool hasSign(const QString &name)
{
    return name.contains(QLatin1Char('+')) || name.contains(QLatin1Char('-')) || name.contains(QLatin1Char(' '));
}

} // namespace

void fuzzRetention(const QByteArray &input)
{
    for (const QString &name : {QString::fromUtf8(input), spelled(input)}) {
        for (const RetentionRule &rule : {ownLogRule(), sdkLogRule()}) {
            for (const QDate &today : {QDate(2024, 2, 29), QDate(1, 1, 1), QDate(9999, 12, 31)}) {
                const bool isGone = isExpired(rule, name, today);
                if (isGone != expectsExpired(rule, name, today))
                    require(!isGone && hasSign(name), "Qt reads the stamp alike");
            }
        }
    }
}
