#include "support/tool/toolsetup.h"
#include "support/wire/arrivals.h"
#include "support/wire/endpoints.h"

#include <QFile>
#include <QTest>

/// What one run leaves for the next.
class TestLaterRuns : public QObject
{
    Q_OBJECT

private slots:
    void keepsEverythingWhileTheServiceIsDown()
    {
        const Sandbox sandbox;
        QVERIFY(addUser(sandbox));
        const QString log = addLog(sandbox, QStringLiteral("log1"), "one");
        const QString sdkLog = addLog(sandbox, QStringLiteral("log2"), "two", 1);
        const QByteArray ini = sandbox.iniBytes();

        const ToolResult refused = sandbox.runTool({});
        QVERIFY2(refused.isSuccess(), refused.describe());
        qInfo("took %lld ms", refused.elapsedMs);
        QVERIFY2(refused.elapsedMs < kPromptMs, refused.describe());
        QVERIFY2(refused.standardError.contains("QNetworkReply::ConnectionRefusedError"), refused.describe());
        QCOMPARE(sandbox.iniBytes(), ini);
        QVERIFY(QFile::exists(log) && QFile::exists(sdkLog));

        const ScriptedServer server(servicePort());
        QVERIFY(server.isListening());
        QVERIFY(sandbox.runTool({}).isSuccess());
        QCOMPARE(sentFileNames(server),
                 (QStringList{QStringLiteral("log1.log"), QStringLiteral("log2.log"), QStringLiteral("own log")}));
        QCOMPARE(sandbox.groups(), QStringList{QStringLiteral("system")});
        QVERIFY(QFile::exists(log) && !QFile::exists(sdkLog));
    }

    void forgetsARefusedSdkLogOneRunLater()
    {
        const ScriptedServer server(servicePort(), {Reply::json("{\"Code\":5}")});
        QVERIFY(server.isListening());
        const Sandbox sandbox;
        QVERIFY(addUser(sandbox));
        const QString sdkLog = addLog(sandbox, QStringLiteral("log1"), "text", 1);
        const QStringList kept{QStringLiteral("log1"), QStringLiteral("system")};

        const ToolResult rejected = sandbox.runTool({});
        QVERIFY2(rejected.isSuccess(), rejected.describe());
        qInfo("took %lld ms", rejected.elapsedMs);
        QCOMPARE(sentFileNames(server), (QStringList{QStringLiteral("log1.log"), QStringLiteral("own log")}));
        QCOMPARE(sandbox.groups(), kept);
        QVERIFY(!QFile::exists(sdkLog));

        QVERIFY(sandbox.runTool({}).isSuccess());
        QCOMPARE(server.requests().size(), 3);
        QCOMPARE(sentFileNames(server).last(), QStringLiteral("own log"));
        QCOMPARE(sandbox.groups(), QStringList{QStringLiteral("system")});
    }
};

QTEST_GUILESS_MAIN(TestLaterRuns)
#include "tst_laterruns.moc"
