#include "support/files/fileio.h"
#include "support/files/logrecords.h"
#include "support/tool/toolsetup.h"
#include "support/wire/arrivals.h"
#include "support/wire/endpoints.h"

#include <QFile>
#include <QTest>

/// Runs with a crash file: one that can be read stays where it is, and the list goes on.
class TestCrashArgument : public QObject
{
    Q_OBJECT

private slots:
    void sendsTheListButNotTheDump_data()
    {
        QTest::addColumn<QByteArray>("dump");
        QTest::addColumn<QStringList>("lines");
        const QString base =
            QStringLiteral("KxUpload::uploadCrash: \"{\\\"namespace\\\":\\\"space\\\",\\\"nickname\\\":"
                           "\\\"ann\\\",\\\"sdk\\\":5,\\\"user_id\\\":\\\"42\\\",\\\"version\\\":"
                           "\\\"\\\"}\"");
        QTest::newRow("readable") << QByteArray("dump\0with a zero")
                                  << QStringList{base,
                                                 QStringLiteral("[Warning] : QFile::open: File (%1) already open")};
        QTest::newRow("empty") << QByteArray("") << QStringList();
        QTest::newRow("missing") << QByteArray() << QStringList();
    }
    void sendsTheListButNotTheDump()
    {
        QFETCH(QByteArray, dump);
        QFETCH(QStringList, lines);
        const ScriptedServer server(servicePort());
        QVERIFY(server.isListening());
        const Sandbox sandbox;
        QVERIFY(addUser(sandbox));
        QVERIFY(!addLog(sandbox, QStringLiteral("log1"), "text").isEmpty());
        const QString path = sandbox.appDirectory() + QStringLiteral("/crash.dmp");
        QVERIFY(dump.isNull() || writeFile(path, dump));

        const ToolResult result = sandbox.runTool({path});
        QVERIFY2(result.isSuccess(), result.describe());
        QCOMPARE(sentFileNames(server), (QStringList{QStringLiteral("log1.log"), QStringLiteral("own log")}));
        QCOMPARE(server.requests().first().path, kLogFilePath);
        QCOMPARE(sandbox.groups(), QStringList{QStringLiteral("system")});
        QCOMPARE(QFile::exists(path), !dump.isNull());
        QCOMPARE(readFile(path), dump);

        const LogRecords log(sandbox.ownLogText());
        QVERIFY2(log.isWellFormed(), log.describe());
        QStringList expected{QStringLiteral("main: 2 \"%1\"").arg(sandbox.appDirectory()),
                             QStringLiteral("KxUpload::setCrashPath: \"%1\"").arg(path),
                             QStringLiteral("KxUpload::initIni: version: \"\" (\"log1\") () \"ann\" \"42\""),
                             QStringLiteral("KxUpload::getFileInfo: \"\"")};
        expected += lines.replaceInStrings(QStringLiteral("%1"), path);
        QCOMPARE(recordLines(log).mid(0, expected.size()), expected);
        QVERIFY(recordLines(log).value(expected.size()).startsWith(QLatin1String("KxUpload::getFileName: ")));
    }
};

QTEST_GUILESS_MAIN(TestCrashArgument)
#include "tst_crashargument.moc"
