#include "support/tool/toolsetup.h"
#include "support/wire/arrivals.h"
#include "support/wire/endpoints.h"

#include <QFile>
#include <QTest>

/// Redirects are not followed: files go to the service of the build or nowhere.
class TestRedirects : public QObject
{
    Q_OBJECT

private slots:
    void areNotFollowed_data()
    {
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<bool>("toAnotherServer");
        QTest::addColumn<bool>("keepsGroup");
        for (const int status : {301, 302, 307}) {
            QTest::addRow("%d to another path", status) << status << QByteArray() << false << true;
            QTest::addRow("%d to another server", status) << status << QByteArray("<html></html>") << true << true;
        }
        QTest::addRow("302 with a JSON answer") << 302 << QByteArray("{\"Code\":0}") << true << false;
    }
    void areNotFollowed()
    {
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        QFETCH(bool, toAnotherServer);
        const ScriptedServer elsewhere;
        QVERIFY(elsewhere.isListening());
        const QByteArray target =
            toAnotherServer ? elsewhere.url(QString::fromLatin1(kLogFilePath)).toEncoded() : QByteArray("/elsewhere");
        const ScriptedServer server(servicePort(), {Reply::http(status, body, {{"Location", target}})});
        QVERIFY(server.isListening());
        const Sandbox sandbox;
        QVERIFY(addUser(sandbox));
        const QString log = addLog(sandbox, QStringLiteral("a"), "text");
        QVERIFY(!addLog(sandbox, QStringLiteral("b"), "text").isEmpty());

        const ToolResult result = sandbox.runTool({});
        QVERIFY2(result.isSuccess(), result.describe());
        qInfo("took %lld ms", result.elapsedMs);
        QVERIFY2(result.elapsedMs < kPromptMs, result.describe());
        QCOMPARE(elsewhere.connections(), 0);
        QCOMPARE(sentFileNames(server),
                 (QStringList{QStringLiteral("a.log"), QStringLiteral("b.log"), QStringLiteral("own log")}));
        for (const RecordedRequest &request : server.requests())
            QCOMPARE(request.path, kLogFilePath);
        QTEST(sandbox.groups().contains(QStringLiteral("a")), "keepsGroup");
        QVERIFY(!sandbox.groups().contains(QStringLiteral("b")));
        QVERIFY(QFile::exists(log));
    }
};

QTEST_GUILESS_MAIN(TestRedirects)
#include "tst_redirects.moc"
