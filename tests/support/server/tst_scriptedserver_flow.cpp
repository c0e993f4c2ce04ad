#include "support/process/waitfor.h"
#include "support/server/rawclient.h"
#include "support/server/scriptedserver.h"

#include <QElapsedTimer>
#include <QTest>
#include <atomic>
#include <memory>

Q_DECLARE_METATYPE(Reply)

namespace {

/// \a request without its last \a count bytes.
QByteArray cut(QByteArray request, int count)
{
    request.chop(count);
    return request;
}

} // namespace

/// What happens in the middle of requests: hooks, holds, slowness, and ends of the server or the client.
class TestScriptedServerFlow : public QObject
{
    Q_OBJECT

private slots:
    void dripsItsAnswer()
    {
        const ScriptedServer server(0, {Reply::drip("0123456789", 4, 100)});
        RawClient client(server.port());
        QElapsedTimer timer;
        timer.start();
        QVERIFY(client.send(rawPost("x")));
        QCOMPARE(client.receiveAnswer().body, QByteArray("0123456789"));
        QVERIFY2(timer.elapsed() >= 300, qPrintable(QString::number(timer.elapsed())));
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
        QVERIFY(client.send(rawPost(QByteArray(1000, 'x'))));
        QCOMPARE(client.receiveAnswer().status, 200);
        QCOMPARE(order, (QList<QByteArray>{"headers", "300", "700", "700 again", "request"}));
        QCOMPARE(before, 0);
        QCOMPARE(after, 1);
    }

    void runsAHookOnlyOnceItsByteIsThere()
    {
        std::atomic<int> calls(0);
        const ScriptedServer server(0, {Reply::json().onBodyBytes(6, [&] { ++calls; }).onHeaders([&] { ++calls; })});
        RawClient client(server.port());
        QVERIFY(client.send(cut(rawPost("0123456789"), 5)));
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
        constexpr int kMegabyte = 1024 * 1024;
        ScriptedServer server(0, {Reply::json().holdingAt(16 * kMegabyte)});
        RawClient client(server.port());
        const QByteArray request = rawPost(QByteArray(64 * kMegabyte, 'x'));
        const int sent = client.sendUntilStuck(request, 500);
        qInfo("%d bytes were sent to a server that holds", sent);
        QVERIFY(sent < 24 * kMegabyte);
        QVERIFY(server.waitForHold());
        QVERIFY(server.requests().isEmpty());
        server.release();
        QVERIFY(client.send(request.mid(sent)));
        QCOMPARE(client.receiveAnswer().status, 200);
        QVERIFY(server.requests().first().bodyComplete);
    }

    void holdsAgainAtTheNextPlace()
    {
        std::atomic<int> passed(0);
        const auto count = [&] { ++passed; };
        ScriptedServer server(0, {Reply::json().holdingAt(0).onHeaders(count).holdingAt(5).onBodyBytes(5, count)});
        RawClient client(server.port());
        QVERIFY(client.send(rawPost("0123456789")));
        QVERIFY(server.waitForHold());
        QCOMPARE(passed.load(), 0);
        server.release();
        QVERIFY(waitFor([&] { return passed == 1; }));
        QVERIFY(server.waitForHold());
        QCOMPARE(passed.load(), 1);
        server.release();
        QCOMPARE(client.receiveAnswer().status, 200);
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
        QVERIFY(client.send(rawPost(QByteArray(1000, 'x'))));
        QCOMPARE(client.receiveAnswer().status, 200);
        const RecordedRequest request = server.requests().first();
        QVERIFY2(request.readMs - request.firstByteMs >= 250, "five chunks with a delay before each");
        QCOMPARE(request.body, QByteArray(1000, 'x'));
    }

    void recordsAnUploadThatTheClientGaveUp()
    {
        const ScriptedServer server;
        {
            RawClient client(server.port());
            QVERIFY(client.send(cut(rawPost("0123456789"), 4)));
        }
        QVERIFY(server.waitForRequests(1));
        QCOMPARE(server.requests().first().body, QByteArray("012345"));
        QVERIFY(!server.requests().first().bodyComplete);
        QVERIFY(server.distinctBodies().isEmpty());
    }

    void freesItsPortAtOnce()
    {
        quint16 port = 0;
        for (int i = 0; i < 20; ++i) {
            const ScriptedServer server(port, {Reply::silence()});
            QVERIFY2(server.isListening(), qPrintable(server.errorString()));
            port = server.port();
            RawClient client(port);
            QVERIFY(client.send(rawPost("x")));
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
        std::atomic<bool> reached(false);
        const QList<Reply> script{reply.onHeaders([&] { reached = true; })};
        auto server = std::make_unique<ScriptedServer>(quint16(0), script);
        RawClient client(server->port());
        RawClient withoutRequest(server->port());
        const bool unfinished = QByteArray(QTest::currentDataTag()).startsWith("waits");
        QVERIFY(client.send(cut(rawPost("0123456789"), unfinished ? 1 : 0)));
        QVERIFY(waitFor([&] { return reached.load(); }));
        QElapsedTimer timer;
        timer.start();
        server.reset();
        QVERIFY2(timer.elapsed() < 5000, qPrintable(QString::number(timer.elapsed())));
        QVERIFY(client.receiveEnd() != RawClient::End::Open);
    }
};

QTEST_GUILESS_MAIN(TestScriptedServerFlow)
#include "tst_scriptedserver_flow.moc"
