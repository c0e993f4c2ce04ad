#include "support/files/logrecords.h"

#include <QRegularExpression>
#include <algorithm>
#include <iterator>

namespace {

const char kRecordEnd[] = "\r\n\n";

/// Position of the bracket that closes the one before \a from; -1 without one. Signatures contain brackets themselves.
int closingBracket(const QString &text, int from)
{
    int depth = 1;
    for (int at = from; at < text.size(); ++at) {
        if (text.at(at) == QLatin1Char('['))
            ++depth;
        else if (text.at(at) == QLatin1Char(']') && --depth == 0)
            return at;
    }
    return -1;
}

bool parseRecord(const QString &text, LogRecord &record)
{
    static const QRegularExpression head(
        QStringLiteral("^\\[(\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d)\\](?:\\[(Debug|Warning|Critical|Fatal)\\])?"
                       "\\[([^\\]]*)\\]\\[(-?\\d+)\\]\\["));
    const QRegularExpressionMatch match = head.match(text);
    const int functionEnd = match.hasMatch() ? closingBracket(text, match.capturedEnd()) : -1;
    if (functionEnd < 0)
        return false;
    record.time = QDateTime::fromString(match.captured(1), QStringLiteral("yyyy-MM-dd hh:mm:ss"));
    record.level = match.captured(2);
    record.file = match.captured(3);
    record.line = match.captured(4).toInt();
    record.function = text.mid(match.capturedEnd(), functionEnd - match.capturedEnd());
    // Qt 6 names the type in front of a list.
    record.message = text.mid(functionEnd + 1).replace(QLatin1String("QList("), QLatin1String("("));
    return record.time.isValid();
}

} // namespace

LogRecords::LogRecords(const QByteArray &bytes)
{
    int from = 0;
    while (from < bytes.size()) {
        const int end = bytes.indexOf(kRecordEnd, from);
        if (end < 0) {
            problems_.append(QStringLiteral("the last record has no CR LF LF"));
            break;
        }
        LogRecord record;
        if (parseRecord(QString::fromUtf8(bytes.mid(from, end - from)), record))
            records_.append(record);
        else
            problems_.append(QStringLiteral("no record: ") + QString::fromUtf8(bytes.mid(from, end - from)));
        from = end + 3;
    }
    description_ = problems_.join(QLatin1Char('\n')).toUtf8() + "\n--- log ---\n" + bytes;
}

QStringList LogRecords::messages() const
{
    QStringList messages;
    for (const LogRecord &record : records_)
        messages.append(record.message);
    return messages;
}

QList<LogRecord> LogRecords::from(const QString &function) const
{
    QList<LogRecord> found;
    std::copy_if(records_.begin(), records_.end(), std::back_inserter(found),
                 [&](const LogRecord &record) { return record.function == function; });
    return found;
}

QList<LogRecord> LogRecords::containing(const QString &text) const
{
    QList<LogRecord> found;
    std::copy_if(records_.begin(), records_.end(), std::back_inserter(found),
                 [&](const LogRecord &record) { return record.message.contains(text); });
    return found;
}

bool LogRecords::contains(const char *function, const char *text) const
{
    const QList<LogRecord> candidates = from(QString::fromUtf8(function));
    return std::any_of(candidates.begin(), candidates.end(),
                       [&](const LogRecord &record) { return record.message.contains(QString::fromUtf8(text)); });
}
