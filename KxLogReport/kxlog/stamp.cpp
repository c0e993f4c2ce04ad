#include "kxlog/stamp.h"

#include <QDateTime>

#include <algorithm>
#include <array>

namespace {

struct Fields
{
    int year = 0;
    int month = 0;
    int day = 0;
    int hour = 0;
    int minute = 0;
    int second = 0;

    /// The field that \a letter of a format is a digit of; null for literal text.
    int *find(QChar letter)
    {
        switch (letter.unicode()) {
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
    }
};

constexpr int kRecordTimeSize = 19;

// Without a destructor, because messages are still logged while the process takes itself down.
struct KnownTime
{
    bool isKnown = false;
    qint64 second = 0;
    std::array<char, kRecordTimeSize> text{};
};

} // namespace

// Qt's own formatting writes the digits of the locale, which the pruning of another day would not read.
QString formatStamp(const QString &format, const QDate &date, const QTime &time)
{
    Fields fields{date.year(), date.month(), date.day(), time.hour(), time.minute(), time.second()};
    QString text = format;
    for (auto i = format.size() - 1; i >= 0; --i) {
        if (int *value = fields.find(format.at(i))) {
            text[i] = QLatin1Char(static_cast<char>('0' + *value % 10));
            *value /= 10;
        }
    }
    return text;
}

// The general parser of QDateTime took most of a pass over many files: it asks for the time zone at every name.
QDate parseStamp(const QString &format, const QString &stamp)
{
    if (stamp.size() != format.size())
        return {};
    Fields fields;
    for (int i = 0; i < format.size(); ++i) {
        const QChar character = stamp.at(i);
        int *value = fields.find(format.at(i));
        if (value == nullptr) {
            if (character != format.at(i))
                return {};
        } else {
            if (character < QLatin1Char('0') || character > QLatin1Char('9'))
                return {};
            *value = *value * 10 + (character.unicode() - '0');
        }
    }
    return QTime::isValid(fields.hour, fields.minute, fields.second) ? QDate(fields.year, fields.month, fields.day)
                                                                     : QDate();
}

QLatin1String recordTime(qint64 secsSinceEpoch)
{
    // Formatting took two thirds of a record. The key is the second itself and not some period since the last record:
    // whatever the clock or daylight saving does, another second has another text.
    thread_local KnownTime known;
    if (!known.isKnown || known.second != secsSinceEpoch) {
        const QDateTime time = QDateTime::fromSecsSinceEpoch(secsSinceEpoch);
        const QString text = formatStamp(QStringLiteral("yyyy-MM-dd hh:mm:ss"), time.date(), time.time());
        std::transform(text.begin(), text.end(), known.text.begin(), [](QChar digit) { return digit.toLatin1(); });
        known.second = secsSinceEpoch;
        known.isKnown = true;
    }
    return QLatin1String(known.text.data(), kRecordTimeSize);
}
