#include "support/tool/toolsetup.h"

#include <QFile>
#include <QTest>

/// A service whose name does not resolve, as on a machine that is offline.
class TestUnresolvableHost : public QObject
{
    Q_OBJECT

private slots:
    void keepsEverything()
    {
        const Sandbox sandbox(QStringLiteral(KX_TOOL_UNRESOLVABLE));
        QVERIFY(sandbox.isValid());
        QVERIFY(addUser(sandbox));
        const QString log = addLog(sandbox, QStringLiteral("a"), "text");
        const QString sdkLog = addLog(sandbox, QStringLiteral("b"), "text", 1);
        const QByteArray ini = sandbox.iniBytes();
        ToolOptions options;
        // How long a machine without a name server takes to find that out is its own affair.
        options.environment.insert(QStringLiteral("RES_OPTIONS"), QStringLiteral("timeout:1 attempts:1"));

        const ToolResult result = sandbox.runTool({}, 60000, options);
        QVERIFY2(result.isSuccess(), result.describe());
        qInfo("took %lld ms", result.elapsedMs);
        QVERIFY2(result.elapsedMs < 3 * kPromptMs, result.describe());
        QCOMPARE(result.standardError.count("QNetworkReply::HostNotFoundError"), 2);
        QCOMPARE(sandbox.iniBytes(), ini);
        QVERIFY(QFile::exists(log) && QFile::exists(sdkLog));
        QCOMPARE(sandbox.ownLogs().size(), 1);
    }
};

QTEST_GUILESS_MAIN(TestUnresolvableHost)
#include "tst_unresolvablehost.moc"
