#include "support/tool/toolsetup.h"
#include "support/wire/arrivals.h"
#include "support/wire/endpoints.h"
#include "support/wire/multipartform.h"

#include <QSettings>
#include <QTest>

/// A client that goes on with upload.ini while the tool runs.
class TestClientMeanwhile : public QObject
{
    Q_OBJECT

private slots:
    void keepsWhatTheClientChangesDuringAnUpload()
    {
        const Sandbox sandbox;
        QVERIFY(addUser(sandbox));
        QVERIFY(!addLog(sandbox, QStringLiteral("log1"), "one").isEmpty());
        QVERIFY(!addLog(sandbox, QStringLiteral("log2"), "two").isEmpty());
        const QString added = sandbox.addFile(QStringLiteral("files/added.log"), "added");
        bool changed = false;
        const auto client = [&] {
            changed = sandbox.writeIni([&](QSettings &ini) {
                ini.setValue(QStringLiteral("log3/path"), added);
                ini.setValue(QStringLiteral("system/nickname"), QStringLiteral("bob"));
                ini.setValue(QStringLiteral("room/7"), QStringLiteral("lobby"));
            });
        };
        const ScriptedServer server(servicePort(), {Reply::json().onRequest(client)});
        QVERIFY(server.isListening());

        const ToolResult result = sandbox.runTool({});
        QVERIFY2(result.isSuccess(), result.describe());
        QVERIFY(changed);
        // What was read at the start is in force for the whole run.
        QCOMPARE(sentFileNames(server),
                 (QStringList{QStringLiteral("log1.log"), QStringLiteral("log2.log"), QStringLiteral("own log")}));
        QCOMPARE(parseForm(server.requests().at(1)).body("room"), QByteArray("nickname-ann.loginname-.userid-42."));
        QCOMPARE(parseForm(server.requests().at(2)).body("room"), QByteArray("nickname-ann.userid-42."));

        QCOMPARE(sandbox.groups(),
                 (QStringList{QStringLiteral("log3"), QStringLiteral("room"), QStringLiteral("system")}));
        QCOMPARE(sandbox.iniValue(QStringLiteral("log3/path")).toString(), added);
        QCOMPARE(sandbox.iniValue(QStringLiteral("system/nickname")).toString(), QStringLiteral("bob"));
        QCOMPARE(sandbox.iniValue(QStringLiteral("system/userId")).toString(), QStringLiteral("42"));
        QCOMPARE(sandbox.iniValue(QStringLiteral("room/7")).toString(), QStringLiteral("lobby"));
    }
};

QTEST_GUILESS_MAIN(TestClientMeanwhile)
#include "tst_clientmeanwhile.moc"
