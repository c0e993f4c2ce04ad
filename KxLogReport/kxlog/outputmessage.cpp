#include "kxlog/kxlog.h"
#include "kxlog/logrecord.h"
#include "kxlog/logreport.h"
#include "kxlog/sharedvalue.h"
#include "kxlog/stamp.h"

#include <QDateTime>
#include <QStringBuilder>

namespace {

QLatin1String levelTag(QtMsgType type)
{
    switch (type) {
    case QtDebugMsg:
        return QLatin1String("[Debug]");
    case QtWarningMsg:
        return QLatin1String("[Warning]");
    case QtCriticalMsg:
        return QLatin1String("[Critical]");
    case QtFatalMsg:
        return QLatin1String("[Fatal]");
    case QtInfoMsg:
        break;
    }
    return {};
}

} // namespace

void outputMessage(QtMsgType type, const QMessageLogContext &context, const QString &msg)
{
    if (type == QtWarningMsg && msg.contains(QLatin1String("libpng")))
        return;

    KxLog *const log = KxLog::instance();
    const QLatin1String time = recordTime(QDateTime::currentSecsSinceEpoch());
    const QLatin1String level = levelTag(type);

    // What follows is nearly all that a record costs beside the write, and most records are made of ASCII.
    AsciiRecord record;
    record.append('[');
    record.append(time);
    record.append(']');
    record.append(level);
    record.append('[');
    record.append(context.file);
    record.append(QLatin1String("]["));
    record.append(context.line);
    record.append(QLatin1String("]["));
    record.append(context.function);
    record.append(']');
    const std::size_t messageStart = record.size();
    record.append(msg);
    const std::size_t messageEnd = record.size();
    record.append(QLatin1String("\r\n\n"));
    if (record.isComplete() && logTakesAscii() &&
        !logreport::isReportMessage({record.data() + messageStart, messageEnd - messageStart})) {
        writeRecord(sharedValue(log->logFile), sharedValue(log->showLog), record.data(), record.size());
        return;
    }

    const QString location = QLatin1Char('[') % QLatin1String(context.file) % QLatin1String("][") %
                             QString::number(context.line) % QLatin1String("][") % QString::fromUtf8(context.function) %
                             QLatin1Char(']');
    const QString head = QLatin1Char('[') % time % QLatin1Char(']') % level;
    log->reportLog(head, location, msg, type);
}
