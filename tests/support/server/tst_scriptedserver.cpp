#include "support/process/messagecatcher.h"
#include "support/server/rawclient.h"
#include "support/server/scriptedserver.h"

#include <QCryptographicHash>
#include <QTest>

Q_DECLARE_METATYPE(Reply)
Q_DECLARE_METATYPE(RawClient::End)

/// What the server records and answers, as a client sees it that speaks to it without any HTTP code.
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
        QCOMPARE(client.receiveAnswer().body, QByteArray("{\"Code\":0}"));

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
        QVERIFY(client.send(rawPost("a")));
        QCOMPARE(client.receiveAnswer().body, QByteArray("1"));
        QVERIFY(client.send(rawPost("b")));
        const QByteArray redirect = client.receiveAnswer().head;
        QVERIFY2(redirect.startsWith("HTTP/1.1 302 ") && redirect.contains("\r\nLocation: /z\r\n"), redirect);
        for (int i = 0; i < 3; ++i) {
            QVERIFY(client.send(rawPost("c")));
            QCOMPARE(client.receiveAnswer().body, QByteArray("3"));
        }
        QCOMPARE(server.requests().size(), 5);
        QCOMPARE(server.connections(), 1);
    }

    void servesRequestsThatComeTogetherOrInPieces()
    {
        const ScriptedServer server;
        RawClient client(server.port());
        QVERIFY(client.send(rawPost("first") + rawPost("second").left(20)));
        client.receiveAnswer();
        QVERIFY(client.send(rawPost("second").mid(20)));
        client.receiveAnswer();
        QCOMPARE(server.distinctBodies(), (QList<QByteArray>{"first", "second"}));
    }

    void servesSeveralConnectionsAtOnce()
    {
        const ScriptedServer server(0, {Reply::silence()});
        RawClient waiting(server.port());
        QVERIFY(waiting.send(rawPost("a")));
        QVERIFY(server.waitForRequests(1));
        RawClient other(server.port());
        QVERIFY(other.send(rawPost("b")));
        QCOMPARE(other.receiveAnswer().status, 200);
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
        QFETCH(RawClient::End, end);
        QFETCH(int, bodySize);
        const ScriptedServer server(0, {reply});
        RawClient client(server.port());
        QVERIFY(client.send(rawPost(QByteArray(1000, 'x'))));
        QCOMPARE(client.receive(answer.size()), answer);
        const bool open = end == RawClient::End::Open;
        QCOMPARE(int(open ? client.receiveEnd(300) : client.receiveEnd()), int(end));
        QVERIFY(server.waitForRequests(1));
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
        QVERIFY(second.send(rawPost("x")));
        QCOMPARE(second.receiveAnswer().status, 200);
        QCOMPARE(server.requests().size(), 1);
        QCOMPARE(server.connections(), 2);
    }

    void resetsAnOpenConnectionWhenItsTurnComes()
    {
        const ScriptedServer server(0, {Reply::json(), Reply::resetOnConnect()});
        RawClient client(server.port());
        QVERIFY(client.send(rawPost("x")));
        client.receiveAnswer();
        QVERIFY(client.send(rawPost("y")));
        QCOMPARE(int(client.receiveEnd()), int(RawClient::End::Reset));
        QCOMPARE(server.requests().size(), 1);
    }

    void treatsRepeatsAlikeWhenAsked()
    {
        const ScriptedServer server(0, {Reply::json("1").untilAnotherRequest(), Reply::json("2")}, Reply::json("3"));
        RawClient client(server.port());
        QByteArray answers;
        for (const QByteArray &request :
             {rawPost("a"), rawPost("b"), rawPost("a", "/other"), rawPost("a", "/other"), rawPost("ab")}) {
            QVERIFY(client.send(request));
            answers += client.receiveAnswer().body;
        }
        QCOMPARE(answers, QByteArray("11233"));
    }

    void sendsBigAnswers()
    {
        const ScriptedServer server(0, {Reply::big(20), Reply::big(5000000)});
        RawClient client(server.port());
        QVERIFY(client.send(rawPost("x")));
        QCOMPARE(client.receiveAnswer().body, QByteArray("{\"Code\":0,\"pad\":\"x\"}"));
        QVERIFY(client.send(rawPost("x")));
        const QByteArray body = client.receiveAnswer().body;
        QCOMPARE(body.size(), 5000000);
        QVERIFY(body.startsWith("{\"Code\":0,") && body.endsWith("x\"}"));
    }

    void closesAfterAnsweringWhenAsked()
    {
        const ScriptedServer server;
        RawClient client(server.port());
        QVERIFY(client.send("GET / HTTP/1.1\r\nConnection: Close\r\n\r\n"));
        QCOMPARE(client.receiveAnswer().status, 200);
        QCOMPARE(int(client.receiveEnd()), int(RawClient::End::Closed));
    }

    void ignoresConnectionsWithoutARequest()
    {
        const ScriptedServer server(0, {Reply::json("1")});
        {
            const RawClient silent(server.port());
        }
        RawClient client(server.port());
        QVERIFY(client.send(rawPost("x")));
        QCOMPARE(client.receiveAnswer().body, QByteArray("1"));
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
        for (const QByteArray &request : {rawPost("a"), rawPost("b"), rawPost("a"), rawPost("a", "/other")}) {
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
            QVERIFY(client.send(rawPost(body)));
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
