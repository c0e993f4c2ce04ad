#include "support/files/fileio.h"
#include "support/server/scriptedserver.h"
#include "support/tool/toolsetup.h"
#include "support/wire/endpoints.h"

#include <QDate>
#include <QDir>
#include <QFileInfo>
#include <QTest>

/// Runs that have nothing to send.
class TestNothingToDo : public QObject
{
    Q_OBJECT

private slots:
    void onlyKeepsItsFoldersInOrderWithoutArgumentAndIni()
    {
        const ScriptedServer server(servicePort());
        QVERIFY(server.isListening());
        const Sandbox sandbox;
        QVERIFY(sandbox.isValid());
        const QDir sdkLogs(sandbox.sdkLogDirectory());
        QVERIFY(sdkLogs.mkpath(QStringLiteral(".")));
        QVERIFY(writeFile(sdkLogs.filePath(QStringLiteral("20200101000000.log")), "stale"));

        const QDate before = QDate::currentDate();
        const ToolResult result = sandbox.runTool({});
        if (QDate::currentDate() != before)
            QSKIP("the day has changed meanwhile");

        QVERIFY2(result.isSuccess(), result.describe());
        QCOMPARE(server.connections(), 0);
        QCOMPARE(result.standardOutput, QByteArray());
        QVERIFY2(!result.standardError.contains("\r\n\n"), result.describe());

        QCOMPARE(sandbox.ownLogs().size(), 1);
        QCOMPARE(sandbox.ownLogText(), QByteArray(""));
        const QDir root(sandbox.root());
        QStringList expected{
            root.relativeFilePath(sandbox.toolPath()),
            root.relativeFilePath(sandbox.ownLogs().first()),
            root.relativeFilePath(sandbox.logDirectory() + before.toString(QStringLiteral("/yyyy_MM_dd.'dat'"))),
            root.relativeFilePath(sandbox.sdkLogDirectory() + before.toString(QStringLiteral("/yyyyMMdd.'dat'"))),
            QStringLiteral("run1.err"),
            QStringLiteral("run1.out"),
        };
        expected.sort();
        QCOMPARE(filesBelow(sandbox.root()), expected);
    }

    void endsAfterThePauseWhenNobodyIsDescribed_data()
    {
        QTest::addColumn<QByteArray>("ini");
        QTest::newRow("empty file") << QByteArray();
        QTest::newRow("groups of files only") << QByteArray("[log1]\npath=/etc/hosts\n[log2]\nnickname=bob\n");
        QTest::newRow("system without a name")
            << QByteArray("; kept\n[system]\nnamespace=space\nversion=1\nnickname=\n[http_1]\npath=x\n");
    }
    void endsAfterThePauseWhenNobodyIsDescribed()
    {
        QFETCH(QByteArray, ini);
        const ScriptedServer server(servicePort());
        QVERIFY(server.isListening());
        const Sandbox sandbox;
        QVERIFY(sandbox.writeRawIni(ini));

        const ToolResult result = sandbox.runTool({});
        QVERIFY2(result.isSuccess(), result.describe());
        QVERIFY2(result.elapsedMs >= 500 && result.elapsedMs < kPromptMs, result.describe());
        QCOMPARE(server.connections(), 0);
        QCOMPARE(sandbox.iniBytes(), ini);
        QVERIFY2(sandbox.ownLogText().contains("KxUpload::initIni"), sandbox.ownLogText());
    }
};

QTEST_GUILESS_MAIN(TestNothingToDo)
#include "tst_nothingtodo.moc"
