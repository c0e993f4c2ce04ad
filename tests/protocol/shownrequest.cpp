#include "shownrequest.h"

#include <QRegularExpression>

namespace {

QByteArray shownHead(const RecordedRequest &request, const QByteArray &host, int bodySize)
{
    QByteArray head = request.rawHead.left(request.rawHead.indexOf("\r\n") + 2);
    for (const auto &header : request.headers) {
        const QByteArray name = header.first.toLower();
        QByteArray value = header.second;
        if (name == "host")
            value = host;
        else if (name == "content-length")
            value = QByteArray::number(bodySize);
#ifdef Q_OS_MACOS
        // The language of the user there, whatever the environment says.
        else if (name == "accept-language")
            value = QByteArrayLiteral("en,*");
#endif
        head += header.first + ": " + value + "\r\n";
    }
    return head + "\r\n";
}

QByteArray withMarkedLineFeeds(QByteArray text)
{
    const QByteArray lineEnd = QByteArrayLiteral("\r\n");
    const QByteArray stowed = QByteArrayLiteral("\r");
    text.replace(lineEnd, stowed);
    text.replace("\n", QByteArrayLiteral("\xe2\x90\x8a\n"));
    return text.replace(stowed, "\n");
}

} // namespace

QByteArray shownRequest(const RecordedRequest &request, const QByteArray &host, const QByteArray &body)
{
    const QByteArray head = shownHead(request, host, body.size());
    // A carriage return by itself could not be told from a line end.
    const bool hasStrayReturn = body.count('\r') != body.count("\r\n");
    if (!request.bodyComplete || !request.problem.isEmpty() || hasStrayReturn ||
        QString::fromUtf8(head + body).toUtf8() != head + body)
        return {};
    const bool isJson = request.header("Content-Type") == "application/json";
    return withMarkedLineFeeds(head) + (isJson ? body : withMarkedLineFeeds(body));
}

QByteArray withoutRunsOwn(const QByteArray &log, const QString &folder, const QString &shownFolder)
{
    static const QRegularExpression recordTime(QStringLiteral("\\[\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\]"));
    static const QRegularExpression nameTime(QStringLiteral("upload_\\d{4}(_\\d\\d){5}\\.log"));
    static const QRegularExpression sourceLine(QStringLiteral("(\\[KxLogReport/[^\\]]*\\])\\[\\d+\\]"));
    return QString::fromUtf8(log)
        .replace(folder, shownFolder)
        .replace(recordTime, QStringLiteral("[2024-05-01 09:30:00]"))
        .replace(nameTime, QStringLiteral("upload_2024_05_01_09_30_00.log"))
        .replace(sourceLine, QStringLiteral("\\1[1]"))
        .replace(QStringLiteral("char **)"), QStringLiteral("char**)"))
        .toUtf8();
}

QByteArray withoutSeconds(const QByteArray &report)
{
    static const QRegularExpression seconds(QStringLiteral("\"ElapsedTime\": \\d+"));
    return QString::fromUtf8(report).replace(seconds, QStringLiteral("\"ElapsedTime\": 0")).toUtf8();
}
