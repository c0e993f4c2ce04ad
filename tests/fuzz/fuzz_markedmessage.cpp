#include "fuzztargets.h"
#include "kxlog/kxlog.h"
#include "kxlog/logfile.h"

#include <QFile>
#include <QTemporaryDir>

namespace {

/// Writes its records to a file that holds only the last one.
class Log : public KxLog
{
public:
    Log()
    {
        logFile = new LogFile(folder.filePath(QStringLiteral("log")), nullptr);
        require(logFile->open(QIODevice::WriteOnly | QIODevice::Append), "a log can be opened");
    }

    QByteArray record(const QString &message, QtMsgType type)
    {
        logFile->resize(0);
        reportLog(QStringLiteral("[head]"), QStringLiteral("[location]"), message, type);
        QFile written(logFile->fileName());
        require(written.open(QIODevice::ReadOnly), "a log can be read");
        return written.readAll();
    }

private:
    QTemporaryDir folder;
};

/// The same as the product, written down the long way.
int expectedInt(QString &text, const QString &marker, const QString &format)
{
    if (!text.contains(marker))
        return 0;
    const int value = text.split(marker).at(1).toInt();
    const QString before = text.left(text.indexOf(marker));
    const QString behind = text.mid(text.lastIndexOf(marker) + marker.size());
    text = before + QString(format).replace(QLatin1String("%1"), QString::number(value)) + behind;
    return value;
}

} // namespace

void fuzzMarkedMessage(const QByteArray &input)
{
    static Log log;
    const QString message = QString::fromUtf8(input);
    for (const char *marker : {"$#$", "#$#", "$$", "@@"}) {
        for (const char *format : {"", "count:%1"}) {
            QString text = message;
            QString expected = message;
            const int value = log.getStrInt(text, QLatin1String(marker), QLatin1String(format));
            require(value == expectedInt(expected, QLatin1String(marker), QLatin1String(format)),
                    "a field has its value");
            require(text == expected, "a field is replaced and nothing else");
        }
    }

    for (const QtMsgType type : {QtDebugMsg, QtWarningMsg, QtCriticalMsg, QtFatalMsg, QtInfoMsg}) {
        const QByteArray plain = log.record(message, type);
        require(plain.startsWith("[head][location]") && plain.endsWith("\r\n\n"), "a message becomes one record");
        const QByteArray marked = log.record(QStringLiteral("kx_log") + message, type);
        require(marked.startsWith("[head][location]") && marked.endsWith("\r\n\n"),
                "a report message becomes one record");
        require(!marked.contains('\\'), "a report message loses its backslashes");
    }
}
