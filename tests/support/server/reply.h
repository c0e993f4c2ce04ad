#pragma once

#include <QByteArray>
#include <QList>
#include <QPair>
#include <functional>
#include <vector>

/// How a ScriptedServer treats one request: a value, made by one of the factories and refined by the modifiers.
///
///     Reply::json("{\"Code\":5}").onBodyBytes(1000, [&] { QFile::remove(path); })
struct Reply
{
    using Hook = std::function<void()>;
    using Headers = QList<QPair<QByteArray, QByteArray>>;

    /// Moment at which the server acts on the request.
    enum class When { OnConnect, AfterHeaders, DuringBody, AfterBody };
    /// What becomes of the connection once the answer, if any, is written.
    enum class Then { KeepOpen, Close, Reset };
    /// Something that happens once \a bodyBytes bytes of the body were read: the hook, or a stop until
    /// release().
    struct Mark
    {
        qint64 bodyBytes;
        Hook hook; ///< null: the server holds
    };

    /// 200 with \a body as application/json. The default is what the log service answers when all is well.
    static Reply json(const QByteArray &body = QByteArrayLiteral("{\"Code\":0}"));
    /// Any status with \a body and \a headers, for example http(302, {}, {{"Location", "/elsewhere"}}).
    static Reply http(int status, const QByteArray &body, const Headers &headers = {});
    /// Accepts the connection and resets it at once. Nothing is recorded. Qt connects again up to dozens of times: as
    /// the fallback this makes a request fail, in the script it may just delay it.
    static Reply resetOnConnect();
    /// Resets the connection when the request's headers were read and nothing of its body.
    static Reply resetAfterHeaders();
    /// Resets the connection when exactly \a bodyBytes bytes of the body were read.
    static Reply resetDuringBody(qint64 bodyBytes);
    /// Reads the whole request, then resets the connection instead of answering.
    static Reply resetAfterBody();
    /// Reads the whole request, then closes the connection in good order without answering.
    static Reply closeAfterBody();
    /// Reads the whole request and never answers; the connection stays open.
    static Reply silence();
    /// Answers with \a bytes as they are, then closes.
    static Reply garbage(const QByteArray &bytes = QByteArrayLiteral("\x01\x02 this is no HTTP \xff\r\n\r\n"));
    /// 200 whose Content-Length promises \a missingBytes more than \a body, then closes. The body comes a moment later:
    /// Qt sees no error, once in 300 times, when the end of the connection is there before it has looked at the
    /// headers.
    static Reply cutAnswer(const QByteArray &body, int missingBytes = 10);
    /// Like json(), but \a chunkBytes of the body at a time with \a delayMs before each.
    static Reply drip(const QByteArray &body, int chunkBytes, int delayMs);
    /// Like json() with a JSON object of exactly \a bodyBytes bytes (at least 20) whose "Code" is 0.
    static Reply big(int bodyBytes);

    /// Stays in force for requests that repeat this one (same method, path and Content-Length) before any other comes.
    /// Qt posts again by itself when a connection ends without an answer: twice in all after a complete body, four
    /// times after garbage, any number of times after earlier resets. Without this the repeats take the next replies.
    Reply untilAnotherRequest() const;
    /// Reads the body at most \a chunkBytes at a time, waiting \a delayMs before each.
    Reply readingSlowly(int chunkBytes, int delayMs) const;
    /// Stops reading once \a bodyBytes bytes of the body were read (and at most 64 KiB more), until
    /// ScriptedServer::release(). The sender is stopped only when the system's buffers are full, on Linux after about
    /// 4 MB: let 16 MB and more follow where that matters.
    Reply holdingAt(qint64 bodyBytes) const;
    /// Calls \a hook in a thread of the server when the headers were read and nothing of the body.
    Reply onHeaders(const Hook &hook) const;
    /// Calls \a hook in a thread of the server once \a bodyBytes bytes of the body were read (and at most 64 KiB more).
    /// A request whose body is shorter never gets there. Hooks and holds at one number run in the order of their
    /// adding.
    Reply onBodyBytes(qint64 bodyBytes, const Hook &hook) const;
    /// Calls \a hook in a thread of the server when the request was read and recorded, before it is answered.
    Reply onRequest(const Hook &hook) const;

    When when = When::AfterBody;
    qint64 actAtBodyBytes = 0; ///< for When::DuringBody
    QByteArray head;           ///< first bytes of the answer, written at once
    QByteArray body;           ///< the remaining bytes of the answer
    int bodyChunk = 0;         ///< bytes of the body written at a time, 0: all
    int bodyDelayMs = 0;       ///< pause before each chunk
    Then then = Then::KeepOpen;
    int readChunk = 64 * 1024; ///< bytes of the request's body read at a time
    int readDelayMs = 0;       ///< pause before each chunk
    bool coversRepeats = false;
    std::vector<Mark> marks; ///< ascending by bodyBytes
    std::vector<Hook> requestHooks;
};
