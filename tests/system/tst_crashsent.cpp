#include "support/files/fileio.h"
#include "support/files/logrecords.h"
#include "support/tool/toolsetup.h"
#include "support/wire/arrivals.h"
#include "support/wire/endpoints.h"
#include "support/wire/multipartform.h"

#include <QTest>

Q_DECLARE_METATYPE(Reply)

/// Runs whose crash file is really sent: its first open fails and its second one does not.
class TestCrashSent : public QObject
{
    Q_OBJECT

private slots:
    void sendsTheDumpAndGoesOnUnlessItGotLost_data()
    {
        QTest::addColumn<QByteArray>("rooms");
        QTest::addColumn<QByteArray>("info");
        QTest::addColumn<Reply>("reply");
        QTest::addColumn<bool>("goesOn");
        const QByteArray rooms = "[room]\n9=talk\n12=Gr\xc3\xbcn\n";
        const QByteArray info = "{\"info\":[{\"room_name\":\"Gr\xc3\xbcn\",\"room_sdk_id\":\"12\"},"
                                "{\"room_name\":\"talk\",\"room_sdk_id\":\"9\"}]}";
        QTest::newRow("no rooms, accepted") << QByteArray() << QByteArray("{\"info\":[]}") << Reply::json() << true;
        QTest::newRow("rooms, not JSON") << rooms << info << Reply::http(200, "OK") << true;
        QTest::newRow("HTTP 500") << rooms << info << Reply::http(500, "{\"Code\":0}") << false;
        QTest::newRow("connection lost") << rooms << info << Reply::resetAfterBody().untilAnotherRequest() << false;
    }
    void sendsTheDumpAndGoesOnUnlessItGotLost()
    {
#ifndef KX_FAILING_OPEN_LIBRARY
        QSKIP("an open can only be made to fail on Linux");
#else
        QFETCH(QByteArray, rooms);
        QFETCH(QByteArray, info);
        QFETCH(Reply, reply);
        QFETCH(bool, goesOn);
        const ScriptedServer server(servicePort(), {reply});
        QVERIFY(server.isListening());
        const Sandbox sandbox;
        QVERIFY(sandbox.writeRawIni("[system]\nnickname=J\xc3\xbcrgen\nloginName=a1\nuserId=42\nnamespace=space\n"
                                    "version=1.2\n" +
                                    rooms));
        QVERIFY(!addLog(sandbox, QStringLiteral("log1"), "text").isEmpty());
        const QByteArray dump = QByteArrayLiteral("dump\r\n\0\xff");
        const QString path = sandbox.addFile(QString::fromUtf8("cr\xc3\xa4sh 1.dmp"), dump);
        ToolOptions options = preloading(QStringLiteral(KX_FAILING_OPEN_LIBRARY));
        options.environment.insert(QStringLiteral("KX_FAILING_OPEN"), path);

        const ToolResult result = sandbox.runTool({path}, 6 * kPromptMs, options);
        QVERIFY2(result.isSuccess(), result.describe());
        const QList<RecordedRequest> requests = server.distinctRequests();
        QCOMPARE(requests.size(), goesOn ? 3 : 1);
        const QByteArray base = "{\"namespace\":\"space\",\"nickname\":\"J\xc3\xbcrgen\",\"sdk\":5,\"user_id\":\"42\","
                                "\"version\":\"1.2\"}";
        QCOMPARE(requests.first().method, QByteArray("POST"));
        QCOMPARE(requests.first().path, kCrashPath);
        QCOMPARE(requests.first().header("Content-Type"), formType());
        QCOMPARE(requests.first().body, crashForm(base, info, QFileInfo(path).fileName(), dump));
        if (goesOn)
            QCOMPARE(sentFileNames(server).mid(1),
                     (QStringList{QStringLiteral("log1.log"), QStringLiteral("own log")}));
        QCOMPARE(sandbox.groups().contains(QStringLiteral("log1")), !goesOn);
        QCOMPARE(readFile(path), dump);

        const QStringList lines =
            recordLines(LogRecords(sandbox.ownLogText())).filter(QStringLiteral("onCrashFinished"));
        QCOMPARE(lines.size(), 2);
        QCOMPARE(lines.first().endsWith(QLatin1String(" QNetworkReply::NoError")), goesOn);
        QCOMPARE(lines.last(), QStringLiteral("KxUpload::onCrashFinished: data: \"%1\" \"%2\"")
                                   .arg(QString::fromUtf8(QByteArray(reply.body).replace('"', "\\\"")), path));
#endif
    }
};

QTEST_GUILESS_MAIN(TestCrashSent)
#include "tst_crashsent.moc"
