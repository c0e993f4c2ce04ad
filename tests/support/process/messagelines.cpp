#include "support/process/messagelines.h"

#include "support/process/messagecatcher.h"

#include <QRegularExpression>

namespace {

QString typePrefix(QtMsgType type)
{
    switch (type) {
    case QtDebugMsg:
        return {};
    case QtInfoMsg:
        return QStringLiteral("[Info] ");
    case QtWarningMsg:
        return QStringLiteral("[Warning] ");
    case QtCriticalMsg:
        return QStringLiteral("[Critical] ");
    case QtFatalMsg:
        break;
    }
    return QStringLiteral("[Fatal] ");
}

QString signature(const CaughtMessage &message)
{
    return QString::fromLatin1(message.function).replace(QLatin1String(" &"), QLatin1String("&"));
}

// Qt 6 names the type in front of a list.
QString textOf(const CaughtMessage &message)
{
    return QString(message.text).replace(QLatin1String("QList("), QLatin1String("("));
}

} // namespace

QStringList messageLines(const MessageCatcher &messages)
{
    QStringList lines;
    for (const CaughtMessage &message : messages.messages())
        lines += typePrefix(message.type) + signature(message) + QStringLiteral(": ") + textOf(message);
    return lines;
}

QStringList messageLinesOf(const MessageCatcher &messages, const QString &className)
{
    const QRegularExpression member(QStringLiteral("\\b") + className + QStringLiteral("::(~?\\w+)\\("));
    QStringList lines;
    for (const CaughtMessage &message : messages.messages()) {
        const QRegularExpressionMatch match = member.match(signature(message));
        if (match.hasMatch())
            lines += typePrefix(message.type) + match.captured(1) + QStringLiteral(": ") + textOf(message);
    }
    return lines;
}
