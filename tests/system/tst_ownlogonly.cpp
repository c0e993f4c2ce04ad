#include "support/files/fileio.h"
#include "support/files/logrecords.h"
#include "support/server/scriptedserver.h"
#include "support/tool/toolsetup.h"
#include "support/wire/endpoints.h"
#include "support/wire/multipartform.h"

#include <QFileInfo>
#include <QTest>

/// Runs whose only work is the tool's own log.
class TestOwnLogOnly : public QObject
{
    Q_OBJECT

private slots:
    void sendsItsOwnLogAsItIsOnDisk_data()
    {
        QTest::addColumn<QByteArray>("ini");
        QTest::addColumn<QString>("room");
        QTest::addColumn<QString>("nameSpace");
        QTest::newRow("everything")
            << QByteArray("[system]\nnickname=J\xc3\xbcrgen\nloginName=a1\nuserId=42\n"
                          "namespace=m\xc3\xbcnz\n[room]\n9=talk\n12=Gr\xc3\xbcn\n")
            << QString::fromUtf8("nickname-J\xc3\xbcrgen.loginname-a1.userid-42.roomid-12.roomname-Gr\xc3\xbcn,"
                                 "nickname-J\xc3\xbcrgen.loginname-a1.userid-42.roomid-9.roomname-talk")
            << QString::fromUtf8("m\xc3\xbcnz");
        QTest::newRow("nickname only") << QByteArray("[system]\nnickname=ann\n") << QStringLiteral("nickname-ann.")
                                       << QString();
        QTest::newRow("room only") << QByteArray("[room]\n7=lobby\n") << QStringLiteral("roomid-7.roomname-lobby")
                                   << QString();
    }
    void sendsItsOwnLogAsItIsOnDisk()
    {
        QFETCH(QByteArray, ini);
        QFETCH(QString, room);
        QFETCH(QString, nameSpace);
        const ScriptedServer server(servicePort());
        QVERIFY(server.isListening());
        const Sandbox sandbox;
        QVERIFY(sandbox.writeRawIni(ini));

        const QDateTime before = QDateTime::currentDateTime();
        const ToolResult result = sandbox.runTool({});
        const QDateTime after = QDateTime::currentDateTime();
        QVERIFY2(result.isSuccess(), result.describe());
        // Two pauses of 500 ms, and nothing else that takes its time.
        QVERIFY2(result.elapsedMs >= 1000 && result.elapsedMs < kPromptMs, result.describe());

        QCOMPARE(server.requests().size(), 1);
        const RecordedRequest request = server.requests().first();
        QCOMPARE(request.method, QByteArray("POST"));
        QCOMPARE(request.path, kLogFilePath);
        QCOMPARE(request.header("Content-Type"), formType());
        QCOMPARE(sandbox.ownLogs().size(), 1);
        const QString name = QFileInfo(sandbox.ownLogs().first()).fileName();
        QCOMPARE(request.body, logForm(room, nameSpace, name, sandbox.ownLogText()));

        const QDateTime stamp = QDateTime::fromString(name, QStringLiteral("'upload_'yyyy_MM_dd_hh_mm_ss'.log'"));
        QVERIFY2(stamp.isValid() && stamp >= before.addSecs(-1) && stamp <= after, qPrintable(name));
        QCOMPARE(sandbox.iniBytes(), ini);
    }

    void writesNothingMoreIntoItsLogOnceItIsClosed()
    {
        const ScriptedServer server(servicePort());
        QVERIFY(server.isListening());
        const Sandbox sandbox;
        QVERIFY(addUser(sandbox));
        const ToolResult result = sandbox.runTool({});
        QVERIFY2(result.isSuccess(), result.describe());

        // The description for the form is computed, and logged, after the log was closed: only the echo shows it.
        const LogRecords log(sandbox.ownLogText());
        QVERIFY2(log.isWellFormed(), log.describe());
        QCOMPARE(log.from(QStringLiteral("QString KxUpload::getFileInfo()")).size(), 1);
        QCOMPARE(result.standardError.count("KxUpload::getFileInfo()"), 2);
    }
};

QTEST_GUILESS_MAIN(TestOwnLogOnly)
#include "tst_ownlogonly.moc"
