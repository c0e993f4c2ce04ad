#include "kxlog/recordtime.h"

#include <QDateTime>

#include <algorithm>
#include <array>

namespace {

// Without a destructor, because messages are still logged while the process takes itself down.
struct KnownTime
{
    qint64 second = 0;
    int length = 0; ///< 0: none known yet
    std::array<QChar, 32> text{};
};

} // namespace

QString recordTime(qint64 secsSinceEpoch)
{
    // Formatting took two thirds of a record. The key is the second itself and not some period since the last record:
    // whatever the clock or daylight saving does, another second has another text.
    thread_local KnownTime known;
    if (known.length != 0 && known.second == secsSinceEpoch)
        return QString(known.text.data(), known.length);

    QString text = QDateTime::fromSecsSinceEpoch(secsSinceEpoch).toString(QStringLiteral("yyyy-MM-dd hh:mm:ss"));
    if (text.size() <= static_cast<int>(known.text.size())) {
        std::copy_n(text.constData(), text.size(), known.text.begin());
        known.length = text.size();
        known.second = secsSinceEpoch;
    }
    return text;
}
