#include "support/server/recordedrequest.h"

#include <algorithm>

namespace {

bool sameName(const QByteArray &left, const QByteArray &right)
{
    return qstricmp(left.constData(), right.constData()) == 0;
}

} // namespace

QByteArray RecordedRequest::header(const QByteArray &name) const
{
    for (const auto &entry : headers) {
        if (sameName(entry.first, name))
            return entry.second;
    }
    return QByteArray();
}

int RecordedRequest::countHeader(const QByteArray &name) const
{
    return int(
        std::count_if(headers.begin(), headers.end(), [&](const auto &entry) { return sameName(entry.first, name); }));
}

bool RecordedRequest::hasSameTarget(const RecordedRequest &other) const
{
    return method == other.method && path == other.path && contentLength == other.contentLength;
}

bool RecordedRequest::isRepeatOf(const RecordedRequest &other) const
{
    return hasSameTarget(other) && bodySize == other.bodySize && body == other.body && bodyHash == other.bodyHash;
}

void RecordedRequest::parseHead(const QByteArray &head)
{
    rawHead = head;
    QList<QByteArray> lines = head.left(head.size() - 4).replace("\r\n", "\n").split('\n');
    const QList<QByteArray> start = lines.takeFirst().split(' ');
    if (start.size() != 3 || !start.at(2).startsWith("HTTP/1.")) {
        problem = QStringLiteral("the request line is not METHOD PATH HTTP/1.x");
        return;
    }
    method = start.at(0);
    path = start.at(1);

    for (const QByteArray &line : lines) {
        const int colon = line.indexOf(':');
        if (colon <= 0) {
            problem = QStringLiteral("header line without a name: ") + QString::fromLatin1(line);
            return;
        }
        headers.append(qMakePair(line.left(colon), line.mid(colon + 1).trimmed()));
    }

    const int lengths = countHeader("Content-Length");
    bool isNumber = true;
    contentLength = lengths == 0 ? 0 : header("Content-Length").toLongLong(&isNumber);
    if (lengths > 1 || !isNumber || contentLength < 0)
        problem = QStringLiteral("no usable Content-Length");
    else if (countHeader("Transfer-Encoding") > 0)
        problem = QStringLiteral("a Transfer-Encoding is not understood here");
}
