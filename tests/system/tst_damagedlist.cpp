#include "support/files/noise.h"
#include "support/tool/sandbox.h"
#include "support/wire/arrivals.h"
#include "support/wire/endpoints.h"

#include <QDir>
#include <QTest>

namespace {

/// noise() without the bytes that would make all that comes behind a part of one value.
QByteArray separableNoise(int size)
{
    return noise(size).replace('"', "").replace('\\', "") + '\n';
}

} // namespace

/// Runs on an upload.ini that no client would have written.
class TestDamagedList : public QObject
{
    Q_OBJECT

private slots:
    void keepsTheRefusedGroupWhateverIsAroundIt_data()
    {
        QTest::addColumn<QByteArray>("before");
        QTest::addColumn<QByteArray>("behind");
        QTest::newRow("lines without a meaning")
            << QByteArray("=\n===\n]]\n%\n[\n") << QByteArray("\n[c\n[]\n[d]e\npath\nx==\\x\n\"");
        QTest::newRow("bytes without a meaning") << separableNoise(20000) << "\n" + noise(20000);
        QTest::newRow("zeros") << QByteArray(5000, '\0') + "\n" << QByteArray(5000, '\0');
        QTest::newRow("mark of the encoding, CR LF") << QByteArray("\xef\xbb\xbf; client\r\n") << QByteArray("\r\n");
        QTest::newRow("a value of 8 MiB")
            << QByteArray() << "[room_x]\nlogfiles=" + QByteArray(8 * 1024 * 1024, 'x') + "\n";
        QTest::newRow("cut off") << QByteArray() << QByteArray("[c]\npath=\"/nowhere/wi");
    }
    void keepsTheRefusedGroupWhateverIsAroundIt()
    {
        QFETCH(QByteArray, before);
        QFETCH(QByteArray, behind);
        const ScriptedServer server(servicePort(), {Reply::json(), Reply::json("{\"Code\":5}")});
        QVERIFY(server.isListening());
        const Sandbox sandbox;
        const QByteArray accepted = sandbox.addFile(QStringLiteral("accepted.log"), "a").toUtf8();
        const QByteArray refused = sandbox.addFile(QStringLiteral("refused.log"), "b").toUtf8();
        QVERIFY(sandbox.writeRawIni(before + "[system]\nnickname=ann\n[a]\npath=" + accepted +
                                    "\n[b]\npath=" + refused + "\n" + behind));

        const ToolResult result = sandbox.runTool({});
        QVERIFY2(result.isSuccess(), result.describe().left(1000));
        QCOMPARE(sentFileNames(server), (QStringList{QStringLiteral("accepted.log"), QStringLiteral("refused.log"),
                                                     QStringLiteral("own log")}));
        QVERIFY(!sandbox.groups().contains(QStringLiteral("a")));
        QCOMPARE(sandbox.iniValue(QStringLiteral("b/path")).toByteArray(), refused);
        QCOMPARE(sandbox.iniValue(QStringLiteral("system/nickname")).toString(), QStringLiteral("ann"));
    }

    void leavesAFileAloneInWhichNobodyIsDescribed_data()
    {
        QTest::addColumn<QByteArray>("ini");
        QTest::newRow("noise") << noise(100000);
        QTest::newRow("zeros") << QByteArray(1000000, '\0');
        QTest::newRow("a single line") << QByteArray(1000000, '[');
    }
    void leavesAFileAloneInWhichNobodyIsDescribed()
    {
        QFETCH(QByteArray, ini);
        const ScriptedServer server(servicePort());
        QVERIFY(server.isListening());
        const Sandbox sandbox;
        QVERIFY(sandbox.writeRawIni(ini));
        const ToolResult result = sandbox.runTool({});
        QVERIFY2(result.isSuccess(), result.describe().left(1000));
        QCOMPARE(server.connections(), 0);
        QVERIFY(sandbox.iniBytes() == ini);
    }

    void takesAFolderForAnEmptyFile()
    {
        const ScriptedServer server(servicePort());
        QVERIFY(server.isListening());
        const Sandbox sandbox;
        QVERIFY(QDir().mkpath(sandbox.iniPath()));
        const ToolResult result = sandbox.runTool({});
        QVERIFY2(result.isSuccess(), result.describe());
        QCOMPARE(server.connections(), 0);
    }
};

QTEST_GUILESS_MAIN(TestDamagedList)
#include "tst_damagedlist.moc"
