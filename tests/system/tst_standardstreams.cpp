#include "support/files/fileio.h"
#include "support/files/logrecords.h"
#include "support/tool/toolsetup.h"
#include "support/wire/arrivals.h"
#include "support/wire/endpoints.h"
#include "support/wire/multipartform.h"

#include <QFileInfo>
#include <QTest>

/// Runs whose standard streams are broken.
class TestStandardStreams : public QObject
{
    Q_OBJECT

private slots:
    void sendsEverythingAndDamagesNothing_data()
    {
        QTest::addColumn<QString>("script");
        QTest::newRow("standard error is a pipe that nobody reads")
            << QStringLiteral("exec 3> >(exec true)\n"
                              "while (trap '' PIPE; echo >&3) 2>/dev/null; do :; done\n"
                              "exec \"$0\" \"$@\" 2>&3 3>&-");
        QTest::newRow("standard error is closed") << QStringLiteral("exec \"$0\" \"$@\" 2>&-");
        // The first file to be opened takes one number, and the own log the other.
        QTest::newRow("both outputs are closed") << QStringLiteral("exec \"$0\" \"$@\" >&- 2>&-");
        QTest::newRow("all three are closed") << QStringLiteral("exec \"$0\" \"$@\" <&- >&- 2>&-");
        if (QFileInfo::exists(QStringLiteral("/dev/full")))
            QTest::newRow("standard error is full") << QStringLiteral("exec \"$0\" \"$@\" 2>/dev/full");
    }
    void sendsEverythingAndDamagesNothing()
    {
        QFETCH(QString, script);
        const ScriptedServer server(servicePort());
        QVERIFY(server.isListening());
        const Sandbox sandbox;
        QVERIFY(addUser(sandbox));
        const QByteArray ini = sandbox.iniBytes();
        const QString log = addLog(sandbox, QStringLiteral("log1"), "one");
        const QString sdkLog = addLog(sandbox, QStringLiteral("log2"), "two", 1);

        const ToolResult result = sandbox.runTool({}, 6 * kPromptMs, byShell(script));
        QVERIFY2(result.isSuccess(), result.describe());
        QCOMPARE(result.standardOutput + result.standardError, QByteArray());
        QCOMPARE(sentFileNames(server),
                 (QStringList{QStringLiteral("log1.log"), QStringLiteral("log2.log"), QStringLiteral("own log")}));
        QCOMPARE(parseForm(server.requests().at(0)).body("file"), QByteArray("one"));
        QCOMPARE(parseForm(server.requests().at(1)).body("file"), QByteArray("two"));
        QCOMPARE(parseForm(server.requests().at(2)).body("file"), sandbox.ownLogText());
        QCOMPARE(sandbox.iniBytes(), ini);
        QCOMPARE(readFile(log), QByteArray("one"));
        QVERIFY(!QFile::exists(sdkLog));

        const LogRecords records(sandbox.ownLogText());
        QVERIFY2(records.isWellFormed(), records.describe());
        QCOMPARE(recordLines(records).filter(QStringLiteral("main: ")).size(), 1);
    }
};

QTEST_GUILESS_MAIN(TestStandardStreams)
#include "tst_standardstreams.moc"
