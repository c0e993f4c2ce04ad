#include "support/process/waitfor.h"
#include "support/server/scriptedserver.h"
#include "support/server/tlsidentity.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QSslConfiguration>
#include <QTest>

namespace {

struct Outcome
{
    QNetworkReply::NetworkError error = QNetworkReply::NoError;
    int status = 0;
    QByteArray body;
};

QNetworkRequest binaryRequest(const QUrl &url)
{
    QNetworkRequest request(url);
    request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/octet-stream"));
    return request;
}

Outcome post(const QUrl &url, const QByteArray &body, const QSslConfiguration &tls = QSslConfiguration())
{
    QNetworkAccessManager manager;
    QNetworkRequest request = binaryRequest(url);
    if (!tls.isNull())
        request.setSslConfiguration(tls);
    const QScopedPointer<QNetworkReply> reply(manager.post(request, body));
    if (!waitFor([&] { return reply->isFinished(); }))
        return {QNetworkReply::TimeoutError, 0, QByteArray()};
    return {reply->error(), reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(), reply->readAll()};
}

} // namespace

Q_DECLARE_METATYPE(Reply)

/// The server as Qt's own HTTP client sees it, which is what the tool uses.
class TestScriptedServerQt : public QObject
{
    Q_OBJECT

private slots:
    void answers_data()
    {
        QTest::addColumn<Reply>("reply");
        QTest::addColumn<QNetworkReply::NetworkError>("error");
        QTest::addColumn<int>("status");
        QTest::addColumn<int>("answerSize");
        using Error = QNetworkReply;
        QTest::newRow("json") << Reply::json("12345") << Error::NoError << 200 << 5;
        QTest::newRow("redirect") << Reply::http(302, "", {{"Location", "/x"}}) << Error::NoError << 302 << 0;
        QTest::newRow("not found") << Reply::http(404, "abc") << Error::ContentNotFoundError << 404 << 3;
        QTest::newRow("server error") << Reply::http(500, "") << Error::InternalServerError << 500 << 0;
        QTest::newRow("drip") << Reply::drip("12345", 1, 20) << Error::NoError << 200 << 5;
        QTest::newRow("big") << Reply::big(3000000) << Error::NoError << 200 << 3000000;
        QTest::newRow("slow reading") << Reply::json("1").readingSlowly(1000, 10) << Error::NoError << 200 << 1;
    }
    void answers()
    {
        QFETCH(Reply, reply);
        const ScriptedServer server(0, {}, reply);
        const QByteArray body(5000, 'x');
        const Outcome outcome = post(server.url(QStringLiteral("/a")), body);
        QTEST(outcome.error, "error");
        QTEST(outcome.status, "status");
        QTEST(outcome.body.size(), "answerSize");
        QCOMPARE(server.requests().size(), 1);
        QCOMPARE(server.requests().first().path, QByteArray("/a"));
        QCOMPARE(server.distinctBodies(), QList<QByteArray>{body});
    }

    void failsForQtHoweverOftenItTriesAgain_data()
    {
        QTest::addColumn<Reply>("reply");
        QTest::addColumn<int>("distinctBodies");
        QTest::newRow("reset after the headers") << Reply::resetAfterHeaders() << 0;
        QTest::newRow("reset during the body") << Reply::resetDuringBody(9) << 0;
        QTest::newRow("reset after the body") << Reply::resetAfterBody() << 1;
        QTest::newRow("close") << Reply::closeAfterBody() << 1;
        QTest::newRow("garbage") << Reply::garbage() << 1;
        QTest::newRow("cut answer") << Reply::cutAnswer("12345") << 1;
    }
    void failsForQtHoweverOftenItTriesAgain()
    {
        QFETCH(Reply, reply);
        const ScriptedServer server(0, {reply.untilAnotherRequest()});
        QVERIFY(post(server.url(), QByteArray(5000, 'x')).error != QNetworkReply::NoError);
        QTEST(server.distinctBodies().size(), "distinctBodies");
        QCOMPARE(post(server.url(), QByteArray(5001, 'x')).error, QNetworkReply::NoError);
    }

    void showsThatQtPostsTwiceWhenNobodyAnswers()
    {
        const ScriptedServer server(0, {Reply::closeAfterBody()});
        QCOMPARE(post(server.url(), "x").error, QNetworkReply::NoError);
        QCOMPARE(server.requests().size(), 2);
        QCOMPARE(server.distinctBodies(), QList<QByteArray>{"x"});
    }

    void failsWhenEveryConnectionIsReset()
    {
        const ScriptedServer server(0, {}, Reply::resetOnConnect());
        QVERIFY(post(server.url(), "x").error != QNetworkReply::NoError);
        QVERIFY(server.requests().isEmpty());
        QVERIFY(server.connections() > 0);
    }

    void refusesOnAnUnusedPort()
    {
        const QUrl url(QStringLiteral("http://127.0.0.1:%1/").arg(unusedPort()));
        QCOMPARE(post(url, "x").error, QNetworkReply::ConnectionRefusedError);
    }

    void staysSilent()
    {
        const ScriptedServer server(0, {Reply::silence()});
        QNetworkAccessManager manager;
        const QScopedPointer<QNetworkReply> reply(manager.post(binaryRequest(server.url()), QByteArray("x")));
        QVERIFY(server.waitForRequests(1));
        QVERIFY(!waitFor([&] { return reply->isFinished(); }, 300));
    }

    void holdsAnUpload()
    {
        ScriptedServer server(0, {Reply::json().holdingAt(1000)});
        QNetworkAccessManager manager;
        const QByteArray body(16 * 1024 * 1024, 'x');
        const QScopedPointer<QNetworkReply> reply(manager.post(binaryRequest(server.url()), body));
        qint64 sent = 0;
        connect(reply.data(), &QNetworkReply::uploadProgress, this, [&](qint64 bytes) { sent = bytes; });
        QVERIFY(server.waitForHold());
        QVERIFY(!waitFor([&] { return sent > body.size() / 2; }, 500));
        server.release();
        QVERIFY(waitFor([&] { return reply->isFinished(); }));
        QCOMPARE(reply->error(), QNetworkReply::NoError);
        QVERIFY(server.requests().first().body == body);
    }

    void speaksTls()
    {
        const TlsIdentity identity = TlsIdentity::create();
        if (!identity.isValid())
            QSKIP("needs TLS in Qt and the openssl program");
        ScriptedServer::Config config;
        config.script = {Reply::big(3000000), Reply::resetAfterBody().untilAnotherRequest()};
        config.certificate = identity.certificate;
        config.key = identity.key;
        const ScriptedServer server(config);
        QCOMPARE(server.url().scheme(), QStringLiteral("https"));

        QSslConfiguration trusting = QSslConfiguration::defaultConfiguration();
        trusting.setCaCertificates({identity.certificate});
        const QByteArray body(3000000, 'x');
        const Outcome outcome = post(server.url(), body, trusting);
        QCOMPARE(outcome.error, QNetworkReply::NoError);
        QCOMPARE(outcome.body.size(), 3000000);
        QVERIFY(server.requests().first().body == body);

        QVERIFY(post(server.url(), "x", trusting).error != QNetworkReply::NoError);
        const int before = server.requests().size();
        QCOMPARE(post(server.url(), "x").error, QNetworkReply::SslHandshakeFailedError);
        QCOMPARE(server.requests().size(), before);
    }
};

QTEST_GUILESS_MAIN(TestScriptedServerQt)
#include "tst_scriptedserver_qt.moc"
