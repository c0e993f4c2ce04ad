#include "messagecatcher.h"
#include "rawclient.h"
#include "scriptedserver.h"
#include "waitfor.h"

#include <QCryptographicHash>
#include <QElapsedTimer>
#include <QTest>
#include <atomic>

namespace {

QByteArray post(const QByteArray &body, const QByteArray &path = "/")
{
    return "POST " + path + " HTTP/1.1\r\nHost: x\r\nContent-Length: " + QByteArray::number(body.size()) + "\r\n\r\n" +
           body;
}

QByteArray bodyOf(const QByteArray &answer)
{
    return answer.mid(answer.indexOf("\r\n\r\n") + 4);
}

} // namespace

Q_DECLARE_METATYPE(Reply)
Q_DECLARE_METATYPE(RawClient::End)

/// The server as a client sees it that speaks to it without any HTTP code.
class TestScriptedServer : public QObject
{
    Q_OBJECT

private slots:
    void recordsWhatItIsSent()
    {
        const ScriptedServer server;
        RawClient client(server.port());
        const QByteArray head = "PUT /a/b?c=d HTTP/1.1\r\nHost: x\r\nX-Two:  a b \r\nCONTENT-length: 5\r\n\r\n";
        QVERIFY(client.send(head + QByteArray("a\0\r\nb", 5)));
        QCOMPARE(bodyOf(client.receiveAnswer()), QByteArray("{\"Code\":0}"));

        QCOMPARE(server.requests().size(), 1);
        const RecordedRequest request = server.requests().first();
        QCOMPARE(request.method, QByteArray("PUT"));
        QCOMPARE(request.path, QByteArray("/a/b?c=d"));
        QCOMPARE(request.rawHead, head);
        QCOMPARE(request.header("x-two"), QByteArray("a b"));
        QVERIFY(request.header("x-three").isNull());
        QCOMPARE(request.body, QByteArray("a\0\r\nb", 5));
        QCOMPARE(request.contentLength, qint64(5));
        QCOMPARE(request.bodySize, qint64(5));
        QVERIFY(request.bodyComplete);
        QCOMPARE(request.connection, 1);
        QVERIFY2(request.problem.isEmpty(), qPrintable(request.problem));
    }

    void followsTheScriptThenTheFallback()
    {
        const ScriptedServer server(0, {Reply::json("1"), Reply::http(302, "2", {{"Location", "/z"}})},
                                    Reply::json("3"));
        RawClient client(server.port());
        QVERIFY(client.send(post("a")));
        QCOMPARE(bodyOf(client.receiveAnswer()), QByteArray("1"));
        QVERIFY(client.send(post("b")));
        const QByteArray redirect = client.receiveAnswer();
        QVERIFY2(redirect.startsWith("HTTP/1.1 302 ") && redirect.contains("\r\nLocation: /z\r\n"), redirect);
        for (int i = 0; i < 3; ++i) {
            QVERIFY(client.send(post("c")));
            QCOMPARE(bodyOf(client.receiveAnswer()), QByteArray("3"));
        }
        QCOMPARE(server.requests().size(), 5);
        QCOMPARE(server.connections(), 1);
    }

    void servesRequestsThatComeTogetherOrInPieces()
    {
        const ScriptedServer server;
        RawClient client(server.port());
        QVERIFY(client.send(post("first") + post("second").left(20)));
        client.receiveAnswer();
        QVERIFY(client.send(post("second").mid(20)));
        client.receiveAnswer();
        QCOMPARE(server.distinctBodies(), (QList<QByteArray>{"first", "second"}));
    }

    void serveSeveralConnectionsAtOnce()
    {
        const ScriptedServer server(0, {Reply::silence()});
        RawClient waiting(server.port());
        QVERIFY(waiting.send(post("a")));
        QVERIFY(server.waitForRequests(1));
        RawClient other(server.port());
        QVERIFY(other.send(post("b")));
        QVERIFY(other.receiveAnswer().startsWith("HTTP/1.1 200 "));
        QCOMPARE(server.connections(), 2);
        QCOMPARE(server.requests().at(1).connection, 2);
    }

    void endsConnectionsAsScripted_data()
    {
        QTest::addColumn<Reply>("reply");
        QTest::addColumn<QByteArray>("answer");
        QTest::addColumn<RawClient::End>("end");
        QTest::addColumn<int>("bodySize");
        const QByteArray none;
        const QByteArray json = Reply::json().head + Reply::json().body;
        using End = RawClient::End;
        QTest::newRow("json") << Reply::json() << json << End::Open << 1000;
        QTest::newRow("reset after the headers") << Reply::resetAfterHeaders() << none << End::Reset << 0;
        QTest::newRow("reset during the body") << Reply::resetDuringBody(400) << none << End::Reset << 400;
        QTest::newRow("reset at the body's end") << Reply::resetDuringBody(5000) << none << End::Reset << 1000;
        QTest::newRow("reset after the body") << Reply::resetAfterBody() << none << End::Reset << 1000;
        QTest::newRow("close") << Reply::closeAfterBody() << none << End::Closed << 1000;
        QTest::newRow("silence") << Reply::silence() << none << End::Open << 1000;
        QTest::newRow("garbage") << Reply::garbage("junk") << QByteArray("junk") << End::Closed << 1000;
        QTest::newRow("cut answer") << Reply::cutAnswer("ab", 3)
                                    << QByteArray("HTTP/1.1 200 Scripted\r\nContent-Length: 5\r\n"
                                                  "Content-Type: application/json\r\n\r\nab")
                                    << End::Closed << 1000;
    }
    void endsConnectionsAsScripted()
    {
        QFETCH(Reply, reply);
        QFETCH(QByteArray, answer);
        QFETCH(int, bodySize);
        const ScriptedServer server(0, {reply});
        RawClient client(server.port());
        QVERIFY(client.send(post(QByteArray(1000, 'x'))));
        QCOMPARE(client.receive(answer.size()), answer);
        QTEST(client.receiveEnd(300), "end");
        QCOMPARE(server.requests().size(), 1);
        QCOMPARE(server.requests().first().bodySize, qint64(bodySize));
        QCOMPARE(server.requests().first().body, QByteArray(bodySize, 'x'));
        QCOMPARE(server.requests().first().bodyComplete, bodySize == 1000);
    }

    void resetsOnConnect()
    {
        const ScriptedServer server(0, {Reply::resetOnConnect()});
        RawClient first(server.port());
        QVERIFY(first.isConnected());
        QCOMPARE(int(first.receiveEnd()), int(RawClient::End::Reset));
        RawClient second(server.port());
        QVERIFY(second.send(post("x")));
        QVERIFY(second.receiveAnswer().startsWith("HTTP/1.1 200 "));
        QCOMPARE(server.requests().size(), 1);
        QCOMPARE(server.connections(), 2);
    }

    void resetsAnOpenConnectionWhenItsTurnComes()
    {
        const ScriptedServer server(0, {Reply::json(), Reply::resetOnConnect()});
        RawClient client(server.port());
        QVERIFY(client.send(post("x")));
        client.receiveAnswer();
        QVERIFY(client.send(post("y")));
        QCOMPARE(int(client.receiveEnd()), int(RawClient::End::Reset));
        QCOMPARE(server.requests().size(), 1);
    }

    void treatsRepeatsAlikeWhenAsked()
    {
        const ScriptedServer server(0, {Reply::json("1").untilAnotherRequest(), Reply::json("2")}, Reply::json("3"));
        RawClient client(server.port());
        QByteArray answers;
        for (const QByteArray &request : {post("a"), post("b"), post("a", "/other"), post("a", "/other"), post("ab")}) {
            QVERIFY(client.send(request));
            answers += bodyOf(client.receiveAnswer());
        }
        QCOMPARE(answers, QByteArray("11233"));
    }

    void dripsItsAnswer()
    {
        const ScriptedServer server(0, {Reply::drip("0123456789", 4, 100)});
        RawClient client(server.port());
        QElapsedTimer timer;
        timer.start();
        QVERIFY(client.send(post("x")));
        QCOMPARE(bodyOf(client.receiveAnswer()), QByteArray("0123456789"));
        QVERIFY2(timer.elapsed() >= 300, qPrintable(QString::number(timer.elapsed())));
    }

    void sendsBigAnswers()
    {
        const ScriptedServer server(0, {Reply::big(20), Reply::big(5000000)});
        RawClient client(server.port());
        QVERIFY(client.send(post("x")));
        QCOMPARE(bodyOf(client.receiveAnswer()), QByteArray("{\"Code\":0,\"pad\":\"x\"}"));
        QVERIFY(client.send(post("x")));
        const QByteArray body = bodyOf(client.receiveAnswer());
        QCOMPARE(body.size(), 5000000);
        QVERIFY(body.startsWith("{\"Code\":0,") && body.endsWith("x\"}"));
    }

    void closesAfterAnsweringWhenAsked()
    {
        const ScriptedServer server;
        RawClient client(server.port());
        QVERIFY(client.send("GET / HTTP/1.1\r\nConnection: Close\r\n\r\n"));
        QVERIFY(client.receiveAnswer().startsWith("HTTP/1.1 200 "));
        QCOMPARE(int(client.receiveEnd()), int(RawClient::End::Closed));
    }

    void runsHooksInOrderAtTheirByte()
    {
        QList<QByteArray> order;
        const auto note = [&](const char *what) { return [&order, what] { order.append(what); }; };
        std::function<int()> recorded = [] { return -1; };
        int before = -1;
        int after = -1;
        const Reply reply = Reply::json()
                                .onRequest(note("request"))
                                .onRequest([&] { after = recorded(); })
                                .onBodyBytes(700, note("700"))
                                .onBodyBytes(300, note("300"))
                                .onBodyBytes(700, note("700 again"))
                                .onBodyBytes(1001, note("never"))
                                .onBodyBytes(1000, [&] { before = recorded(); })
                                .onHeaders(note("headers"));
        const ScriptedServer server(0, {reply});
        recorded = [&] { return server.requests().size(); };
        RawClient client(server.port());
        QVERIFY(client.send(post(QByteArray(1000, 'x'))));
        QVERIFY(!client.receiveAnswer().isEmpty());
        QCOMPARE(order, (QList<QByteArray>{"headers", "300", "700", "700 again", "request"}));
        QCOMPARE(before, 0);
        QCOMPARE(after, 1);
    }

    void runsAHookOnlyOnceItsByteIsThere()
    {
        std::atomic<int> calls(0);
        const ScriptedServer server(0, {Reply::json().onBodyBytes(6, [&] { ++calls; }).onHeaders([&] { ++calls; })});
        RawClient client(server.port());
        QVERIFY(client.send(post("0123456789").chopped(5)));
        QVERIFY(waitFor([&] { return calls == 1; }));
        QTest::qWait(50);
        QCOMPARE(calls.load(), 1);
        QVERIFY(client.send("5"));
        QVERIFY(waitFor([&] { return calls == 2; }));
        QVERIFY(server.requests().isEmpty());
        QVERIFY(client.send("6789"));
        QVERIFY(server.waitForRequests(1));
    }

    void stopsTheSenderUntilReleased()
    {
        ScriptedServer server(0, {Reply::json().holdingAt(1000)});
        RawClient client(server.port());
        const QByteArray request = post(QByteArray(32 * 1024 * 1024, 'x'));
        const int sent = client.sendUntilStuck(request, 500);
        qInfo("%d bytes were sent to a server that holds", sent);
        QVERIFY(sent < request.size() / 2);
        QVERIFY(server.waitForHold());
        QVERIFY(server.requests().isEmpty());
        server.release();
        QVERIFY(client.send(request.mid(sent)));
        QVERIFY(client.receiveAnswer().startsWith("HTTP/1.1 200 "));
        QVERIFY(server.requests().first().bodyComplete);
    }

    void holdsAgainAtTheNextPlace()
    {
        std::atomic<int> passed(0);
        const auto count = [&] { ++passed; };
        ScriptedServer server(0, {Reply::json().holdingAt(0).onHeaders(count).holdingAt(5).onBodyBytes(5, count)});
        RawClient client(server.port());
        QVERIFY(client.send(post("0123456789")));
        QVERIFY(server.waitForHold());
        QCOMPARE(passed.load(), 0);
        server.release();
        QVERIFY(waitFor([&] { return passed == 1; }));
        QVERIFY(server.waitForHold());
        QCOMPARE(passed.load(), 1);
        server.release();
        QVERIFY(client.receiveAnswer().startsWith("HTTP/1.1 200 "));
        QCOMPARE(passed.load(), 2);
    }

    void waitsInVainWhenNothingHolds()
    {
        const ScriptedServer server;
        QVERIFY(!server.waitForHold(50));
        QVERIFY(!server.waitForRequests(1, 50));
    }

    void readsSlowly()
    {
        const ScriptedServer server(0, {Reply::json().readingSlowly(200, 50)});
        RawClient client(server.port());
        QVERIFY(client.send(post(QByteArray(1000, 'x'))));
        QVERIFY(client.receiveAnswer().startsWith("HTTP/1.1 200 "));
        const RecordedRequest request = server.requests().first();
        QVERIFY2(request.readMs - request.firstByteMs >= 250, "five chunks with a delay before each");
        QCOMPARE(request.body, QByteArray(1000, 'x'));
    }

    void recordsAnUploadThatTheClientGaveUp()
    {
        const ScriptedServer server;
        {
            RawClient client(server.port());
            QVERIFY(client.send(post("0123456789").chopped(4)));
        }
        QVERIFY(server.waitForRequests(1));
        QCOMPARE(server.requests().first().body, QByteArray("012345"));
        QVERIFY(!server.requests().first().bodyComplete);
        QVERIFY(server.distinctBodies().isEmpty());
    }

    void ignoresConnectionsWithoutARequest()
    {
        const ScriptedServer server(0, {Reply::json("1")});
        {
            const RawClient silent(server.port());
        }
        RawClient client(server.port());
        QVERIFY(client.send(post("x")));
        QCOMPARE(bodyOf(client.receiveAnswer()), QByteArray("1"));
    }

    void reportsRequestsThatAreNotHttp_data()
    {
        QTest::addColumn<QByteArray>("head");
        QTest::newRow("no request line") << QByteArray("hello\r\n\r\n");
        QTest::newRow("another protocol") << QByteArray("GET / FTP/1.1\r\n\r\n");
        QTest::newRow("header without a name") << QByteArray("GET / HTTP/1.1\r\nabc\r\n\r\n");
        QTest::newRow("length that is no number") << QByteArray("POST / HTTP/1.1\r\nContent-Length: x\r\n\r\n");
        QTest::newRow("negative length") << QByteArray("POST / HTTP/1.1\r\nContent-Length: -1\r\n\r\n");
        QTest::newRow("two lengths") << QByteArray("POST / HTTP/1.1\r\nContent-Length: 1\r\nContent-Length: 1\r\n\r\n");
        QTest::newRow("no end") << QByteArray(64 * 1024, 'x');
        QTest::newRow("chunks") << QByteArray("POST / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n");
    }
    void reportsRequestsThatAreNotHttp()
    {
        QFETCH(QByteArray, head);
        const ScriptedServer server;
        RawClient client(server.port());
        QVERIFY(client.send(head));
        QCOMPARE(int(client.receiveEnd()), int(RawClient::End::Closed));
        QCOMPARE(server.requests().size(), 1);
        QVERIFY(!server.requests().first().problem.isEmpty());
        QVERIFY(!server.requests().first().bodyComplete);
    }

    void tellsRepeatsFromNewRequests()
    {
        const ScriptedServer server;
        RawClient client(server.port());
        for (const QByteArray &request : {post("a"), post("b"), post("a"), post("a", "/other")}) {
            QVERIFY(client.send(request));
            client.receiveAnswer();
        }
        QCOMPARE(server.requests().size(), 4);
        QCOMPARE(server.distinctRequests().size(), 3);
        QCOMPARE(server.distinctBodies(), (QList<QByteArray>{"a", "b", "a"}));
    }

    void hashesOrCountsBodiesInsteadOfKeepingThem()
    {
        for (const BodyStore store : {BodyStore::Hash, BodyStore::Count}) {
            ScriptedServer::Config config;
            config.bodyStore = store;
            const ScriptedServer server(config);
            RawClient client(server.port());
            const QByteArray body(300000, 'y');
            QVERIFY(client.send(post(body)));
            client.receiveAnswer();
            const RecordedRequest request = server.requests().first();
            QVERIFY(request.body.isEmpty() && request.bodyComplete);
            QCOMPARE(request.bodySize, qint64(body.size()));
            const QByteArray hash = QCryptographicHash::hash(body, QCryptographicHash::Sha1).toHex();
            QCOMPARE(request.bodyHash, store == BodyStore::Hash ? hash : QByteArray());
        }
    }

    void reportsAPortThatIsTaken()
    {
        const ScriptedServer first;
        const MessageCatcher messages;
        const ScriptedServer second(first.port());
        QVERIFY(first.isListening() && first.errorString().isEmpty());
        QVERIFY(!second.isListening());
        const QString place = QStringLiteral("127.0.0.1:%1").arg(first.port());
        QVERIFY2(second.errorString().contains(place), qPrintable(second.errorString()));
        QVERIFY(messages.contains(place));
    }

    void freesItsPortAtOnce()
    {
        quint16 port = 0;
        for (int i = 0; i < 20; ++i) {
            const ScriptedServer server(port, {Reply::silence()});
            QVERIFY2(server.isListening(), qPrintable(server.errorString()));
            port = server.port();
            RawClient client(port);
            QVERIFY(client.send(post("x")));
            QVERIFY(server.waitForRequests(1));
        }
    }

    void endsWhateverItIsDoing_data()
    {
        QTest::addColumn<Reply>("reply");
        QTest::newRow("holds") << Reply::json().holdingAt(1);
        QTest::newRow("is silent") << Reply::silence();
        QTest::newRow("waits for more of the body") << Reply::json();
        QTest::newRow("drips") << Reply::drip("xx", 1, 60000);
        QTest::newRow("reads slowly") << Reply::json().readingSlowly(1, 60000);
        QTest::newRow("writes what nobody reads") << Reply::big(50000000);
    }
    void endsWhateverItIsDoing()
    {
        QFETCH(Reply, reply);
        auto server = std::make_unique<ScriptedServer>(0, QList<Reply>{reply});
        RawClient client(server->port());
        RawClient withoutRequest(server->port());
        const bool unfinished = QByteArray(QTest::currentDataTag()).startsWith("waits");
        QVERIFY(client.send(post("0123456789").chopped(unfinished ? 1 : 0)));
        QTest::qWait(50);
        QElapsedTimer timer;
        timer.start();
        server.reset();
        QVERIFY2(timer.elapsed() < 5000, qPrintable(QString::number(timer.elapsed())));
        QVERIFY(client.receiveEnd() != RawClient::End::Open);
    }

    void refusesConnectionsOnAnUnusedPort()
    {
        QVERIFY(unusedPort() != 0);
        QVERIFY(!RawClient(unusedPort()).isConnected());
        const MessageCatcher messages;
        QVERIFY(!ScriptedServer(unusedPort()).isListening());
    }
};

QTEST_GUILESS_MAIN(TestScriptedServer)
#include "tst_scriptedserver.moc"
