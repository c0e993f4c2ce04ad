#include "support/server/reply.h"

#include <algorithm>

namespace {

QByteArray answerHead(int status, qint64 contentLength, const Reply::Headers &headers)
{
    QByteArray head = "HTTP/1.1 " + QByteArray::number(status) + " Scripted\r\n";
    head += "Content-Length: " + QByteArray::number(contentLength) + "\r\n";
    for (const auto &header : headers)
        head += header.first + ": " + header.second + "\r\n";
    return head + "\r\n";
}

const Reply::Headers &jsonHeaders()
{
    static const Reply::Headers headers{{"Content-Type", "application/json"}};
    return headers;
}

Reply ending(Reply::When when, Reply::Then then)
{
    Reply reply;
    reply.when = when;
    reply.then = then;
    return reply;
}

Reply withMark(Reply reply, Reply::Mark mark)
{
    const auto behind = std::upper_bound(
        reply.marks.begin(), reply.marks.end(), mark,
        [](const Reply::Mark &left, const Reply::Mark &right) { return left.bodyBytes < right.bodyBytes; });
    reply.marks.insert(behind, std::move(mark));
    return reply;
}

} // namespace

Reply Reply::json(const QByteArray &body)
{
    return http(200, body, jsonHeaders());
}

Reply Reply::http(int status, const QByteArray &body, const Headers &headers)
{
    Reply reply;
    reply.head = answerHead(status, body.size(), headers);
    reply.body = body;
    return reply;
}

Reply Reply::resetOnConnect()
{
    return ending(When::OnConnect, Then::Reset);
}

Reply Reply::resetAfterHeaders()
{
    return ending(When::AfterHeaders, Then::Reset);
}

Reply Reply::resetDuringBody(qint64 bodyBytes)
{
    Reply reply = ending(When::DuringBody, Then::Reset);
    reply.actAtBodyBytes = bodyBytes;
    return reply;
}

Reply Reply::resetAfterBody()
{
    return ending(When::AfterBody, Then::Reset);
}

Reply Reply::closeAfterBody()
{
    return ending(When::AfterBody, Then::Close);
}

Reply Reply::silence()
{
    return ending(When::AfterBody, Then::KeepOpen);
}

Reply Reply::garbage(const QByteArray &bytes)
{
    Reply reply = closeAfterBody();
    reply.head = bytes;
    return reply;
}

Reply Reply::cutAnswer(const QByteArray &body, int missingBytes)
{
    Reply reply = closeAfterBody();
    reply.head = answerHead(200, body.size() + missingBytes, jsonHeaders());
    reply.body = body;
    reply.bodyDelayMs = 100;
    return reply;
}

Reply Reply::drip(const QByteArray &body, int chunkBytes, int delayMs)
{
    Reply reply = json(body);
    reply.bodyChunk = chunkBytes;
    reply.bodyDelayMs = delayMs;
    return reply;
}

Reply Reply::big(int bodyBytes)
{
    const QByteArray start = QByteArrayLiteral("{\"Code\":0,\"pad\":\"");
    const QByteArray end = QByteArrayLiteral("\"}");
    return json(start + QByteArray(std::max(0, bodyBytes - int(start.size() + end.size())), 'x') + end);
}

Reply Reply::untilAnotherRequest() const
{
    Reply reply = *this;
    reply.coversRepeats = true;
    return reply;
}

Reply Reply::readingSlowly(int chunkBytes, int delayMs) const
{
    Reply reply = *this;
    reply.readChunk = chunkBytes;
    reply.readDelayMs = delayMs;
    return reply;
}

Reply Reply::holdingAt(qint64 bodyBytes) const
{
    return withMark(*this, {bodyBytes, Hook()});
}

Reply Reply::onHeaders(const Hook &hook) const
{
    return onBodyBytes(0, hook);
}

Reply Reply::onBodyBytes(qint64 bodyBytes, const Hook &hook) const
{
    return withMark(*this, {bodyBytes, hook});
}

Reply Reply::onRequest(const Hook &hook) const
{
    Reply reply = *this;
    reply.requestHooks.push_back(hook);
    return reply;
}
