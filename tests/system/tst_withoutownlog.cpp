#include "support/files/fileio.h"
#include "support/tool/toolsetup.h"
#include "support/wire/arrivals.h"
#include "support/wire/endpoints.h"

#include <QTest>

/// Runs that cannot open a log of their own, because a file is where their home should be.
class TestWithoutOwnLog : public QObject
{
    Q_OBJECT

private slots:
    void endsWithoutTheOwnLog_data()
    {
        QTest::addColumn<bool>("withList");
        QTest::newRow("empty list") << false;
        QTest::newRow("with a list") << true;
    }
    void endsWithoutTheOwnLog()
    {
        QFETCH(bool, withList);
        const ScriptedServer server(servicePort());
        QVERIFY(server.isListening());
        const Sandbox sandbox;
        QVERIFY(addUser(sandbox));
        if (withList)
            QVERIFY(!addLog(sandbox, QStringLiteral("log1"), "text").isEmpty());
        const QString noHome = sandbox.addFile(QStringLiteral("../file"), "in the way");
        ToolOptions options;
        options.environment.insert(QStringLiteral("HOME"), noHome);
        options.environment.insert(QStringLiteral("CFFIXED_USER_HOME"), noHome);

        const ToolResult result = sandbox.runTool({}, 6 * kPromptMs, options);
        QVERIFY2(result.isSuccess(), result.describe());
        // Two pauses of 500 ms, and room for a busy machine; the watchdog would take five minutes.
        QVERIFY2(result.elapsedMs >= 1000 && result.elapsedMs < kPromptMs, result.describe());
        QCOMPARE(sentFileNames(server), withList ? QStringList{QStringLiteral("log1.log")} : QStringList());
        QCOMPARE(sandbox.groups(), QStringList{QStringLiteral("system")});
        QCOMPARE(readFile(noHome), QByteArray("in the way"));
        QVERIFY2(result.standardError.contains("KxUpload::initIni"), result.describe());
    }
};

QTEST_GUILESS_MAIN(TestWithoutOwnLog)
#include "tst_withoutownlog.moc"
